#include "SnapshotChecks.h"

#include "FuzzTarget.h"

#include "base/Text.h"

#include <algorithm>
#include <set>
#include <string>

namespace vantorel::fuzz {

namespace {

bool isText(const std::optional<std::string>& text) { return !text || isValidUtf8(*text); }

bool isSortedSet(const std::vector<std::string>& texts)
{
    return std::ranges::is_sorted(texts) && std::ranges::adjacent_find(texts) == texts.end()
        && std::ranges::find(texts, "") == texts.end() && std::ranges::all_of(texts, isValidUtf8);
}

void checkAsset(const Asset& asset)
{
    require(!asset.fileName.empty(), "a photo has a file name");
    for (const std::string* part : {&asset.directory, &asset.fileName}) {
        require(
            !part->contains('\0') && !part->starts_with('/') && *part != "..", "no way out of the folder");
        require(!part->starts_with("../") && !part->ends_with("/..") && !part->contains("/../"),
            "no way out of the folder");
    }
    require(
        isText(asset.originalFileName) && isText(asset.title) && isText(asset.caption), "texts are UTF-8");
    require(isSortedSet(asset.keywords) && isSortedSet(asset.people), "keywords and people: sorted, once");
    require(!asset.originalFileSize || *asset.originalFileSize > 0, "sizes are above 0");
}

} // namespace

void checkSnapshot(const LibrarySnapshot& snapshot)
{
    std::set<std::int64_t> keys;
    for (const auto& asset : snapshot.assets) {
        require(keys.empty() || asset.pk > *keys.rbegin(), "keys ascend");
        keys.insert(asset.pk);
        checkAsset(asset);
    }
    std::set<std::int64_t> albums;
    for (const auto& album : snapshot.albums) {
        require(albums.insert(album.pk).second, "each album has a key of its own");
        require(!album.parentPK || albums.contains(*album.parentPK), "folders come before what they hold");
        require(isText(album.title), "texts are UTF-8");
        for (const auto pk : album.assetPKs) {
            require(keys.contains(pk), "an album lists photos that there are");
        }
    }
    require(isSortedSet(snapshot.people), "people: sorted, once");
    require(std::ranges::all_of(snapshot.notes, isValidUtf8), "sentences are UTF-8");
}

} // namespace vantorel::fuzz
