#pragma once

#include "discovery/FoundLibrary.h"

#include <string>
#include <string_view>

namespace vantorel::cli {

/// What a search found, for people at a terminal of 80 columns. Paths stand on lines of their own, unbroken;
/// control characters in names are made visible.
std::string findSummary(const FindResult& result);

/// Broken at blanks into lines of at most `width` columns, each begun with `indent` blanks and ended with a
/// line feed. A word that is longer stands on a line of its own.
std::string wrapped(std::string_view text, std::size_t indent, std::size_t width = 80);

} // namespace vantorel::cli
