#include "scan/ScanFixture.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace vantorel {
namespace {

using namespace std::chrono_literals;

using Entries = std::map<std::int64_t, std::string>;
using Folders = std::vector<std::string>;
using State = OriginalsReport::State;

/// Assets 1 to `count` in the folders A, B, C, ..., one each, all there.
struct Library : ScanFixture {
    explicit Library(int count)
    {
        for (int number = 1; number <= count; ++number) {
            const char letter = static_cast<char>('A' + number - 1);
            add(letter, number);
            file(std::string("originals/") + letter + "/{}.jpeg", 5, idOf(letter, number));
        }
    }
    static std::string found(char letter)
    {
        const int number = letter - 'A' + 1;
        return std::string("present originals/") + letter + "/" + idOf(letter, number) + ".jpeg:5";
    }
    std::string folder(char letter) const
    {
        return (snapshot.libraryURL / "originals").native() + "/" + letter;
    }
};

const std::string silent = "unchecked/folderUnreadable";

TEST(OriginalsTrouble, givesAThirdSilentFolderFiveSeconds)
{
    Library scan(4);
    for (const char letter : {'A', 'B', 'C'}) {
        scan.calls->on("openBeneath", scan.folder(letter)).hang();
    }
    std::vector<std::chrono::nanoseconds> asked;
    scan.onListing = [&](const std::string&) { asked.push_back(scan.clock->uptime()); };

    const auto report = scan.inspect();
    EXPECT_EQ(described(report), (Entries{{1, silent}, {2, silent}, {3, silent}, {4, Library::found('D')}}));
    EXPECT_EQ(report.unreadableFolders, (Folders{"originals/A", "originals/B", "originals/C"}));
    EXPECT_EQ(report.state, State::partlyUnreadable);

    ASSERT_GE(asked.size(), 5U); // originals, A, B, C, D, then the copies of what was not seen
    EXPECT_GE(asked[2] - asked[1], 90s);
    EXPECT_GE(asked[3] - asked[2], 90s);
    EXPECT_GE(asked[4] - asked[3], 5s);
    EXPECT_LT(asked[4] - asked[3], 6s);
    EXPECT_EQ(scan.progress[1].waitingForDisk, true);
    EXPECT_EQ(scan.progress[2].waitingForDisk, false);
}

TEST(OriginalsTrouble, stopsAfterSixSilentFoldersInARow)
{
    Library scan(8);
    for (const char letter : {'B', 'C', 'D', 'E', 'F', 'G'}) {
        scan.calls->on("openBeneath", scan.folder(letter)).hang();
    }
    const auto report = scan.inspect();
    EXPECT_EQ(described(report),
        (Entries{{1, Library::found('A')}, {2, silent}, {3, silent}, {4, silent}, {5, silent}, {6, silent},
            {7, silent}, {8, "unchecked"}}));
    EXPECT_EQ(report.state, State::interrupted);
    EXPECT_EQ(scan.listed.back(), "originals/G");
}

TEST(OriginalsTrouble, goesOnWhileSomeFolderAnswers)
{
    Library scan(8);
    for (const char letter : {'A', 'B', 'C', 'E', 'F', 'G'}) {
        scan.calls->on("openBeneath", scan.folder(letter)).hang();
    }
    const auto report = scan.inspect();
    EXPECT_EQ(report.entries.at(8).status, OriginalEntry::Status::present);
    EXPECT_EQ(report.state, State::partlyUnreadable);
}

TEST(OriginalsTrouble, keepsWhatASilentFolderGaveBefore)
{
    Library scan(1);
    scan.add('A', 2).fileName = "zz.jpeg";
    scan.file("originals/A/zz.jpeg");
    const auto rule =
        scan.calls->on("nextEntry", scan.folder('A')).nth(5).hang(); // ".", "..", two files, the end

    const auto report = scan.inspect();
    EXPECT_EQ(rule.hits(), 1U);
    EXPECT_EQ(described(report), (Entries{{1, Library::found('A')}, {2, "present originals/A/zz.jpeg:5"}}));
    EXPECT_EQ(report.unreadableFolders, Folders{"originals/A"});
    EXPECT_EQ(problemNotes(report, true, false),
        Folders{"The folder originals/A could not be read in full. Every item the library names there was "
                "found, but "
                "other files there may not be counted."});
}

struct FailureRow {
    const char* call;
    int error;
    std::string expected;
    Folders unreadable{};
    Folders denied{};
};

TEST(OriginalsTrouble, isToldApart)
{
    const std::string refused = "missing/accessDenied refused originals/A";
    const FailureRow rows[] = {
        {"openBeneath", EACCES, refused, {}, {"originals/A"}},
        {"openBeneath", EPERM, refused, {}, {"originals/A"}}, {"openBeneath", EIO, silent, {"originals/A"}},
        {"nextEntry", EIO, silent, {"originals/A"}}, {"statusAt", EACCES, refused, {}, {"originals/A"}},
        {"statusAt", EIO, silent, {"originals/A"}},
        {"openBeneath", ENOENT, "missing/notFound"}, // it vanished meanwhile
    };
    for (const FailureRow& row : rows) {
        Library scan(2);
        const std::string place = std::string(row.call) == "statusAt" ? "/*" : "";
        const auto rule = scan.calls->fail(
            std::string(row.call) == "statusAt" ? "status" : row.call, scan.folder('A') + place, row.error);
        const auto report = scan.inspect();
        EXPECT_GT(rule.hits(), 0U) << row.call;
        EXPECT_EQ(described(report), (Entries{{1, row.expected}, {2, Library::found('B')}})) << row.call;
        EXPECT_EQ(report.unreadableFolders, row.unreadable) << row.call;
        EXPECT_EQ(report.deniedFolders, row.denied) << row.call;
        const bool isComplete = row.unreadable.empty() && row.denied.empty();
        EXPECT_EQ(report.state, isComplete ? State::complete : State::partlyUnreadable) << row.call;
    }
}

TEST(OriginalsTrouble, findsASmallerCopyAllTheSame)
{
    const std::pair<int, std::string> rows[] = {
        {EACCES, "derivativeOnly/accessDenied"}, {EIO, "derivativeOnly/folderUnreadable"}};
    for (const auto& [error, expected] : rows) {
        Library scan(2);
        scan.snapshot.assets[1].isOnlyInCloud = true;
        for (const char letter : {'A', 'B'}) {
            scan.calls->fail("openBeneath", scan.folder(letter), error);
            scan.file(std::string("resources/derivatives/") + letter + "/{}_1_102_o.jpeg", 5,
                idOf(letter, letter - 'A' + 1));
        }
        const auto report = scan.inspect();
        EXPECT_TRUE(described(report)[1].starts_with(expected + " resources")) << described(report)[1];
        EXPECT_TRUE(described(report)[2].starts_with("derivativeOnly/onlyInCloud")) << described(report)[2];
    }
}

TEST(OriginalsTrouble, doesNotCallAnItemMissingWhoseCopiesCouldNotBeSeen)
{
    const std::pair<int, std::string> rows[] = {{EACCES, "missing/accessDenied"}, {EIO, silent}};
    for (const auto& [error, expected] : rows) {
        ScanFixture scan;
        scan.add('A', 1);
        scan.file("resources/derivatives/A/x");
        scan.calls->fail("openBeneath", "*/resources/derivatives/A", error);
        EXPECT_EQ(described(scan.inspect()), (Entries{{1, expected}}));
    }
}

TEST(OriginalsTrouble, namesARefusedFolderOnce)
{
    Library scan(3);
    scan.calls->fail("openBeneath", "*/originals*", EACCES);
    const auto report = scan.inspect();
    EXPECT_EQ(report.deniedFolders, Folders{"originals"});
    EXPECT_EQ(described(report)[3], "missing/accessDenied refused originals/C");
}

TEST(OriginalsTrouble, endsWhenTheDiskGoesAway)
{
    const auto swapped = [](Library& scan) { scan.calls->on("fileSystem", "*").otherFileSystem(7); };
    const auto unplugged = [](Library& scan) { scan.calls->fail("*", "*", ENXIO); };
    for (const auto& goAway :
        {std::function<void(Library&)>(swapped), std::function<void(Library&)>(unplugged)}) {
        Library scan(3);
        scan.onListing = [&](const std::string& folder) {
            if (folder == "originals/B") {
                goAway(scan);
            }
        };
        const auto report = scan.inspect();
        EXPECT_EQ(described(report), (Entries{{1, Library::found('A')}, {2, "unchecked"}, {3, "unchecked"}}));
        EXPECT_EQ(report.state, State::interrupted);
        EXPECT_EQ(report.unreadableFolders, Folders{}) << "a disk that is gone is no bad folder";
    }
}

TEST(OriginalsTrouble, endsSoonAfterACancel)
{
    Library scan(3);
    scan.calls->on("openBeneath", scan.folder('B')).hang();
    scan.calls->on("openBeneath", scan.folder('B')).run([] { });
    std::chrono::nanoseconds before{};
    scan.onListing = [&](const std::string& folder) {
        if (folder == "originals/B") {
            before = scan.clock->uptime();
            scan.cancel->cancel();
        }
    };
    const auto report = scan.inspect();
    EXPECT_EQ(described(report), (Entries{{1, Library::found('A')}, {2, "unchecked"}, {3, "unchecked"}}));
    EXPECT_EQ(report.state, State::interrupted);
    EXPECT_EQ(report.unreadableFolders, Folders{});
    EXPECT_GE(scan.clock->uptime() - before, 2s);
    EXPECT_LT(scan.clock->uptime() - before, 3s);
    EXPECT_EQ(scan.listed.back(), "originals/B");
}

TEST(OriginalsTrouble, hasAnEntryForEveryAssetOfALibraryThatIsNotThere)
{
    ScanFixture scan;
    scan.add('A', 1);
    scan.add('B', 2).isSharedAlbumItem = true;
    scan.snapshot.libraryURL = scan.disk / "Gone.photoslibrary";
    const auto report = scan.inspect();
    EXPECT_EQ(described(report), (Entries{{1, "unchecked"}, {2, "missing/sharedAlbumItem"}}));
    EXPECT_EQ(report.state, State::interrupted);
}

TEST(OriginalsTrouble, doesNotTakeALinkedFolderOfABackupForAnEmptyFile)
{
    // Linux shows a hard link of a folder on Mac OS Extended as an empty file.
    struct Calls : ScriptedCalls {
        using ScriptedCalls::ScriptedCalls;
        CallResult<FileSystemStatus> fileSystemOf(const DiskPath& path) const override
        {
            auto status = ScriptedCalls::fileSystemOf(path);
            status->typeName = "hfsplus";
            return status;
        }
    };
    for (const bool isHfsPlus : {true, false}) {
        ScanFixture scan;
        scan.add('A', 1);
        scan.file("originals/A", 0);
        if (isHfsPlus) {
            scan.calls = std::make_shared<Calls>(scan.clock);
        }
        const auto report = scan.inspect();
        EXPECT_EQ(described(report), (Entries{{1, isHfsPlus ? silent : "missing/notFound"}}));
        EXPECT_EQ(report.unreadableFolders, isHfsPlus ? Folders{"originals/A"} : Folders{});
    }
}

} // namespace
} // namespace vantorel
