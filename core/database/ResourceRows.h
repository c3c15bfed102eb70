#pragma once

#include "database/DatabaseSteps.h"
#include "database/ReadState.h"

#include <optional>
#include <string>
#include <unordered_map>

namespace vantorel {

/// Where the files outside the library lie: the rows of the bookmark and volume tables.
struct OutsidePlaces {
    struct Bookmark {
        std::string relativePath{};
        std::optional<std::int64_t> volume{};
    };
    std::unordered_map<std::int64_t, Bookmark> bookmarks{};
    std::unordered_map<std::int64_t, std::string> volumes{};
};

/// Reads which files each asset should have, whether its original is here or only in the cloud, and which
/// bookmarks its resources use.
void readResourceRows(ReadState& state, const DatabaseSteps::Worker& worker);
void readBookmarkRows(ReadState& state, OutsidePlaces& places, const DatabaseSteps::Worker& worker);
void readVolumeRows(ReadState& state, OutsidePlaces& places, const DatabaseSteps::Worker& worker);
/// Where the record of an original is lost, its cloud master can still say that it was uploaded.
void readCloudMasterRows(ReadState& state, const DatabaseSteps::Worker& worker);

/// Whether any asset needs what `readCloudMasterRows` reads.
bool lacksOriginalResource(const ReadState& state);

/// From all that the steps above found: which assets are referenced, only in the cloud, expect a partner, and
/// the paths of referenced files. Assets with an impossible file location are left out and counted; the index
/// of assets is made anew.
void settleLocations(ReadState& state, const OutsidePlaces& places);

} // namespace vantorel
