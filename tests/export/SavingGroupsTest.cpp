#include "export/ExportFixture.h"
#include "export/UnfinishedExport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

namespace vantorel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string unfinished = "Out/Lib export (incomplete)/";

/// Photos in one album, small and all alike.
void addPhotos(ExportFixture& fixture, int count)
{
    for (int pk = 1; pk <= count; ++pk) {
        fixture.add(pk, "Albums/Trip", {"IMG_" + std::to_string(pk) + ".jpg"}, 300);
    }
}

std::string partOf(const std::string& key) { return key.substr(key.rfind('_') + 1, 1); }

/// The numbers of the photos in the journal, one after the other.
std::string recorded(const ExportFixture& fixture)
{
    std::string numbers;
    for (const JournalEntry& entry :
        parseJournal(fixture.place.read(unfinished + ".vantorel/journal.jsonl"))) {
        numbers += partOf(entry.key);
    }
    return numbers;
}

class SavingGroups : public testing::TestWithParam<ExportSettings::Overlap> {
protected:
    SavingGroups() { fixture_.settings.overlap = GetParam(); }

    ExportFixture fixture_;
};

INSTANTIATE_TEST_SUITE_P(InTurn, SavingGroups, testing::Values(ExportSettings::Overlap::never));
INSTANTIATE_TEST_SUITE_P(Overlapping, SavingGroups, testing::Values(ExportSettings::Overlap::always));

TEST_P(SavingGroups, shareTheirWaitsForTheMedium)
{
    addPhotos(fixture_, 9);
    fixture_.settings.group.items = 3;
    const ExportOutcome outcome = fixture_.run();
    EXPECT_EQ(fixture_.out(), fixture_.wholeExport(outcome));
    const auto syncs = [&](const std::string& path) { return fixture_.calls->count("fullSync", path); };
    constexpr std::size_t items = 9;
    constexpr std::size_t groups = 3;
    constexpr std::size_t bookkeeping = 4; // the state, a READ ME at the begin and at the end, the report
    EXPECT_EQ(syncs("*.part"), 2 * items + bookkeeping); // each photo and its sidecar
    EXPECT_EQ(syncs("*/journal.jsonl"), groups);
    EXPECT_EQ(syncs("*/Albums/Trip"), groups);
}

TEST_P(SavingGroups, recordTheNeighboursOfWhatFailsInThePlansOrder)
{
    addPhotos(fixture_, 9);
    fixture_.settings.group.items = 4;
    fixture_.calls->on("read", "*/originals/2/*").fail(EIO);
    fixture_.calls->on("renameExclusiveAt", "*IMG_7*.jpg").fail(EILSEQ);
    fixture_.calls->on("renameExclusiveAt", "*/00000000-*.jpg").fail(EILSEQ);
    const ExportOutcome outcome = fixture_.run();
    EXPECT_EQ(outcome.state, ExportOutcome::State(ExportOutcome::SomeNotRead{.count = 1}));
    EXPECT_THAT(reasonsOf(outcome),
        ElementsAre("Could not read the file: Input/output error",
            "This disk refused the file's name, also a plain one"));
    EXPECT_EQ(recorded(fixture_), "1345689");
    EXPECT_THAT(fixture_.verify("Lib export (incomplete)").differences, IsEmpty());
}

struct GroupStop {
    const char* name;
    const char* call;
    const char* path;
    int code;
    ExportOutcome::State state;
    std::string recorded;
};

/// Trouble with one item that ends the run, in a group: what stands before it is saved all the same.
TEST_P(SavingGroups, saveWhatStandsBeforeTheTroubleThatEndsTheRun)
{
    for (const GroupStop& row : {
             GroupStop{"noRoomForAFile", "write", "*.part", ENOSPC, ExportOutcome::DestinationFull{}, "123"},
             GroupStop{"nameNotWritten", "renameExclusiveAt", "*/IMG_4.jpg", EROFS,
                 ExportOutcome::Failed{.reason = "the disk you are saving to became read only"}, "123"},
             GroupStop{"sidecarNotWritten", "renameExclusiveAt", "*/IMG_4.xmp", EIO,
                 ExportOutcome::Failed{.reason = "writing failed: Input/output error"}, "123"},
             GroupStop{"libraryGone", "read", "*/originals/4/*", ENXIO, ExportOutcome::SourceGone{}, "123"},
         }) {
        SCOPED_TRACE(row.name);
        ExportFixture fixture;
        fixture.settings.overlap = GetParam();
        addPhotos(fixture, 6);
        auto rule = fixture.calls->on(row.call, row.path);
        if (std::string_view(row.path) == "*.part") {
            rule.nth(2 + 4); // the state and the READ ME come first
        }
        rule.fail(row.code).run([&fixture, isGone = row.code == ENXIO] {
            if (isGone) {
                fixture.calls->fail("fileSystemIdentifier", fixture.library().native(), ENOENT);
            }
        });
        const ExportOutcome outcome = fixture.run();
        EXPECT_EQ(outcome.state, row.state);
        EXPECT_EQ(outcome.exportedItems, 3);
        EXPECT_EQ(outcome.skipped.size(), 3U);
        EXPECT_EQ(recorded(fixture), row.recorded);
        EXPECT_THAT(fixture.brokenFiles(), IsEmpty());

        fixture.calls->removeRules();
        const ExportOutcome again = fixture.run();
        EXPECT_EQ(fixture.progress.back().resumedItems, 3);
        EXPECT_EQ(fixture.out(), fixture.wholeExport(again));
    }
}

TEST_P(SavingGroups, endWhereTheyTakeTooLong)
{
    addPhotos(fixture_, 8);
    fixture_.settings.group.time = 3s;
    fixture_.calls->on("read", "*/originals/*").delay(1s);
    const ExportOutcome outcome = fixture_.run();
    EXPECT_EQ(fixture_.out(), fixture_.wholeExport(outcome));
    // Two reads an item, the second for the end: two items are begun in that time.
    EXPECT_EQ(fixture_.calls->count("write", "*/journal.jsonl"), 4U);
}

TEST(SavingGroupsOverlapping, copyTheNextWhileOneIsMadeDurable)
{
    ExportFixture fixture;
    addPhotos(fixture, 2);
    fixture.settings.group.items = 1;
    const auto isRead = std::make_shared<std::atomic<bool>>(false);
    // The first photo's; the two before are no item's.
    fixture.calls->on("fullSync", "*.part").nth(3).run([&fixture, isRead] {
        for (int i = 0; i < 1'000 && !*isRead; ++i) {
            fixture.clock->sleepFor(1ms);
            *isRead = fixture.calls->count("read", fixture.library().native() + "/originals/2/*") > 0;
        }
    });
    const ExportOutcome outcome = fixture.run();
    EXPECT_TRUE(*isRead);
    EXPECT_EQ(fixture.out(), fixture.wholeExport(outcome));
}

TEST(SavingGroupsOverlapping, cutOffWhatIsBeingCopiedWhenTheRunEnds)
{
    ExportFixture fixture;
    addPhotos(fixture, 3);
    fixture.settings.group.items = 1;
    fixture.calls->on("write", "*/journal.jsonl").nth(1).fail(EIO);
    fixture.calls->on("read", "*/originals/2/*").hang();
    const ExportOutcome outcome = fixture.run();
    EXPECT_EQ(outcome.state,
        ExportOutcome::State(ExportOutcome::Failed{.reason = "writing failed: Input/output error"}));
    EXPECT_EQ(outcome.exportedItems, 0);
    EXPECT_EQ(outcome.skipped.size(), 3U);
    EXPECT_FALSE(fixture.progress.back().waitingForDisk);
}

} // namespace
} // namespace vantorel
