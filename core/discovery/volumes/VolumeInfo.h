#pragma once

#include "base/Enum.h"
#include "disk/SystemCalls.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace vantorel {

/// What is known of the volume that a path lies on.
struct VolumeInfo {
    enum class FileSystem { apfs, hfs, exfat, fat, ntfs, network, other };

    std::string mountPoint{};
    std::string name{};
    FileSystem fileSystem = FileSystem::other;
    std::string rawFileSystemName{}; ///< As the system reports it.
    bool isReadOnly = false;
    bool ignoresOwnership = false;
    bool isEncrypted = false;
    bool isLocal = true;
    bool isRemovable = false;
    bool isRootVolume = false;
    std::uint32_t blockSize = 0; ///< Bytes.
    std::int64_t freeBytes = 0;  ///< Available to the user.

    bool operator==(const VolumeInfo&) const = default;
};

inline constexpr EnumNames<VolumeInfo::FileSystem, 7> fileSystemNames{{
    {VolumeInfo::FileSystem::apfs, "apfs"},
    {VolumeInfo::FileSystem::hfs, "hfs"},
    {VolumeInfo::FileSystem::exfat, "exfat"},
    {VolumeInfo::FileSystem::fat, "fat"},
    {VolumeInfo::FileSystem::ntfs, "ntfs"},
    {VolumeInfo::FileSystem::network, "network"},
    {VolumeInfo::FileSystem::other, "other"},
}};
static_assert(inEnumOrder(fileSystemNames));

/// For people: "APFS, encrypted", "exFAT, read only, ownership ignored".
std::string description(const VolumeInfo& volume);

/// The kind behind a type name of macOS (statfs) or Linux (mountinfo). "fuseblk" needs the device's own
/// format and gives `other` here.
VolumeInfo::FileSystem fileSystemKind(std::string_view typeName);

/// Reads a volume's facts. Blocks; callers run it guarded.
class VolumeInspector {
public:
    explicit VolumeInspector(std::shared_ptr<const SystemCalls> calls)
        : calls_(std::move(calls))
    {
    }
    /// None when the path cannot be examined.
    std::optional<VolumeInfo> info(const DiskPath& path) const;

private:
    std::shared_ptr<const SystemCalls> calls_;
};

inline constexpr std::string_view fatWarning = "This disk is FAT, which holds about 21,000 long names in one "
                                               "folder and no file over 4 GB. If you can, use another "
                                               "format.";

} // namespace vantorel
