#pragma once

#include "database/model/Album.h"
#include "journals/JournalAssets.h"
#include "journals/JournalObjects.h"

#include <cstdint>
#include <vector>

namespace vantorel {

/// The records of everything that holds photos or albums, by journal.
struct CollectionRecords {
    JournalObjects<JournalAlbum> albums{}, folders{}, smart{}, projects{};
    bool foldersAreThere = true; ///< Else an album that no folder claims lost none.
    bool allAreThere = true;     ///< Else a child without a record can be of a journal that is not there.
};

struct JournalAlbumsResult {
    /// In the order of their folders, each folder before what it holds. Keys in the order of appearance.
    std::vector<Album> albums{};
    std::int64_t damaged = 0;       ///< Left out, and children of folders that no record describes.
    std::int64_t withoutFolder = 0; ///< At the top since their folder is lost.
    std::int64_t lostEntries = 0;
};

/// Makes the tree of albums, and tells the assets which albums they are in.
JournalAlbumsResult albumsOf(const CollectionRecords& records,
    const JournalObjects<JournalAsset>& assetRecords, JournalAssetsResult& assets);

} // namespace vantorel
