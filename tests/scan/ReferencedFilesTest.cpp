#include "scan/ReferencedPlaces.h"
#include "scan/ScanFixture.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace vantorel {
namespace {

using Entries = std::map<std::int64_t, std::string>;
using Paths = std::vector<std::string>;

TEST(ReferencedPlaces, areThoseOfPeoplesOwnFiles)
{
    const std::pair<std::string_view, bool> rows[] = {
        {"/Volumes/Photos/2010/a.jpg", true},
        {"/Volumes/Photos/2010/a.JPG", true},
        {"/Volumes/Photos/Library/a.jpg", true}, // a person's own folder on a disk of its own
        {"/Volumes/Old Mac/Users/ann/Pictures/a.heic", true},
        {"/Users/ann/Pictures/a.mov", true},
        {"/System/Volumes/Data/Users/ann/Pictures/a.jpg", true},
        {"/home/ann/a.cr2", true},
        {"/media/ann/Photos/a.jpg", true},
        {"/run/media/ann/Photos/a.jpg", true},
        {"/mnt/photos/a.jpg", true},
        {"/var/tmp/a.jpg", true},
        // Not a file on its own way out.
        {"Pictures/a.jpg", false},
        {"", false},
        {"/", false},
        {"/Users/ann/../bob/a.jpg", false},
        {"/Users/ann/./a.jpg", false},
        {std::string_view("/Users/ann/a\0b.jpg", 18), false},
        // Not a photo or video.
        {"/Users/ann/notes.txt", false},
        {"/Users/ann/a", false},
        {"/Users/ann/jpg", false},
        // Hidden.
        {"/Users/ann/.ssh/key.jpg", false},
        {"/Users/ann/.a.jpg", false},
        {"/Volumes/Photos/.Trashes/501/a.jpg", false},
        // The system's.
        {"/System/a.jpg", false},
        {"/system/a.jpg", false},
        {"/Library/Desktop Pictures/a.jpg", false},
        {"/System/Volumes/Data/Library/a.jpg", false},
        {"/private/etc/a.jpg", false},
        {"/etc/a.jpg", false},
        {"/dev/a.jpg", false},
        {"/proc/self/fd/a.jpg", false},
        {"/sys/a.jpg", false},
        {"/usr/share/a.png", false},
        {"/bin/a.jpg", false},
        {"/var/db/a.jpg", false},
        {"/run/a.jpg", false},
        {"/Volumes/Old Mac/System/a.jpg", false},
        {"/Volumes/Old Mac/private/var/a.jpg", false},
        {"/Volumes/a.jpg", false},
        // A user's application data, and other libraries.
        {"/Users/ann/Library/Mail/a.jpg", false},
        {"/Volumes/Old Mac/Users/ann/Library/a.jpg", false},
        {"/Users/ann/Other.photoslibrary/originals/A/a.jpg", false},
        {"/Users/ann/Old.PhotoLibrary/a.jpg", false},
    };
    for (const auto& [path, isRead] : rows) {
        EXPECT_EQ(ReferencedPlaces::readable(path).has_value(), isRead) << path;
    }
    EXPECT_EQ(ReferencedPlaces::readable("//Users//ann/a.jpg"), "/Users/ann/a.jpg");
}

TEST(ReferencedPlaces, areTriedOnOtherMountPointsAndInOtherUnicodeForms)
{
    EXPECT_EQ(ReferencedPlaces::alternatives("/Volumes/Old/P\xC3\xA9/a.jpg", {"/mnt/old", ""}),
        (Paths{"/Volumes/Old/Pe\xCC\x81/a.jpg", "/mnt/old/P\xC3\xA9/a.jpg", "/mnt/old/Pe\xCC\x81/a.jpg",
            "/P\xC3\xA9/a.jpg", "/Pe\xCC\x81/a.jpg"}));
    EXPECT_EQ(ReferencedPlaces::alternatives("/Volumes/Old/Library/a.jpg", {""}), Paths{})
        << "a place that is not read is not reached under another name";
    EXPECT_EQ(ReferencedPlaces::alternatives("/Users/a.jpg", {"/mnt/old"}), Paths{});
}

TEST(ReferencedPlaces, takeAMountPointOnlyWhereItIsTheOnlyOneOfItsName)
{
    const std::string disk = "30 1 8:17 / /media/ann/Old rw - hfsplus /dev/sdb1 ro\n";
    const std::pair<std::string, Paths> rows[] = {
        {disk, {"/media/ann/Old"}},
        {"30 1 8:17 / /media/ann/old rw - hfsplus /dev/sdb1 ro\n", {"/media/ann/old"}},
        {disk + "31 1 8:33 / /mnt/Old rw - exfat /dev/sdc1 rw\n", {}},
        {"30 1 8:17 /home /srv/Old rw - ext4 /dev/sdb1 rw\n", {}}, // a folder, mounted elsewhere
        {"30 1 0:40 / /run/Old rw - tmpfs tmpfs rw\n", {}},
        {"30 1 0:41 / /mnt/Old rw - cifs //nas/photos rw\n", {"/mnt/Old"}},
        {"", {}},
    };
    for (const auto& [table, expected] : rows) {
        struct Calls : ScriptedCalls {
            std::string table;
            CallResult<std::string> systemText(const DiskPath&) const override { return table; }
        };
        const auto calls = std::make_shared<Calls>();
        calls->table = table;
        calls->fail("fileSystem", "*", ENOENT);
        EXPECT_EQ(ReferencedPlaces::mountPointsOf(calls, "Old", "/mnt/x/My.photoslibrary"), expected)
            << table;
    }
}

struct ReferencedFixture : ScanFixture {
    Asset& addReferenced(int number, const std::string& path)
    {
        Asset& asset = add('A', number);
        asset.isReferenced = true;
        asset.directory = "";
        asset.referencedPath = path.starts_with('/') ? path : (disk / path).native();
        return asset;
    }
    std::string at(const std::string& path) const { return (disk / path).native(); }
};

TEST(ReferencedFiles, areLookedAtWhereTheLibraryPoints)
{
    ReferencedFixture scan;
    scan.addReferenced(1, "out/here.jpg").originalFileSize = 3; // of another size now: that says nothing
    scan.addReferenced(2, "out/gone.jpg");
    scan.addReferenced(3, "out/notes.txt");
    scan.addReferenced(4, "out/empty.jpg");
    scan.addReferenced(5, "out/link.jpg");
    scan.addReferenced(6, "linked/here.jpg");
    scan.addReferenced(7, "out/folder.jpg");
    scan.addReferenced(8, "/etc/passwd.jpg");
    scan.addReferenced(9, "out/gone.jpg/below.jpg");
    scan.addReferenced(10, "out/empty.jpg");
    scan.disk.write("out/here.jpg", "12345");
    scan.disk.write("out/notes.txt", "12345");
    scan.disk.write("out/empty.jpg", "");
    scan.disk.makeFolder("out/folder.jpg");
    scan.disk.makeLink("out/link.jpg", scan.disk / "out/here.jpg");
    scan.disk.makeLink("linked", scan.disk / "out");
    scan.file("resources/derivatives/A/{}_1_105_c.jpeg", 5, idOf('A', 2));
    scan.file("resources/derivatives/A/{}_1_105_c.jpeg", 5, idOf('A', 4));

    const auto report = scan.inspect();
    const std::string refused = "missing/refusedLocation refused ";
    EXPECT_EQ(described(report),
        (Entries{{1, "referenced " + scan.at("out/here.jpg") + ":5 outside"},
            {2, "missing/referencedFileGone resources/derivatives/A/" + idOf('A', 2) + "_1_105_c.jpeg:5"},
            {3, refused + scan.at("out/notes.txt")},
            {4, "derivativeOnly/emptyFile resources/derivatives/A/" + idOf('A', 4) + "_1_105_c.jpeg:5"},
            {5, refused + scan.at("out/link.jpg")}, {6, refused + scan.at("linked/here.jpg")},
            {7, refused + scan.at("out/folder.jpg")}, {8, refused + "/etc/passwd.jpg"},
            {9, "missing/referencedFileGone"}, {10, "missing/emptyFile"}}));
    EXPECT_EQ(report.state, OriginalsReport::State::complete);
    EXPECT_EQ(scan.calls->count("*", "/etc/*"), 0U) << "a refused place is not even asked for";
}

TEST(ReferencedFiles, haveTheirPartnersElsewhereToo)
{
    ReferencedFixture scan;
    for (int number = 1; number <= 3; ++number) {
        Asset& asset = scan.addReferenced(number, "out/a.jpg");
        asset.expectsPartner = true;
    }
    scan.snapshot.assets[0].referencedPartners = {scan.at("out/a.cr2")};
    scan.snapshot.assets[1].referencedPartners = {scan.at("out/gone.cr2")};
    scan.disk.write("out/a.jpg", "12345");
    scan.disk.write("out/a.cr2", "1234567");
    const std::string found = "referenced " + scan.at("out/a.jpg") + ":5";
    EXPECT_EQ(described(scan.inspect()),
        (Entries{{1, found + " + " + scan.at("out/a.cr2") + ":7 outside"},
            {2, found + " outside partnerMissing"}, {3, found + " outside partnerMissing"}}));
}

TEST(ReferencedFiles, withoutAPathAreLookedForInTheLibrary)
{
    ScanFixture scan;
    for (int number = 1; number <= 2; ++number) {
        Asset& asset = scan.add('A', number);
        asset.isReferenced = true;
        asset.directory = "";
    }
    scan.file("originals/A/" + idOf('A', 1) + ".jpeg");
    EXPECT_EQ(described(scan.inspect()),
        (Entries{{1, "present originals/A/" + idOf('A', 1) + ".jpeg:5"}, {2, "missing/referencedFileGone"}}));
}

TEST(ReferencedFiles, tellRefusalSilenceAndErrorsApart)
{
    ReferencedFixture scan;
    scan.addReferenced(1, "out/denied.jpg");
    scan.addReferenced(2, "out/broken.jpg");
    scan.addReferenced(3, "out/fine.jpg");
    scan.disk.write("out/fine.jpg", "12345");
    const auto denied = scan.calls->fail("statusAt", "*/denied.jpg", EACCES);
    const auto broken = scan.calls->fail("statusAt", "*/broken.jpg", EIO);

    const auto report = scan.inspect();
    EXPECT_EQ(described(report),
        (Entries{{1, "missing/accessDenied refused " + scan.at("out/denied.jpg")},
            {2, "unchecked/folderUnreadable"}, {3, "referenced " + scan.at("out/fine.jpg") + ":5 outside"}}));
    EXPECT_EQ(report.state, OriginalsReport::State::partlyUnreadable);
    EXPECT_EQ(report.deniedFolders, Paths{scan.at("out")});
    EXPECT_EQ(report.unreadableFolders, Paths{});
    EXPECT_TRUE(problemNotes(report, true, false)
            .front()
            .starts_with("Some files outside this library could not be read. 1 item is in those places"));
    EXPECT_EQ(denied.hits() + broken.hits(), 2U);
}

TEST(ReferencedFiles, leaveASilentDiskAloneAfterTwoLooks)
{
    ReferencedFixture scan;
    for (int number = 1; number <= 50; ++number) {
        scan.addReferenced(number, "out/" + std::to_string(number) + ".jpg");
    }
    scan.disk.makeFolder("out");
    const auto rule = scan.calls->on("statusAt", "*.jpg").hang();
    const auto before = scan.clock->uptime();

    const auto report = scan.inspect();
    EXPECT_EQ(rule.hits(), 2U);
    EXPECT_EQ(report.entries.at(50).status, OriginalEntry::Status::unchecked);
    EXPECT_EQ(report.entries.at(50).reason, OriginalEntry::MissingReason::folderUnreadable);
    EXPECT_EQ(report.state, OriginalsReport::State::partlyUnreadable);
    EXPECT_LT(scan.clock->uptime() - before, std::chrono::seconds(12));
}

} // namespace
} // namespace vantorel
