#pragma once

#include "app/model/AlbumNodes.h"
#include "app/model/LibraryOverview.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace vantorel {

/// A finished scan with what the windows need of it worked out once, in the background.
struct ScannedLibrary {
    std::shared_ptr<const LibraryScanResult> result{};
    LibraryOverview overview{};
    std::vector<AlbumNode> albums{};
    std::unordered_map<std::int64_t, std::size_t> positions{}; ///< Of the assets, by key.
    std::vector<std::size_t> byDate{}; ///< The positions of all assets; those without a date last.
    /// What helps on this system where folders were refused; quiet, beneath the notes.
    std::optional<std::string> accessAdvice{};
};

ScannedLibrary scannedLibraryOf(std::shared_ptr<const LibraryScanResult> result);

} // namespace vantorel
