#pragma once

#include "database/model/Album.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vantorel {

/// One album or folder of the library with the folder that it is saved in.
struct AlbumFolder {
    std::size_t album = 0;   ///< Its place in the library's list.
    std::string path{};      ///< Relative to the export, components joined by "/".
    bool isChosen = true;    ///< It or something in it is among the albums to save.
    bool movedUp = false;    ///< Its path would have been too long: it lies in "Deep folders".
    bool wasDamaged = false; ///< Its folder could not be told: it lies at the top.

    bool operator==(const AlbumFolder&) const = default;
};

struct AlbumTree {
    std::vector<AlbumFolder> folders{};    ///< Depth first, so parents before children.
    std::optional<std::string> deepPath{}; ///< The folder of those that were moved up.

    bool operator==(const AlbumTree&) const = default;
};

/// The longest path of an album's folder, in bytes: leaves room for the destination and a file's name within
/// what every system takes.
inline constexpr std::size_t mostFolderPathBytes = 640;

/// Gives every album and folder its place under "Albums". Takes any list: links to what is not there, to
/// itself or in a circle, one key twice, chains of any depth. Deleted ones and what is neither album nor
/// folder get none. All get their names whether chosen or not, so that a choice never changes a path.
AlbumTree albumTree(const std::vector<Album>& albums, const std::optional<std::set<std::int64_t>>& chosen);

} // namespace vantorel
