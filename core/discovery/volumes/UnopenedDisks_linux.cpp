#include "discovery/volumes/UnopenedDisks.h"

#include "discovery/volumes/VolumeInfo.h"
#include "disk/MountTable.h"

#include <algorithm>

namespace vantorel {

std::vector<UnopenedDisk> unopenedDisks(const SystemCalls& calls, const ChildProcessRunner& children,
    Seconds timeout, const SharedCancelToken& cancel)
{
    const auto ended = children.run({
        .program = "/usr/bin/lsblk",
        .arguments = {"--json", "--output", "NAME,FSTYPE,LABEL,PARTLABEL,PARTTYPE,MOUNTPOINT"},
        .timeout = timeout,
        .cancel = cancel,
        .mostOutputBytes = 4u << 20u,
    });
    if (!ended || ended->exitStatus != 0) {
        return {};
    }
    auto disks = unopenedDisksInLsblk(ended->output);
    // A reader through FUSE leaves the device itself unmounted, and does not say which one it reads.
    const auto table = calls.systemText("/proc/self/mountinfo");
    const bool isReadThroughFuse =
        table && std::ranges::any_of(parseMountTable(*table), [](const Mount& mount) {
            return mount.typeName.starts_with("fuse")
                && fileSystemKind(mount.typeName) == VolumeInfo::FileSystem::apfs;
        });
    if (isReadThroughFuse) {
        std::erase_if(
            disks, [](const UnopenedDisk& disk) { return disk.format == UnopenedDisk::Format::apfs; });
    }
    return disks;
}

} // namespace vantorel
