#include "compare/CompareFixture.h"
#include "sample/SampleLibrary.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
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
    EXPECT_NE(imported.snapshot.assets.front().uuid, one.snapshot.assets.front().uuid);
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
