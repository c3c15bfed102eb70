#include "scan/LibraryScanner.h"
#include "sample/SampleLibrary.h"
#include "support/ManualClock.h"
#include "support/ScriptedCalls.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace vantorel {
namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t seed = 3;

struct SampleScan {
    TemporaryFolder disk{};
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<ScriptedCalls> calls = std::make_shared<ScriptedCalls>(clock);
    SharedCancelToken cancel = std::make_shared<CancelToken>();
    LibraryScanner scanner{{.calls = calls,
        .clock = clock,
        .children = realChildProcesses(systemClock()),
        .temporary = TemporaryFiles::create(realSystemCalls(), disk.makeFolder("tmp")).value()}};
    sample::SamplePlan plan{};

    DiskPath library() const { return disk / "Sample.photoslibrary"; }
    LibraryScanResult scan(const ScanProgressCallback& progress = {})
    {
        return scanner.scan(library(), cancel, progress);
    }
    void write(sample::SamplePlan samplePlan, int generation = 11)
    {
        plan = std::move(samplePlan);
        plan.pictureWidth = plan.pictureHeight = 16;
        writeLibrary(plan, {.generation = generation, .seed = seed}, library());
    }
};

/// What the check must say of an item, by what the plan put on the disk.
std::string_view expectedText(const sample::SampleItem& item)
{
    const bool isStill = item.kind == sample::SampleItem::Kind::video;
    if (item.isSharedAlbumItem) {
        return "Missing: this is a shared album item, which is not stored as an original";
    }
    if (item.isReferenced) {
        return "Missing: the library only pointed at a file elsewhere, and that file is not there";
    }
    if (item.isOnlyInCloud) {
        return !item.hasSmallerCopies
            ? "Missing: the original stayed in iCloud (Optimize Storage) and is not in this copy"
            : isStill
            ? "Only a still picture of this video here: the video stayed in iCloud (Optimize Storage)"
            : "Only a smaller copy here: the original stayed in iCloud (Optimize Storage)";
    }
    switch (item.original) {
    case sample::FileState::present:
        return item.partnerIsMissing
            ? "Original present, but its Live Photo video or paired file is not in this copy"
            : "Original present";
    case sample::FileState::otherSize:
        return "Original present, but its size differs from the database, so it may be damaged";
    case sample::FileState::missing:
        return !item.hasSmallerCopies ? "Missing: not in this copy of the library"
            : isStill                 ? "Only a still picture of this video here: the video is missing"
                                      : "Only a smaller copy here: the original is missing";
    case sample::FileState::empty:
        return !item.hasSmallerCopies ? "Missing: the file is there but empty"
            : isStill                 ? "Only a still picture of this video here: the video is missing"
                                      : "Only a smaller copy here: the original file is there but empty";
    }
    std::unreachable();
}

TEST(LibraryScanner, tellsWhatTheDiskHoldsOfEveryItem)
{
    for (const int generation : {5, 12}) {
        SampleScan scan;
        scan.write(sample::drawPlan(80, seed), generation);
        const LibraryScanResult result = scan.scan();

        ASSERT_EQ(result.snapshot.assets.size(), scan.plan.items.size());
        std::map<std::string, const Asset*> assets;
        for (const Asset& asset : result.snapshot.assets) {
            assets[asset.uuid] = &asset;
        }
        for (std::size_t i = 0; i < scan.plan.items.size(); ++i) {
            const auto asset = assets.find(sample::itemUuid(scan.plan, i, seed));
            ASSERT_NE(asset, assets.end());
            EXPECT_EQ(
                statusText(result.originals.entries.at(asset->second->pk)), expectedText(scan.plan.items[i]))
                << "item " << i << " of generation " << generation;
        }
        EXPECT_EQ(result.originals.unknownFiles.size(), scan.plan.strayFiles.size());
        EXPECT_EQ(result.originals.state, OriginalsReport::State::complete);
        EXPECT_TRUE(
            result.snapshot.notes.back().starts_with(std::to_string(scan.plan.strayFiles.size()) + " file"));
        EXPECT_TRUE(result.snapshot.notes.back().ends_with("exported."));
    }
}

TEST(LibraryScanner, capsThePatienceOfTheFileCheckAlone)
{
    const std::pair<Seconds, Seconds> rows[] = {{300s, 90s}, {30s, 30s}};
    for (const auto& [given, used] : rows) {
        SampleScan scan;
        scan.write({.items = {{}}});
        const auto hung = scan.calls->on("openBeneath", (scan.library() / "originals").native()).hang();
        scan.scanner.stallTimeout = given;
        const auto before = scan.clock->uptime();
        const LibraryScanResult result = scan.scan();
        EXPECT_GE(hung.hits(), 1U); // twice where the look ahead came so far
        EXPECT_GE(scan.clock->uptime() - before, used);
        EXPECT_LT(scan.clock->uptime() - before, used + 1s);
        EXPECT_EQ(result.originals.unreadableFolders, std::vector<std::string>{"originals"});
        EXPECT_EQ(result.originals.entries.at(1).status, OriginalEntry::Status::present);
    }
}

TEST(LibraryScanner, findsAheadWhatTheCheckAloneFinds)
{
    SampleScan scan;
    scan.write(sample::drawPlan(60, seed));
    // The last folder cannot be listed whole, so it is left to the check.
    const auto refused = scan.calls->on("entryStatus", "*/originals/F/*").fail(EACCES);
    const LibraryScanResult result = scan.scan();
    EXPECT_GT(refused.hits(), 0U);
    EXPECT_EQ(result.originals.deniedFolders, std::vector<std::string>{"originals/F"});

    LibrarySnapshot snapshot = result.snapshot;
    OriginalsInspector inspector({.calls = scan.calls, .clock = scan.clock, .children = {}, .temporary = {}});
    EXPECT_EQ(inspector.inspect(snapshot, scan.cancel, {}), result.originals);
}

/// The tables are whole and the originals were checked by them when SQLite's check of the file tells of
/// damage.
TEST(LibraryScanner, checksTheFilesOfWhatIsSavedFromADamagedDatabase)
{
    SampleScan scan;
    sample::SamplePlan samplePlan{.items = std::vector<sample::SampleItem>(3)};
    samplePlan.pictureWidth = samplePlan.pictureHeight = 16;
    writeLibrary(samplePlan, {.seed = seed, .withLog = false}, scan.library());
    const std::string file = "Sample.photoslibrary/database/Photos.sqlite";
    std::string bytes = scan.disk.read(file);
    bytes[39] = 9; // so many unused pages, the header says
    scan.disk.write(file, bytes);

    std::vector<ScanStage> stages;
    const LibraryScanResult result = scan.scan([&](const ScanProgress& now) {
        if (stages.empty() || stages.back() != now.stage) {
            stages.push_back(now.stage);
        }
    });
    using enum ScanStage;
    EXPECT_THAT(stages,
        testing::ElementsAre(
            copyingDatabase, readingDatabase, checkingFiles, salvaging, readingJournals, checkingFiles));
    EXPECT_EQ(result.snapshot.damage.severity, DamageReport::Severity::salvaged);
    ASSERT_EQ(result.snapshot.assets.size(), 3U);
    for (const Asset& asset : result.snapshot.assets) {
        EXPECT_EQ(result.originals.entries.at(asset.pk).status, OriginalEntry::Status::present);
    }
}

TEST(LibraryScanner, givesNothingAfterACancel)
{
    SampleScan scan;
    scan.write({.items = {{}}});
    try {
        scan.scan([&](const ScanProgress& now) {
            if (now.stage == ScanStage::checkingFiles) {
                scan.cancel->cancel();
            }
        });
        FAIL() << "a cancelled scan came to an end";
    } catch (const ReadError& error) {
        EXPECT_EQ(error, ReadError::cancelled());
    }
}

} // namespace
} // namespace vantorel
