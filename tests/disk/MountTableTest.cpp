#include "disk/MountTable.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace vantorel {
namespace {

// As recorded, shortened to what tells them apart.
constexpr std::string_view recorded =
    R"(24 1 8:2 / / rw,relatime shared:1 - ext4 /dev/sda2 rw,errors=remount-ro
25 24 0:22 / /proc rw,nosuid shared:12 - proc proc rw
31 24 8:17 / /media/anna/Old\040Photos ro,nosuid shared:60 - hfsplus /dev/sdb1 ro,umask=22,uid=1000,gid=1000
32 24 8:33 / /media/anna/STICK rw,nosuid shared:61 - vfat /dev/sdc1 rw,fmask=0022
33 24 8:34 / /media/anna/tab\011line\012back\134slash rw - exfat /dev/sdc2 rw,uid=1000
34 24 0:51 / /media/anna/Mac ro,nosuid - fuse.apfs /dev/sdd2 ro,user_id=1000
35 24 8:49 / /media/anna/Windows rw master:2 propagate_from:1 - fuseblk /dev/sdd1 rw,user_id=0,allow_other
36 24 8:50 / /media/anna/Windows3 rw shared:62 - ntfs3 /dev/sdd2 rw,uid=1000,gid=1000
37 24 0:60 / /srv/photos rw shared:70 - nfs4 nas:/photos rw,vers=4.2
38 24 0:61 / /srv/share rw shared:71 - cifs //nas/My\040Share rw,uid=1000,noforceuid
39 24 0:62 / /home/anna/far rw - fuse.sshfs anna@far:/ rw,user_id=1000
40 24 0:63 / /merged rw - overlay overlay rw,lowerdir=/a:/b
41 24 8:2 /home/anna/Pictures /srv/photos/mine rw shared:1 - ext4 /dev/sda2 rw
42 24 0:64 /@home /home rw - btrfs /dev/mapper/luks-1 rw,subvol=/@home
43 24 0:65 / /nameless rw - tmpfs  rw
44 24 0:66 / /optionless rw - tmpfs tmpfs
45 31 8:65 / /media/anna/Old\040Photos rw - ext4 /dev/sde1 rw
)";

TEST(MountTable, readsEveryKindOfLine)
{
    const auto table = parseMountTable(recorded);
    ASSERT_EQ(table.size(), 17u);
    EXPECT_EQ(table[2],
        (Mount{.id = 31,
            .deviceMajor = 8,
            .deviceMinor = 17,
            .root = "/",
            .mountPoint = "/media/anna/Old Photos",
            .options = {"ro", "nosuid", "ro", "umask=22", "uid=1000", "gid=1000"},
            .typeName = "hfsplus",
            .device = "/dev/sdb1"}));
    EXPECT_EQ(table[4].mountPoint, "/media/anna/tab\tline\nback\\slash");
    EXPECT_EQ(table[6].typeName, "fuseblk"); // two tags before the dash
    EXPECT_EQ(table[9].device, "//nas/My Share");
    EXPECT_EQ(table[12].root, "/home/anna/Pictures");
    EXPECT_EQ(table[14],
        (Mount{.id = 43,
            .deviceMajor = 0,
            .deviceMinor = 65,
            .root = "/",
            .mountPoint = "/nameless",
            .options = {"rw", "rw"},
            .typeName = "tmpfs",
            .device = ""}));
    EXPECT_EQ(table[15].options, std::vector<std::string>{"rw"});
}

TEST(MountTable, leavesOutWhatItDoesNotUnderstand)
{
    EXPECT_EQ(parseMountTable(""), std::vector<Mount>{});
    for (const char* line :
        {"\n\n", "24 1 8:2 / / rw", "24 1 8:2 / / rw - ext4", "x 1 8:2 / / rw - ext4 /dev/a rw",
            "24 1 8 / / rw - ext4 /dev/a rw", "24 1 8:x / / rw - ext4 /dev/a rw",
            "24 1 :2 / / rw - ext4 /dev/a rw", "24 1 8:2 / / rw shared:1 ext4 /dev/a rw",
            "99999999999999999999999 1 8:2 / / rw - ext4 /dev/a rw"}) {
        EXPECT_EQ(parseMountTable(line), std::vector<Mount>{}) << line;
    }
    for (std::size_t cut = 0; cut < recorded.size(); ++cut) { // no crash, and never more lines than there are
        const auto lines = std::ranges::count(recorded.substr(0, cut), '\n') + 1;
        EXPECT_LE(static_cast<std::ptrdiff_t>(parseMountTable(recorded.substr(0, cut)).size()), lines);
    }
}

TEST(MountTable, undoesOctalEscapesOnly)
{
    EXPECT_EQ(undoOctalEscapes("a\\040b\\011c\\012d\\134e\\303\\244"), "a b\tc\nd\\e\xc3\xa4");
    for (const char* text : {"", "\\", "\\0", "\\04", "\\x20", "\\048", "\\400"}) {
        EXPECT_EQ(undoOctalEscapes(text), text);
    }
}

TEST(MountTable, findsTheMountOfAPath)
{
    const auto table = parseMountTable(recorded);
    struct Row {
        std::optional<std::uint64_t> id;
        std::string_view path;
        std::uint64_t expected;
    };
    for (const Row& row : {Row{{}, "/etc/fstab", 24}, Row{{}, "/", 24}, Row{{}, "/media/anna/STICK", 32},
             Row{{}, "/media/anna/STICKS/x", 24}, Row{{}, "/srv/photos/mine/a", 41},
             Row{{}, "/srv/photos/a", 37}, Row{{}, "/home/bert", 42}, Row{{}, "/home/anna/far/x", 39},
             Row{{}, "/media/anna/Old Photos/x", 45}, // covered by a later mount
             Row{31, "/media/anna/Old Photos/x", 31}, // held open beneath it
             Row{37, "/elsewhere", 37}, Row{999, "/srv/share/x", 38}}) {
        const Mount* mount = mountOf(table, row.id, row.path);
        ASSERT_NE(mount, nullptr) << row.path;
        EXPECT_EQ(mount->id, row.expected) << row.path;
    }
    EXPECT_EQ(mountOf(table, {}, "relative"), nullptr);
    EXPECT_EQ(mountOf({}, 24, "/"), nullptr);
}

TEST(MountTable, knowsWhoseOwnersAreMadeUp)
{
    std::vector<std::uint64_t> ignoring;
    for (const Mount& mount : parseMountTable(recorded)) {
        if (ignoresOwnership(mount)) {
            ignoring.push_back(mount.id);
        }
    }
    EXPECT_EQ(ignoring, (std::vector<std::uint64_t>{31, 32, 33, 36}));
}

} // namespace
} // namespace vantorel
