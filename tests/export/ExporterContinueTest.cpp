#include "export/ExportFixture.h"
#include "export/ExportPlanner.h"
#include "export/UnfinishedExport.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

namespace vantorel {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string unfinished = "Out/Lib export (incomplete)/";

/// Runs until the n-th item is saved.
void stopAfterItem(ExportFixture& fixture, int number)
{
    int items = 0;
    fixture.settings.group.items = 1;
    fixture.settings.hooks.afterItem = [&, number](const PlannedItem&) {
        if (++items == number) {
            fixture.cancel->cancel();
        }
    };
    EXPECT_EQ(fixture.run().state, ExportOutcome::State(ExportOutcome::Cancelled{}));
    fixture.settings.hooks.afterItem = nullptr;
    fixture.settings.group = {};
    fixture.cancel = std::make_shared<CancelToken>();
}

TEST(ExporterContinuing, endsAsThoughItHadNeverStoppedWhateverTheChunk)
{
    for (int chunk = 1;; ++chunk) {
        ExportFixture fixture;
        fixture.addTypical();
        int chunks = 0;
        fixture.settings.hooks.afterChunk = [&] {
            if (++chunks == chunk) {
                fixture.cancel->cancel();
            }
        };
        const ExportOutcome first = fixture.run();
        if (first.isFinished()) {
            EXPECT_EQ(chunk, 8); // seven chunks were there to stop after
            break;
        }
        ASSERT_EQ(first.state, ExportOutcome::State(ExportOutcome::Cancelled{}));
        ASSERT_THAT(fixture.brokenFiles(), IsEmpty());
        ASSERT_THAT(fixture.verify("Lib export (incomplete)").differences, IsEmpty());

        fixture.cancel = std::make_shared<CancelToken>();
        fixture.settings.hooks.afterChunk = nullptr;
        const ExportOutcome second = fixture.run();
        EXPECT_TRUE(second.isFinished());
        EXPECT_EQ(second.exportedItems, 4);
        EXPECT_EQ(fixture.progress.back().resumedItems, first.exportedItems);
        EXPECT_EQ(fixture.out(), fixture.wholeExport(second)) << "stopped after chunk " << chunk;
    }
}

class ExporterAfterTrouble : public testing::TestWithParam<int> { };

/// Any call on the destination may fail, once or from then on; whatever it is, nothing unverified has a final
/// name, and running the export again ends with all of it.
TEST_P(ExporterAfterTrouble, nothingIsBrokenAndTheNextRunEndsIt)
{
    const bool staysFailed = GetParam() != 0;
    for (std::size_t call = 1;; ++call) {
        ExportFixture fixture;
        fixture.add(1, "Albums/Trip", {"IMG_1.heic", "IMG_1.mov"}, 200);
        fixture.add(2, "Albums/Trip", {"IMG_2.jpg"}, 100);
        auto trouble = fixture.calls->on("*", fixture.destination().native() + "/*").nth(call).fail(EIO);
        if (staysFailed) {
            trouble.from(call);
        }
        const ExportOutcome first = fixture.run();
        fixture.calls->removeRules();
        ASSERT_THAT(fixture.brokenFiles(), IsEmpty()) << "call " << call;
        if (trouble.hits() == 0) {
            ASSERT_TRUE(first.isFinished());
            break;
        }
        const ExportOutcome second = first.isFinished() ? first : fixture.run();
        ASSERT_TRUE(second.isFinished()) << "call " << call;
        Tree tree = fixture.out();
        std::erase_if(
            tree, [](const auto& entry) { return entry.first.find(".vantorel") != std::string::npos; });
        ASSERT_EQ(tree, fixture.wholeExport(second)) << "call " << call;
        ASSERT_THAT(fixture.calls->stillOpen(), IsEmpty()) << "call " << call;
    }
}

INSTANTIATE_TEST_SUITE_P(Once, ExporterAfterTrouble, testing::Values(0));
INSTANTIATE_TEST_SUITE_P(FromThenOn, ExporterAfterTrouble, testing::Values(1));

TEST(ExporterContinuing, savesAgainWhatWasChangedAndKeepsTheOther)
{
    ExportFixture fixture;
    fixture.addTypical();
    stopAfterItem(fixture, 3);
    fixture.place.write(unfinished + "Albums/Trip/IMG_1.mov", "changed by hand");
    fixture.place.write(unfinished + "Albums/Trip/IMG_2.xmp", "changed too");
    std::filesystem::remove(fixture.place / (unfinished + "Albums/Home/IMG_2.jpg"));

    const ExportOutcome outcome = fixture.run();

    EXPECT_TRUE(outcome.isFinished());
    EXPECT_THAT(outcome.notes,
        ElementsAre("2 files from the earlier, unfinished run no longer matched what was saved then, so a "
                    "fresh copy was saved and they were kept with \"(not used)\" in their names. They are "
                    "not in the report."));
    EXPECT_EQ(fixture.progress.back().resumedItems, 1);
    Tree expected = fixture.wholeExport(outcome);
    expected["Lib export/Albums/Trip/IMG_1 (not used).mov"] = "changed by hand";
    expected["Lib export/Albums/Trip/IMG_2 (not used).xmp"] = "changed too";
    EXPECT_EQ(fixture.out(), expected);
}

TEST(ExporterContinuing, takesOverWhatWasNamedButNotRecorded)
{
    ExportFixture fixture;
    fixture.addTypical();
    stopAfterItem(fixture, 2);
    // As after a power cut between the name and the journal; one copy is another's, one is no file at all.
    fixture.place.write(unfinished + ".vantorel/journal.jsonl", "{\"key\": \"Albums/Tr");
    fixture.place.write(unfinished + "Albums/Home/IMG_2.jpg", "something else");
    fixture.place.makeFolder(unfinished + "Not in any album/2020/IMG_3.mov");
    fixture.place.write(unfinished + ".vantorel/tmp/old.part", "half");

    const ExportOutcome outcome = fixture.run();

    EXPECT_TRUE(outcome.isFinished());
    EXPECT_EQ(fixture.progress.back().resumedItems, 0);
    const Tree tree = fixture.place.tree("Out/Lib export");
    EXPECT_EQ(tree.at("Albums/Home/IMG_2 (not used).jpg"), "something else");
    EXPECT_EQ(tree.at("Albums/Home/IMG_2.jpg"), fixture.sourceBytes(fixture.plan.items[2].files[0]));
    EXPECT_FALSE(tree.contains("Albums/Trip/IMG_1 (2).heic"));
    EXPECT_EQ(
        tree.at("Not in any album/2020/IMG_3 (2).mov"), fixture.sourceBytes(fixture.plan.items[3].files[0]));
    EXPECT_THAT(fixture.verify().differences, IsEmpty());
}

TEST(ExporterContinuing, doesNotTouchAnotherItemsFileThatTheDiskTakesForThisOne)
{
    ExportFixture fixture;
    fixture.addTypical();
    stopAfterItem(fixture, 1);
    // The disk says that IMG_2.jpg is taken, though no file of that name is listed: a twin of another name.
    fixture.calls->on("renameExclusiveAt", "*/Albums/Trip/IMG_2.jpg").fail(EEXIST);
    EXPECT_TRUE(fixture.run().isFinished());
    const Tree tree = fixture.place.tree("Out/Lib export/Albums/Trip");
    EXPECT_TRUE(tree.contains("IMG_1.heic"));
    EXPECT_TRUE(tree.contains("IMG_2 (2).jpg"));
}

TEST(ExporterContinuing, triesWhatFailedLast)
{
    ExportFixture fixture;
    fixture.addTypical();
    fixture.calls->on("read", "*/originals/1/IMG_1.heic").fail(EIO);
    EXPECT_EQ(fixture.run().state, ExportOutcome::State(ExportOutcome::SomeNotRead{.count = 1}));
    EXPECT_EQ(fixture.place.read(unfinished + ".vantorel/try-last.txt"), "Albums/Trip/IMG_1.heic\n");

    fixture.calls->removeRules();
    fixture.place.write(unfinished + ".vantorel/journal.jsonl", "");
    std::vector<std::string> order;
    fixture.settings.hooks.afterItem = [&](const PlannedItem& item) {
        order.push_back(item.sidecarRelativePath);
    };
    const ExportOutcome outcome = fixture.run();
    EXPECT_TRUE(outcome.isFinished());
    EXPECT_THAT(order,
        ElementsAre("Albums/Trip/IMG_2.xmp", "Albums/Home/IMG_2.xmp", "Not in any album/2020/IMG_3.xmp",
            "Albums/Trip/IMG_1.xmp"));
    EXPECT_EQ(fixture.out(), fixture.wholeExport(outcome));
}

TEST(ExporterContinuing, countsWhatItDidNotGetToAsSaved)
{
    ExportFixture fixture;
    fixture.addTypical();
    stopAfterItem(fixture, 3);
    fixture.calls->on("read", "*/Lib export (incomplete)/Albums/Trip/IMG_2.jpg").run([&] {
        fixture.cancel->cancel();
    });
    const ExportOutcome outcome = fixture.run();
    EXPECT_EQ(outcome.state, ExportOutcome::State(ExportOutcome::Cancelled{}));
    EXPECT_EQ(outcome.exportedItems, 3);
    EXPECT_EQ(fixture.verify("Lib export (incomplete)").itemsChecked, 3);
}

TEST(ExporterContinuing, countsWhatIsSavedAlsoWhenItCannotGoOn)
{
    ExportFixture fixture;
    fixture.addTypical();
    stopAfterItem(fixture, 2);
    fixture.calls->fail("makeFolderAt", "*/Albums", EIO);
    const ExportOutcome outcome = fixture.run();
    EXPECT_EQ(outcome.state,
        ExportOutcome::State(ExportOutcome::Failed{.reason = "writing failed: Input/output error"}));
    EXPECT_EQ(outcome.exportedItems, 2);
    EXPECT_EQ(outcome.skipped.size(), 2U);
    EXPECT_EQ(fixture.verify("Lib export (incomplete)").itemsChecked, 2);
}

/// A library may have thousands of albums, and those of several folders take turns.
TEST(ExporterContinuing, listsAFolderNoMoreOftenForMoreAlbums)
{
    const auto listings = [](int albums) {
        ExportFixture fixture;
        for (int i = 1; i <= albums; ++i) {
            const std::string folder = i % 2 == 0 ? "Albums/Trips" : "Albums/Family";
            fixture.add(i, fmt::format("{}/{}", folder, i), {fmt::format("IMG_{}.jpg", i)}, 10);
        }
        stopAfterItem(fixture, 1);
        const auto before = fixture.calls->count("openFolderOf", "*/Albums/Trips");
        EXPECT_TRUE(fixture.run().isFinished());
        return fixture.calls->count("openFolderOf", "*/Albums/Trips") - before;
    };
    EXPECT_GT(listings(4), 0U);
    EXPECT_EQ(listings(4), listings(12));
}

TEST(ExporterContinuing, startsAnewForAnotherPlan)
{
    ExportFixture fixture;
    fixture.addTypical();
    stopAfterItem(fixture, 1);
    fixture.options.peopleAsKeywords = false;
    const ExportOutcome outcome = fixture.run();
    EXPECT_EQ(outcome.folder, fixture.destination() / "Lib export (2)");
    EXPECT_TRUE(fixture.place.has(unfinished + ".vantorel/state.json"));
}

TEST(ExporterContinuing, goesOnWhereOnlyChoicesOutsideTheIdentityDiffer)
{
    ExportFixture fixture;
    fixture.addTypical();
    stopAfterItem(fixture, 1);
    fixture.options.includeUnfiled = false;
    const ExportOutcome outcome = fixture.run();
    EXPECT_EQ(outcome.folder, fixture.destination() / "Lib export");
    EXPECT_EQ(fixture.progress.back().resumedItems, 1);
}

TEST(ExporterContinuing, doesNotWriteIntoAFolderThatAnotherRunHas)
{
    ExportFixture fixture;
    fixture.addTypical();
    stopAfterItem(fixture, 1);
    const Tree before = fixture.out();
    fixture.calls->on("tryLock", "*/journal.jsonl").fail(EWOULDBLOCK);
    EXPECT_EQ(fixture.run(),
        (ExportOutcome{.state = ExportOutcome::CannotStart{
                           .reason = "another export is saving into \"Lib export (incomplete)\" at the "
                                     "moment. Wait until it has ended"}}));
    EXPECT_EQ(fixture.out(), before);
}

TEST(ExporterContinuing, believesNoPathOfTheJournalThatLeadsElsewhere)
{
    ExportFixture fixture;
    fixture.addTypical();
    stopAfterItem(fixture, 1);
    fixture.place.write("Out/precious.jpg", "precious");
    for (const std::string path : {"../precious.jpg", "/etc/passwd", ".vantorel/state.json", "Albums//x",
             "Albums/../../precious.jpg"}) {
        JournalEntry entry{.key = "Albums/Trip/IMG_2.jpg",
            .files = {{.path = path, .size = 1, .sha256 = std::string(64, '0')}},
            .sidecar = "../precious.jpg"};
        std::string journal = fixture.place.read(unfinished + ".vantorel/journal.jsonl");
        journal += journalLine(entry);
        entry.sidecar = "Albums/Trip/IMG_2.xmp";
        fixture.place.write(unfinished + ".vantorel/journal.jsonl", journal + journalLine(entry));
    }
    EXPECT_TRUE(fixture.run().isFinished());
    EXPECT_EQ(fixture.place.read("Out/precious.jpg"), "precious");
}

TEST(ExporterContinuing, removesTheBookkeepingOfAnExportThatWasCutOffAtItsVeryEnd)
{
    ExportFixture fixture;
    fixture.add(1, "Albums/Trip", {"IMG_1.jpg"});
    fixture.run();
    fixture.place.write(
        "Out/Lib export/.vantorel/state.json", stateText({.planID = fixture.plan.id, .library = "Lib"}));
    EXPECT_EQ(fixture.run().folder, fixture.destination() / "Lib export (2)");
    EXPECT_FALSE(fixture.place.has("Out/Lib export/.vantorel"));
}

} // namespace
} // namespace vantorel
