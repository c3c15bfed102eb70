#include "discovery/volumes/VolumeInfo.h"

#include "base/Text.h"
#include "discovery/volumes/VolumeFacts.h"
#include "disk/MountTable.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace vantorel {

namespace {

struct KnownType {
    std::string_view name;
    bool isPrefix;
    VolumeInfo::FileSystem kind;
};

// Drivers in the kernels of macOS and Linux, and those through FUSE, some of which number their versions.
constexpr std::array<KnownType, 16> knownTypes{{
    {"apfs", false, VolumeInfo::FileSystem::apfs},
    {"fuse.apfs", true, VolumeInfo::FileSystem::apfs},
    {"fuse.fsapfs", true, VolumeInfo::FileSystem::apfs},
    {"hfs", false, VolumeInfo::FileSystem::hfs},
    {"hfsplus", false, VolumeInfo::FileSystem::hfs},
    {"fuse.hfs", true, VolumeInfo::FileSystem::hfs},
    {"fuse.fshfs", true, VolumeInfo::FileSystem::hfs},
    {"exfat", false, VolumeInfo::FileSystem::exfat},
    {"fuse.exfat", true, VolumeInfo::FileSystem::exfat},
    {"msdos", false, VolumeInfo::FileSystem::fat},
    {"vfat", false, VolumeInfo::FileSystem::fat},
    {"fuse.fusefat", true, VolumeInfo::FileSystem::fat},
    {"ntfs", true, VolumeInfo::FileSystem::ntfs},
    {"fuse.ntfs", true, VolumeInfo::FileSystem::ntfs},
    {"ufsd_ntfs", true, VolumeInfo::FileSystem::ntfs},
    {"tuxera_ntfs", true, VolumeInfo::FileSystem::ntfs},
}};

std::string formatText(const VolumeInfo& volume)
{
    const std::string encrypted = volume.isEncrypted ? ", encrypted" : "";
    switch (volume.fileSystem) {
    case VolumeInfo::FileSystem::apfs:
        return "APFS" + encrypted;
    case VolumeInfo::FileSystem::hfs:
        return "Mac OS Extended" + encrypted;
    case VolumeInfo::FileSystem::exfat:
        return "exFAT";
    case VolumeInfo::FileSystem::fat:
        return "FAT";
    case VolumeInfo::FileSystem::ntfs:
        return "NTFS";
    case VolumeInfo::FileSystem::network:
        return "network drive";
    case VolumeInfo::FileSystem::other:
        return volume.rawFileSystemName;
    }
    std::unreachable();
}

/// The last component of the mount point; the point itself where it has none.
std::string nameOfPlace(const std::string& mountPoint)
{
    const std::string name = DiskPath(mountPoint).filename().native();
    return name.empty() ? mountPoint : name;
}

} // namespace

std::string description(const VolumeInfo& volume)
{
    std::vector<std::string> parts{formatText(volume)};
    if (volume.isReadOnly) {
        parts.emplace_back("read only");
    }
    if (volume.ignoresOwnership) {
        parts.emplace_back("ownership ignored");
    }
    return joined(parts, ", ");
}

VolumeInfo::FileSystem fileSystemKind(std::string_view typeName)
{
    if (isNetworkFileSystem(typeName)) {
        return VolumeInfo::FileSystem::network;
    }
    const std::string lowered = lowerAscii(typeName);
    const auto known = std::ranges::find_if(knownTypes, [&](const KnownType& type) {
        return type.isPrefix ? lowered.starts_with(type.name) : lowered == type.name;
    });
    return known == knownTypes.end() ? VolumeInfo::FileSystem::other : known->kind;
}

std::optional<VolumeInfo> VolumeInspector::info(const DiskPath& path) const
{
    const auto fileSystem = calls_->fileSystemOf(path);
    if (!fileSystem) {
        return std::nullopt;
    }
    const VolumeFacts facts = volumeFacts(*calls_, path, *fileSystem);
    // Where the type name hides the format it hid this, too: these two store no owners.
    const bool storesNoOwners =
        facts.fileSystem == VolumeInfo::FileSystem::exfat || facts.fileSystem == VolumeInfo::FileSystem::fat;
    return VolumeInfo{
        .mountPoint = fileSystem->mountPoint,
        .name = facts.name.empty() ? nameOfPlace(fileSystem->mountPoint) : facts.name,
        .fileSystem = facts.fileSystem.value_or(fileSystemKind(fileSystem->typeName)),
        .rawFileSystemName = fileSystem->typeName,
        .isReadOnly = fileSystem->isReadOnly,
        .ignoresOwnership = fileSystem->ignoresOwnership || storesNoOwners,
        .isEncrypted = facts.isEncrypted,
        .isLocal = fileSystem->isLocal,
        .isRemovable = facts.isRemovable,
        .isRootVolume = fileSystem->mountPoint == "/",
        .blockSize = fileSystem->blockSize,
        .freeBytes = facts.freeBytes.value_or(fileSystem->freeBytes),
    };
}

} // namespace vantorel
