#pragma once

#include "database/DatabaseSteps.h"
#include "database/ReadState.h"

#include <cstdint>
#include <vector>

namespace vantorel {

/// What the rows say about one album beyond its record; parallel to the snapshot's albums until they are
/// ordered.
struct AlbumFacts {
    std::optional<std::int64_t> parent{}; ///< Row id as stored.
    std::int64_t order = 0;               ///< Among the children of its folder.
};

/// One entry of an album.
struct AlbumLink {
    std::size_t album = 0; ///< Position in the snapshot's albums.
    std::int64_t order = 0;
    std::int64_t asset = 0; ///< Row id.
};

struct AlbumLinks {
    std::vector<AlbumFacts> facts{};
    std::vector<AlbumLink> links{};
    std::vector<std::size_t> assetsWithLostAlbum{};
    KeyIndex albums{}; ///< From `pk` to the position in the snapshot's albums.
};

/// Reads albums and folders. A row whose kind cannot be told is left out and counted.
void readAlbumRows(ReadState& state, AlbumLinks& tree, const DatabaseSteps::Worker& worker);
/// Puts the albums into the order of their folders, each folder before what it holds, and gives each the
/// folder that holds it. Who lost its folder, or is held by itself, is at the top.
void settleFolders(ReadState& state, AlbumLinks& tree);
void readAlbumLinks(ReadState& state, AlbumLinks& tree, const DatabaseSteps::Worker& worker);
/// Gives the albums their assets in order, and the assets their albums.
void settleEntries(ReadState& state, AlbumLinks& tree);

} // namespace vantorel
