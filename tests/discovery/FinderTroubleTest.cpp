#include "discovery/FinderFixture.h"

#include "disk/DiskPatience.h"

#include <algorithm>
#include <cerrno>

namespace vantorel {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* silentAtOnce =
    " did not answer in time. A sleeping drive can take a minute: look again, or check the connection.";
constexpr const char* silentLater = " stopped answering, so it was not searched to the end. A sleeping drive "
                                    "can take a minute: look again, or "
                                    "check the connection.";

bool hasLine(const Lines& lines, const std::string& line)
{
    return std::ranges::find(lines, line) != lines.end();
}

class FinderTrouble : public FinderTest {
protected:
    /// What a search costs of a clock that only silence moves.
    Seconds timeOf(FindResult& result)
    {
        const auto begin = clock->uptime();
        result = find();
        return clock->uptime() - begin;
    }
};

TEST_F(FinderTrouble, aSilentVolumeCostsItsLimitOnceAndTheOthersAreListed)
{
    library("a/one.photoslibrary");
    library("silent/two.photoslibrary");
    library("z/three.photoslibrary");
    calls->on("*", (folder / "silent*").string()).hang();
    options.picked = {folder / "silent/two.photoslibrary", folder / "silent/deep"};
    options.homeFolders = {folder / "silent/home"};
    options.volumeRoots = {folder / "a", folder / "silent", folder / "z"};
    FindResult result;
    const Seconds took = timeOf(result);
    EXPECT_GE(took, options.stallTimeout);
    EXPECT_LT(took, options.stallTimeout + Seconds(1));
    EXPECT_EQ(described(result, folder.path()),
        (Descriptions{{"a/one.photoslibrary", "volume modern"}, {"z/three.photoslibrary", "volume modern"}}));
    const std::string rest = silentAtOnce;
    EXPECT_EQ(said(result),
        (Lines{"volumeUnresponsive: \"deep\"" + rest, "volumeUnresponsive: \"home\"" + rest,
            "volumeUnresponsive: \"silent\"" + rest, "volumeUnresponsive: \"two.photoslibrary\"" + rest}));
    EXPECT_EQ(result.unreachablePicks, options.picked);
}

TEST_F(FinderTrouble, keepsWhatItFoundBeforeAVolumeFellSilent)
{
    library("drive/a.photoslibrary");
    library("drive/b/c.photoslibrary");
    library("drive/m/n.photoslibrary");
    calls->on("nextEntry", (folder / "drive/m").string()).nth(2).hang();
    options.volumeRoots = {folder / "drive"};
    bool waited = false;
    const FindResult result = find({}, [&](const FindProgress& progress) {
        waited = waited || (progress.waitingForDisk && progress.place == (folder / "drive/m").string());
    });
    EXPECT_EQ(described(result, folder / "drive"),
        (Descriptions{{"a.photoslibrary", "volume modern"}, {"b/c.photoslibrary", "volume modern"}}));
    EXPECT_EQ(said(result), Lines{"volumeUnresponsive: \"drive\"" + std::string(silentLater)});
    EXPECT_TRUE(waited);
}

TEST_F(FinderTrouble, waitsShortlyForALinkThatLeadsToASilentDisk)
{
    library("home/Pictures/own.photoslibrary");
    library("far/there.photoslibrary");
    folder.makeLink("home/dead.photoslibrary", folder / "far/there.photoslibrary");
    folder.makeLink("home/next.photoslibrary", library("near/x.photoslibrary"));
    calls->on("status", (folder / "home/dead.photoslibrary").string())
        .from(2)
        .hang(); // 1: its folder's listing
    options.homeFolders = {folder / "home"};
    FindResult result;
    EXPECT_LT(timeOf(result), DiskPatience::singleLook + Seconds(1));
    EXPECT_EQ(described(result, folder / "home"),
        (Descriptions{{"Pictures/own.photoslibrary", "home modern"}, {"next.photoslibrary", "home modern"}}));
    EXPECT_EQ(said(result), Lines{"volumeUnresponsive: \"dead.photoslibrary\"" + std::string(silentAtOnce)});
}

TEST_F(FinderTrouble, blamesNoVolumeForTheSilenceBehindALink)
{
    library("good/inside.photoslibrary");
    library("dead/x.photoslibrary");
    folder.makeLink("good/way", folder / "dead");
    library("home/own.photoslibrary");
    calls->on("*", (folder / "good/way/*").string()).hang();
    calls->on("*", (folder / "dead*").string()).hang();
    options.picked = {folder / "good/way/x.photoslibrary"};
    options.homeFolders = {folder / "home"};
    options.volumeRoots = {folder / "dead", folder / "good"};
    const FindResult result = find();
    EXPECT_EQ(described(result, folder.path()),
        (Descriptions{
            {"good/inside.photoslibrary", "volume modern"}, {"home/own.photoslibrary", "home modern"}}));
    EXPECT_EQ(said(result),
        (Lines{"volumeUnresponsive: \"dead\"" + std::string(silentAtOnce),
            "volumeUnresponsive: \"x.photoslibrary\"" + std::string(silentAtOnce)}));
}

TEST_F(FinderTrouble, tellsADiskThatWentFromAFolderThatFails)
{
    library("drive/a/one.photoslibrary");
    library("drive/b/two.photoslibrary");
    library("drive/c/three.photoslibrary");
    options.volumeRoots = {folder / "drive"};
    calls->fail("list", folder / "drive/b", EIO);
    const FindResult damaged = find();
    EXPECT_EQ(described(damaged, folder / "drive"),
        (Descriptions{{"a/one.photoslibrary", "volume modern"}, {"c/three.photoslibrary", "volume modern"}}));
    EXPECT_EQ(said(damaged),
        Lines{"unreadable: \"" + (folder / "drive/b").string() + "\" could not be read: Input/output error"});

    calls->on("fileSystemIdentifier", folder / "drive").from(2).otherFileSystem(7);
    const FindResult gone = find();
    EXPECT_EQ(described(gone, folder / "drive"), (Descriptions{{"a/one.photoslibrary", "volume modern"}}));
    EXPECT_EQ(said(gone),
        Lines{"volumeGone: \"drive\" was disconnected during the search. Connect it and look again."});
}

TEST_F(FinderTrouble, countsFurtherFoldersThatCannotBeRead)
{
    for (const char* name : {"1", "2", "3", "4", "5", "6", "7"}) {
        folder.makeFolder(std::filesystem::path("home") / name);
        calls->fail("openFolder", folder / "home" / name, EACCES);
        folder.makeFolder(std::filesystem::path("home") / (std::string("hollow") + name + ".photoslibrary"));
    }
    options.homeFolders = {folder / "home"};
    const auto lines = said(find());
    ASSERT_EQ(lines.size(), 12u);
    EXPECT_TRUE(hasLine(lines,
        "permissionDenied: \"" + (folder / "home/5").string() + "\" could not be read: Permission denied"));
    EXPECT_TRUE(hasLine(lines, "unreadable: \"home\" has 2 more folders that could not be read."));
    EXPECT_TRUE(hasLine(
        lines, "notALibrary: \"home\" has 2 more folders that are named like a library and are none."));
}

TEST_F(FinderTrouble, endsSoonAfterAStopWithWhatItHas)
{
    library("a/one.photoslibrary");
    library("silent/two.photoslibrary");
    const auto cancel = std::make_shared<CancelToken>();
    calls->on("*", (folder / "silent*").string()).run([cancel] { cancel->cancel(); }).hang();
    options.volumeRoots = {folder / "a", folder / "silent"};
    options.askTmutil = true;
    const auto begin = clock->uptime();
    const FindResult result = find(cancel);
    EXPECT_LT(Seconds(clock->uptime() - begin), DiskPatience::graceAfterCancel + Seconds(0.2));
    EXPECT_EQ(described(result, folder.path()), (Descriptions{{"a/one.photoslibrary", "volume modern"}}));
    EXPECT_EQ(said(result), Lines{});
    EXPECT_TRUE(children->asked.empty());
}

TEST_F(FinderTrouble, losesNoLibraryWithoutAWord)
{
    library("drive/one.photoslibrary");
    library("drive/a/A copy");
    folder.makeFolder("drive/a/b/two.photoslibrary/originals");
    folder.write("drive/a/old.photoslibrary/Library.apdb", "x");
    library("drive/Backups.backupdb/Mac/2024-05-01-101112/HD/Users/anna/three.photoslibrary");
    options.volumeRoots = {folder / "drive"};
    options.preferredUserName = "anna";
    const FindResult whole = find();
    ASSERT_EQ(whole.libraries.size(), 5u);
    for (const int code : {EIO, EACCES}) {
        for (std::size_t n = 1;; ++n) {
            calls->removeRules();
            const auto rule = calls->on("*").nth(n).fail(code);
            const FindResult result = find();
            if (rule.hits() == 0) {
                break;
            }
            for (const FoundLibrary& expected : whole.libraries) {
                const bool isThere = std::ranges::any_of(
                    result.libraries, [&](const FoundLibrary& found) { return found.url == expected.url; });
                EXPECT_TRUE(isThere || !result.issues.empty())
                    << expected.url << " after call " << n << ": " << calls->log().back().name;
            }
            ASSERT_EQ(calls->stillOpen(), std::vector<DiskPath>{});
        }
    }
}

TEST_F(FinderTrouble, saysWhichVolumesAreLocked)
{
    options.lockedVolumeRunner = [](const SharedCancelToken&) { return Lines{"Kids", "Old\xff"}; };
    EXPECT_EQ(said(find()),
        (Lines{"lockedVolume: The encrypted volume \"Kids\" is locked. Open it in Finder or Disk Utility and "
               "enter "
               "its password, then look again.",
            "lockedVolume: The encrypted volume \"Old\xef\xbf\xbd\" is locked. Open it in Finder or Disk "
            "Utility "
            "and enter its password, then look again."}));
}

} // namespace
} // namespace vantorel
