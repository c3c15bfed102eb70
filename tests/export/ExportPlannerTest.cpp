#include "export/ExportPlanner.h"

#include "base/Digest.h"
#include "export/SafeNames.h"

#include <algorithm>
#include <limits>
#include <map>
#include <random>
#include <set>

#include <gtest/gtest.h>

namespace vantorel {
namespace {

using namespace std::chrono_literals;
using Status = OriginalEntry::Status;
using Reason = OriginalEntry::MissingReason;
using Strings = std::vector<std::string>;

/// A library put together line by line; keys count up from 1.
struct Library {
    LibraryScanResult scan;

    Library() { scan.snapshot.name = "My Library"; }

    /// A photo whose original is here, of 10 bytes.
    std::int64_t photo(const std::string& name)
    {
        const auto pk = static_cast<std::int64_t>(scan.snapshot.assets.size()) + 1;
        const auto uuid = "U" + std::to_string(pk);
        const auto dot = name.rfind('.');
        const auto onDisk = uuid + (dot == std::string::npos ? "" : name.substr(dot));
        scan.snapshot.assets.push_back(
            {.pk = pk, .uuid = uuid, .directory = "U", .fileName = onDisk, .originalFileName = name});
        scan.originals.entries[pk] = {
            .status = Status::present, .file = ResolvedFile{.path = "originals/U/" + onDisk, .size = 10}};
        return pk;
    }
    Asset& asset(std::int64_t pk) { return scan.snapshot.assets[static_cast<std::size_t>(pk) - 1]; }
    OriginalEntry& entry(std::int64_t pk) { return scan.originals.entries[pk]; }
    std::int64_t album(std::optional<std::string> title, const std::vector<std::int64_t>& photos = {},
        std::optional<std::int64_t> parent = {}, Album::Kind kind = Album::Kind::album)
    {
        const auto pk = static_cast<std::int64_t>(scan.snapshot.albums.size()) + 1;
        scan.snapshot.albums.push_back(
            {.pk = pk, .title = std::move(title), .kind = kind, .parentPK = parent, .assetPKs = photos});
        return pk;
    }
    std::int64_t folder(std::optional<std::string> title, std::optional<std::int64_t> parent = {})
    {
        return album(std::move(title), {}, parent, Album::Kind::folder);
    }
    Album& lastAlbum() { return scan.snapshot.albums.back(); }
    ExportPlan plan(const ExportOptions& options = {}) const { return planExport(scan, options); }
};

Strings paths(const ExportPlan& plan)
{
    Strings result;
    for (const auto& item : plan.items) {
        for (const auto& file : item.files) {
            result.push_back(file.relativePath);
        }
    }
    return result;
}

struct Skipped {
    std::int64_t pk;
    Strings folders;
    std::string reason;
    bool operator==(const Skipped&) const = default;
};
std::vector<Skipped> skipped(const ExportPlan& plan)
{
    std::vector<Skipped> result;
    for (const auto& item : plan.skipped) {
        result.push_back({item.assetPK, item.albumPaths, item.reason});
    }
    return result;
}

TEST(ExportPlan, holdsEveryCopyWithItsCompanionsAndSidecar)
{
    Library library;
    const auto live = library.photo("IMG_1.HEIC");
    library.asset(live).isLivePhoto = true;
    library.entry(live).file->companions = {{.path = "originals/U/U1_3.mov", .size = 5}};
    library.album("Rome", {live}, library.folder("Holidays"));
    library.album("Best", {live});
    const auto plan = library.plan();

    const auto copy = [](const std::string& folder) {
        return PlannedItem{.assetPK = 1,
            .assetUUID = "U1",
            .albumPath = folder,
            .files = {{"originals/U/U1.HEIC", folder + "/IMG_1.HEIC", 10},
                {"originals/U/U1_3.mov", folder + "/IMG_1.mov", 5}},
            .sidecarRelativePath = folder + "/IMG_1.xmp"};
    };
    ExportPlan expected{.libraryName = "My Library",
        .folders = {"Albums", "Albums/Holidays", "Albums/Holidays/Rome", "Albums/Best"},
        .items = {copy("Albums/Holidays/Rome"), copy("Albums/Best")}};
    expected.id = sha256("My Library|true|false|true|true|false\n"
                         "Albums/Holidays/Rome/IMG_1.HEIC\x01"
                         "10\x01U1.HEIC\n"
                         "Albums/Holidays/Rome/IMG_1.mov\x01"
                         "5\x01U1_3.mov\n"
                         "Albums/Best/IMG_1.HEIC\x01"
                         "10\x01U1.HEIC\n"
                         "Albums/Best/IMG_1.mov\x01"
                         "5\x01U1_3.mov\n");
    EXPECT_EQ(plan, expected);
    EXPECT_EQ(sizeEstimate(plan), 30);
    EXPECT_EQ(neededBytes(plan, 4), 2 * (12 + 8 + 4));
}

TEST(ExportPlan, sumsSizesWithoutWrappingAround)
{
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    const auto planOf = [](std::int64_t a, std::int64_t b) {
        return ExportPlan{.items = {{.files = {{"x", "x", a}, {"y", "y", b}}}}};
    };
    EXPECT_EQ(sizeEstimate(planOf(most, 1)), most);
    EXPECT_EQ(sizeEstimate(planOf(-5, 7)), 7);
    EXPECT_EQ(neededBytes(planOf(most, most), 4096), most);
    EXPECT_EQ(neededBytes(planOf(most - 1, 0), 4294967295U), most);
    EXPECT_EQ(neededBytes(planOf(0, 4096), 4096), 8192);
    EXPECT_EQ(neededBytes(planOf(1, 4097), 0), 4096 * 4);
}

TEST(AlbumFolders, followTheTreeOfTheLibrary)
{
    Library library;
    const auto root = library.album({}, {}, {}, Album::Kind::root);
    const auto trips = library.folder("Trips", root);
    library.album("a/b", {}, trips);
    library.album("", {}, trips);
    library.album({}, {}, trips);
    library.folder(" . ", trips);
    library.album("TRIPS", {}, root);
    library.album("\u00C9t\u00E9", {}, root);
    library.album("E\u0301TE\u0301", {});
    EXPECT_EQ(library.plan().folders,
        (Strings{"Albums", "Albums/Trips", "Albums/Trips/a-b", "Albums/Trips/Untitled Album",
            "Albums/Trips/Untitled Album (2)", "Albums/Trips/Untitled Folder", "Albums/TRIPS (2)",
            "Albums/\u00C9t\u00E9", "Albums/\u00C9T\u00C9 (2)"}));
}

TEST(AlbumFolders, areGivenToAlbumsAndFoldersAlone)
{
    Library library;
    const auto photo = library.photo("a.jpg");
    const auto gone = library.folder("Deleted folder");
    library.lastAlbum().isTrashed = true;
    library.album("Kept", {}, gone);
    library.album("Deleted", {photo});
    library.lastAlbum().isTrashed = true;
    library.album("Slides", {photo}, {}, Album::Kind::other);
    library.album("Shared", {photo}, {}, Album::Kind::shared);
    library.album("Rule", {photo}, {}, Album::Kind::smart);
    library.album("", {}, {}, Album::Kind::smart);
    library.album("Old rule", {}, {}, Album::Kind::smart);
    library.lastAlbum().isTrashed = true;
    const auto plan = library.plan();
    EXPECT_EQ(plan.folders,
        (Strings{"Albums", "Albums/Kept", "Not in any album", "Not in any album/Unknown date"}));
    EXPECT_EQ(plan.notes,
        (Strings{"1 albums or folders had a damaged place in the tree and were saved at the top level.",
            "Smart album \"Rule\" is a rule, not a list of photos, and was not exported as a folder.",
            "Smart album \"Untitled Album\" is a rule, not a list of photos, and was not exported as a "
            "folder.",
            "This library has 1 shared album. It is not exported."}));
    library.album("Shared too", {}, {}, Album::Kind::shared);
    EXPECT_EQ(
        sharedAlbumsNote(library.scan.snapshot), "This library has 2 shared albums. They are not exported.");
}

TEST(AlbumFolders, comeOutOfAnyDamagedTreeOnce)
{
    Library library;
    library.folder("Self", 1);
    library.folder("Ring b", 3);
    library.folder("Ring a", 2);
    library.album("In ring", {}, 3);
    library.album("Orphan", {}, 99);
    library.album("Under album", {}, 5);
    library.album("Twin", {}, {});
    library.lastAlbum().pk = 5; // a second album with the key of "Orphan"
    library.album("Orphan", {});
    const auto plan = library.plan();
    EXPECT_EQ(plan.folders,
        (Strings{"Albums", "Albums/Twin", "Albums/Orphan", "Albums/Self", "Albums/Ring b",
            "Albums/Ring b/Ring a", "Albums/Ring b/Ring a/In ring", "Albums/Orphan (2)",
            "Albums/Under album"}));
    EXPECT_EQ(plan.notes,
        (Strings{"4 albums or folders had a damaged place in the tree and were saved at the top level."}));
}

TEST(AlbumFolders, nestUpToTheLimitOfAPath)
{
    for (const std::size_t length : {640U, 641U}) {
        Library library;
        const auto outer = library.folder(std::string(180, 'a'));
        const auto middle = library.folder(std::string(180, 'b'), outer);
        const auto inner = library.folder(std::string(180, 'c'), middle);
        const std::string before = "Albums/" + std::string(180, 'a') + "/" + std::string(180, 'b') + "/"
            + std::string(180, 'c') + "/";
        const auto deepest = library.folder(std::string(length - before.size(), 'd'), inner);
        library.album("e", {}, deepest);
        library.album("Deep folders");
        const auto plan = library.plan();
        const auto last = plan.folders[plan.folders.size() - 2];
        if (length == 640) {
            EXPECT_EQ(plan.folders[5], before + std::string(640 - before.size(), 'd'));
            EXPECT_EQ(last, "Albums/Deep folders (2)/e"); // two bytes more
        } else {
            EXPECT_EQ(last, "Albums/Deep folders (2)/" + std::string(641 - before.size(), 'd') + "/e");
        }
        EXPECT_EQ(plan.folders[1], "Albums/Deep folders (2)");
        EXPECT_EQ(plan.folders.back(), "Albums/Deep folders");
        EXPECT_EQ(plan.notes,
            (Strings{"1 albums were nested too deep for a disk's path limit and are in the \"Deep folders\" "
                     "folder."}));
    }
}

TEST(AlbumFolders, takeChainsOfAnyDepth)
{
    Library library;
    std::optional<std::int64_t> parent;
    for (int i = 0; i < 10'000; ++i) {
        parent = library.folder("folder", parent);
    }
    const auto photo = library.photo("a.jpg");
    library.album("last", {photo}, parent);
    const auto plan = library.plan();
    EXPECT_EQ(plan.folders.size(), 2 + 10'000 + 1);
    EXPECT_TRUE(std::ranges::all_of(plan.folders, [](const auto& path) { return path.size() <= 640; }));
    EXPECT_EQ(std::set(plan.folders.begin(), plan.folders.end()).size(), plan.folders.size());
    ASSERT_EQ(plan.items.size(), 1U);
    EXPECT_EQ(plan.items[0].albumPath, plan.folders.back());
}

TEST(Photos, goToTheOneGroupTheyBelongTo)
{
    Library library;
    const auto filed = library.photo("filed.jpg");
    const auto hiddenFiled = library.photo("hidden filed.jpg");
    const auto hidden = library.photo("hidden.jpg");
    const auto trashed = library.photo("trashed.jpg");
    const auto dated = library.photo("dated.jpg");
    const auto undated = library.photo("undated.jpg");
    const auto newYear = library.photo("new year.jpg");
    const auto recovered = library.photo("U8.jpg");
    library.asset(hiddenFiled).isHidden = true;
    library.asset(hidden).isHidden = true;
    library.asset(trashed).isTrashed = true;
    library.asset(trashed).isHidden = true;
    library.asset(recovered).isRecoveredFile = true;
    library.asset(dated).dateCreated = std::chrono::sys_days(2019y / 6 / 1);
    library.asset(newYear).dateCreated = std::chrono::sys_days(2020y / 1 / 1) - 30min;
    library.album("A", {trashed, hiddenFiled, 77, filed, hiddenFiled});

    ExportOptions options{.includeTrashed = true};
    auto plan = library.plan(options);
    EXPECT_EQ(paths(plan),
        (Strings{"Albums/A/hidden filed.jpg", "Albums/A/filed.jpg", "Not in any album/2019/dated.jpg",
            "Not in any album/2019/new year.jpg", "Not in any album/Unknown date/undated.jpg",
            "Hidden/hidden.jpg", "Recently Deleted/trashed.jpg", "Recovered without details/U8.jpg"}));
    EXPECT_EQ(plan.folders,
        (Strings{"Albums", "Albums/A", "Not in any album", "Not in any album/2019",
            "Not in any album/Unknown date", "Hidden", "Recently Deleted", "Recovered without details"}));
    EXPECT_EQ(plan.skipped, std::vector<SkippedItem>{});

    library.asset(newYear).timeZoneOffset = 3600; // there, the year had begun
    EXPECT_EQ(paths(library.plan(options))[3], "Not in any album/2020/new year.jpg");

    options = {.includeHidden = false, .includeUnfiled = false, .includeRecoveredFiles = false};
    plan = library.plan(options);
    EXPECT_EQ(paths(plan), (Strings{"Albums/A/filed.jpg"}));
    const std::string choice = "Left out by your choice";
    EXPECT_EQ(skipped(plan),
        (std::vector<Skipped>{{hiddenFiled, {"Albums/A"}, choice}, {hidden, {"Hidden"}, choice},
            {trashed, {"Recently Deleted"}, "In Recently Deleted, left out by your choice"},
            {dated, {"Not in any album/"}, choice}, {undated, {"Not in any album/"}, choice},
            {newYear, {"Not in any album/"}, choice},
            {recovered, {"Recovered without details"}, "File without details, left out by your choice"}}));
    options = {.includeHidden = false, .includeTrashed = true};
    EXPECT_EQ(skipped(library.plan(options))[2], (Skipped{trashed, {"Recently Deleted"}, choice}));
}

TEST(ChosenAlbums, areSavedAloneAndUnderTheNamesThatAllWouldHave)
{
    Library library;
    const auto both = library.photo("both.jpg");
    const auto other = library.photo("other.jpg");
    const auto unfiled = library.photo("unfiled.jpg");
    const auto recovered = library.photo("U4.jpg");
    library.asset(recovered).isRecoveredFile = true;
    const auto trip = library.folder("Trips");
    library.album("Same", {both, other}, trip);
    library.lastAlbum().lostEntries = 1;
    const auto chosen = library.album("same", {both}, trip);
    library.lastAlbum().lostEntries = 1234;
    library.folder("Empty");
    const auto plan = library.plan({.albumPKs = std::set{chosen}});
    const std::string choice = "Left out by your choice";
    EXPECT_EQ(plan.folders, (Strings{"Albums", "Albums/Trips", "Albums/Trips/same (2)"}));
    EXPECT_EQ(paths(plan), (Strings{"Albums/Trips/same (2)/both.jpg"}));
    EXPECT_EQ(skipped(plan),
        (std::vector<Skipped>{{other, {"Albums/Trips/Same"}, choice},
            {unfiled, {"Not in any album/"}, choice}, {recovered, {"Recovered without details"}, choice}}));
    EXPECT_EQ(plan.notes,
        (Strings{"Album \"same\" had 1,234 entries whose photo record was lost in the damaged database."}));
    EXPECT_EQ(library.plan({.albumPKs = std::set<std::int64_t>{}}).folders, Strings{});
}

struct FileCase {
    std::string what;
    OriginalEntry entry;
    ExportOptions options{};
    std::string path{};   ///< Of the item that is planned, behind its folder; empty: it is skipped.
    std::string reason{}; ///< Why.
    bool isLivePhoto = false;
    bool isSmallerCopy = false;
    bool sizeDiffers = false;
};
void PrintTo(const FileCase& value, std::ostream* out) { *out << value.what; }

class FilesOfAPhoto : public testing::TestWithParam<FileCase> { };

TEST_P(FilesOfAPhoto, decideWhetherAndAsWhatItIsSaved)
{
    const auto& row = GetParam();
    Library library;
    const auto photo = library.photo("IMG.HEIC");
    library.asset(photo).isLivePhoto = row.isLivePhoto;
    library.entry(photo) = row.entry;
    library.album("A", {photo});
    library.album("B", {photo});
    const auto plan = library.plan(row.options);
    if (row.path.empty()) {
        EXPECT_EQ(plan.skipped,
            (std::vector<SkippedItem>{{photo, "IMG.HEIC", {"Albums/A", "Albums/B"}, row.reason}}));
        EXPECT_TRUE(plan.items.empty());
        return;
    }
    EXPECT_TRUE(plan.skipped.empty());
    ASSERT_EQ(plan.items.size(), 2U);
    EXPECT_EQ(plan.items[0].files[0].relativePath, "Albums/A/" + row.path);
    EXPECT_EQ(plan.items[1].files[0].relativePath, "Albums/B/" + row.path);
    EXPECT_EQ(plan.items[0].isSmallerCopy, row.isSmallerCopy);
    EXPECT_EQ(plan.items[0].sizeDiffers, row.sizeDiffers);
}

const ResolvedFile still{.path = "originals/U/U1.heic", .size = 10};
const ResolvedFile smaller{.path = "resources/derivatives/U/U1_1_105_c.jpeg", .size = 3};
const ResolvedFile outside{.path = "/Volumes/Old/IMG.heic", .size = 10};
const ResolvedFile whole{.path = still.path,
    .size = 10,
    .companions = {{.path = "originals/U/00000000-0000-4000-8000-000000000001_3.MOV", .size = 5}}};
const ResolvedFile smallerWithRaw{.path = smaller.path,
    .size = 3,
    .companions = {{.path = "originals/U/00000000-0000-4000-8000-000000000001_4.dng", .size = 9}}};
const ResolvedFile withSideData{
    .path = still.path, .size = 10, .companions = {{.path = "originals/U/U1_5.aae", .size = 1}}};

INSTANTIATE_TEST_SUITE_P(Rows, FilesOfAPhoto,
    testing::Values(
        FileCase{.what = "present", .entry = {.status = Status::present, .file = still}, .path = "IMG.HEIC"},
        FileCase{.what = "another size",
            .entry = {.status = Status::presentSizeDiffers, .file = still},
            .path = "IMG.HEIC",
            .sizeDiffers = true},
        FileCase{.what = "smaller copy",
            .entry = {.status = Status::derivativeOnly, .reason = Reason::onlyInCloud, .file = smaller},
            .path = "IMG (smaller copy).jpeg",
            .isSmallerCopy = true},
        FileCase{.what = "smaller copy left out",
            .entry = {.status = Status::derivativeOnly, .file = smaller},
            .options = {.includeSmallerCopies = false},
            .reason = "Only a smaller copy here, left out by your choice"},
        FileCase{.what = "still of a video",
            .entry = {.status = Status::derivativeOnly, .file = smaller, .isStillOfVideo = true},
            .path = "IMG (still picture only).jpeg",
            .isSmallerCopy = true},
        FileCase{.what = "Live Photo with its video",
            .entry = {.status = Status::present, .file = whole},
            .path = "IMG.HEIC",
            .isLivePhoto = true},
        FileCase{.what = "Live Photo without its video",
            .entry = {.status = Status::present, .file = still, .partnerMissing = true},
            .path = "IMG (still picture only).HEIC",
            .isLivePhoto = true},
        FileCase{.what = "Live Photo with side data but no video",
            .entry = {.status = Status::present, .file = withSideData},
            .path = "IMG (still picture only).HEIC",
            .isLivePhoto = true},
        FileCase{.what = "smaller copy of a Live Photo",
            .entry = {.status = Status::derivativeOnly, .file = smaller},
            .path = "IMG (still picture only).jpeg",
            .isLivePhoto = true,
            .isSmallerCopy = true},
        FileCase{.what = "smaller copy left out, its RAW not",
            .entry = {.status = Status::derivativeOnly, .file = smallerWithRaw},
            .options = {.includeSmallerCopies = false},
            .path = "IMG (smaller copy).dng",
            .isSmallerCopy = true},
        FileCase{.what = "video of a Live Photo alone",
            .entry = {.status = Status::derivativeOnly, .file = whole.companions.front()},
            .options = {.includeSmallerCopies = false},
            .path = "IMG (smaller copy).MOV",
            .isLivePhoto = true,
            .isSmallerCopy = true},
        FileCase{.what = "smaller copy of a file elsewhere that is gone",
            .entry = {.status = Status::missing, .reason = Reason::referencedFileGone, .file = smaller},
            .path = "IMG (smaller copy).jpeg",
            .isSmallerCopy = true},
        FileCase{.what = "RAW without its JPEG",
            .entry = {.status = Status::present,
                .file = smallerWithRaw.companions.front(),
                .partnerMissing = true},
            .path = "IMG.dng"},
        FileCase{.what = "RAW partner missing",
            .entry = {.status = Status::present, .file = still, .partnerMissing = true},
            .path = "IMG.HEIC"},
        FileCase{.what = "outside, not ticked",
            .entry = {.status = Status::referenced, .file = outside, .isOutsideLibrary = true},
            .reason = "Stored outside this library, left out unless you tick that in the export"},
        FileCase{.what = "outside, ticked",
            .entry = {.status = Status::referenced, .file = outside, .isOutsideLibrary = true},
            .options = {.includeOutsideFiles = true},
            .path = "IMG.HEIC"},
        FileCase{.what = "only in the cloud",
            .entry = {.status = Status::missing, .reason = Reason::onlyInCloud},
            .reason = "Missing: the original stayed in iCloud (Optimize Storage) and is not in this copy"},
        FileCase{.what = "empty file",
            .entry = {.status = Status::missing, .reason = Reason::emptyFile, .file = still},
            .reason = "Missing: the file is there but empty"},
        FileCase{.what = "folder unreadable",
            .entry = {.status = Status::unchecked, .reason = Reason::folderUnreadable},
            .reason = "Not checked: its folder could not be read"},
        FileCase{.what = "an entry that contradicts itself",
            .entry = {.status = Status::present},
            .reason = "Not checked"}),
    [](const auto& row) {
        auto name = row.param.what;
        std::ranges::replace_if(name, [](char c) { return c == ' ' || c == ','; }, '_');
        return name;
    });

TEST(LeftoverFiles, areNotedAndSavedWhenAskedFor)
{
    Library library;
    library.photo("IMG.HEIC");
    library.scan.originals.unknownFiles = {
        {.uuid = "U9", .directory = "U", .main = "originals/U/U9.jpeg", .size = 4}};
    library.scan = reconciled(library.scan.snapshot, library.scan.originals);
    const auto without = library.plan();
    EXPECT_EQ(without.items.size(), 1U);
    ASSERT_EQ(without.notes.size(), 1U);
    EXPECT_TRUE(without.notes.front().ends_with("It may be left over from a deleted photo and is not "
                                                "exported."));

    library.scan = withLeftovers(library.scan);
    const auto with = library.plan();
    EXPECT_EQ(with.items.back().files.front().relativePath, "Recovered without details/U9.jpeg");
    EXPECT_EQ(with.notes, Strings{});
    EXPECT_EQ(library.scan.snapshot.notes,
        Strings{"1 files in the originals folder have lost their database record: the files are saved, "
                "without their album, name, caption or date."});
}

TEST(NamesOfFiles, comeFromTheLibraryAndFitTheFile)
{
    Library library;
    const auto unknown = library.photo("notes.xyz");
    const auto dat = library.photo("a.DAT");
    const auto unnamed = library.photo("x.png");
    library.asset(unnamed).originalFileName = "";
    const auto nameless = library.photo("x.png");
    library.asset(nameless).originalFileName.reset();
    library.asset(nameless).fileName.clear();
    library.asset(nameless).uuid = "../up";
    const auto dots = library.photo(". .png");
    library.asset(dots).uuid = "../up";
    const auto sidecarTaken = library.photo("notes.jpg");
    const auto noEntry = library.photo("b.jpg");
    library.scan.originals.entries.erase(noEntry);
    library.entry(sidecarTaken).file->companions = {{.path = "originals/U/U6_5.aae", .size = 1}};
    library.album("A", {unknown, dat, unnamed, nameless, dots, sidecarTaken});
    library.album("B", {unknown});
    const auto plan = library.plan();
    EXPECT_EQ(paths(plan),
        (Strings{"Albums/A/notes.xyz.dat", "Albums/A/a.DAT", "Albums/A/U3.png", "Albums/A/-up.png",
            "Albums/A/-up (2).png", "Albums/A/notes (2).jpg", "Albums/A/notes (2).aae.dat",
            "Albums/B/notes.xyz.dat"}));
    // notes.xyz in two albums is one file
    EXPECT_EQ(plan.notes,
        (Strings{
            "2 files are not of a photo or video type, so they were saved with .dat added to their names."}));
    EXPECT_EQ(
        skipped(plan), (std::vector<Skipped>{{noEntry, {"Not in any album/Unknown date"}, "Not checked"}}));
}

TEST(PlanIdentity, dependsOnFiveChoicesAndTheFiles)
{
    Library library;
    library.album("A", {library.photo("a.jpg")});
    const auto plan = library.plan();
    const std::vector<bool ExportOptions::*> telling{&ExportOptions::includeHidden,
        &ExportOptions::includeTrashed, &ExportOptions::includeSmallerCopies,
        &ExportOptions::peopleAsKeywords, &ExportOptions::includeOutsideFiles};
    for (const auto choice : telling) {
        ExportOptions options;
        options.*choice = !(options.*choice);
        EXPECT_NE(planIdentity(plan, options), plan.id);
    }
    EXPECT_EQ(
        planIdentity(plan,
            {.includeUnfiled = false, .includeRecoveredFiles = false, .albumPKs = std::set<std::int64_t>{1}}),
        plan.id);
    auto changed = plan;
    changed.items[0].files[0].size += 1;
    EXPECT_NE(planIdentity(changed, {}), plan.id);
    changed = plan;
    changed.items[0].files[0].source = "elsewhere/U1.jpg"; // only the last component counts
    EXPECT_EQ(planIdentity(changed, {}), plan.id);
}

/// Any library: wrong links, repeated keys, all states.
LibraryScanResult randomScan(std::mt19937& random)
{
    const auto below = [&](std::size_t most) { return static_cast<std::int64_t>(random() % most); };
    static const Strings names{
        "a.jpg", "A.JPG", "a.mov", "b", "", "c.xyz", "a (2).jpg", "CON.png", "x/y.heic"};
    LibraryScanResult scan;
    for (std::int64_t i = 0; i < 60; ++i) {
        Asset asset{.pk = below(50) == 0 ? 1 : i, .uuid = "U" + std::to_string(i)};
        asset.fileName = names[random() % names.size()];
        asset.originalFileName = names[random() % names.size()];
        asset.isHidden = below(6) == 0;
        asset.isTrashed = below(8) == 0;
        asset.isLivePhoto = below(4) == 0;
        asset.isRecoveredFile = below(10) == 0;
        if (below(3) > 0) {
            asset.dateCreated = Date(std::chrono::seconds(below(4'000'000'000U)));
        }
        if (below(12) > 0) {
            OriginalEntry entry{.status = static_cast<Status>(below(6)), .isOutsideLibrary = below(9) == 0};
            if (below(8) > 0) {
                entry.file = ResolvedFile{
                    .path = "originals/" + asset.uuid + names[random() % names.size()], .size = 1};
                entry.file->companions.resize(random() % 3, {.path = "originals/U_3.mov", .size = 2});
            }
            scan.originals.entries[asset.pk] = entry;
        }
        scan.snapshot.assets.push_back(std::move(asset));
    }
    for (std::int64_t i = 0; i < 30; ++i) {
        Album album{.pk = below(20) == 0 ? 0 : i, .title = names[random() % names.size()]};
        album.kind =
            below(3) > 0 ? static_cast<Album::Kind>(1 + below(2)) : static_cast<Album::Kind>(below(6));
        album.isTrashed = below(9) == 0;
        if (below(3) > 0) {
            album.parentPK = below(33);
        }
        for (auto count = below(8); count > 0; --count) {
            album.assetPKs.push_back(below(70));
        }
        scan.snapshot.albums.push_back(std::move(album));
    }
    return scan;
}

TEST(RandomLibraries, areFullyPlannedUnderUniqueNames)
{
    constexpr unsigned seed = 4711;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 100; ++round) {
        const auto scan = randomScan(random);
        ExportOptions options{.includeHidden = random() % 4 > 0,
            .includeTrashed = random() % 2 > 0,
            .includeSmallerCopies = random() % 4 > 0,
            .includeUnfiled = random() % 4 > 0,
            .includeRecoveredFiles = random() % 4 > 0,
            .includeOutsideFiles = random() % 2 > 0};
        if (random() % 4 == 0) {
            options.albumPKs = {1, 2, 3, 4, 5};
        }
        const auto plan = planExport(scan, options);
        ASSERT_EQ(planExport(scan, options), plan);

        std::map<std::string, int> told; // every asset is saved or skipped, and not both
        for (const auto& item : plan.items) {
            told[item.assetUUID] |= 1;
        }
        std::size_t skippedAssets = 0;
        for (const auto& asset : scan.snapshot.assets) {
            skippedAssets += told.contains(asset.uuid) ? 0U : 1U;
        }
        ASSERT_EQ(skippedAssets, plan.skipped.size());
        ASSERT_TRUE(std::ranges::none_of(
            plan.skipped, [](const auto& item) { return item.albumPaths.empty() || item.reason.empty(); }));

        std::set<std::string> made{""};
        std::set<std::string> keys;
        for (const auto& folder : plan.folders) {
            const auto slash = folder.rfind('/');
            ASSERT_TRUE(made.contains(slash == std::string::npos ? "" : folder.substr(0, slash))) << folder;
            made.insert(folder);
            ASSERT_TRUE(keys.insert(SafeNames::comparisonKey(folder)).second) << folder;
        }
        for (const auto& item : plan.items) {
            ASSERT_TRUE(made.contains(item.albumPath)) << item.albumPath;
            auto all = Strings{item.sidecarRelativePath};
            for (const auto& file : item.files) {
                all.push_back(file.relativePath);
            }
            for (const auto& path : all) {
                ASSERT_TRUE(path.starts_with(item.albumPath + "/"));
                ASSERT_TRUE(keys.insert(SafeNames::comparisonKey(path)).second) << path;
            }
        }
    }
}

} // namespace
} // namespace vantorel
