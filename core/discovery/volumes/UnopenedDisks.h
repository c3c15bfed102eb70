#pragma once

#include "base/Clock.h"
#include "disk/CancelToken.h"
#include "disk/ChildProcess.h"
#include "disk/SystemCalls.h"

#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// A disk in a format of macOS that is connected and not mounted.
struct UnopenedDisk {
    enum class Format { apfs, macOSExtended, encryptedMac };

    std::string name{}; ///< Its label, that of its partition, or the device.
    Format format = Format::apfs;

    bool operator==(const UnopenedDisk&) const = default;
};

/// JSON of "lsblk --json --output NAME,FSTYPE,LABEL,PARTLABEL,PARTTYPE,MOUNTPOINT": the partitions of Mac
/// disks that nothing is mounted or opened from. Those that a Mac starts from are left out. At most 1,000.
std::vector<UnopenedDisk> unopenedDisksInLsblk(std::string_view json);

/// Those that are connected now. macOS opens its own disks, so there are none. Blocks at most the timeout and
/// the 3 seconds that ending a child may take; none when the system cannot tell.
std::vector<UnopenedDisk> unopenedDisks(const SystemCalls& calls, const ChildProcessRunner& children,
    Seconds timeout, const SharedCancelToken& cancel);

} // namespace vantorel
