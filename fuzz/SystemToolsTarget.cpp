// What tools of the system print, and the table of mounts. All readers get every input.

#include "FuzzTarget.h"

#include "base/Text.h"
#include "discovery/TmutilRoots.h"
#include "discovery/volumes/LockedVolumes.h"
#include "discovery/volumes/MountedVolumes.h"
#include "disk/MountTable.h"

#include <algorithm>
#include <set>

namespace vantorel::fuzz {

namespace {

void checkNames(const std::vector<std::string>& names)
{
    require(names.size() <= 1'000, "at most 1,000 names");
    for (const auto& name : names) {
        require(!name.empty() && isValidUtf8(name), "a name is text");
    }
}

} // namespace

void runTarget(std::string_view input)
{
    checkNames(lockedVolumesInPlist(input));
    checkNames(lockedVolumesInLsblk(input));

    const auto roots = TmutilRoots::rootsIn(input);
    for (const auto& root : roots) {
        require(root.is_absolute() && !root.native().contains('\n') && !root.native().contains('\0'),
            "a backup is at a path");
    }
    require(std::set(roots.begin(), roots.end()).size() == roots.size(), "each once");

    const auto table = parseMountTable(input);
    for (const auto& mount : table) {
        require(!mount.mountPoint.empty(), "a mount has a place");
        std::ignore = ignoresOwnership(mount);
    }
    for (const char* path : {"/", "/media/disk/a", "/Volumes/Old"}) {
        const auto* mount = mountOf(table, std::nullopt, path);
        require(mount == nullptr || (mount >= table.data() && mount < table.data() + table.size()),
            "one of the table");
    }
    const auto mounted = mountedVolumesIn(table);
    require(
        mounted.searched.size() + mounted.atSystemPlaces.size() <= table.size(), "no more than there are");
    std::ignore = undoOctalEscapes(input);
}

} // namespace vantorel::fuzz
