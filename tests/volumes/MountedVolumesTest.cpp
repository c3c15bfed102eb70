#include "discovery/volumes/MountedVolumes.h"

#include <gtest/gtest.h>

namespace vantorel {
namespace {

// As recorded on three desktops, shortened to what tells them apart.
constexpr std::string_view recorded =
    R"(24 1 8:2 / / rw - ext4 /dev/sda2 rw
25 24 0:22 / /proc rw - proc proc rw
26 24 8:1 / /boot/efi rw - vfat /dev/sda1 rw
27 24 7:1 / /snap/core/1 ro - squashfs /dev/loop1 ro
28 24 0:64 /@home /home rw - btrfs /dev/mapper/luks-1 rw
29 24 0:31 / /run/user/1000 rw - tmpfs tmpfs rw
30 29 0:52 / /run/user/1000/gvfs rw - fuse.gvfsd-fuse gvfsd-fuse rw
31 29 0:53 / /run/user/1000/doc rw - fuse.portal portal rw
32 24 8:17 / /media/anna/Old\040Photos ro - hfsplus /dev/sdb1 ro
33 24 0:51 / /run/media/anna/Mac ro - fuse.apfs /dev/sdd2 ro
34 24 0:60 / /srv/photos rw - nfs4 nas:/photos rw
35 28 0:62 / /home/anna/far rw - fuse.sshfs anna@far:/ rw
36 24 0:40 / /net rw - autofs /etc/auto.misc rw
37 24 8:17 / /mnt/again ro - hfsplus /dev/sdb1 ro
38 24 8:2 /home/anna/Pictures /srv/mine rw - ext4 /dev/sda2 rw
39 24 8:49 / /media/anna/Both rw - exfat /dev/sdd1 rw
40 39 8:65 / /media/anna/Both rw - ext4 /dev/sde1 rw
41 24 0:70 / /media/ram rw - tmpfs tmpfs rw
42 24 8:66 / /var/lib/docker rw - ext4 /dev/sde2 rw
43 24 0:71 / /run/lock rw - tmpfs tmpfs rw
)";

TEST(MountedVolumes, areWherePeopleKeepThings)
{
    const auto volumes = mountedVolumesIn(parseMountTable(recorded));
    EXPECT_EQ(volumes.searched,
        (std::vector<DiskPath>{"/home/anna/far", "/media/anna/Both", "/media/anna/Old Photos",
            "/run/media/anna/Mac", "/run/user/1000/gvfs", "/srv/mine", "/srv/photos"}));
    EXPECT_EQ(volumes.atSystemPlaces, (std::vector<DiskPath>{"/", "/boot/efi", "/home", "/var/lib/docker"}));
    // A search stops where another volume begins, but goes on into what lies in memory.
    EXPECT_EQ(volumes.mountPoints,
        (std::vector<DiskPath>{"/boot/efi", "/home", "/home/anna/far", "/media/anna/Both",
            "/media/anna/Old Photos", "/mnt/again", "/net", "/proc", "/run/media/anna/Mac",
            "/run/user/1000/doc", "/run/user/1000/gvfs", "/snap/core/1", "/srv/mine", "/srv/photos",
            "/var/lib/docker"}));
    EXPECT_EQ(mountedVolumesIn({}), MountedVolumes{});
}

} // namespace
} // namespace vantorel
