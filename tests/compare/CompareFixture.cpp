#include "compare/CompareFixture.h"

#include "base/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

namespace vantorel {

namespace {

std::int64_t usedAlbums(const LibrarySnapshot& snapshot)
{
    std::int64_t count = 0;
    for (const Album& album : snapshot.albums) {
        const bool isUsed = album.kind == Album::Kind::album || album.kind == Album::Kind::folder;
        count += isUsed && !album.isTrashed ? 1 : 0;
    }
    return count;
}

} // namespace

Asset& CompareFixture::item(const std::string& uuid)
{
    Asset& asset = scan.snapshot.assets.emplace_back();
    asset.pk = std::ssize(scan.snapshot.assets);
    asset.uuid = uuid;
    asset.fileName = uuid + ".jpeg";
    scan.originals.entries[asset.pk] = {.status = OriginalEntry::Status::present};
    return asset;
}

Album& CompareFixture::album(const std::string& title, std::initializer_list<std::int64_t> items)
{
    Album& album = scan.snapshot.albums.emplace_back();
    album.pk = std::ssize(scan.snapshot.albums);
    album.title = title;
    album.kind = Album::Kind::album;
    album.assetPKs = items;
    return album;
}

Album& CompareFixture::folder(const std::string& title)
{
    Album& folder = album(title);
    folder.kind = Album::Kind::folder;
    return folder;
}

LibraryComparison compared(const CompareFixture& here, const CompareFixture& there)
{
    const LibraryComparison comparison = LibraryComparer::compare(here.scan, there.scan);
    expectWholeCounts(here.scan, there.scan, comparison);
    return comparison;
}

std::string described(const LibraryComparison& comparison)
{
    std::vector<std::string> lines;
    const auto addKeys = [&lines](std::string_view what, const std::vector<std::int64_t>& keys) {
        if (!keys.empty()) {
            lines.push_back(fmt::format("{} {}", what, fmt::join(keys, " ")));
        }
    };
    const auto addCount = [&lines](std::string_view what, std::int64_t count) {
        if (count != 0) {
            lines.push_back(fmt::format("{} {}", what, count));
        }
    };
    addKeys("missing", comparison.missingAssetPKs);
    addCount("deleted here", comparison.deletedHereOnlyCount);
    addCount("in cloud there", comparison.originalInCloudInOtherCount);
    for (const ChangedAsset& asset : comparison.changedAssets) {
        std::vector<std::string> changes;
        for (const AssetChange change : asset.changes) {
            changes.emplace_back(nameIn(assetChangeNames, change));
        }
        lines.push_back(
            fmt::format("changed {}-{} {}", asset.sourcePK, asset.otherPK, fmt::join(changes, ",")));
    }
    addCount("same", comparison.sameAssetCount);
    addCount("only there", comparison.onlyInOtherAssetCount);
    addKeys("missing albums", comparison.missingAlbumPKs);
    addKeys("missing folders", comparison.missingFolderPKs);
    for (const ChangedAlbum& album : comparison.changedAlbums) {
        std::string line = fmt::format("album {}-{}", album.sourcePK, album.otherPK);
        line += album.renamedFrom ? " renamed " + *album.renamedFrom : "";
        line += album.movedFrom ? " moved " + joined(*album.movedFrom, "/") : "";
        line += album.photosMissingInOther > 0 ? fmt::format(" missing {}", album.photosMissingInOther) : "";
        line += album.photosOnlyInOther > 0 ? fmt::format(" only {}", album.photosOnlyInOther) : "";
        lines.push_back(line);
    }
    addCount("same albums", comparison.sameAlbumCount);
    addCount("only there albums", comparison.onlyInOtherAlbumCount);
    addCount("by name", comparison.matchedByNameAndDate);
    return joined(lines, "; ");
}

void expectWholeCounts(
    const LibraryScanResult& here, const LibraryScanResult& there, const LibraryComparison& comparison)
{
    const std::int64_t pairs = std::ssize(comparison.changedAssets) + comparison.sameAssetCount;
    EXPECT_EQ(std::ssize(comparison.missingAssetPKs) + comparison.deletedHereOnlyCount + pairs,
        std::ssize(here.snapshot.assets));
    EXPECT_EQ(comparison.onlyInOtherAssetCount + pairs, std::ssize(there.snapshot.assets));
    const std::int64_t albumPairs = std::ssize(comparison.changedAlbums) + comparison.sameAlbumCount;
    EXPECT_EQ(std::ssize(comparison.missingAlbumPKs) + std::ssize(comparison.missingFolderPKs) + albumPairs,
        usedAlbums(here.snapshot));
    EXPECT_EQ(comparison.onlyInOtherAlbumCount + albumPairs, usedAlbums(there.snapshot));
    EXPECT_LE(comparison.matchedByNameAndDate, pairs);
}

} // namespace vantorel
