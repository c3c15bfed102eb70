#include "discovery/volumes/VolumeInfo.h"
#include "discovery/volumes/VolumeWatch.h"

#include "support/ScriptedCalls.h"
#include "support/TemporaryFolder.h"

#include <cerrno>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace vantorel {
namespace {

using enum VolumeInfo::FileSystem;

TEST(VolumeDescription, namesFormatAndWhatLimitsIt)
{
    struct Row {
        VolumeInfo volume;
        const char* expected;
    };
    for (const Row& row : {
             Row{{.fileSystem = apfs}, "APFS"},
             Row{{.fileSystem = apfs, .isEncrypted = true}, "APFS, encrypted"},
             Row{{.fileSystem = hfs}, "Mac OS Extended"},
             Row{{.fileSystem = hfs, .isReadOnly = true, .isEncrypted = true},
                 "Mac OS Extended, encrypted, read only"},
             Row{{.fileSystem = exfat, .isReadOnly = true, .ignoresOwnership = true},
                 "exFAT, read only, ownership ignored"},
             Row{{.fileSystem = fat, .ignoresOwnership = true}, "FAT, ownership ignored"},
             Row{{.fileSystem = ntfs, .isEncrypted = true}, "NTFS"},
             Row{{.fileSystem = network, .rawFileSystemName = "smbfs", .isLocal = false}, "network drive"},
             Row{{.fileSystem = other, .rawFileSystemName = "ext4", .isEncrypted = true}, "ext4"},
             Row{{.fileSystem = other, .rawFileSystemName = "udf", .isReadOnly = true}, "udf, read only"},
         }) {
        EXPECT_EQ(description(row.volume), row.expected);
    }
}

TEST(FileSystemKind, knowsTheNamesOfBothSystems)
{
    const std::vector<std::pair<VolumeInfo::FileSystem, std::vector<const char*>>> table{
        {apfs, {"apfs", "fuse.apfs", "fuse.apfs-fuse", "fuse.fsapfsmount"}},
        {hfs, {"hfs", "hfsplus", "fuse.hfsfuse", "fuse.fshfsmount"}},
        {exfat, {"exfat", "fuse.exfat", "fuse.exfat-fuse"}},
        {fat, {"msdos", "vfat", "fuse.fusefat"}},
        {ntfs, {"ntfs", "ntfs3", "ntfs-3g", "fuse.ntfs-3g", "fuse.ntfs", "ufsd_NTFS", "tuxera_ntfs"}},
        {network,
            {"smbfs", "webdav", "nfs", "nfs4", "afpfs", "ftp", "cifs", "smb3", "9p", "davfs", "fuse.davfs2",
                "fuse.sshfs", "fuse.gvfsd-fuse", "fuse.rclone", "ceph"}},
        {other,
            {"ext4", "xfs", "btrfs", "zfs", "tmpfs", "overlay", "fuseblk", "fuse.mergerfs", "udf", "cd9660",
                "autofs", "hfsx-unknown", "apfsx", "", "nfsd"}},
    };
    for (const auto& [kind, names] : table) {
        for (const char* name : names) {
            EXPECT_EQ(fileSystemKind(name), kind) << name;
        }
    }
}

TEST(VolumeInspector, readsTheVolumeOfARealFolder)
{
    const TemporaryFolder folder;
    const auto info = VolumeInspector(realSystemCalls()).info(folder.path());
    ASSERT_TRUE(info);
    EXPECT_TRUE(folder.path().native().starts_with(info->mountPoint));
    EXPECT_EQ(info->isRootVolume, info->mountPoint == "/");
    EXPECT_FALSE(info->name.empty());
    EXPECT_FALSE(info->isReadOnly);
    EXPECT_GT(info->freeBytes, 0);
    EXPECT_EQ(VolumeInspector(realSystemCalls()).info(folder / "none"), std::nullopt);
}

TEST(VolumeInspector, knowsNothingOfAVolumeThatCannotBeExamined)
{
    const TemporaryFolder folder;
    for (const int code : {EACCES, EIO, ENXIO, ESTALE}) {
        const auto calls = std::make_shared<ScriptedCalls>();
        calls->fail("fileSystemOf", folder.path(), code);
        EXPECT_EQ(VolumeInspector(calls).info(folder.path()), std::nullopt);
    }
}

TEST(VolumeWatch, failsWhenTheVolumeIsGoneOrAnotherStandsInItsPlace)
{
    const TemporaryFolder folder;
    const auto calls = std::make_shared<ScriptedCalls>();
    const VolumeWatch watch(calls, folder.path());
    EXPECT_TRUE(watch.isStillThere());
    for (const int code : {ENOENT, EIO, ENXIO, EACCES, ESTALE}) {
        calls->fail("fileSystemIdentifier", folder.path(), code).times(1);
        EXPECT_FALSE(watch.isStillThere()) << code;
        EXPECT_TRUE(watch.isStillThere());
    }
    const auto real = calls->fileSystemIdentifier(folder.path());
    ASSERT_TRUE(real);
    for (const std::uint64_t other : {*real ^ 1u, *real ^ (std::uint64_t{1} << 63u)}) { // either half
        calls->on("fileSystemIdentifier").times(1).otherFileSystem(other);
        EXPECT_FALSE(watch.isStillThere());
    }
    EXPECT_TRUE(watch.isStillThere());
}

TEST(VolumeWatch, neverTrustsAVolumeThatItCouldNotSeeAtFirst)
{
    const TemporaryFolder folder;
    const auto calls = std::make_shared<ScriptedCalls>();
    const auto trouble = calls->fail("fileSystemIdentifier", folder.path(), EIO).times(1);
    const VolumeWatch watch(calls, folder.path());
    EXPECT_EQ(trouble.hits(), 1u);
    EXPECT_FALSE(watch.isStillThere());
    EXPECT_FALSE(VolumeWatch(calls, folder / "none").isStillThere());
}

} // namespace
} // namespace vantorel
