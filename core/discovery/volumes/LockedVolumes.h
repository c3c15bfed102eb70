#pragma once

#include "base/Clock.h"
#include "disk/CancelToken.h"
#include "disk/ChildProcess.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// A program of the system that lists encrypted volumes, and how its output is read. The reading is a pure
/// function: whatever the bytes, it gives the names that it understood, at most 1,000.
struct LockedVolumesTool {
    std::string program{}; ///< Absolute path.
    std::vector<std::string> arguments{};
    std::vector<std::string> (*read)(std::string_view output) = nullptr;
};

/// macOS: "diskutil apfs list -plist".
LockedVolumesTool diskutilTool();
/// Linux: "lsblk", which knows what the system found on each block device without asking the disk again. It
/// shows encrypted Linux and Windows partitions; that an APFS volume is locked it cannot tell.
LockedVolumesTool lsblkTool();
/// The one of this system.
LockedVolumesTool lockedVolumesTool();

/// Each of "Containers", its "Volumes" whose "Locked" is true, by "Name". XML property list.
std::vector<std::string> lockedVolumesInPlist(std::string_view xml);
/// JSON of lsblk: each device whose content is an encryption that nothing was opened from.
std::vector<std::string> lockedVolumesInLsblk(std::string_view json);

/// Asks for the encrypted volumes that are connected and still locked.
class LockedVolumes {
public:
    explicit LockedVolumes(
        std::shared_ptr<const ChildProcessRunner> children, LockedVolumesTool tool = lockedVolumesTool())
        : children_(std::move(children))
        , tool_(std::move(tool))
    {
    }

    /// Their names, in the tool's order; "Unnamed volume" for one without. Nothing when the tool is not
    /// there, fails, is stopped or does not answer in time. Blocks at most the timeout and the 3 seconds that
    /// ending a child may take.
    std::vector<std::string> list(Seconds timeout, const SharedCancelToken& cancel) const;

private:
    std::shared_ptr<const ChildProcessRunner> children_;
    LockedVolumesTool tool_;
};

} // namespace vantorel
