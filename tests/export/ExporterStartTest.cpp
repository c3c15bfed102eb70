#include "export/ExportFixture.h"
#include "export/UnfinishedExport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>

namespace vantorel {
namespace {

struct Refusal {
    const char* name;
    std::function<void(ExportFixture&, Exporter::Request&)> arrange;
    std::string reason; ///< "%" stands for the folder of the test.
};

void PrintTo(const Refusal& row, std::ostream* out) { *out << row.name; }

class ExporterRefusal : public testing::TestWithParam<Refusal> { };

TEST_P(ExporterRefusal, saysWhyAndWritesNothing)
{
    ExportFixture fixture;
    fixture.addTypical();
    auto request = fixture.request();
    GetParam().arrange(fixture, request);
    const Tree before = fixture.place.tree();

    const ExportOutcome outcome = Exporter(fixture.services()).run(request);

    std::string reason = GetParam().reason;
    for (auto at = reason.find('%'); at != std::string::npos; at = reason.find('%')) {
        reason.replace(at, 1, fixture.place.path().native());
    }
    EXPECT_EQ(outcome, (ExportOutcome{.state = ExportOutcome::CannotStart{.reason = reason}}));
    EXPECT_EQ(fixture.place.tree(), before);
}

template <typename Change>
auto scanWith(Change change)
{
    return [change](ExportFixture& fixture, Exporter::Request& request) {
        change(fixture.scan);
        request.scan = std::make_shared<const LibraryScanResult>(fixture.scan);
    };
}

auto at(std::string folder)
{
    return [folder = std::move(folder)](ExportFixture& fixture, Exporter::Request& request) {
        request.destination = fixture.place / folder;
    };
}

auto failing(std::string call, std::string path, int code)
{
    return [=](ExportFixture& fixture, Exporter::Request&) {
        fixture.calls->fail(call, (fixture.place / path).native(), code);
    };
}

const std::string readOnlyFolder = "the folder \"%/Out\" is read only. Choose a folder on another disk";
const std::string insideLibrary =
    "that folder is inside the library, and Vantorel never writes there. Choose another folder";
const std::string unreadableDisk = "the disk of that folder cannot be read";

INSTANTIATE_TEST_SUITE_P(Rows, ExporterRefusal,
    testing::Values(
        Refusal{"interruptedScan", scanWith([](LibraryScanResult& scan) {
                    scan.originals.state = OriginalsReport::State::interrupted;
                }),
            "the scan of this library did not finish, so what is on the disk is not known yet. Connect the "
            "drive and scan it again first"},
        Refusal{"nothingSeen", scanWith([](LibraryScanResult& scan) {
                    for (auto& [pk, entry] : scan.originals.entries) {
                        entry.file.reset();
                    }
                }),
            "no photos could be seen on the disk in this scan, so there is nothing to save yet. Connect the "
            "drive, give it a moment and scan it again"},
        Refusal{
            "missingFolder", at("Nowhere"), "the folder \"%/Nowhere\" is not there. Choose another folder"},
        Refusal{"aFile",
            [](ExportFixture& fixture, Exporter::Request& request) {
                request.destination = fixture.place.write("a file", "x");
            },
            "the folder \"%/a file\" is not there. Choose another folder"},
        Refusal{"diskTrouble", failing("status", "Out", EIO), unreadableDisk},
        Refusal{"noVolumeFacts", failing("fileSystemOf", "Out", EIO), unreadableDisk},
        Refusal{"folderCannotBeListed", failing("list", "Out", EIO), unreadableDisk},
        Refusal{"noRight", failing("mayWrite", "Out", EACCES), readOnlyFolder},
        Refusal{"readOnlyDisk", failing("mayWrite", "Out", EROFS), readOnlyFolder},
        Refusal{"theLibraryItself", at("Lib.photoslibrary"), insideLibrary},
        Refusal{"deepInTheLibrary", at("Lib.photoslibrary/originals/1"), insideLibrary},
        Refusal{"anotherWayIntoTheLibrary",
            [](ExportFixture& fixture, Exporter::Request& request) {
                // As through a second mount of the disk: another path, the same folder by its numbers.
                const auto real = realSystemCalls()->status(fixture.library(), FS::Links::followed);
                fixture.calls->on("status", (fixture.place / "Out").native())
                    .changeStatus([device = real->device, inode = real->inode](FileStatus& status) {
                        status.device = device;
                        status.inode = inode;
                    });
                fixture.place.makeFolder("Out/deeper");
                request.destination = fixture.place / "Out/deeper";
            },
            insideLibrary},
        Refusal{"aLinkToAFolder",
            [](ExportFixture& fixture, Exporter::Request& request) {
                request.destination = fixture.place.makeLink("link", "Out");
            },
            "the folder \"%/link\" holds a link where a folder should be, so Vantorel does not write through "
            "it. Choose another folder"},
        Refusal{"aLinkOnTheWay",
            [](ExportFixture& fixture, Exporter::Request& request) {
                fixture.place.makeFolder("Out/inner");
                request.destination = fixture.place.makeLink("link", "Out") / "inner";
            },
            "the folder \"%/link/inner\" holds a link where a folder should be, so Vantorel does not write "
            "through it. Choose another folder"},
        Refusal{"theUnfinishedFolder",
            [](ExportFixture& fixture, Exporter::Request& request) {
                fixture.place.write("Out/X export (incomplete)/.vantorel/state.json",
                    stateText({.planID = "0", .library = "X"}));
                request.destination = fixture.place.makeFolder("Out/X export (incomplete)/Albums");
            },
            "that folder belongs to the unfinished export \"X export (incomplete)\". Choose the folder that "
            "contains it, \"%/Out\", and the export continues where it stopped"},
        Refusal{"libraryGone",
            [](ExportFixture& fixture, Exporter::Request&) {
                std::filesystem::rename(fixture.library(), fixture.place / "Elsewhere");
            },
            "the library \"%/Lib.photoslibrary\" is not there any more. Connect its disk, or scan it again "
            "first"},
        Refusal{"libraryRefused", failing("open", "Lib.photoslibrary", EACCES),
            "access to the library \"%/Lib.photoslibrary\" was refused. Check its permissions first"},
        Refusal{"silentLibrary",
            [](ExportFixture& fixture, Exporter::Request&) {
                fixture.calls->on("open", fixture.library().native()).hang();
            },
            "the disk with the library did not answer. A sleeping drive can take a minute: wait a moment, or "
            "check the connection, and run the export again"},
        Refusal{"silentDestination",
            [](ExportFixture& fixture, Exporter::Request&) {
                fixture.calls->on("status", (fixture.place / "Out").native()).hang();
            },
            "the disk of that folder did not answer. A sleeping drive can take a minute: wait a moment, or "
            "check the connection, and run the export again"},
        Refusal{"folderCannotBeMade", failing("makeFolderAt", "Out/Lib export (incomplete)", ENOSPC),
            "the output folder could not be created: No space left on device"},
        Refusal{"stateCannotBeWritten", failing("sync", "Out/Lib export (incomplete)/.vantorel", ENOSPC),
            "the output folder could not be created: No space left on device"}));

TEST(ExporterStart, refusesADiskThatIsTooSmall)
{
    ExportFixture fixture;
    fixture.addTypical();
    fixture.settings.checkFreeSpace = true;
    fixture.add(9, "Albums/Trip", {"huge.mov"});
    fixture.plan.items.back().files.front().size = std::int64_t{1} << 60;
    const ExportOutcome outcome = fixture.run();
    const auto* space = std::get_if<ExportOutcome::NotEnoughSpace>(&outcome.state);
    ASSERT_NE(space, nullptr);
    EXPECT_GE(space->needed, std::int64_t{1} << 60);
    EXPECT_EQ(fixture.out(), Tree());
}

TEST(ExporterStart, isPatientWithAFullFolderOnASlowDisk)
{
    ExportFixture fixture;
    fixture.addTypical();
    for (const char* other : {"a (incomplete)", "b (incomplete)", "c (incomplete)"}) {
        fixture.place.makeFolder("Out/" + std::string(other));
    }
    // In all far more than the silence that is allowed, and never silent for so long.
    const auto slow =
        fixture.calls->on("nextEntry", fixture.destination().native()).delay(std::chrono::seconds(6));
    EXPECT_TRUE(fixture.run().isFinished());
    EXPECT_GT(slow.hits(), 3U);
}

TEST(ExporterStart, needsNoSpaceForWhatTheJournalHas)
{
    ExportFixture fixture;
    fixture.add(1, "Albums/Trip", {"IMG_1.jpg"});
    fixture.add(9, "Albums/Trip", {"huge.mov"});
    fixture.plan.items.back().files.front().size = std::int64_t{1} << 60;
    fixture.settings.checkFreeSpace = true;
    const std::string id = fixture.request().plan->id;
    fixture.place.write(
        "Out/Lib export (incomplete)/.vantorel/state.json", stateText({.planID = id, .library = "Lib"}));
    fixture.place.write("Out/Lib export (incomplete)/.vantorel/journal.jsonl",
        journalLine({.key = "Albums/Trip/huge.mov",
            .files = {{.path = "Albums/Trip/huge.mov", .size = 1, .sha256 = std::string(64, '0')}},
            .sidecar = "Albums/Trip/huge.xmp"}));
    EXPECT_EQ(fixture.run().state, ExportOutcome::State(ExportOutcome::SomeNotRead{.count = 1}));
}

TEST(ExporterStart, takesNothingForGrantedAfterAStop)
{
    ExportFixture fixture;
    fixture.addTypical();
    fixture.cancel->cancel();
    EXPECT_EQ(fixture.run(), (ExportOutcome{.state = ExportOutcome::Cancelled{}}));
    EXPECT_EQ(fixture.out(), Tree());
}

TEST(ExporterStart, numbersTheFolderWhileAnotherHasItsName)
{
    ExportFixture fixture;
    fixture.add(1, "Albums/Trip", {"IMG_1.jpg"});
    fixture.place.makeFolder("Out/Lib export");
    fixture.place.write("Out/Lib export (2) (incomplete)/mine.txt", "not ours");
    EXPECT_EQ(fixture.run().folder, fixture.destination() / "Lib export (3)");
    EXPECT_EQ(fixture.run().folder, fixture.destination() / "Lib export (4)");
    EXPECT_EQ(fixture.place.read("Out/Lib export (2) (incomplete)/mine.txt"), "not ours");
}

} // namespace
} // namespace vantorel
