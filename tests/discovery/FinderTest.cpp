#include "discovery/FinderFixture.h"

#include "discovery/FolderRules.h"

#include <algorithm>
#include <cerrno>

namespace vantorel {
namespace {

using Origin = FoundLibrary::Origin;

std::vector<std::string> namesOf(const FindResult& result)
{
    std::vector<std::string> names;
    for (const auto& library : result.libraries) {
        names.push_back(library.name);
    }
    return names;
}

TEST_F(FinderTest, listsTheRightOnesOfFiftyMixedFolders)
{
    // Libraries of every format, wherever they lie.
    library("tree/Photos Library.photoslibrary");
    library("tree/UPPER.PHOTOSLIBRARY");
    library("tree/A plain copy");
    library("tree/1/2/3/4/5/Level six.photoslibrary");
    library("tree/1/2/3/4/5/Level six too");
    library("tree/.Trashes/501/Thrown away.photoslibrary");
    library("tree/Library/Kept in a folder of that name.photoslibrary");
    library("tree/Evil\n\x1b[2J\xff.photoslibrary");
    folder.makeFolder("tree/No database.photoslibrary/originals/0");
    folder.makeFolder("tree/Journals.photoslibrary/originals");
    folder.write("tree/Journals.photoslibrary/resources/journals/Asset-change.plj", "x");
    folder.makeFolder("tree/Empty journals.photoslibrary/originals");
    folder.write("tree/Empty journals.photoslibrary/resources/journals/Asset-change.plj", "");
    folder.write("tree/old/Aperture.aplibrary/Database/apdb/Library.apdb", "x");
    folder.write("tree/old/iPhoto.photolibrary/AlbumData.xml", "x");
    folder.write("tree/old/First Photos.photoslibrary/database/photos.db", "x");
    folder.makeFolder("tree/old/Even older/Masters");
    library("tree/Refused.photoslibrary");
    calls->fail("status", "*/Refused.photoslibrary/*", EACCES);
    calls->fail("list", "*/Refused.photoslibrary*", EACCES);
    library("tree/Not to be opened.photoslibrary");
    calls->fail("open", "*/Not to be opened.photoslibrary/*", EPERM);
    // The same by other ways, and links in circles.
    library("elsewhere/Linked.photoslibrary");
    folder.makeLink("tree/Link to another disk.photoslibrary", folder / "elsewhere/Linked.photoslibrary");
    folder.makeLink("tree/Again.photoslibrary", "Photos Library.photoslibrary");
    folder.makeLink("tree/loop.photoslibrary", "loop.photoslibrary");
    folder.makeLink("tree/up.photoslibrary", "..");
    folder.makeLink("tree/1/2/back", folder / "tree");
    folder.makeLink("tree/nowhere.photoslibrary", "missing");
    // Decoys in libraries and packages, and where nothing is searched.
    for (const char* decoy : {"Photos Library.photoslibrary/originals/D.photoslibrary",
             "A plain copy/resources/D.photoslibrary", "old/Aperture.aplibrary/D.photoslibrary",
             "Program.app/Contents/D.photoslibrary", "node_modules/D.photoslibrary", ".git/D.photoslibrary",
             "work/.cache/D.photoslibrary", "Caches/D.photoslibrary", "lost+found/D.photoslibrary",
             "System Volume Information/D.photoslibrary", "$RECYCLE.BIN/D.photoslibrary",
             "Machine.utm/D.photoslibrary", "Bands.sparsebundle/bands/D.photoslibrary",
             "Users/anna/Library/D.photoslibrary", "1/2/3/4/5/6/Level seven.photoslibrary"}) {
        library(std::filesystem::path("tree") / decoy);
    }
    // Look-alikes.
    folder.makeFolder("tree/Hollow.photoslibrary");
    folder.write("tree/A file.photoslibrary", "x");
    folder.write("tree/Loose/Photos.sqlite", "x");
    folder.write("tree/Web shop/database/shop.sqlite", "x");
    folder.makeFolder("tree/Only folders/database/Photos.sqlite");
    for (int i = 0; i < 10; ++i) {
        folder.write("tree/pictures/" + std::to_string(i) + "/a.jpeg", "x");
    }

    options.volumeRoots = {folder / "tree"};
    const FindResult result = find();
    EXPECT_EQ(described(result, folder / "tree"),
        (Descriptions{{"Photos Library.photoslibrary", "volume modern"},
            {"UPPER.PHOTOSLIBRARY", "volume modern"}, {"A plain copy", "volume modern"},
            {"1/2/3/4/5/Level six.photoslibrary", "volume modern"},
            {"1/2/3/4/5/Level six too", "volume modern"},
            {".Trashes/501/Thrown away.photoslibrary", "volume modern"},
            {"Library/Kept in a folder of that name.photoslibrary", "volume modern"},
            {"Evil\n\x1b[2J\xff.photoslibrary", "volume modern"},
            {"No database.photoslibrary", "volume noDatabase"},
            {"Journals.photoslibrary", "volume noDatabase journals"},
            {"Empty journals.photoslibrary", "volume noDatabase"},
            {"old/Aperture.aplibrary", "volume legacy"}, {"old/iPhoto.photolibrary", "volume legacy"},
            {"old/First Photos.photoslibrary", "volume legacy"}, {"old/Even older", "volume legacy"},
            {"Refused.photoslibrary", "volume modern refused"},
            {"Not to be opened.photoslibrary", "volume modern refused"},
            {"Link to another disk.photoslibrary", "volume modern"}}));
    const auto lines = said(result);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0],
        "notALibrary: \"Hollow.photoslibrary\" is not a Photos library: it has no database and no originals "
        "folder.");
    EXPECT_TRUE(lines[1].starts_with("permissionDenied: macOS refused access to this library."));
    EXPECT_EQ(calls->count("list", "*/D.photoslibrary*"), 0u);
    EXPECT_EQ(calls->stillOpen(), std::vector<DiskPath>{});
}

TEST_F(FinderTest, ordersAndNamesWhatItFoundOnce)
{
    library("pick/b.photoslibrary");
    library("pick/A.photoslibrary");
    library("home/anna/Pictures/Z.photoslibrary");
    library("home/anna/Library/hidden.photoslibrary");
    library("drive/a.photoslibrary");
    folder.makeLink("way", folder / "pick");
    library("stick.photoslibrary");
    options.picked = {folder / "pick", folder / "way", folder / "stick.photoslibrary", folder / "pick"};
    options.homeFolders = {folder / "home/anna", folder / "home/anna/Pictures", folder / "home/none"};
    options.volumeRoots = {folder / "drive", folder / "way"};
    std::vector<FindProgress> shown;
    const FindResult result = find({}, [&](const FindProgress& progress) { shown.push_back(progress); });
    EXPECT_EQ(namesOf(result), (std::vector<std::string>{"A", "b", "stick", "Z", "a"}));
    EXPECT_EQ(result.libraries[3].origin, Origin::home);
    EXPECT_EQ(result.libraries[4].origin, Origin::volume);
    EXPECT_EQ(said(result), std::vector<std::string>{});
    ASSERT_TRUE(result.libraries[0].volume);
    EXPECT_FALSE(result.libraries[0].volume->mountPoint.empty());
    ASSERT_FALSE(shown.empty());
    EXPECT_EQ(shown.back().libraries, 5);
    EXPECT_GE(shown.back().folders, 4);
}

TEST_F(FinderTest, saysOfEachPickWhyItHoldsNone)
{
    folder.makeFolder("Letters/2020");
    folder.makeFolder("Hollow.photoslibrary");
    folder.write("note.txt", "x");
    folder.makeFolder("Mine");
    folder.makeFolder("Bad");
    calls->fail("status", folder / "Mine", EACCES);
    calls->fail("status", folder / "Bad", EIO);
    for (const char* name : {"Letters", "Hollow.photoslibrary", "note.txt", "Mine", "Bad", "Gone"}) {
        options.picked.push_back(folder / name);
    }
    const FindResult result = find();
    EXPECT_EQ(said(result),
        (std::vector<std::string>{"notALibrary: \"Hollow.photoslibrary\" is not a Photos library: it has no "
                                  "database and no originals "
                                  "folder.",
            "notALibrary: \"Letters\" is not a Photos library: it has no database and no originals folder.",
            "notALibrary: \"note.txt\" is not a Photos library: it has no database and no originals folder.",
            "permissionDenied: \"Mine\" could not be read: Permission denied",
            "unreadable: \"Bad\" could not be read: Input/output error",
            "volumeGone: \"Gone\" is not there now. If it is on a drive, connect the drive and look "
            "again."}));
    EXPECT_EQ(
        result.unreachablePicks, (std::vector<DiskPath>{folder / "Mine", folder / "Bad", folder / "Gone"}));

    const LibraryFinder finder(services(), options);
    EXPECT_EQ(finder.inspect(folder / "Letters").error().kind, FindIssue::Kind::notALibrary);
    EXPECT_EQ(finder.inspect(folder / "Gone").error().kind, FindIssue::Kind::volumeGone);
    EXPECT_EQ(finder.inspect(folder / "Bad").error().kind, FindIssue::Kind::unreadable);
    const auto opened = finder.inspect(library("New.photoslibrary"));
    ASSERT_TRUE(opened);
    EXPECT_EQ(opened->name, "New");
    EXPECT_EQ(opened->origin, Origin::picked);
}

TEST_F(FinderTest, staysWithinItsBudgetPerVolume)
{
    for (int i = 0; i < 30; ++i) {
        folder.makeFolder("drive/" + std::to_string(100 + i) + "/x");
    }
    library("drive/z.photoslibrary"); // a package among many folders is looked at all the same
    library("drive/100/x/late.photoslibrary");
    library("other/a/b.photoslibrary");
    options.volumeRoots = {folder / "drive", folder / "other"};
    options.volumeBudget = 20;
    const FindResult result = find();
    EXPECT_EQ(described(result, folder.path()),
        (Descriptions{
            {"drive/z.photoslibrary", "volume modern"}, {"other/a/b.photoslibrary", "volume modern"}}));
    EXPECT_EQ(said(result),
        (std::vector<std::string>{
            "unfinished: \"drive\" has too many folders to search in full. If your library "
            "is on it, choose the library yourself."}));
    EXPECT_EQ(calls->count("openFolder", "*/drive*"), 20u);
}

TEST_F(FinderTest, goesIntoNoOtherVolumeButSearchesItByItself)
{
    library("home/Pictures/own.photoslibrary");
    library("home/far/away.photoslibrary");
    options.homeFolders = {folder / "home"};
    options.mountPoints = {folder / "home/far"};
    EXPECT_EQ(
        described(find(), folder.path()), (Descriptions{{"home/Pictures/own.photoslibrary", "home modern"}}));
    EXPECT_EQ(calls->count("*", folder / "home/far"), 0u); // not even its status is asked
    options.volumeRoots = {folder / "home/far"};
    EXPECT_EQ(described(find(), folder.path()),
        (Descriptions{{"home/Pictures/own.photoslibrary", "home modern"},
            {"home/far/away.photoslibrary", "volume modern"}}));
}

/// Makes one folder look as if it had very many sub-folders.
class ManyFolders final : public ScriptedCalls {
public:
    ManyFolders(std::shared_ptr<const ManualClock> clock, DiskPath crowded, int count)
        : ScriptedCalls(std::move(clock))
        , crowded_(std::move(crowded))
        , count_(count)
    {
    }
    CallResult<std::unique_ptr<Folder>> openFolder(const DiskPath& path, Links links) const override
    {
        if (path == crowded_) {
            return std::make_unique<Crowd>(count_, ScriptedCalls::openFolder(path, links).value());
        }
        if (path.parent_path() == crowded_ && !path.native().ends_with("library")) {
            ++descended;
            return ScriptedCalls::openFolder(crowded_ / "real", links);
        }
        return ScriptedCalls::openFolder(path, links);
    }
    mutable std::atomic<int> descended{0};

private:
    class Crowd final : public Folder {
    public:
        Crowd(int count, std::unique_ptr<Folder> real)
            : count_(count)
            , real_(std::move(real))
        {
        }
        CallResult<std::optional<std::string>> next() override
        {
            return next_ < count_ ? std::optional("folder " + std::to_string(next_++)) : real_->next();
        }
        CallResult<FileStatus> statusOf(const std::string& name) override
        {
            return name.starts_with("folder ") ? FileStatus{.type = FileStatus::Type::directory}
                                               : real_->statusOf(name);
        }

    private:
        int count_;
        int next_ = 0;
        std::unique_ptr<Folder> real_;
    };
    DiskPath crowded_;
    int count_;
};

TEST_F(FinderTest, isNotHeldUpByAFolderOfAHundredThousand)
{
    folder.makeFolder("drive/crowd/real");
    library("drive/crowd/z.photoslibrary");
    library("drive/after/b.photoslibrary");
    const auto many = std::make_shared<ManyFolders>(clock, folder / "drive/crowd", 100'000);
    calls = many;
    options.volumeRoots = {folder / "drive"};
    options.mostChildren = 300;
    const FindResult result = find();
    EXPECT_EQ(described(result, folder.path()),
        (Descriptions{{"drive/crowd/z.photoslibrary", "volume modern"},
            {"drive/after/b.photoslibrary", "volume modern"}}));
    EXPECT_EQ(said(result),
        (std::vector<std::string>{
            "unfinished: \"crowd\" has too many folders to search in full. If your library "
            "is on it, choose the library yourself."}));
    EXPECT_EQ(many->descended, 300);
}

TEST(FolderRules, leaveTheSystemOfADiskAlone)
{
    const auto use = [](const char* name, const FolderPlace& place) {
        return useOf({.name = name, .kind = FS::Kind::directory}, place);
    };
    FS::PartialList list;
    for (const char* name : {"Applications", "Library", "System", "Users"}) {
        list.entries.push_back({.name = name, .kind = FS::Kind::directory});
    }
    EXPECT_TRUE(holdsSystem(list));
    list.entries.erase(list.entries.begin() + 2);
    EXPECT_FALSE(holdsSystem(list));
    for (const char* name : {"Library", "System", "Applications", "usr", "Windows", "Program Files"}) {
        EXPECT_EQ(use(name, {.isSystemVolume = true}), FolderUse::passedOver) << name;
        EXPECT_EQ(use(name, {}), FolderUse::walked) << name;
    }
    EXPECT_EQ(use("Users", {.isSystemVolume = true}), FolderUse::walked);
    EXPECT_EQ(use("2024-05-01-101112", {.isTop = true}), FolderUse::datedBackup);
    EXPECT_EQ(use("2024-05-01-101112", {}), FolderUse::walked);
    EXPECT_EQ(use("2024-05-01-101112.previous", {}), FolderUse::datedBackup);
    EXPECT_EQ(use("backups.backupdb", {}), FolderUse::backupStore);
    for (const char* name : {"2024-05-01", "2024-05-01-1011120", "2024-05-01-10111x", "2024-05-01-101112.zip",
             "x2024-05-01-101112", ".backup", ""}) {
        EXPECT_FALSE(isBackupDate(name)) << name;
    }
}

} // namespace
} // namespace vantorel
