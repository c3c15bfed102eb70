#include "discovery/volumes/MountedVolumes.h"

#include <algorithm>

namespace vantorel {

/// Names alone: a look at the entries would wait for a drive that sleeps. The link to the system volume that
/// lies among them is told from a volume when it is searched.
MountedVolumes mountedVolumes(const SystemCalls& calls)
{
    MountedVolumes volumes;
    const DiskPath place = "/Volumes";
    const auto folder = calls.openFolder(place, SystemCalls::Links::notFollowed);
    while (folder) {
        const auto name = (*folder)->next();
        if (!name || !*name) {
            break;
        }
        // Hidden ones are the system's: snapshots of backups, which tmutil lists.
        if (!(*name)->starts_with('.') && !(*name)->starts_with("com.apple.")) {
            volumes.searched.push_back(place / **name);
        }
    }
    std::ranges::sort(volumes.searched);
    volumes.mountPoints = volumes.searched;
    return volumes;
}

} // namespace vantorel
