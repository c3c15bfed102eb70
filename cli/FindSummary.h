#pragma once

#include "discovery/FoundLibrary.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vantorel::cli {

/// What a search found, for people at a terminal of 80 columns. Paths stand on lines of their own, unbroken;
/// control characters in names are made visible. `advice` gives a further line for a refused library.
std::string findSummary(const FindResult& result,
    const std::function<std::optional<std::string>(const FoundLibrary&)>& advice = {});

/// Broken at blanks into lines of at most `width` columns, each begun with `indent` blanks and ended with a
/// line feed. A word that is longer stands on a line of its own.
std::string wrapped(std::string_view text, std::size_t indent, std::size_t width = 80);

} // namespace vantorel::cli
