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
    /// What helps on this system where folders were refused; quiet, beneath the notes.
    std::optional<std::string> accessAdvice{};
};

inline ScannedLibrary scannedLibraryOf(std::shared_ptr<const LibraryScanResult> result)
{
    ScannedLibrary scanned{.result = result, .overview = overviewOf(*result), .albums = albumNodes(*result)};
    scanned.positions.reserve(result->snapshot.assets.size());
    for (std::size_t i = 0; i < result->snapshot.assets.size(); ++i) {
        scanned.positions.emplace(result->snapshot.assets[i].pk, i);
    }
    return scanned;
}

} // namespace vantorel
