#pragma once

namespace vantorel {

/// Runs the windows: `vantorel-app [LIBRARY]`. Returns the exit status (0; 2 wrong usage; 3 nothing could be
/// started), or does not return where a thread still hangs in a disk call.
int runApplication(int argc, char** argv);

} // namespace vantorel
