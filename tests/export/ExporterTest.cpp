#include "export/ExportFixture.h"
#include "export/UnfinishedExport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <limits>

namespace vantorel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

ExportOutcome finishedOutcome(const ExportFixture& fixture, std::int64_t items, std::int64_t assets)
{
    const DiskPath folder = fixture.destination() / "Lib export";
    return {.state = ExportOutcome::Finished{},
        .folder = folder,
        .exportedItems = items,
        .exportedAssets = assets,
        .bytesWritten = sizeEstimate(fixture.plan),
        .notes = fixture.plan.notes,
        .reportCSV = folder / "Vantorel report.csv"};
}

TEST(Exporter, savesEverythingByteForByte)
{
    ExportFixture fixture;
    fixture.calls = std::make_shared<ScriptedCalls>(fixture.clock); // with real syncs and cold reads
    fixture.addTypical();
    fixture.plan.notes = {"A note of the plan."};
    fixture.plan.skipped = {
        {.assetPK = 3, .name = "left.jpg", .albumPaths = {"Hidden"}, .reason = "Left out by your choice"}};
    const Tree library = fixture.place.tree("Lib.photoslibrary");

    const ExportOutcome outcome = fixture.run();

    ExportOutcome expected = finishedOutcome(fixture, 4, 3);
    expected.skipped = fixture.plan.skipped;
    EXPECT_EQ(outcome, expected);
    EXPECT_EQ(fixture.out(), fixture.wholeExport(outcome));
    EXPECT_EQ(fixture.place.tree("Lib.photoslibrary"), library);
    for (const PlannedItem& item : fixture.plan.items) {
        const auto saved = *outcome.folder / item.files.front().relativePath;
        EXPECT_EQ(std::filesystem::last_write_time(saved),
            std::filesystem::last_write_time(fixture.library() / item.files.front().source));
    }
    EXPECT_THAT(fixture.verify().differences, IsEmpty());
    EXPECT_THAT(fixture.calls->stillOpen(), IsEmpty());
}

TEST(Exporter, savesTheSameInGroupsOfAnySize)
{
    for (const std::size_t groupSize : {2u, 3u, 100u}) {
        ExportFixture fixture;
        fixture.addTypical();
        fixture.settings.group.items = groupSize;
        std::vector<std::string> order;
        fixture.settings.hooks.afterItem = [&](const PlannedItem& item) {
            order.push_back(item.sidecarRelativePath);
        };
        const ExportOutcome outcome = fixture.run();
        EXPECT_EQ(outcome, finishedOutcome(fixture, 4, 3));
        EXPECT_EQ(fixture.out(), fixture.wholeExport(outcome));
        EXPECT_THAT(order,
            ElementsAre("Albums/Trip/IMG_1.xmp", "Albums/Trip/IMG_2.xmp", "Albums/Home/IMG_2.xmp",
                "Not in any album/2020/IMG_3.xmp"));
    }
}

TEST(Exporter, tellsItsProgressInOrder)
{
    ExportFixture fixture;
    fixture.addTypical();
    fixture.run();
    std::vector<std::string> names;
    std::int64_t chunks = 0;
    ExportProgress last;
    for (const ExportProgress& now : fixture.progress) {
        EXPECT_GE(now.bytesDone, last.bytesDone);
        EXPECT_GE(now.itemsDone, last.itemsDone);
        chunks += now.bytesDone > last.bytesDone ? 1 : 0;
        if (now.currentName != last.currentName) {
            names.push_back(now.currentName);
        }
        last = now;
    }
    EXPECT_THAT(names, ElementsAre("IMG_1.heic", "IMG_2.jpg", "IMG_3.mov"));
    EXPECT_EQ(chunks, 4 + 3); // three small files, one of them twice, and three chunks of the movie
    EXPECT_EQ(last,
        (ExportProgress{.itemsDone = 4,
            .itemsTotal = 4,
            .bytesDone = sizeEstimate(fixture.plan),
            .bytesTotal = sizeEstimate(fixture.plan),
            .currentName = "IMG_3.mov"}));
}

TEST(Exporter, makesEachItemDurableBeforeItIsRecorded)
{
    ExportFixture fixture;
    fixture.add(1, "Albums/Trip", {"IMG_1.jpg"});
    fixture.run();
    std::vector<std::string> steps;
    for (const auto& call : fixture.calls->log()) {
        const std::string path = call.path.native();
        const bool isPart = path.ends_with(".part");
        const bool isFolder = path.ends_with("Albums/Trip");
        const bool isJournal = path.ends_with("journal.jsonl");
        if (call.name == "fullSync" && (isPart || isFolder || isJournal)) {
            steps.push_back(isPart ? "sync file" : isFolder ? "sync folder" : "sync journal");
        } else if (call.name == "readAt" && isPart) {
            steps.emplace_back("read back");
        } else if (call.name == "renameExclusiveAt" && isPart) {
            steps.emplace_back("rename");
        } else if (call.name == "write" && isJournal) {
            steps.emplace_back("journal");
        }
    }
    // The photo and its sidecar, in each step.
    const std::vector<std::string> whole{"sync file", "sync file", "read back", "read back", "rename",
        "rename", "sync folder", "journal", "sync journal"};
    EXPECT_NE(std::ranges::search(steps, whole).begin(), steps.end()) << testing::PrintToString(steps);
}

// What can go wrong with one file, the run going on with the next.

struct Skip {
    const char* name;
    std::function<void(ExportFixture&)> arrange;
    std::string reason;
    bool isCurable = true;
};

void PrintTo(const Skip& row, std::ostream* out) { *out << row.name; }

class ExporterSkip : public testing::TestWithParam<Skip> { };

TEST_P(ExporterSkip, isReportedAndTheRestIsSaved)
{
    ExportFixture fixture;
    fixture.add(1, "Albums/Trip", {"IMG_1.jpg"});
    fixture.add(2, "Albums/Trip", {"IMG_2.jpg"});
    fixture.add(3, "Albums/Trip", {"IMG_3.jpg"});
    GetParam().arrange(fixture);

    const ExportOutcome outcome = fixture.run();

    const ExportOutcome::State finished = ExportOutcome::Finished{};
    EXPECT_EQ(outcome.state,
        GetParam().isCurable ? ExportOutcome::State(ExportOutcome::SomeNotRead{.count = 1}) : finished);
    const std::vector<SkippedItem> skipped{
        {.assetPK = 2, .name = "IMG_2.jpg", .albumPaths = {"Albums/Trip"}, .reason = GetParam().reason}};
    EXPECT_EQ(outcome.skipped, skipped);
    EXPECT_EQ(outcome.exportedItems, 2);
    EXPECT_EQ(fixture.progress.back().skipped, 1);
    const Tree tree = fixture.place.tree(outcome.folder->lexically_relative(fixture.place.path()));
    for (const std::string name : {"Albums/Trip/IMG_2.jpg", "Albums/Trip/IMG_2.xmp"}) {
        EXPECT_FALSE(tree.contains(name)) << name;
    }
    EXPECT_TRUE(tree.contains("Albums/Trip/IMG_3.jpg"));
    EXPECT_THAT(fixture.place.read(outcome.reportCSV->lexically_relative(fixture.place.path())),
        HasSubstr(GetParam().reason));
    EXPECT_THAT(fixture.verify(outcome.folder->filename()).differences, IsEmpty());
}

std::string source(const ExportFixture& fixture, int pk = 2)
{
    const std::string number = std::to_string(pk);
    return (fixture.library() / "originals" / number / ("IMG_" + number + ".jpg")).native();
}

auto onSource(std::function<void(FaultScript::Rule)> disturb, const char* call = "read")
{
    return [=](ExportFixture& fixture) { disturb(fixture.calls->on(call, source(fixture))); };
}

void replaceSource(
    const ExportFixture& fixture, const std::function<void(const std::filesystem::path&)>& make)
{
    std::filesystem::remove(source(fixture));
    make(source(fixture));
}

const std::string silentTwice =
    "The disk stopped answering on this file, also when it was tried again. Run the export again to try it";

INSTANTIATE_TEST_SUITE_P(Rows, ExporterSkip,
    testing::Values(Skip{"aLink",
                        [](ExportFixture& fixture) {
                            replaceSource(fixture, [&](const auto& path) {
                                std::filesystem::create_symlink(source(fixture, 1), path);
                            });
                        },
                        "The library has a link here instead of a file", false},
        Skip{"aLinkedFolder",
            [](ExportFixture& fixture) {
                std::filesystem::rename(fixture.library() / "originals/2", fixture.place / "elsewhere");
                fixture.place.makeLink("Lib.photoslibrary/originals/2", fixture.place / "elsewhere");
            },
            "The library has a link here instead of a file", false},
        Skip{"aFolder",
            [](ExportFixture& fixture) {
                replaceSource(fixture, [](const auto& path) { std::filesystem::create_directory(path); });
            },
            "Not a regular file in the library", false},
        Skip{"gone", [](ExportFixture& fixture) { std::filesystem::remove(source(fixture)); },
            "Could not read the file: No such file or directory"},
        Skip{"refused", onSource([](auto rule) { rule.fail(EACCES); }, "open"),
            "Could not read the file: Permission denied"},
        Skip{"badSpot", onSource([](auto rule) { rule.fail(EIO); }),
            "Could not read the file: Input/output error"},
        Skip{"silentTwice", onSource([](auto rule) { rule.hang(); }), silentTwice},
        Skip{"cloudFile",
            [](ExportFixture& fixture) {
                fixture.calls->on("status", source(fixture)).cloudFile();
                fixture.calls->on("read", source(fixture)).fail(ETIMEDOUT);
            },
            "This file is in a cloud folder, and it may not have been downloaded to this Mac yet. It did not "
            "come in time. Open it in Finder so it downloads, then run the export again"},
        Skip{"grown",
            [](ExportFixture& fixture) {
                fixture.place.write("Lib.photoslibrary/originals/2/IMG_2.jpg", someBytes(3'001));
            },
            "The file changed or came back at another size than when the library was scanned"},
        Skip{"outsideThroughALink",
            [](ExportFixture& fixture) {
                fixture.place.makeLink("shortcut", fixture.library() / "originals/2");
                fixture.plan.items[1].files.front().source = fixture.place / "shortcut/IMG_2.jpg";
            },
            "The library has a link here instead of a file", false},
        Skip{"tooLarge",
            [](ExportFixture& fixture) { fixture.calls->on("write", "*.part").nth(4).fail(EFBIG); },
            "Larger than this disk format allows", false},
        Skip{"tooLargeForFat",
            [](ExportFixture& fixture) { // known before a byte is copied
                fixture.disk->format = "vfat";
                fixture.plan.items[1].files.front().size = 5'000'000'000;
                fixture.calls->on("read", source(fixture)).fail(EIO);
            },
            "Larger than this disk format allows", false},
        Skip{"nameRefused",
            [](ExportFixture& fixture) {
                fixture.calls->on("renameExclusiveAt", "*/IMG_2.jpg").fail(EILSEQ);
                fixture.calls->on("renameExclusiveAt", "*/00000000-*.jpg").fail(EILSEQ);
            },
            "This disk refused the file's name, also a plain one", false},
        Skip{"noFreeName",
            [](ExportFixture& fixture) {
                fixture.calls->on("renameExclusiveAt", "*/IMG_2*.jpg").fail(EEXIST);
            },
            "No free name could be found for this file in its folder", false}));

TEST(Exporter, doesNotNameACopyThatReadsBackDifferently)
{
    ExportFixture fixture;
    fixture.add(1, "Albums/Trip", {"IMG_1.jpg"});
    const auto flipped = fixture.calls->on("readAt", "*.part").at(2'500).flip();
    const ExportOutcome outcome = fixture.run();
    EXPECT_EQ(flipped.hits(), 2U); // also when the sidecar was read, which is not as long
    EXPECT_THAT(reasonsOf(outcome), ElementsAre("The saved copy did not match when read back"));
    const Tree tree = fixture.out();
    EXPECT_FALSE(tree.contains("Lib export (incomplete)/Albums/Trip/IMG_1.jpg"));
    EXPECT_THAT(fixture.place.tree("Out/Lib export (incomplete)/.vantorel/tmp"), IsEmpty());
}

TEST(Exporter, savesThePhotoWhenOnlyItsCompanionFails)
{
    ExportFixture fixture;
    fixture.add(1, "Albums/Trip", {"IMG_1.heic", "IMG_1.mov"});
    fixture.calls->on("read", "*/originals/1/IMG_1.mov").fail(EIO);
    const ExportOutcome outcome = fixture.run();
    EXPECT_EQ(outcome.state, ExportOutcome::State(ExportOutcome::SomeNotRead{.count = 1}));
    EXPECT_EQ(outcome.exportedItems, 1);
    EXPECT_EQ(fixture.place.read("Out/Lib export (incomplete)/Albums/Trip/IMG_1.heic"),
        fixture.sourceBytes(fixture.plan.items[0].files[0]));
    EXPECT_THAT(fixture.verify("Lib export (incomplete)").differences, IsEmpty());

    // The main file fails now: what was saved of the photo stays.
    fixture.calls->on("read", "*/originals/1/IMG_1.heic").fail(EIO);
    EXPECT_EQ(fixture.run().exportedItems, 1);
    EXPECT_THAT(fixture.verify("Lib export (incomplete)").differences, IsEmpty());

    fixture.calls->removeRules();
    const ExportOutcome whole = fixture.run();
    EXPECT_TRUE(whole.isFinished());
    EXPECT_EQ(fixture.out(), fixture.wholeExport(whole));
}

// Names.

TEST(Exporter, givesAnotherNameWhereTheDiskTakesItForOneInUse)
{
    ExportFixture fixture;
    fixture.add(1, "Albums/Trip", {"IMG_1.heic", "IMG_1.mov"});
    fixture.calls->on("renameExclusiveAt", "*/Albums/Trip/IMG_1.heic").fail(EEXIST);
    const ExportOutcome outcome = fixture.run();
    EXPECT_TRUE(outcome.isFinished());
    EXPECT_THAT(outcome.notes,
        ElementsAre("1 items were saved under another name than the plan's, because a file already had that "
                    "name, this disk treats it as one already in use, or refuses it. The report gives the "
                    "name each one got."));
    const Tree tree = fixture.place.tree("Out/Lib export/Albums/Trip");
    std::vector<std::string> names;
    for (const auto& [name, bytes] : tree) {
        names.push_back(name);
    }
    EXPECT_THAT(names, ElementsAre("IMG_1 (2).heic", "IMG_1 (2).mov", "IMG_1 (2).xmp"));
    EXPECT_THAT(fixture.verify().differences, IsEmpty());
    EXPECT_THAT(fixture.place.read("Out/Lib export/Vantorel report.csv"),
        HasSubstr("Albums/Trip/IMG_1 (2).heic; Albums/Trip/IMG_1 (2).mov"));
}

TEST(Exporter, givesAPlainNameWhereTheDiskRefusesThePlannedOne)
{
    for (const int code : {EINVAL, ENOENT, EILSEQ, ENAMETOOLONG, EPERM}) {
        ExportFixture fixture;
        fixture.add(1, "Albums/Trip", {"IMG_1.heic"});
        fixture.calls->on("renameExclusiveAt", "*/Albums/Trip/IMG_1.heic").fail(code);
        EXPECT_TRUE(fixture.run().isFinished()) << code;
        const Tree tree = fixture.place.tree("Out/Lib export/Albums/Trip");
        EXPECT_TRUE(tree.contains("00000000-0000-0000-0000-000000000001.heic")) << code;
        EXPECT_TRUE(tree.contains("00000000-0000-0000-0000-000000000001.xmp")) << code;
        EXPECT_THAT(fixture.verify().differences, IsEmpty());
    }
}

TEST(Exporter, savesAFileWhoseNameNoDiskCanHold)
{
    // An album of long words without a dot but the last: the extension alone may be as long as a name.
    ExportFixture fixture;
    fixture.add(1, "Albums/Trip", {"IMG_1.heic"});
    fixture.plan.items[0].files[0].relativePath =
        "Albums/Trip/" + std::string(180, 'n') + "." + std::string(180, 'x') + ".dat";
    fixture.plan.items[0].sidecarRelativePath = "Albums/Trip/" + std::string(180, 'n') + ".xmp";
    EXPECT_TRUE(fixture.run().isFinished());
    EXPECT_TRUE(fixture.out().contains("Lib export/Albums/Trip/00000000-0000-0000-0000-000000000001.dat"));
    EXPECT_THAT(fixture.verify().differences, IsEmpty());
}

TEST(Exporter, neverReplacesWhatSomebodyElsePutUnderAPlannedName)
{
    ExportFixture fixture;
    fixture.add(1, "Albums/Trip", {"IMG_1.jpg"});
    fixture.add(2, "Albums/Trip", {"IMG_2.jpg"});
    fixture.settings.group.items = 1;
    fixture.settings.hooks.afterItem = [&](const PlannedItem& item) {
        if (item.assetPK == 1) {
            fixture.place.write("Out/Lib export (incomplete)/Albums/Trip/IMG_2.xmp", "mine");
        }
    };
    EXPECT_TRUE(fixture.run().isFinished());
    const Tree tree = fixture.place.tree("Out/Lib export/Albums/Trip");
    EXPECT_EQ(tree.at("IMG_2.xmp"), "mine");
    EXPECT_TRUE(tree.contains("IMG_2 (2).jpg"));
    EXPECT_TRUE(tree.contains("IMG_2 (2).xmp"));
    EXPECT_FALSE(tree.contains("IMG_2.jpg"));
}

TEST(Exporter, putsAlbumsWithRefusedNamesIntoPlainFolders)
{
    ExportFixture fixture;
    fixture.add(1, "Albums/Bad", {"IMG_1.jpg"});
    fixture.add(2, "Albums/Bad/Inner", {"IMG_2.jpg"});
    fixture.add(3, "Albums/Twin", {"IMG_3.jpg"});
    fixture.calls->on("makeFolderAt", "*/Albums/Bad").fail(EINVAL);
    fixture.calls->on("makeFolderAt", "*/Albums/Twin").fail(EEXIST); // another one has the name, it says
    const ExportOutcome outcome = fixture.run();
    EXPECT_TRUE(outcome.isFinished());
    EXPECT_THAT(outcome.notes,
        ElementsAre("2 album folders had names this disk refuses. Their photos are in \"Folders with names "
                    "this disk refused\", and the report gives each file's album."));
    const Tree tree = fixture.place.tree("Out/Lib export/Folders with names this disk refused");
    EXPECT_TRUE(tree.contains("Folder 1/IMG_1.jpg"));
    EXPECT_TRUE(tree.contains("Folder 1/Inner/IMG_2.jpg"));
    EXPECT_TRUE(tree.contains("Folder 2/IMG_3.jpg"));
    EXPECT_THAT(fixture.verify().differences, IsEmpty());
}

// Ends of a run.

TEST(Exporter, isNotFinishedWhenTheScanHadGaps)
{
    ExportFixture fixture;
    fixture.addTypical();
    fixture.scan.originals.entries[8] = {.status = OriginalEntry::Status::unchecked};
    fixture.scan.originals.entries[9] = {
        .status = OriginalEntry::Status::missing, .reason = OriginalEntry::MissingReason::accessDenied};
    const ExportOutcome outcome = fixture.run();
    EXPECT_EQ(outcome.state, ExportOutcome::State(ExportOutcome::SomeNotRead{.count = 2}));
    EXPECT_EQ(outcome.scanGaps, 2);
    EXPECT_EQ(outcome.exportedItems, 4);
    EXPECT_EQ(outcome.folder, fixture.destination() / "Lib export (incomplete)");
    EXPECT_EQ(outcome.reportCSV, *outcome.folder / "Vantorel report (not finished).csv");
    EXPECT_EQ(fixture.place.read("Out/Lib export (incomplete)/READ ME - NOT FINISHED.txt"),
        readMeWhenStopped("Lib export (incomplete)", {.scanReachedEverything = false, .notRead = 2}));
}

TEST(Exporter, givesUpALibraryDiskThatKeepsFailing)
{
    ExportFixture fixture;
    for (int pk = 1; pk <= 9; ++pk) {
        fixture.add(pk, "Albums/Trip", {"IMG_" + std::to_string(pk) + ".jpg"}, 100);
    }
    fixture.addCopy(9, "Albums/Home");
    fixture.calls->on("read", "*/originals/*").fail(EIO);
    const ExportOutcome outcome = fixture.run();
    EXPECT_EQ(outcome.state, ExportOutcome::State(ExportOutcome::SourceFailing{}));
    std::vector<std::string> reasons(8, "Could not read the file: Input/output error");
    reasons.insert(reasons.end(), 2,
        "Not tried again: the disk kept failing on the files before this one. Run the export again to try "
        "it");
    EXPECT_EQ(reasonsOf(outcome), reasons);
    EXPECT_THAT(fixture.place.read("Out/Lib export (incomplete)/.vantorel/try-last.txt"),
        HasSubstr("Albums/Trip/IMG_8.jpg\n"));
}

TEST(Exporter, countsOnlyFailuresInARow)
{
    ExportFixture fixture;
    for (int pk = 1; pk <= 9; ++pk) {
        fixture.add(pk, "Albums/Trip", {"IMG_" + std::to_string(pk) + ".jpg"}, 100);
        if (pk != 5) {
            fixture.calls->on("read", "*/originals/" + std::to_string(pk) + "/*").fail(EIO);
        }
    }
    EXPECT_EQ(fixture.run().state, ExportOutcome::State(ExportOutcome::SomeNotRead{.count = 8}));
}

TEST(Exporter, stopsAfterTwoFilesOnWhichTheDiskIsSilentTwice)
{
    ExportFixture fixture;
    for (int pk = 1; pk <= 3; ++pk) {
        fixture.add(pk, "Albums/Trip", {"IMG_" + std::to_string(pk) + ".jpg"}, 100);
    }
    const auto silent = fixture.calls->on("read", "*/originals/*").hang();
    const ExportOutcome outcome = fixture.run();
    EXPECT_EQ(outcome.state, ExportOutcome::State(ExportOutcome::Stalled{}));
    EXPECT_EQ(silent.hits(), 4U);
    EXPECT_THAT(reasonsOf(outcome),
        ElementsAre(silentTwice, silentTwice,
            "Not tried: the export stopped before this one. Run the export again to save it"));
    EXPECT_THAT(outcome.notes,
        ElementsAre(HasSubstr("2 files, also when they were tried again, and the export went on without "
                              "them. The report names them. Run the export again to try them.")));
    EXPECT_TRUE(std::ranges::any_of(fixture.progress, &ExportProgress::waitingForDisk));
    EXPECT_FALSE(fixture.progress.back().waitingForDisk);
}

TEST(Exporter, savesAFileThatAnswersAtTheSecondTry)
{
    ExportFixture fixture;
    fixture.addTypical();
    fixture.calls->on("read", "*/originals/2/*").nth(1).hang();
    const ExportOutcome outcome = fixture.run();
    EXPECT_EQ(outcome, finishedOutcome(fixture, 4, 3));
    EXPECT_EQ(fixture.progress.back().bytesDone, sizeEstimate(fixture.plan));
}

struct Stop {
    const char* name;
    std::function<void(ExportFixture&)> arrange;
    ExportOutcome::State state;
    bool hasReport = true;
};

void PrintTo(const Stop& row, std::ostream* out) { *out << row.name; }

class ExporterStop : public testing::TestWithParam<Stop> { };

TEST_P(ExporterStop, leavesAFolderThatIsContinued)
{
    ExportFixture fixture;
    fixture.addTypical();
    GetParam().arrange(fixture);
    const ExportOutcome outcome = fixture.run();
    EXPECT_EQ(outcome.state, GetParam().state);
    EXPECT_EQ(outcome.folder, fixture.destination() / "Lib export (incomplete)");
    EXPECT_EQ(outcome.reportCSV.has_value(), GetParam().hasReport);
    EXPECT_THAT(fixture.brokenFiles(), IsEmpty());
    EXPECT_EQ(
        static_cast<std::size_t>(outcome.exportedItems) + outcome.skipped.size(), fixture.plan.items.size());

    fixture.calls->removeRules();
    fixture.clock->endHangs();
    const ExportOutcome again = fixture.run();
    EXPECT_TRUE(again.isFinished());
    EXPECT_EQ(fixture.out(), fixture.wholeExport(again));
}

INSTANTIATE_TEST_SUITE_P(Rows, ExporterStop,
    testing::Values(Stop{"diskFullInMidFile",
                        [](ExportFixture& fixture) { fixture.calls->on("write", "*/tmp/*").room(1'500'000); },
                        ExportOutcome::DestinationFull{}, false},
        Stop{"quota", [](ExportFixture& fixture) { fixture.calls->on("sync", "*.part").nth(7).fail(EDQUOT); },
            ExportOutcome::DestinationFull{}},
        Stop{"becameReadOnly",
            [](ExportFixture& fixture) {
                fixture.calls->on("renameExclusiveAt", "*/IMG_2.jpg").nth(1).fail(EROFS);
            },
            ExportOutcome::Failed{.reason = "the disk you are saving to became read only"}},
        Stop{"writeError",
            [](ExportFixture& fixture) {
                fixture.settings.group.items = 1;
                fixture.calls->on("write", "*/journal.jsonl").nth(2).fail(EIO);
            },
            ExportOutcome::Failed{.reason = "writing failed: Input/output error"}},
        Stop{"destinationGone",
            [](ExportFixture& fixture) {
                fixture.calls->on("write", "*/tmp/*").from(4).fail(EIO).run([&fixture] {
                    fixture.calls->fail("fileSystemIdentifier", fixture.destination().native(), ENOENT);
                });
            },
            ExportOutcome::DestinationGone{}, false},
        Stop{"otherDiskAtTheDestination",
            [](ExportFixture& fixture) {
                fixture.settings.group.items = 1;
                fixture.calls->on("write", "*/journal.jsonl").nth(2).fail(EIO).run([&fixture] {
                    fixture.calls->on("fileSystemIdentifier", fixture.destination().native())
                        .otherFileSystem(4711);
                });
            },
            ExportOutcome::DestinationGone{}, false},
        Stop{"libraryGone",
            [](ExportFixture& fixture) {
                fixture.calls->on("read", "*/originals/2/*").fail(ENXIO).run([&fixture] {
                    fixture.calls->fail("fileSystemIdentifier", fixture.library().native(), ENOENT);
                });
            },
            ExportOutcome::SourceGone{}},
        Stop{"silentWrite",
            [](ExportFixture& fixture) { fixture.calls->on("write", "*/tmp/*").nth(4).hang(); },
            ExportOutcome::Stalled{}, false},
        Stop{"silentSync", [](ExportFixture& fixture) { fixture.calls->on("sync", "*/Albums/Home").hang(); },
            ExportOutcome::Stalled{}, false},
        Stop{"nothingStaysWritten",
            [](ExportFixture& fixture) {
                for (int pk = 11; pk <= 18; ++pk) {
                    fixture.add(pk % 10, "Albums/More", {"M_" + std::to_string(pk) + ".jpg"}, 100);
                }
                fixture.calls->on("readAt", "*.part").at(0).flip();
            },
            ExportOutcome::Failed{
                .reason = "the disk you are saving to does not keep what is written to it"}}));

TEST(Exporter, givesAProgramErrorAName)
{
    ExportFixture fixture;
    fixture.addTypical();
    fixture.settings.hooks.afterItem = [](const PlannedItem&) { throw std::runtime_error("a hook's own"); };
    const ExportOutcome outcome = fixture.run();
    EXPECT_EQ(outcome.state,
        ExportOutcome::State(ExportOutcome::Failed{.reason = "an error in the program (a hook's own)"}));
    EXPECT_TRUE(outcome.reportCSV);
}

} // namespace
} // namespace vantorel
