#include "disk/Drive.h"

namespace vantorel {

// A mounted volume's device node, by its real name ("/dev/mapper/home" is "/dev/dm-0"), is a link in
// /sys/class/block to the folder of its block device: one inside the drive's own folder where it is a
// partition, and one beneath "virtual" where it is put together from others. queue/rotational of the drive
// says 1 where it spins; the kernel also assumes so of drives that say nothing.
Drive driveOf(const SystemCalls& calls, const DiskPath& path)
{
    const auto fileSystem = calls.fileSystemOf(path);
    if (!fileSystem) {
        return {};
    }
    if (!fileSystem->isLocal) {
        return {.identity = fileSystem->device, .spins = std::nullopt}; // the server's own business
    }
    if (!fileSystem->device.starts_with('/')) {
        return {.identity = fileSystem->device.substr(0, fileSystem->device.find('/'))};
    }
    const auto node = calls.realPath(fileSystem->device);
    const auto block = node ? calls.realPath("/sys/class/block" / node->filename()) : node;
    if (!block) {
        return {};
    }
    const bool isPartition = calls.systemText(*block / "partition").has_value();
    const DiskPath drive = isPartition ? block->parent_path() : *block;
    const bool isVirtual = drive.native().find("/devices/virtual/") != std::string::npos;
    Drive found{.identity = isVirtual ? std::string() : drive.native()};
    if (const auto rotational = calls.systemText(drive / "queue/rotational"); rotational) {
        found.spins = !rotational->starts_with('0');
    }
    return found;
}

} // namespace vantorel
