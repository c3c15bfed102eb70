#pragma once

#include "disk/MountTable.h"
#include "disk/SystemCalls.h"

#include <vector>

namespace vantorel {

/// Where volumes are mounted now.
struct MountedVolumes {
    std::vector<DiskPath> searched{}; ///< Those on which people keep things; the system's own are left out.
    /// Those at places of the system; searched only in a folder that somebody names.
    std::vector<DiskPath> atSystemPlaces{};
    /// All places where another volume begins, as far as the system tells without asking a disk. A search
    /// does not cross them.
    std::vector<DiskPath> mountPoints{};

    bool operator==(const MountedVolumes&) const = default;
};

/// Each system has its own: /proc/self/mountinfo, or the names in /Volumes. May block (macOS: the system disk
/// alone).
MountedVolumes mountedVolumes(const SystemCalls& calls);

/// Out of Linux's mount table: file systems on devices or over a network that are mounted at none of the
/// system's own places. A file system that is mounted at two places is searched at the first.
MountedVolumes mountedVolumesIn(const std::vector<Mount>& table);

} // namespace vantorel
