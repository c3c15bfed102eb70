#include "discovery/FinderFixture.h"
#include "discovery/TmutilRoots.h"

#include <cerrno>

namespace vantorel {
namespace {

using Lines = std::vector<std::string>;
using Paths = std::vector<DiskPath>;

constexpr const char* noList =
    "Time Machine did not list its backups. Connected backup disks are still scanned; a backup on a network "
    "drive must be opened in Finder first.";
constexpr const char* tookTooLong = "unfinished: Searching a Time Machine disk took too long, so its backups "
                                    "were not searched to the end. Look "
                                    "again, or choose the library yourself.";

TEST(TmutilRoots, areTheLinesThatArePaths)
{
    EXPECT_EQ(
        TmutilRoots::rootsIn("/Volumes/A/2024-05-01-101112\n  /Volumes/B C \t\n/Volumes/A/2024-05-01-101112\n"
                             "No machine directory found for host.\n\n//x"),
        (Paths{"/Volumes/A/2024-05-01-101112", "/Volumes/B C", "//x"}));
    EXPECT_EQ(TmutilRoots::rootsIn(
                  "/a\r\n/b\v/c\f/d\r/e\xc2\x85/f\xe2\x80\xa8/g\xe2\x80\xa9\xc2\xa0/h\xe3\x80\x80"),
        (Paths{"/a", "/b", "/c", "/d", "/e", "/f", "/g", "/h"}));
    EXPECT_EQ(TmutilRoots::rootsIn("/bad\xff\n"), (Paths{"/bad\xef\xbf\xbd"}));
    EXPECT_EQ(TmutilRoots::rootsIn(""), Paths{});
    EXPECT_EQ(TmutilRoots::rootsIn(std::string(3, '\0') + "/a"), Paths{});
}

TEST(TmutilRoots, makesEveryFailureTheSameSentence)
{
    using Failure = ChildProcessRunner::Failure;
    const auto children = std::make_shared<AnsweringChildren>();
    children->answer = ChildProcessRunner::Ended{.exitStatus = 0, .output = "/a\n"};
    EXPECT_EQ(TmutilRoots(children).ask(Seconds(30), nullptr), (TmutilRoots::Result{.roots = {"/a"}}));
    ASSERT_EQ(children->asked.size(), 1u);
    EXPECT_EQ(children->asked[0].program, "/usr/bin/tmutil");
    EXPECT_EQ(children->asked[0].arguments, Lines{"listbackups"});
    EXPECT_EQ(children->asked[0].timeout, Seconds(30));
    for (const auto& bad : std::vector<std::expected<ChildProcessRunner::Ended, Failure>>{
             ChildProcessRunner::Ended{.exitStatus = 1, .output = "/a"}, std::unexpected(Failure::notStarted),
             std::unexpected(Failure::timedOut), std::unexpected(Failure::cancelled),
             std::unexpected(Failure::tooMuchOutput)}) {
        children->answer = bad;
        EXPECT_EQ(TmutilRoots(children).ask(Seconds(30), nullptr), (TmutilRoots::Result{.issue = noList}));
    }
}

class TimeMachine : public FinderTest { };

TEST_F(TimeMachine, isRecognisedOnADiskInBothOfItsForms)
{
    library("HFS/Backups.backupdb/Mac/2023-01-02-101112/HD/Users/anna/Pictures/Photos.photoslibrary");
    library("HFS/Backups.backupdb/Mac/2024-05-01-101112/HD/Users/anna/Pictures/Photos.photoslibrary");
    library("HFS/Backups.backupdb/Mac/2024-05-01-101112/HD/Library/decoy.photoslibrary");
    library("HFS/Backups.backupdb/Mac/2024-05-01-101112/HD/Users/anna/Library/decoy.photoslibrary");
    folder.makeFolder("HFS/Backups.backupdb/Mac/2024-05-01-101112/HD/System");
    folder.makeLink("HFS/Backups.backupdb/Mac/Latest", "2024-05-01-101112");
    library("HFS/Backups.backupdb/.RecoverySets/0/decoy.photoslibrary");
    library("HFS/Moved here.photoslibrary");
    library("APFS/2024-06-01-101112.previous/HD - Data/Users/bert/Pictures/Bert.photoslibrary");
    folder.makeFolder(
        "APFS/2024-07-01-101112.inprogress/2024-07-01-101112.inprogress/HD/Users/anna/New.photoslibrary/"
        "originals");
    folder.write(
        "APFS/2024-07-01-101112.inprogress/2024-07-01-101112.inprogress/HD/Users/anna/New.photoslibrary/"
        "resources/journals/Asset-change.plj",
        "x");
    options.volumeRoots = {folder / "APFS", folder / "HFS"};
    options.preferredUserName = "anna";
    const FindResult result = find();
    Lines found;
    for (const FoundLibrary& library : result.libraries) {
        found.push_back(std::string(nameIn(libraryOriginNames, library.origin)) + " "
            + library.url.lexically_relative(folder.path()).string());
    }
    EXPECT_EQ(found,
        (Lines{"volume HFS/Moved here.photoslibrary",
            "timeMachine APFS/2024-06-01-101112.previous/HD - Data/Users/bert/Pictures/Bert.photoslibrary",
            "timeMachine APFS/2024-07-01-101112.inprogress/2024-07-01-101112.inprogress/HD/Users/anna/"
            "New.photoslibrary",
            "timeMachine "
            "HFS/Backups.backupdb/Mac/2024-05-01-101112/HD/Users/anna/Pictures/Photos.photoslibrary",
            "timeMachine HFS/Backups.backupdb/Mac/2023-01-02-101112/HD/Users/anna/Pictures/"
            "Photos.photoslibrary"}));
    EXPECT_EQ(said(result), Lines{});
    EXPECT_EQ(backupWithoutDatabaseText(result.libraries[2]),
        "No database here. Vantorel reads albums, folders, captions, keywords, favourites and dates from the "
        "change journals Photos keeps beside it. People names are not included.");
}

TEST_F(TimeMachine, searchesWhatTmutilListsOnce)
{
    library("TM/2024-05-01-101112/HD/Users/anna/A.photoslibrary");
    children->answer = ChildProcessRunner::Ended{.exitStatus = 0,
        .output = (folder / "TM/2024-05-01-101112").string() + "\n" + (folder / "gone").string() + "\n"};
    options.askTmutil = true;
    options.picked = {folder / "TM/2024-05-01-101112"};
    EXPECT_EQ(described(find(), folder.path()),
        (Descriptions{{"TM/2024-05-01-101112/HD/Users/anna/A.photoslibrary", "timeMachine modern"}}));
    children->answer = std::unexpected(ChildProcessRunner::Failure::timedOut);
    options.picked.clear();
    EXPECT_EQ(said(find()), Lines{"unfinished: " + std::string(noList)});
}

TEST_F(TimeMachine, findsThePreferredHomesBeforeTheTimeIsUp)
{
    for (const char* date : {"2022-05-01-101112", "2023-05-01-101112"}) {
        const auto backup = std::filesystem::path("TM/Backups.backupdb/Mac") / date;
        library(backup / "HD/Users/anna/Pictures/A.photoslibrary");
        library(backup / "HD/Photos of all/B.photoslibrary");
        library(backup / "HD/Users/bert/C.photoslibrary");
    }
    calls->on("openFolder", "*/HD/Photos of all").delay(std::chrono::seconds(15));
    calls->on("openFolder", "*/HD/Users/bert").delay(std::chrono::seconds(170));
    options.volumeRoots = {folder / "TM"};
    options.preferredUserName = "anna";
    options.backups.directoryTimeout = Seconds(175);
    const FindResult result = find();
    EXPECT_EQ(described(result, folder / "TM/Backups.backupdb/Mac"),
        (Descriptions{{"2022-05-01-101112/HD/Users/anna/Pictures/A.photoslibrary", "timeMachine modern"},
            {"2023-05-01-101112/HD/Users/anna/Pictures/A.photoslibrary", "timeMachine modern"},
            {"2023-05-01-101112/HD/Photos of all/B.photoslibrary", "timeMachine modern"}}));
    EXPECT_EQ(said(result), Lines{tookTooLong});
}

TEST_F(TimeMachine, waitsOnceForASilentBackupDisk)
{
    library("TM/2023-05-01-101112.backup/HD/Users/anna/A.photoslibrary");
    library("TM/2024-05-01-101112.backup/HD/Users/anna/A.photoslibrary");
    library("TM2/2022-05-01-101112.backup/HD/Users/anna/A.photoslibrary");
    calls->on("*", "*/TM/2024-05-01-101112.backup/HD*").hang();
    options.volumeRoots = {folder / "TM", folder / "TM2"};
    options.preferredUserName = "../anna"; // no name of a folder: nobody is preferred
    const auto begin = clock->uptime();
    const FindResult result = find();
    EXPECT_LT(Seconds(clock->uptime() - begin), Seconds(21));
    EXPECT_EQ(described(result, folder / "TM2"),
        (Descriptions{{"2022-05-01-101112.backup/HD/Users/anna/A.photoslibrary", "timeMachine modern"}}));
    EXPECT_EQ(said(result), Lines{tookTooLong});
}

/// Calls that show everything as lying on an HFS+ disk of this mount point.
class HfsPlus final : public ScriptedCalls {
public:
    HfsPlus(std::shared_ptr<const ManualClock> clock, DiskPath mountPoint)
        : ScriptedCalls(std::move(clock))
        , mountPoint_(std::move(mountPoint))
    {
    }
    CallResult<FileSystemStatus> fileSystemOf(const DiskPath& path) const override
    {
        auto status = ScriptedCalls::fileSystemOf(path);
        if (status) {
            status->typeName = "hfsplus";
            status->mountPoint = mountPoint_.native();
        }
        return status;
    }

private:
    DiskPath mountPoint_;
};

TEST_F(TimeMachine, followsFoldersOfSeveralNamesAsLinuxShowsThem)
{
    const auto hfs = std::make_shared<HfsPlus>(clock, folder / "TM");
    calls = hfs;
    const std::string hidden = "TM/.HFS+ Private Directory Data\r";
    const auto linked = [&](const std::filesystem::path& path, std::uint64_t number) {
        folder.write(path, "");
        calls->on("status", (folder / path).string()).changeStatus([number](FileStatus& status) {
            status.linkCount = number;
        });
    };
    const std::string backup = "TM/Backups.backupdb/Mac/2020-05-01-101112/HD/Users/";
    linked(backup + "anna", 21);
    linked(hidden + "/dir_21/Pictures.photoslibrary", 22);
    linked(hidden + "/dir_22/database", 23);
    folder.write(hidden + "/dir_23/Photos.sqlite", "x");
    linked(backup + "astray", 99);          // there is no such folder
    folder.write(backup + "empty.txt", ""); // an empty file
    options.volumeRoots = {folder / "TM"};
    const FindResult result = find();
    ASSERT_EQ(result.libraries.size(), 1u);
    EXPECT_EQ(result.libraries[0].name, "Pictures");
    EXPECT_EQ(result.libraries[0].url, folder / (hidden + "/dir_22"));
    EXPECT_EQ(result.libraries[0].format, LibraryFormat::modern);
    EXPECT_EQ(result.libraries[0].databaseBytes, 1);
    EXPECT_EQ(said(result), Lines{});
}

} // namespace
} // namespace vantorel
