#include "discovery/LibraryProbe.h"
#include "discovery/FinderFixture.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace vantorel {
namespace {

struct Fault {
    const char* call;
    const char* path;
    int code;
};

struct Row {
    const char* name;
    const char* folder;
    std::vector<std::string> files; ///< "path=bytes", a folder with a slash at its end.
    std::vector<Fault> faults;
    const char* expected; ///< "" for no library.
};

class Probing : public testing::TestWithParam<Row> { };

TEST_P(Probing, tellsWhatAFolderIs)
{
    const TemporaryFolder folder;
    const auto calls = std::make_shared<ScriptedCalls>();
    folder.makeFolder(GetParam().folder);
    for (const std::string& file : GetParam().files) {
        const std::filesystem::path path =
            std::filesystem::path(GetParam().folder) / file.substr(0, file.find('='));
        if (file.ends_with('/')) {
            folder.makeFolder(path);
        } else {
            folder.write(path, file.contains('=') ? file.substr(file.find('=') + 1) : "x");
        }
    }
    for (const Fault& fault : GetParam().faults) {
        calls->fail(fault.call, fault.path, fault.code);
    }
    Heartbeat heartbeat(systemClock());
    auto probed =
        probeFolder(*calls, folder / GetParam().folder, FoundLibrary::Origin::picked, {}, heartbeat);
    FindResult result;
    if (probed.library) {
        if (probed.isRefused) {
            probed.library->accessProblem = "refused";
        }
        result.libraries.push_back(*probed.library);
    }
    const auto found = described(result, folder.path());
    const std::string expected = GetParam().expected;
    EXPECT_EQ(
        found, expected.empty() ? Descriptions{} : (Descriptions{{GetParam().folder, "picked " + expected}}));
    EXPECT_EQ(calls->stillOpen(), std::vector<DiskPath>{});
}

constexpr const char* lib = "A.photoslibrary";
constexpr const char* file = "*/database/Photos.sqlite";

INSTANTIATE_TEST_SUITE_P(Folders, Probing,
    testing::Values(Row{"database", lib, {"database/Photos.sqlite"}, {}, "modern"},
        Row{"databaseInAnyFolder", "Some folder", {"database/Photos.sqlite"}, {}, "modern"},
        Row{"databaseUnreadable", "a", {"database/Photos.sqlite"}, {{"status", file, EIO}}, "modern"},
        Row{"openRefused", "a", {"database/Photos.sqlite"}, {{"open", file, EPERM}}, "modern refused"},
        Row{"openFails", "a", {"database/Photos.sqlite"}, {{"open", file, EIO}}, "modern"},
        Row{"fileRefused", "a", {"database/Photos.sqlite"}, {{"status", file, EACCES}}, "modern refused"},
        Row{"databaseFolderRefused", "A.PhotosLibrary", {"database/Photos.sqlite"},
            {{"status", "*/database*", EACCES}, {"list", "*/database", EACCES}}, "modern refused"},
        Row{"databaseFolderRefusedElsewhere", "a", {"database/Photos.sqlite"},
            {{"status", "*/database*", EACCES}, {"list", "*/database", EACCES}}, ""},
        Row{"allRefused", lib, {}, {{"status", "*", EACCES}, {"list", "*", EACCES}}, "modern refused"},
        Row{"allRefusedElsewhere", "a", {}, {{"status", "*", EACCES}, {"list", "*", EACCES}}, ""},
        Row{"folderUnreadable", lib, {"database/Photos.sqlite"}, {{"status", "*library", EIO}}, ""},
        Row{"originals", "a", {"originals/"}, {}, "noDatabase"},
        Row{"databaseIsAFolder", "a", {"database/Photos.sqlite/", "originals/"}, {}, "noDatabase"},
        Row{"originalsRefused", "a", {"originals/"}, {{"status", "*/originals", EACCES}},
            "noDatabase refused"},
        Row{"originalsIsAFile", lib, {"originals"}, {}, ""},
        Row{"databaseFolderAlone", lib, {"database/x"}, {}, ""},
        Row{"databaseBeside", lib, {"Photos.sqlite"}, {}, ""}, Row{"empty", lib, {}, {}, ""},
        Row{"photosDb", "a", {"database/photos.db"}, {}, "legacy"},
        Row{"apdb", "a", {"database/apdb/Library.apdb"}, {}, "legacy"},
        Row{"upperApdb", "a", {"Database/apdb/Library.apdb"}, {}, "legacy"},
        Row{"topApdb", "a", {"Library.apdb"}, {}, "legacy"},
        Row{"albumData", "a", {"AlbumData.xml"}, {}, "legacy"},
        Row{"masters", "a", {"Masters/"}, {}, "legacy"}, Row{"mastersIsAFile", "a", {"Masters"}, {}, ""},
        Row{"markIsAFolder", "a", {"AlbumData.xml/"}, {}, ""},
        Row{"originalsBeforeOlder", "a", {"Masters/", "originals/"}, {}, "noDatabase"},
        Row{"snapshotJournal", "a", {"originals/", "resources/journals/Asset-snapshot.plj"}, {},
            "noDatabase journals"},
        Row{"changeJournal", "a",
            {"originals/", "resources/journals/Asset-snapshot.plj=", "resources/journals/Asset-change.plj"},
            {}, "noDatabase journals"},
        Row{"emptyJournals", "a",
            {"originals/", "resources/journals/Asset-snapshot.plj=", "resources/journals/Asset-change.plj="},
            {}, "noDatabase"},
        Row{"journalIsAFolder", "a", {"originals/", "resources/journals/Asset-change.plj/"}, {},
            "noDatabase"}),
    [](const auto& row) { return row.param.name; });

TEST(Probe, readsTheDetailsOfADatabase)
{
    const TemporaryFolder folder;
    const auto path = folder.write("The Old.One.photoslibrary/database/Photos.sqlite", "12345");
    const std::array<timespec, 2> times{
        {{.tv_sec = 1, .tv_nsec = 0}, {.tv_sec = 1'700'000'000, .tv_nsec = 9}}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
    Heartbeat heartbeat(systemClock());
    const auto probe = [&] {
        return probeFolder(*realSystemCalls(), folder / "The Old.One.photoslibrary",
            FoundLibrary::Origin::home, {}, heartbeat);
    };
    EXPECT_EQ(probe().library,
        (FoundLibrary{.url = folder / "The Old.One.photoslibrary",
            .name = "The Old.One",
            .origin = FoundLibrary::Origin::home,
            .databaseBytes = 5,
            .databaseModified = std::chrono::sys_seconds(std::chrono::seconds(1'700'000'000))}));
#ifdef __linux__
    const std::string mark = "user.com.apple.metadata:com_apple_backup_excludeItem";
    if (setxattr(path.parent_path().c_str(), mark.c_str(), "x", 1, 0) == 0) {
        EXPECT_TRUE(probe().library->databaseExcludedFromBackups);
    }
#endif
}

TEST(Probe, takesALinkForTheDatabaseButNotAWayOut)
{
    const TemporaryFolder folder;
    folder.makeLink("a.photoslibrary/database/Photos.sqlite", "/etc/hostname");
    ASSERT_EQ(mkfifo((folder.makeFolder("b/database") / "Photos.sqlite").c_str(), 0600), 0);
    Heartbeat heartbeat(systemClock());
    for (const char* name : {"a.photoslibrary", "b"}) {
        const auto probed =
            probeFolder(*realSystemCalls(), folder / name, FoundLibrary::Origin::volume, {}, heartbeat);
        ASSERT_TRUE(probed.library) << name;
        EXPECT_EQ(probed.library->format, LibraryFormat::modern);
        EXPECT_EQ(probed.library->databaseBytes, std::nullopt);
        EXPECT_FALSE(probed.isRefused);
    }
}

TEST(AccessProblem, namesTheVolumeWhereOwnershipCounts)
{
    const std::string first = "macOS refused access to this library. Turn on Full Disk Access for Vantorel.";
    EXPECT_EQ(accessProblemText(std::nullopt), first);
    EXPECT_EQ(accessProblemText(VolumeInfo{.name = "Stick", .ignoresOwnership = true}), first);
    EXPECT_EQ(accessProblemText(VolumeInfo{.name = "Old Mac"}),
        first
            + " If it still fails, the files belong to another user: select \"Old Mac\" in Finder, choose "
              "File > "
              "Get Info and tick \"Ignore ownership on this volume\".");
}

} // namespace
} // namespace vantorel
