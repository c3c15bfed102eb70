#pragma once

namespace vantorel {

/// Whether windows can be shown, as far as the environment and the arguments tell before Qt is started.
bool mayHaveDisplay(int argc, const char* const* argv);

} // namespace vantorel
