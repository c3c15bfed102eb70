#include "compare/CompareFixture.h"
#include "sample/SampleLibrary.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace vantorel {
namespace {

constexpr std::uint64_t seed = 5;

/// Writes sample libraries and scans them.
class SampleLibraries {
public:
    SampleLibraries() { plan.pictureWidth = plan.pictureHeight = 16; }

    /// `afterwards` may damage the library before it is scanned.
    LibraryScanResult scan(const sample::SamplePlan& written,
        const sample::WriteOptions& options = {.seed = seed},
        const std::function<void(const DiskPath&)>& afterwards = {})
    {
        const DiskPath library = disk_ / (std::to_string(++count_) + ".photoslibrary");
        sample::writeLibrary(written, options, library);
        if (afterwards) {
            afterwards(library);
        }
        return LibraryScanner({.calls = realSystemCalls(),
                                  .clock = systemClock(),
                                  .children = nullptr,
                                  .temporary = temporary_})
            .scan(library, std::make_shared<CancelToken>(), {});
    }

    sample::SamplePlan plan = sample::drawPlan(90, seed);

private:
    TemporaryFolder disk_{};
    std::shared_ptr<TemporaryFiles> temporary_ =
        TemporaryFiles::create(realSystemCalls(), disk_.makeFolder("tmp")).value();
    int count_ = 0;
};

LibraryComparison comparedScans(const LibraryScanResult& here, const LibraryScanResult& there)
{
    const LibraryComparison comparison = LibraryComparer::compare(here, there);
    expectWholeCounts(here, there, comparison);
    return comparison;
}

std::string withoutSame(LibraryComparison comparison)
{
    EXPECT_EQ(comparison.cautions, std::vector<std::string>{});
    comparison.sameAssetCount = comparison.sameAlbumCount = 0;
    return described(comparison);
}

std::int64_t keyOf(const LibraryScanResult& scan, const std::string& uuid)
{
    const auto found = std::ranges::find(scan.snapshot.assets, uuid, &Asset::uuid);
    return found == scan.snapshot.assets.end() ? 0 : found->pk;
}

TEST(SampleComparisons, ofOneLibraryInTwoGenerationsHaveNoDifference)
{
    SampleLibraries libraries;
    const LibraryScanResult newest = libraries.scan(libraries.plan, {.generation = 12, .seed = seed});
    for (const int generation : {5, 10}) {
        const LibraryScanResult older =
            libraries.scan(libraries.plan, {.generation = generation, .seed = seed});
        EXPECT_EQ(withoutSame(comparedScans(older, newest)), "") << generation;
        EXPECT_EQ(withoutSame(comparedScans(newest, older)), "") << generation;
    }
}

TEST(SampleComparisons, nameWhatWasChangedInACopy)
{
    SampleLibraries libraries;
    sample::SamplePlan& plan = libraries.plan;
    using State = sample::FileState;
    const auto uuid = [&plan](std::size_t item) { return sample::itemUuid(plan, item, seed); };
    // Ordinary photos, so that each edit is one difference.
    std::vector<std::size_t> ordinary;
    for (std::size_t i = 0; i < plan.items.size(); ++i) {
        const sample::SampleItem& item = plan.items[i];
        if (item.kind == sample::SampleItem::Kind::photo && !item.isTrashed && !item.isSharedAlbumItem
            && !item.isReferenced && !item.isUnpickedBurstFrame && !item.isOnlyInCloud && !item.rawDateCreated
            && item.dateCreated && item.original == State::present && item.hasSmallerCopies) {
            plan.items[i].uuid = uuid(i);
            ordinary.push_back(i);
        }
    }
    ASSERT_GE(ordinary.size(), 8U);
    plan.albums.push_back({.title = "Edited", .items = {ordinary[0], ordinary[1]}});
    plan.albums.push_back({.title = "Gone"});
    const LibraryScanResult before = libraries.scan(plan);

    sample::SamplePlan edited = plan;
    const auto item = [&](std::size_t i) -> sample::SampleItem& { return edited.items[ordinary[i]]; };
    item(0).caption = "another caption";
    item(1).isFavorite = !item(1).isFavorite;
    item(1).title = "another title";
    item(2).isTrashed = true;
    item(3).original = State::missing;
    item(4).isOnlyInCloud = true;
    item(4).original = State::missing;
    *item(5).dateCreated += std::chrono::hours(1);
    item(6).keywords = {};
    plan.items[ordinary[6]].keywords = {};
    sample::SampleAlbum& album = edited.albums[edited.albums.size() - 2];
    album.title = "Renamed";
    album.items = {ordinary[1], ordinary[7]};
    edited.albums.back().isTrashed = true;
    const LibraryScanResult after = libraries.scan(edited);

    const LibraryComparison result = comparedScans(before, after);
    std::map<std::string, std::vector<AssetChange>> changes;
    for (const ChangedAsset& changed : result.changedAssets) {
        const auto found = std::ranges::find(before.snapshot.assets, changed.sourcePK, &Asset::pk);
        changes[found->uuid] = changed.changes;
    }
    using enum AssetChange;
    std::map<std::string, std::vector<AssetChange>> expected{
        {uuid(ordinary[0]), {caption}},
        {uuid(ordinary[1]), {favourite, title}},
        {uuid(ordinary[2]), {trashedInOther}},
        {uuid(ordinary[3]), {originalMissingInOther}},
        {uuid(ordinary[5]), {date}},
    };
    if (!before.snapshot.assets.empty()) {
        const auto sixth = std::ranges::find(before.snapshot.assets, uuid(ordinary[6]), &Asset::uuid);
        if (!sixth->keywords.empty()) {
            expected[sixth->uuid] = {keywords};
        }
    }
    EXPECT_EQ(changes, expected);
    EXPECT_EQ(result.originalInCloudInOtherCount, 1);
    EXPECT_EQ(result.missingAssetPKs, std::vector<std::int64_t>{});
    ASSERT_EQ(result.changedAlbums.size(), 1U);
    EXPECT_EQ(result.changedAlbums[0].name, "Edited");
    EXPECT_EQ(result.changedAlbums[0].renamedFrom, "Renamed");
    EXPECT_EQ(result.changedAlbums[0].photosMissingInOther, 1);
    EXPECT_EQ(result.changedAlbums[0].photosOnlyInOther, 1);
    EXPECT_EQ(result.missingAlbumPKs.size(), 1U);
    EXPECT_EQ(result.onlyInOtherAlbumCount, 0);
}

TEST(SampleComparisons, pairAnImportedCopyByWhatTheFilesAre)
{
    // The same photos in a library of its own have other identifiers. Two have no fingerprint either.
    SampleLibraries libraries;
    const LibraryScanResult one = libraries.scan(libraries.plan);
    sample::SamplePlan plan = libraries.plan;
    for (std::size_t i = 0; i < plan.items.size(); ++i) {
        plan.items[i].uuid = sample::itemUuid(libraries.plan, i, seed + 1);
    }
    const LibraryScanResult imported = libraries.scan(plan);
    EXPECT_EQ(keyOf(imported, one.snapshot.assets.front().uuid), 0);
    EXPECT_EQ(withoutSame(comparedScans(one, imported)), "by name 2");
    EXPECT_EQ(withoutSame(comparedScans(imported, one)), "by name 2");
}

TEST(SampleComparisons, withTheFilesAloneNameOnlyWhatIsLost)
{
    SampleLibraries libraries;
    const LibraryScanResult whole = libraries.scan(libraries.plan);
    const LibraryScanResult files = libraries.scan(libraries.plan, {.seed = seed, .withJournals = false},
        [](const DiskPath& library) { std::filesystem::remove_all(library / "database"); });
    const LibraryComparison result = comparedScans(whole, files);
    EXPECT_EQ(result.changedAssets, std::vector<ChangedAsset>{});
    EXPECT_EQ(result.cautions,
        std::vector<std::string>{"The library compared with is damaged, so some items may look missing that "
                                 "are only unreadable."});
    for (const std::int64_t key : result.missingAssetPKs) {
        EXPECT_FALSE(whole.originals.entries.at(key).status == OriginalEntry::Status::present) << key;
    }
    EXPECT_GT(result.sameAssetCount, 60);
    EXPECT_EQ(result.sameAlbumCount, 0);
}

} // namespace
} // namespace vantorel
