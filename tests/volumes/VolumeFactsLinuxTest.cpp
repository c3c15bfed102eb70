#include "discovery/volumes/VolumeInfo.h"

#include "disk/PosixCalls.h"
#include "support/TemporaryFolder.h"

#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <sys/sysmacros.h>

namespace vantorel {
namespace {

/// A machine whose /sys, /dev and /run lie in a folder of the test, with one volume mounted at "/disk".
class RecordedMachine final : public PosixCalls {
public:
    explicit RecordedMachine(DiskPath root)
        : root_(std::move(root))
    {
    }

    FileSystemStatus mounted{.mountPoint = "/media/anna/Old Photos"};
    std::uint64_t device = 0;

    CallResult<int> open(const DiskPath& path, int flags, mode_t mode) const override
    {
        return PosixCalls::open(placeOf(path), flags, mode);
    }
    CallResult<FileStatus> status(const DiskPath&, Links) const override
    {
        return FileStatus{.type = FileStatus::Type::directory, .device = device};
    }
    CallResult<DiskPath> realPath(const DiskPath& path) const override
    {
        const auto real = realSystemCalls()->realPath(placeOf(path));
        if (!real) {
            return std::unexpected(real.error());
        }
        return DiskPath("/") / std::filesystem::relative(*real, root_);
    }
    CallResult<FileSystemStatus> fileSystemOf(const DiskPath&) const override { return mounted; }

    // Not asked for.
    CallResult<int> openBeneath(int, const DiskPath&, int, mode_t) const override
    {
        return std::unexpected(ENOSYS);
    }
    CallResult<void> fullSync(int) const override { return std::unexpected(ENOSYS); }
    CallResult<void> setUncached(int) const override { return std::unexpected(ENOSYS); }
    CallResult<void> dropCached(int) const override { return std::unexpected(ENOSYS); }
    CallResult<std::uint64_t> fileSystemIdentifier(const DiskPath&) const override
    {
        return std::unexpected(ENOSYS);
    }
    CallResult<std::optional<std::string>> extendedAttribute(
        const DiskPath&, const std::string&) const override
    {
        return std::unexpected(ENOSYS);
    }

private:
    DiskPath placeOf(const DiskPath& path) const { return root_ / path.relative_path(); }

    DiskPath root_;
};

class VolumeFactsLinux : public testing::Test {
protected:
    /// A device's folder beneath /sys/devices with the links that lead to it, and its node in /dev.
    void addDevice(const std::string& hardware, const std::string& name, const std::string& number)
    {
        const DiskPath block = DiskPath("sys/devices") / hardware / name;
        machine_.write(block / "dev", number + "\n");
        addLink(DiskPath("sys/class/block") / name, block);
        addLink(DiskPath("sys/dev/block") / number, block);
        machine_.write(DiskPath("dev") / name, "");
    }
    void addLink(const DiskPath& link, const DiskPath& target)
    {
        machine_.makeFolder(link.parent_path());
        machine_.makeLink(link, std::filesystem::relative(target, link.parent_path()));
    }

    VolumeInfo infoOf(const std::string& typeName, const std::string& device, std::uint64_t number = 0)
    {
        calls_->mounted.typeName = typeName;
        calls_->mounted.device = device;
        calls_->device = number;
        return VolumeInspector(calls_).info("/media/anna/Old Photos/x").value();
    }

    TemporaryFolder machine_;
    std::shared_ptr<RecordedMachine> calls_ = std::make_shared<RecordedMachine>(machine_.path());
};

TEST_F(VolumeFactsLinux, givesWhatTheMountTells)
{
    calls_->mounted = FileSystemStatus{.identifier = 7,
        .mountPoint = "/",
        .blockSize = 4'096,
        .freeBytes = 123'456,
        .isReadOnly = true,
        .isLocal = false,
        .ignoresOwnership = true};
    EXPECT_EQ(infoOf("fuse.sshfs", "anna@far:/"),
        (VolumeInfo{.mountPoint = "/",
            .name = "/",
            .fileSystem = VolumeInfo::FileSystem::network,
            .rawFileSystemName = "fuse.sshfs",
            .isReadOnly = true,
            .ignoresOwnership = true,
            .isLocal = false,
            .isRootVolume = true,
            .blockSize = 4'096,
            .freeBytes = 123'456}));
}

TEST_F(VolumeFactsLinux, isNamedByItsLabelElseByItsPlace)
{
    addDevice("pci0/ata1/block/sda", "sda1", "8:1");
    addDevice("pci0/ata1/block/sda", "sda2", "8:2");
    EXPECT_EQ(infoOf("ext4", "/dev/sda1").name, "Old Photos");
    addLink("dev/disk/by-label/Other", "dev/sda2");
    addLink("dev/disk/by-label/Anna\\x27s\\x20disk\\x2f\\xc3\\xa4\\x2", "dev/sda1");
    addLink("dev/disk/by-label/gone", "dev/sdz9");
    EXPECT_EQ(infoOf("ext4", "/dev/sda1").name, "Anna's disk/\xc3\xa4\\x2");
    EXPECT_EQ(infoOf("tmpfs", "tmpfs").name, "Old Photos");
}

TEST_F(VolumeFactsLinux, isRemovableByMediumBusPortOrCard)
{
    struct Row {
        const char* hardware;
        const char* mark; ///< A file and its content, "" for none.
        const char* content;
        bool isRemovable;
    };
    int number = 0;
    for (const Row& row : {
             Row{"pci0/ata1/host0/block/fixed", "", "", false},
             Row{"pci0/ata1/host0/block/stays", "removable", "0\n", false},
             Row{"pci0/ata1/host0/block/medium", "removable", "1\n", true},
             Row{"pci0/usb1/1-2/1-2:1.0/host4/block/usbDisk", "removable", "0\n", true},
             Row{"pci0/fw0/fw1/block/fireWire", "", "", true},
             Row{"pci0/usbcore/block/notABus", "", "", false},
             Row{"pci0/port/nvme/block/thunderbolt", "../../../removable", "removable\n", true},
             Row{"pci0/port/nvme/block/soldered", "../../../removable", "fixed\n", false},
             Row{"pci0/mmc_host/mmc0/mmc0:0001/block/card", "../../type", "SD\n", true},
             Row{"pci0/mmc_host/mmc1/mmc1:0001/block/chip", "../../type", "MMC\n", false},
         }) {
        const std::string name = "disk" + std::to_string(++number);
        const DiskPath disk = DiskPath("pci" + std::to_string(number)) / row.hardware;
        addDevice(disk, name, "8:" + std::to_string(number));
        if (*row.mark != '\0') {
            machine_.write((DiskPath("sys/devices") / disk / row.mark).lexically_normal(), row.content);
        }
        EXPECT_EQ(infoOf("ext4", "/dev/" + name).isRemovable, row.isRemovable) << row.hardware;
    }
}

TEST_F(VolumeFactsLinux, isEncryptedWhenAnyMappingBeneathItIs)
{
    addDevice("pci0/usb1/1-1/block/sdb", "sdb3", "8:19");
    addDevice("virtual/block", "dm-0", "253:0");
    machine_.write("sys/devices/virtual/block/dm-0/dm/uuid", "CRYPT-LUKS2-0123-luks\n");
    addLink("sys/devices/virtual/block/dm-0/slaves/sdb3", "sys/devices/pci0/usb1/1-1/block/sdb/sdb3");
    addDevice("virtual/block", "dm-1", "253:1");
    machine_.write("sys/devices/virtual/block/dm-1/dm/uuid", "LVM-abcdef\n");
    addLink("sys/devices/virtual/block/dm-1/slaves/dm-0", "sys/devices/virtual/block/dm-0");
    addDevice("virtual/block", "dm-2", "253:2");
    machine_.write("sys/devices/virtual/block/dm-2/dm/uuid", "LVM-CRYPT-\n");
    addLink("dev/mapper/photos", "dev/dm-1");
    addLink("dev/disk/by-label/Photos", "dev/dm-1");

    const VolumeInfo logical = infoOf("ext4", "/dev/mapper/photos");
    EXPECT_TRUE(logical.isEncrypted);
    EXPECT_TRUE(logical.isRemovable); // the disk beneath it
    EXPECT_EQ(logical.name, "Photos");
    EXPECT_TRUE(infoOf("ext4", "/dev/dm-0").isEncrypted);
    EXPECT_FALSE(infoOf("ext4", "/dev/sdb3").isEncrypted);
    EXPECT_FALSE(infoOf("ext4", "/dev/dm-2").isEncrypted);
    EXPECT_TRUE(infoOf("fuse.gocryptfs", "/home/anna/secret").isEncrypted);
    // A device that claims to lie on itself ends all the same.
    addLink("sys/devices/virtual/block/dm-2/slaves/dm-2", "sys/devices/virtual/block/dm-2");
    EXPECT_FALSE(infoOf("ext4", "/dev/dm-2").isEncrypted);
}

TEST_F(VolumeFactsLinux, findsTheDeviceByNumberWhereItsNameIsNone)
{
    addDevice("pci0/usb2/block/sdc", "sdc1", "8:33");
    EXPECT_TRUE(infoOf("ext4", "/dev/root", ::makedev(8, 33)).isRemovable);
    EXPECT_FALSE(infoOf("ext4", "/dev/root", ::makedev(8, 34)).isRemovable);
    // A number without a device of its own (0:51) says nothing; the name does.
    EXPECT_TRUE(infoOf("btrfs", "/dev/sdc1", ::makedev(0, 51)).isRemovable);
    EXPECT_FALSE(infoOf("overlay", "overlay", ::makedev(0, 51)).isRemovable);
}

TEST_F(VolumeFactsLinux, tellsTheFormatBehindAFuseMount)
{
    using enum VolumeInfo::FileSystem;
    addDevice("pci0/block/sdd", "sdd1", "8:49");
    EXPECT_EQ(infoOf("fuseblk", "/dev/sdd1").fileSystem, other);
    const auto boot = [](std::size_t offset, const std::string& mark) {
        std::string bytes(4'096, '\0');
        return bytes.replace(offset, mark.size(), mark);
    };
    for (const auto& [bytes, kind] : {std::pair(boot(3, "EXFAT   "), exfat), {boot(3, "NTFS    "), ntfs},
             {boot(82, "FAT32   "), fat}, {boot(54, "FAT16   "), fat}, {boot(1'024, "HX"), hfs},
             {boot(1'024, "H+"), hfs}, {boot(32, "NXSB"), apfs}, {boot(4, "EXFAT   "), other},
             {std::string("\xeb\x76\x90"
                          "EXFA"),
                 other},
             {std::string(), other}}) {
        machine_.write("dev/sdd1", bytes);
        const VolumeInfo info = infoOf("fuseblk", "/dev/sdd1");
        EXPECT_EQ(info.fileSystem, kind);
        EXPECT_EQ(info.ignoresOwnership, kind == exfat || kind == fat); // they store no owners
    }
    for (const auto& [record, kind] : {std::pair("S:disk/x\nE:ID_FS_TYPE=exfat\nG:systemd\n", exfat),
             {"E:ID_FS_TYPE=ntfs", ntfs}, {"E:ID_FS_LABEL=E:ID_FS_TYPE=ntfs\nE:ID_FS_TYPE=hfsplus\n", hfs},
             {"E:ID_FS_TYPE=udf\n", other}}) {
        machine_.write("run/udev/data/b8:49", record);
        const VolumeInfo info = infoOf("fuseblk", "/dev/sdd1");
        EXPECT_EQ(info.fileSystem, kind) << record;
        EXPECT_EQ(info.rawFileSystemName, "fuseblk");
    }
    EXPECT_EQ(infoOf("ext4", "/dev/sdd1").fileSystem, other); // asked only where the mount leaves it open
}

} // namespace
} // namespace vantorel
