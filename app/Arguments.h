#pragma once

#include "disk/SystemCalls.h"

#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace vantorel {

/// Answers what needs no windows: `--help`, `--version`, and that there is no display to show them on, where
/// Qt would abort. The exit status where that was all.
std::optional<int> answerWithoutWindows(int argc, const char* const* argv);

/// Says that there is no display, or why it cannot be used, and gives the exit status of that.
int answerNoDisplay(std::string_view reason = {});

/// The library to open, if any, once Qt has taken its own options; what cannot be, as a sentence. Its name is
/// the bytes that were given, which no other text type would keep.
std::expected<std::optional<DiskPath>, std::string> libraryOf(int argc, const char* const* argv);

} // namespace vantorel
