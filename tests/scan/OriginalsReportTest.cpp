#include "scan/OriginalsReport.h"

#include <gtest/gtest.h>

namespace vantorel {
namespace {

using Status = OriginalEntry::Status;
using Reason = OriginalEntry::MissingReason;

constexpr std::string_view stillInCloud =
    "Only a still picture of this video here: the video stayed in iCloud (Optimize Storage)";
constexpr std::string_view stillOnly = "Only a still picture of this video here: the video is missing";

TEST(StatusText, followsTheEntry)
{
    const std::pair<OriginalEntry, std::string_view> rows[] = {
        {{.status = Status::derivativeOnly, .reason = Reason::onlyInCloud, .isStillOfVideo = true},
            stillInCloud},
        {{.status = Status::derivativeOnly, .reason = Reason::notFound, .isStillOfVideo = true}, stillOnly},
        {{.status = Status::present, .isStillOfVideo = true, .partnerMissing = true}, stillOnly},
        {{.status = Status::present, .partnerMissing = true},
            "Original present, but its Live Photo video or paired file is not in this copy"},
        {{.status = Status::present}, "Original present"},
        {{.status = Status::presentSizeDiffers},
            "Original present, but its size differs from the database, so it may be damaged"},
        {{.status = Status::referenced}, "Original present outside the library"},
        {{.status = Status::derivativeOnly, .reason = Reason::onlyInCloud},
            "Only a smaller copy here: the original stayed in iCloud (Optimize Storage)"},
        {{.status = Status::derivativeOnly, .reason = Reason::emptyFile},
            "Only a smaller copy here: the original file is there but empty"},
        {{.status = Status::derivativeOnly, .reason = Reason::accessDenied},
            "Only a smaller copy found: macOS refused access to the folder of the original"},
        {{.status = Status::derivativeOnly, .reason = Reason::folderUnreadable},
            "Only a smaller copy found: the folder of the original could not be read"},
        {{.status = Status::derivativeOnly, .reason = Reason::notFound},
            "Only a smaller copy here: the original is missing"},
        {{.status = Status::derivativeOnly}, "Only a smaller copy here: the original is missing"},
        {{.status = Status::missing, .reason = Reason::onlyInCloud},
            "Missing: the original stayed in iCloud (Optimize Storage) and is not in this copy"},
        {{.status = Status::missing, .reason = Reason::sharedAlbumItem},
            "Missing: this is a shared album item, which is not stored as an original"},
        {{.status = Status::missing, .reason = Reason::referencedFileGone},
            "Missing: the library only pointed at a file elsewhere, and that file is not there"},
        {{.status = Status::missing, .reason = Reason::notFound}, "Missing: not in this copy of the library"},
        {{.status = Status::missing}, "Missing: not in this copy of the library"},
        {{.status = Status::missing, .reason = Reason::emptyFile}, "Missing: the file is there but empty"},
        {{.status = Status::missing, .reason = Reason::accessDenied},
            "Not read: macOS refused access to the file or its folder. This can usually be fixed"},
        {{.status = Status::missing, .reason = Reason::refusedLocation},
            "Not read: the library points at a file outside itself, in a place or of a type Vantorel does "
            "not read"},
        {{.status = Status::missing, .reason = Reason::folderUnreadable},
            "Not checked: its folder could not be read"},
        {{.status = Status::unchecked, .reason = Reason::folderUnreadable},
            "Not checked: its folder could not be read"},
        {{.status = Status::unchecked}, "Not checked"},
    };
    for (const auto& [entry, expected] : rows) {
        EXPECT_EQ(statusText(entry), expected);
    }
}

TEST(ItemRow, isFineOnlyForAWholeOriginal)
{
    Asset asset;
    asset.pk = 7;
    asset.uuid = "id";
    asset.fileName = "id.jpeg";
    asset.originalFileName = "Beach.jpeg";
    asset.dateCreated = Date(std::chrono::seconds(1'000));
    const ItemRow whole{.id = 7,
        .name = "Beach.jpeg",
        .date = asset.dateCreated,
        .status = "Original present",
        .isFine = true};
    EXPECT_EQ(itemRow(asset, {.status = Status::present}), whole);

    asset.originalFileName = "";
    EXPECT_EQ(shownName(asset), "id.jpeg");
    asset.fileName = "";
    EXPECT_EQ(shownName(asset), "id");
    EXPECT_FALSE(itemRow(asset, {.status = Status::present, .partnerMissing = true}).isFine);
    EXPECT_FALSE(itemRow(asset, {.status = Status::presentSizeDiffers}).isFine);
    EXPECT_FALSE(itemRow(asset, {.status = Status::referenced}).isFine);
}

struct NoteRow {
    std::vector<std::string> unreadable{};
    std::vector<std::string> denied{};
    int inUnreadable = 0;
    int inDenied = 0;
    bool readWhole = true;
    bool wasCancelled = false;
    std::vector<std::string> expected{};
};

const std::string laterScan = " A later scan may reach more, if the disk answers better.";
const std::string permissions =
    " This is about permissions, not damage. Check that Vantorel has Full Disk Access in System Settings. On "
    "an "
    "external disk, turn on \"Ignore ownership on this volume\" in Finder's Get Info. Then scan again.";

TEST(ProblemNotes, countFoldersAndItems)
{
    const NoteRow rows[] = {
        {},
        {.unreadable = {"originals/A"},
            .inUnreadable = 3,
            .expected = {"The folder originals/A could not be read in full. 3 items are in those places and "
                         "could not "
                         "be checked, so their originals are not saved."
                + laterScan}},
        {.unreadable = {"originals/A"},
            .inUnreadable = 1,
            .expected =
                {"The folder originals/A could not be read in full. 1 item is in those places and could not "
                 "be checked, so its original is not saved."
                    + laterScan}},
        {.unreadable = {"originals/A"},
            .expected =
                {"The folder originals/A could not be read in full. Every item the library names there was "
                 "found, but other files there may not be counted."}},
        {.unreadable = {"a", "b"},
            .readWhole = false,
            .expected =
                {"2 folders could not be read in full (a, b). The database cannot say what else is there, so "
                 "how many photos that is, is not known."}},
        {.unreadable = {"a", "b", "c", "d", "e"},
            .inUnreadable = 1'234,
            .expected =
                {"5 folders could not be read in full (a, b, c, d, e). 1,234 items are in those places and "
                 "could not be checked, so their originals are not saved."
                    + laterScan}},
        {.unreadable = {"a", "b", "c", "d", "e", "f"},
            .expected =
                {"6 folders could not be read in full (a, b, c, d, e and others). Every item the library "
                 "names there was found, but other files there may not be counted."}},
        {.inUnreadable = 2,
            .expected =
                {"Some files outside this library could not be read. 2 items are in those places and could "
                 "not be checked, so their originals are not saved."
                    + laterScan}},
        {.denied = {"originals/B"},
            .expected = {"macOS refused access to the folder originals/B." + permissions}},
        {.denied = {"originals/B"},
            .inDenied = 1,
            .expected = {"macOS refused access to the folder originals/B, which holds 1 item."
                + permissions}},
        {.denied = {"a", "b", "c", "d", "e", "f"},
            .inDenied = 1'000,
            .expected =
                {"macOS refused access to 6 folders (a, b, c, d, e and others), which holds 1,000 items."
                    + permissions}},
        {.unreadable = {"u"},
            .denied = {"d"},
            .wasCancelled = true,
            .expected =
                {"The folder u could not be read in full. Every item the library names there was found, but "
                 "other files there may not be counted.",
                    "macOS refused access to the folder d." + permissions,
                    "The check of the files was stopped before it finished."}},
    };
    for (const NoteRow& row : rows) {
        OriginalsReport report{.unreadableFolders = row.unreadable, .deniedFolders = row.denied};
        std::int64_t pk = 0;
        for (int i = 0; i < row.inUnreadable; ++i) {
            report.entries[++pk] = {.status = Status::unchecked, .reason = Reason::folderUnreadable};
        }
        for (int i = 0; i < row.inDenied; ++i) {
            report.entries[++pk] = {.status = Status::missing, .reason = Reason::accessDenied};
        }
        report.entries[++pk] = {.status = Status::missing, .reason = Reason::notFound}; // counts nowhere
        EXPECT_EQ(problemNotes(report, row.readWhole, row.wasCancelled), row.expected);
    }
}

} // namespace
} // namespace vantorel
