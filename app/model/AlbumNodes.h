#pragma once

#include "scan/LibraryScanner.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vantorel {

/// One album or folder in the tree that the windows show.
struct AlbumNode {
    std::size_t album = 0; ///< Its position in the snapshot.
    std::string title{};
    bool isFolder = false;
    std::int64_t count = 0; ///< Items; of a folder those of everything beneath it, one for each album.
    std::int64_t withoutOriginal = 0; ///< Likewise.
    std::vector<AlbumNode> children{};

    bool operator==(const AlbumNode&) const = default;
};

/// The tree of ordinary albums and folders; deleted, shared and smart ones are not in it. An album whose
/// folder is not shown stands at the top. Slow enough with large libraries to be worked out in the
/// background.
std::vector<AlbumNode> albumNodes(const LibraryScanResult& scan);

} // namespace vantorel
