#pragma once

namespace vantorel {

/// Runs the windows: `vantorel-app [LIBRARY]`. Returns the exit status, or does not return where a thread
/// still hangs in a disk call.
int runApplication(int argc, char** argv);

} // namespace vantorel
