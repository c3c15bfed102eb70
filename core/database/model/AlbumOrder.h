#pragma once

#include "database/model/Album.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace vantorel {

/// Where an album stands in the tree of folders, by positions in a list of albums.
struct AlbumPlace {
    static constexpr std::size_t top = std::numeric_limits<std::size_t>::max();
    /// What has no order of its own stands last.
    static constexpr std::int64_t noOrder = std::numeric_limits<std::int64_t>::max();

    std::size_t parent = top;     ///< Position of the folder that holds it.
    std::int64_t order = noOrder; ///< Among the children of its folder.

    bool operator==(const AlbumPlace&) const = default;
};

/// Folders that hold each other in a circle would be reached from no top: the first of them is put there.
/// Gives the positions of those.
std::vector<std::size_t> breakCircles(std::vector<AlbumPlace>& places);

/// The positions in the order of the tree: siblings by their order, then by key, each followed by what it
/// holds. There must be no circles.
std::vector<std::size_t> treeOrder(const std::vector<Album>& albums, const std::vector<AlbumPlace>& places);

} // namespace vantorel
