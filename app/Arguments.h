#pragma once

#include <optional>

namespace vantorel {

/// Answers what needs no windows: `--help`, `--version`, and that there is no display to show them on, where
/// Qt would abort. The exit status where that was all.
std::optional<int> answerWithoutWindows(int argc, const char* const* argv);

} // namespace vantorel
