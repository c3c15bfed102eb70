#pragma once

#include <optional>
#include <string_view>

namespace vantorel {

/// Answers what needs no windows: `--help`, `--version`, and that there is no display to show them on, where
/// Qt would abort. The exit status where that was all.
std::optional<int> answerWithoutWindows(int argc, const char* const* argv);

/// Says that there is no display, or why it cannot be used, and gives the exit status of that.
int answerNoDisplay(std::string_view reason = {});

} // namespace vantorel
