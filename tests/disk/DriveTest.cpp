#include "disk/Drive.h"

#include "support/ScriptedCalls.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <map>

namespace vantorel {
namespace {

/// What a system shows of its block devices.
class ShownDrives final : public ScriptedCalls {
public:
    std::string device{};
    bool isLocal = true;
    std::map<std::string, std::string> links{};
    std::map<std::string, std::string> texts{};

    CallResult<FileSystemStatus> fileSystemOf(const DiskPath&) const override
    {
        return FileSystemStatus{.device = device, .isLocal = isLocal};
    }
    CallResult<DiskPath> realPath(const DiskPath& path) const override
    {
        const auto found = links.find(path.native());
        return found != links.end() ? CallResult<DiskPath>(found->second) : std::unexpected(ENOENT);
    }
    CallResult<std::string> systemText(const DiskPath& path) const override
    {
        const auto found = texts.find(path.native());
        return found != texts.end() ? CallResult<std::string>(found->second) : std::unexpected(ENOENT);
    }
};

TEST(DriveOf, isTheWholeDriveOfAPartition)
{
    ShownDrives system;
    system.links = {{"/dev/sdb2", "/dev/sdb2"}, {"/sys/class/block/sdb2", "/sys/devices/usb/block/sdb/sdb2"},
        {"/dev/nvme0n1", "/dev/nvme0n1"}, {"/sys/class/block/nvme0n1", "/sys/devices/pci/nvme0/nvme0n1"},
        {"/dev/mapper/home", "/dev/dm-0"}, {"/sys/class/block/dm-0", "/sys/devices/virtual/block/dm-0"}};
    system.texts = {{"/sys/devices/usb/block/sdb/sdb2/partition", "2\n"},
        {"/sys/devices/usb/block/sdb/queue/rotational", "1\n"},
        {"/sys/devices/pci/nvme0/nvme0n1/queue/rotational", "0\n"},
        {"/sys/devices/virtual/block/dm-0/queue/rotational", "0\n"}};
    system.device = "/dev/sdb2";
    EXPECT_EQ(driveOf(system, "/x"), (Drive{.identity = "/sys/devices/usb/block/sdb", .spins = true}));
    system.device = "/dev/nvme0n1";
    EXPECT_EQ(driveOf(system, "/x"), (Drive{.identity = "/sys/devices/pci/nvme0/nvme0n1", .spins = false}));
    system.device = "/dev/mapper/home"; // made of drives that are not told
    EXPECT_EQ(driveOf(system, "/x"), (Drive{.spins = false}));
    system.device = "tank/photos";
    EXPECT_EQ(driveOf(system, "/x"), (Drive{.identity = "tank"}));
    system.device = "/dev/gone";
    EXPECT_EQ(driveOf(system, "/x"), Drive());
    system.device = "//server/share";
    system.isLocal = false;
    EXPECT_EQ(driveOf(system, "/x"), (Drive{.identity = "//server/share"}));
}

TEST(DriveOf, tellsWhetherHeadsMayBeShared)
{
    const Drive disk{.identity = "a", .spins = true};
    const Drive otherDisk{.identity = "b", .spins = true};
    const Drive solid{.identity = "c", .spins = false};
    const Drive unknown{};
    EXPECT_TRUE(mayShareHeads(disk, disk));
    EXPECT_FALSE(mayShareHeads(disk, otherDisk));
    EXPECT_FALSE(mayShareHeads(solid, solid));
    EXPECT_FALSE(mayShareHeads(unknown, solid));
    EXPECT_TRUE(mayShareHeads(unknown, disk));
    EXPECT_TRUE(mayShareHeads(unknown, unknown));
}

} // namespace
} // namespace vantorel
