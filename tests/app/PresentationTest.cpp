#include "app/model/ScannedLibrary.h"
#include "app/model/WindowTexts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vantorel {
namespace {

using testing::ElementsAre;
using testing::Pair;
using Status = OriginalEntry::Status;
using Reason = OriginalEntry::MissingReason;

Date in(int year) { return std::chrono::sys_days(std::chrono::year(year) / 6 / 1); }

/// Seven items, one of each class, in two albums of a folder and one at the top.
LibraryScanResult someScan()
{
    LibraryScanResult scan;
    for (std::int64_t pk = 1; pk <= 7; ++pk) {
        scan.snapshot.assets.push_back({.pk = pk, .fileName = std::to_string(pk)});
    }
    auto& assets = scan.snapshot.assets;
    assets[0].dateCreated = in(2001);
    assets[1].dateCreated = in(2004);
    assets[2].dateCreated = in(2004);
    assets[1].kind = Asset::Kind::video;
    assets[2].isHidden = true;
    assets[3].isTrashed = true;
    const ResolvedFile file{
        .path = "originals/1/1.jpg", .size = 1000, .companions = {{.path = "m", .size = 500}}};
    scan.originals.entries = {
        {1, {.status = Status::present, .file = file}},
        {2, {.status = Status::presentSizeDiffers, .file = file}},
        {3, {.status = Status::derivativeOnly, .reason = Reason::onlyInCloud, .file = file}},
        {4, {.status = Status::referenced, .file = file, .isOutsideLibrary = true}},
        {5, {.status = Status::missing, .reason = Reason::onlyInCloud}},
        {6, {.status = Status::missing, .reason = Reason::notFound}},
    };
    using Kind = Album::Kind;
    scan.snapshot.albums = {
        {.pk = 10, .title = "Trips", .kind = Kind::folder},
        {.pk = 11, .title = "Rome", .kind = Kind::album, .parentPK = 10, .assetPKs = {1, 2, 6}},
        {.pk = 12, .title = "Oslo", .kind = Kind::album, .parentPK = 10, .assetPKs = {1, 7}},
        {.pk = 13, .title = "Lost folder's", .kind = Kind::album, .parentPK = 99, .assetPKs = {4}},
        {.pk = 14, .title = "Deleted", .kind = Kind::album, .isTrashed = true, .assetPKs = {1}},
        {.pk = 15, .title = "Smart", .kind = Kind::smart},
    };
    return scan;
}

TEST(LibraryOverviews, countWhatIsThere)
{
    auto scan = someScan();
    scan.snapshot.schema.unavailable = {SchemaSummary::Feature::captions, SchemaSummary::Feature::people};
    scan.snapshot.damage.severity = DamageReport::Severity::salvaged;
    scan.snapshot.notes = {"A note.", "A note."};
    const auto overview = overviewOf(scan);
    EXPECT_EQ(overview.photos, 6);
    EXPECT_EQ(overview.videos, 1);
    EXPECT_EQ(overview.albums, 3);
    EXPECT_THAT(overview.originals, testing::Each(1)) << "an item without an entry was not checked";
    EXPECT_EQ(overview.bytesPresent, 6000) << "paired files count";
    EXPECT_EQ(overview.outsideFiles, 1);
    EXPECT_EQ(overview.withoutOriginal, 4);
    EXPECT_THAT(overview.years, ElementsAre(Pair(2001, 1), Pair(2004, 2)));
    EXPECT_EQ(overview.withoutYear, 4);
    EXPECT_THAT(overview.limitedAssets, ElementsAre(2, 3, 4, 5, 6, 7));
    using Row = LibraryOverview::Row;
    EXPECT_THAT(overview.rows,
        testing::IsSupersetOf({Row{"In Recently Deleted", "1"}, Row{"Hidden", "1"},
            Row{"Not read from this source", "captions, People names"},
            Row{"Original present, size differs from the database", "1"},
            Row{"Only a smaller copy, the original stayed in iCloud or is lost", "1"},
            Row{"Size of the files present", "6 KB"}}));
    ASSERT_EQ(overview.notes.size(), 2U);
    EXPECT_THAT(overview.notes.front(),
        testing::EndsWith("some albums or details may be missing. What was found can "
                          "still be saved."));
}

TEST(AlbumTrees, showOrdinaryAlbumsInTheirFolders)
{
    const auto nodes = albumNodes(someScan());
    ASSERT_EQ(nodes.size(), 2U);
    EXPECT_TRUE(nodes[0].isFolder);
    EXPECT_EQ(nodes[0].count, 5);
    EXPECT_EQ(nodes[0].withoutOriginal, 2);
    ASSERT_EQ(nodes[0].children.size(), 2U);
    EXPECT_EQ(
        nodes[0].children[1], (AlbumNode{.album = 2, .title = "Oslo", .count = 2, .withoutOriginal = 1}));
    EXPECT_EQ(nodes[1].title, "Lost folder's");
    EXPECT_EQ(nodes[1].withoutOriginal, 0);
}

TEST(Advice, fitsTheStateOfTheLibrary)
{
    using Severity = DamageReport::Severity;
    EXPECT_THAT(adviceFor({.severity = Severity::walLost}).value_or(""),
        testing::StartsWith("You may not need Vantorel"));
    EXPECT_THAT(adviceFor({.severity = Severity::fromJournals}).value_or(""),
        testing::StartsWith("If you want these albums back inside Photos"));
    EXPECT_EQ(adviceFor({.severity = Severity::databaseLost}), std::nullopt);
    EXPECT_EQ(adviceFor({.diskDidNotAnswer = true}), std::nullopt);

    auto scan = someScan();
    EXPECT_EQ(incompleteScanWarning(scan), std::nullopt);
    scan.originals.state = OriginalsReport::State::interrupted;
    EXPECT_EQ(
        incompleteScanWarning(scan), "The scan did not finish. Connect the drive and scan again first.");
    scan.snapshot.damage.diskDidNotAnswer = true;
    EXPECT_THAT(
        incompleteScanWarning(scan).value_or(""), testing::HasSubstr("does not mean the library is damaged"));
}

TEST(WindowTexts, keepSingularAndPlural)
{
    using namespace texts;
    EXPECT_EQ(planSummary({.photos = 1, .copies = 1, .bytes = 512}),
        "1 photo or video, 1 copy in folders, 512 bytes. A photo in two albums is copied twice.");
    EXPECT_EQ(planSummary({.photos = 1200, .copies = 1300, .bytes = 2'500'000}),
        "1,200 photos and videos, 1,300 copies in folders, 2.5 MB. A photo in two albums is copied twice.");
    EXPECT_EQ(outsideLabel(1), "1 file stored outside this library, elsewhere on a disk");
    EXPECT_EQ(outsideLabel(2), "2 files stored outside this library, elsewhere on a disk");
    EXPECT_EQ(
        hiddenLabel(12), "Hidden photos (12): saved in their albums or in a Hidden folder, no longer hidden");
    EXPECT_EQ(resumedLine({.resumedItems = 1}), "1 item was already saved in an earlier run.");
    EXPECT_EQ(resumedLine({}), std::nullopt);
    EXPECT_EQ(
        skippedLine({.skipped = 2}), "2 items could not be saved so far. The report will name each one.");
    EXPECT_EQ(scanCounts({.stage = ScanStage::readingDatabase, .done = 41'200, .total = 98'031}),
        "41,200 of 98,031 items");
    EXPECT_EQ(scanCounts({.done = 3'400'000, .total = 96'000'000}), "3.4 MB of 96.0 MB")
        << "bytes are copied";
    EXPECT_EQ(scanCounts({.done = 3}), "Working");
    EXPECT_EQ(spaceNote(1000, 1000), (SpaceNote{.text = "1 KB free on that disk."}));
    EXPECT_EQ(spaceNote(2000, 1000),
        (SpaceNote{
            .text = "This needs about 2 KB and that disk has 1 KB free. Choose another disk or include less.",
            .isWarning = true}));
}

TEST(WindowTexts, checkOffTheStagesThatHappen)
{
    using State = texts::StageLine::State;
    using enum ScanStage;
    const auto statesOf = [](const std::vector<ScanStage>& seen, ScanStage running) {
        std::vector<State> states;
        for (const auto& line : texts::stageLines(seen, running)) {
            states.push_back(line.state);
        }
        return states;
    };
    const auto toCome = State::toCome;
    EXPECT_THAT(statesOf({}, copyingDatabase), ElementsAre(State::running, toCome, toCome));
    EXPECT_THAT(statesOf({copyingDatabase, readingDatabase, salvaging}, salvaging),
        ElementsAre(State::done, State::done, State::running, toCome));
    // Without a database it is not said that one was read.
    EXPECT_THAT(statesOf({copyingDatabase, readingJournals, checkingFiles}, checkingFiles),
        ElementsAre(State::done, State::done, State::running));
}

TEST(Paces, tellATimeOnlyWhenTheWorkIsSteady)
{
    Pace pace;
    Pace::Reading reading;
    const auto work = [&](int from, int to, std::int64_t perSecond, std::int64_t already = 0) {
        for (int second = from; second <= to; ++second) {
            reading = pace.update(already + (second - from) * perSecond, 10'000, Seconds(second));
        }
    };
    work(1, 5, 100);
    EXPECT_EQ(reading, Pace::Reading{}) << "too young";
    work(1, 21, 100);
    EXPECT_EQ(reading.perSecond, 100);
    ASSERT_TRUE(reading.left);
    EXPECT_EQ(texts::timeLeft(reading), "about a minute left");
    work(22, 40, 0, 2000);
    EXPECT_EQ(reading.left, std::nullopt) << "nothing has moved for long";
    EXPECT_EQ(pace.update(5, 10'000, Seconds(50)), Pace::Reading{}) << "it began anew";

    const auto left = [](double seconds) { return texts::timeLeft({.left = Seconds(seconds)}); };
    EXPECT_EQ(texts::timeLeft({}), "");
    EXPECT_EQ(left(2), "a few seconds left");
    EXPECT_EQ(left(23), "about 20 seconds left");
    EXPECT_EQ(left(58), "about a minute left");
    EXPECT_EQ(left(150), "about 3 minutes left");
    EXPECT_EQ(left(3590), "about an hour left");
    EXPECT_EQ(left(5 * 3600), "about 5 hours left");
    EXPECT_EQ(left(1e9), "more than a day left");
}

TEST(WindowTexts, sayWhatALibraryWithoutADatabaseGives)
{
    using Origin = FoundLibrary::Origin;
    EXPECT_EQ(texts::libraryNote({}), std::nullopt);
    EXPECT_EQ(texts::libraryNote({.accessProblem = "Refused."}), "Refused.");
    EXPECT_EQ(texts::libraryNote({.format = LibraryFormat::noDatabase}),
        "This library has no database file. Only its photo files can be saved.");
    EXPECT_THAT(texts::libraryNote(
                    {.origin = Origin::timeMachine, .format = LibraryFormat::noDatabase, .hasJournals = true})
                    .value_or(""),
        testing::HasSubstr("No database here. Vantorel reads albums"));
}

} // namespace
} // namespace vantorel
