#include "export/ExportOutcome.h"

#include "export/ReadMe.h"

#include <gtest/gtest.h>

namespace vantorel {
namespace {

using Severity = DamageReport::Severity;

struct Ending {
    ExportOutcome outcome;
    std::string name;
    std::string title;
    std::string message;
};
void PrintTo(const Ending& value, std::ostream* out) { *out << value.name << ": " << value.message; }

const std::string again =
    "Run the export again and choose the place you chose before, not the \"(incomplete)\" "
    "folder. It continues where it stopped.";

class OutcomeOfAnExport : public testing::TestWithParam<Ending> { };

TEST_P(OutcomeOfAnExport, isToldInWords)
{
    EXPECT_EQ(stateName(GetParam().outcome.state), GetParam().name);
    EXPECT_EQ(title(GetParam().outcome), GetParam().title);
    EXPECT_EQ(message(GetParam().outcome), GetParam().message);
}

ExportOutcome saved(std::int64_t assets, std::int64_t copies, std::size_t skipped = 0)
{
    return {.exportedItems = copies, .exportedAssets = assets, .skipped = std::vector<SkippedItem>(skipped)};
}

ExportOutcome notRead(std::int64_t count, std::int64_t gaps)
{
    return {.state = ExportOutcome::SomeNotRead{count}, .scanGaps = gaps};
}

ExportOutcome limited(const DamageReport& damage)
{
    auto outcome = saved(2, 2);
    outcome.sourceLimit = sourceLimitOf(damage);
    outcome.lostAllAlbums = lostAllAlbums(damage);
    return outcome;
}

const std::string lost =
    "The library's database could not be read, so the files are saved without albums, captions or names.";
const std::string rebuilt =
    "The library's database was damaged and rebuilt from what could be read, so some albums "
    "or details may be missing.";
const std::string rest = ", so this export is not finished. Everything else is saved and checked in the "
                         "\"(incomplete)\" folder, and its report names what is left. Check the connection. "
    + again;
constexpr auto unreadable = DamageReport::Loss::Kind::databaseBytesUnreadable;

INSTANTIATE_TEST_SUITE_P(Rows, OutcomeOfAnExport,
    testing::Values(
        Ending{saved(1, 2), "finished", "Export finished", "1 photo or video saved, as 2 copies in folders."},
        Ending{saved(3, 3, 1), "finished", "Export finished",
            "3 photos and videos saved. 1 could not be saved or were left out. The report lists each one."},
        Ending{saved(0, 0), "finished", "Export finished", "0 photos and videos saved."},
        Ending{saved(1234, 5678, 1000), "finished", "Export finished",
            "1,234 photos and videos saved, as 5,678 copies in folders. 1,000 could not be saved or were "
            "left out. "
            "The report lists each one."},
        Ending{limited({.severity = Severity::none, .diskDidNotAnswer = true}), "finished", "Export finished",
            "2 photos and videos saved."},
        Ending{limited({.severity = Severity::walLost, .diskDidNotAnswer = true}), "finished",
            "Export finished, details may be missing",
            "2 photos and videos saved. The newest changes to the library could not be read, so recent "
            "albums, "
            "captions or other changes may be missing."},
        Ending{limited({.severity = Severity::salvaged}), "finished",
            "Export finished, details may be missing", "2 photos and videos saved. " + rebuilt},
        Ending{limited({.severity = Severity::salvaged, .losses = {{.kind = unreadable, .count = 4096}}}),
            "finished", "Export finished, details may be missing",
            "2 photos and videos saved. " + rebuilt
                + " If the disk recovers, scan again and export again: the albums may come back."},
        Ending{limited({.severity = Severity::fromJournals, .diskDidNotAnswer = true}), "finished",
            "Export finished, details may be missing",
            "2 photos and videos saved. The library's database could not be used, so albums and details come "
            "from "
            "Photos' change journals, and some may be missing."},
        Ending{limited({.severity = Severity::databaseLost}), "finished", "Files saved, without albums",
            "2 photos and videos saved. " + lost},
        Ending{limited({.severity = Severity::databaseLost, .diskDidNotAnswer = true}), "finished",
            "Files saved, without albums",
            "2 photos and videos saved. " + lost + " If the disk recovers, scan again for the rest."},
        Ending{notRead(1, 0), "someNotRead", "1 item is not saved yet",
            "1 item could not be read from the disk" + rest},
        Ending{notRead(2000, 0), "someNotRead", "2,000 items are not saved yet",
            "2,000 items could not be read from the disk" + rest},
        Ending{notRead(1, 1), "someNotRead", "1 item is not saved yet",
            "1 item could not be read or checked on the disk" + rest},
        Ending{notRead(5, 2), "someNotRead", "5 items are not saved yet",
            "5 items could not be read or checked on the disk" + rest},
        Ending{{.state = ExportOutcome::Failed{"writing failed: No such device"}}, "failed",
            "Export not finished",
            "The export stopped: writing failed: No such device. It is not complete. " + again},
        Ending{{.state = ExportOutcome::CannotStart{"the disk of that folder cannot be read"}}, "cannotStart",
            "Export not started",
            "The export did not start: the disk of that folder cannot be read. Nothing was written."},
        Ending{{.state = ExportOutcome::NotEnoughSpace{2'000'000'000'000, 3'400'000}}, "notEnoughSpace",
            "Export not started",
            "This export needs about 2.00 TB and 3.4 MB is free on that disk. Nothing was written. Choose "
            "another "
            "disk, or leave out hidden photos, Recently Deleted or smaller copies."},
        Ending{{.state = ExportOutcome::Cancelled{}}, "cancelled", "Export not finished",
            "Stopped. What is in the folder is not complete. " + again},
        Ending{{.state = ExportOutcome::SourceGone{}}, "sourceGone", "Export not finished",
            "The disk with the library was disconnected. The export is not complete. Connect it. " + again
                + " If the disk comes back under another name, go back to Libraries and scan it again "
                  "first."},
        Ending{{.state = ExportOutcome::SourceFailing{}}, "sourceFailing", "Export not finished",
            "The disk with the library keeps giving read errors or not answering, so the export stopped. "
            "What is in "
            "the folder is not complete. Check the cable or try another port. "
                + again + " The files that failed are tried last."},
        Ending{{.state = ExportOutcome::DestinationGone{}}, "destinationGone", "Export not finished",
            "The disk you are saving to was disconnected. The export is not complete. Connect it. " + again},
        Ending{{.state = ExportOutcome::DestinationFull{}}, "destinationFull", "Export not finished",
            "The disk you are saving to is full. The export is not complete. Free some space. " + again},
        Ending{{.state = ExportOutcome::Stalled{}}, "stalled", "Export not finished",
            "A disk stopped answering, even after a wait of some minutes, so the export stopped here. What "
            "is in the "
            "folder is good, but not complete. A sleeping or busy drive can come back: wait a moment, or "
            "check the "
            "connection. "
                + again}));

TEST(ReadMeOfAFinishedExport, tellsWhatThisFolderHoldsAndNoLineOfItComesFromTheLibrary)
{
    ExportPlan plan{.libraryName = "My\nLibrary",
        .folders = {"Albums", "Albums/Hidden", "Not in any album", "Not in any album/2019"},
        .items = {{.sidecarRelativePath = "Albums/Hidden/a (smaller copy).xmp"}},
        .notes = {"Smart album \"x\ny\" is a rule."}};
    EXPECT_EQ(readMeFinished(plan, saved(1, 1)),
        "Photos and videos of the library \"My\\nLibrary\", saved by Vantorel.\n"
        "\n"
        "1 photo or video saved.\n"
        "\n"
        "Folders\n"
        "- \"Albums\": one folder for each album, in the folders that hold them in the library. A photo in "
        "two "
        "albums is saved in both.\n"
        "- \"Not in any album\": photos and videos in no album, by the year of their date; those without a "
        "date are "
        "in \"Unknown date\".\n"
        "\n"
        "Names\n"
        "- Names are those of the library. Characters that some disks refuse became \"-\", and where two "
        "names would "
        "have been the same, the second has a number, as in \"Name (2)\".\n"
        "- \"(smaller copy)\" in a name: the original was not in the library, only a copy with fewer "
        "pixels.\n"
        "\n"
        "Details\n"
        "- Beside each photo or video lies a file of the same name that ends in \".xmp\". It holds what the "
        "library "
        "knew: title, caption, keywords, People, dates, place, whether it was a favourite or hidden, the "
        "albums it "
        "was saved in, and which details were lost. Many photo programs read it.\n"
        "- \"Vantorel report.csv\" lists every item of the library, saved or not, with the SHA-256 digest of "
        "each "
        "file.\n"
        "\n"
        "Notes\n"
        "- Smart album \"x\\ny\" is a rule.\n");
}

} // namespace
} // namespace vantorel
