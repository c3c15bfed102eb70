#pragma once

#include "discovery/volumes/VolumeInfo.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vantorel {

/// What the mount itself does not tell about a volume. What cannot be found out stays absent, or false.
struct VolumeFacts {
    std::string name{}; ///< "" when the volume has no label that can be read.
    bool isEncrypted = false;
    bool isRemovable = false;
    std::optional<std::int64_t> freeBytes{}; ///< Where the system counts more than the free blocks.
    /// Where the mount's type name leaves it open.
    std::optional<VolumeInfo::FileSystem> fileSystem{};

    bool operator==(const VolumeFacts&) const = default;
};

/// Each system has its own. Blocks.
VolumeFacts volumeFacts(const SystemCalls& calls, const DiskPath& path, const FileSystemStatus& fileSystem);

} // namespace vantorel
