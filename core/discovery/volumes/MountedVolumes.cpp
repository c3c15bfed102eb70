#include "discovery/volumes/MountedVolumes.h"

#include <algorithm>
#include <array>
#include <set>
#include <span>
#include <string_view>
#include <tuple>

namespace vantorel {

namespace {

bool isOneOf(std::string_view name, std::span<const std::string_view> names)
{
    return std::ranges::find(names, name) != names.end();
}

bool liesIn(std::string_view place, std::string_view folder)
{
    return place.starts_with(folder) && (place.size() == folder.size() || place[folder.size()] == '/');
}

/// File systems that hold what somebody put there: on a device, over a network, through FUSE.
bool holdsFiles(const Mount& mount)
{
    constexpr std::array<std::string_view, 2> images{"squashfs", "erofs"}; // packaged programs
    constexpr std::array<std::string_view, 6> services{"fuse.portal", "fuse.lxcfs", "fuse.snapfuse",
        "fuse.squashfuse", "fuse.fuse-overlayfs", "fuse.archivemount"};
    constexpr std::array<std::string_view, 3> withoutDevice{"btrfs", "zfs", "bcachefs"};
    if (isOneOf(mount.typeName, images) || isOneOf(mount.typeName, services)) {
        return false;
    }
    return mount.device.starts_with("/dev/") || isNetworkFileSystem(mount.typeName)
        || mount.typeName == "fuse" || mount.typeName.starts_with("fuse.")
        || isOneOf(mount.typeName, withoutDevice);
}

/// Places where a volume belongs to the system. The root volume and that of the home folders are searched
/// through the home folders.
bool isPlaceOfSystem(std::string_view place)
{
    constexpr std::array<std::string_view, 3> exactly{"/", "/home", "/root"};
    constexpr std::array<std::string_view, 18> within{"/boot", "/dev", "/efi", "/etc", "/gnu", "/lib", "/nix",
        "/opt", "/ostree", "/proc", "/snap", "/sys", "/sysroot", "/tmp", "/usr", "/var", "/bin", "/sbin"};
    if (isOneOf(place, exactly)) {
        return true;
    }
    // Desktops mount drives in /run/media and what the file manager opens in /run/user.
    if (liesIn(place, "/run")) {
        return !liesIn(place, "/run/media") && !liesIn(place, "/run/user");
    }
    return std::ranges::any_of(within, [&](std::string_view folder) { return liesIn(place, folder); });
}

bool isInMemory(std::string_view typeName)
{
    constexpr std::array<std::string_view, 3> names{"tmpfs", "ramfs", "overlay"};
    return isOneOf(typeName, names);
}

} // namespace

MountedVolumes mountedVolumesIn(const std::vector<Mount>& table)
{
    MountedVolumes volumes;
    std::set<std::tuple<std::uint32_t, std::uint32_t, std::string, std::string>> known;
    for (auto mount = table.begin(); mount != table.end(); ++mount) {
        const bool isCovered = std::any_of(mount + 1, table.end(),
            [&](const Mount& later) { return later.mountPoint == mount->mountPoint; });
        if (isCovered) {
            continue;
        }
        if (mount->mountPoint != "/" && !isInMemory(mount->typeName)) {
            volumes.mountPoints.emplace_back(mount->mountPoint);
        }
        if (!holdsFiles(*mount)) {
            continue;
        }
        if (isPlaceOfSystem(mount->mountPoint)) {
            volumes.atSystemPlaces.emplace_back(mount->mountPoint);
        } else if (known.emplace(mount->deviceMajor, mount->deviceMinor, mount->root, mount->device).second) {
            volumes.searched.emplace_back(mount->mountPoint);
        }
    }
    std::ranges::sort(volumes.searched);
    std::ranges::sort(volumes.atSystemPlaces);
    std::ranges::sort(volumes.mountPoints);
    return volumes;
}

} // namespace vantorel
