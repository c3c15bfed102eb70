#include "discovery/LibraryFinder.h"

#include "discovery/SystemPlaces.h"
#include "discovery/volumes/LockedVolumes.h"
#include "discovery/volumes/MountedVolumes.h"
#include "discovery/volumes/UnopenedDisks.h"
#include "disk/Guarded.h"

#include <algorithm>
#include <array>
#include <set>

#include <pwd.h>
#include <unistd.h>

namespace vantorel {

namespace {

constexpr Seconds lockedVolumesTimeout{20};
constexpr std::size_t mostHomes = 1'000;

struct User {
    std::string name{};
    DiskPath home{};
};

User thisUser()
{
    std::array<char, 16'384> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
        return {};
    }
    return {.name = found->pw_name, .home = found->pw_dir};
}

/// Names alone: a home folder may lie on a drive that does not answer.
std::vector<DiskPath> homeFolders(const SystemCalls& calls, const DiskPath& homes, const DiskPath& own)
{
    std::set<DiskPath> found;
    const auto folder = calls.openFolder(homes, SystemCalls::Links::followed);
    while (folder && found.size() < mostHomes) {
        const auto name = (*folder)->next();
        if (!name || !*name) {
            break;
        }
        if (!(*name)->starts_with('.') && **name != "lost+found") {
            found.insert(homes / **name);
        }
    }
    found.erase(own);
    std::vector<DiskPath> folders(found.begin(), found.end());
    if (own.has_relative_path()) { // a service's may be "/"
        folders.insert(folders.begin(), own);
    }
    return folders;
}

bool liesWithin(const DiskPath& path, const DiskPath& folder)
{
    const auto [atFolder, atPath] = std::mismatch(folder.begin(), folder.end(), path.begin(), path.end());
    return atFolder == folder.end() && atPath != path.end();
}

std::vector<DiskPath> wantedVolumes(
    const MountedVolumes& volumes, const std::vector<DiskPath>& picked, SearchedPlaces where)
{
    std::vector<DiskPath> wanted;
    const auto add = [&](const DiskPath& volume, bool anyway) {
        if (anyway
            || std::ranges::any_of(picked, [&](const auto& pick) { return liesWithin(volume, pick); })) {
            wanted.push_back(volume);
        }
    };
    for (const DiskPath& volume : volumes.searched) {
        add(volume, where == SearchedPlaces::everywhere);
    }
    for (const DiskPath& volume : volumes.atSystemPlaces) {
        add(volume, false);
    }
    return wanted;
}

struct Places {
    MountedVolumes volumes{};
    User user{};
    std::vector<DiskPath> homes{};
};

} // namespace

FinderOptions usualFinderOptions(const FinderServices& services, std::vector<DiskPath> picked,
    SearchedPlaces where, const SharedCancelToken& cancel)
{
    FinderOptions options;
    options.picked = std::move(picked);
    const SystemPlaces system = systemPlaces();
    auto places = guardedRun(services.clock,
        {.stallLimit = options.stallTimeout, .keepGoing = keepGoingWithGrace(services.clock, cancel)},
        [calls = services.calls, homes = system.homes](const std::shared_ptr<Heartbeat>& heartbeat) {
            Places found;
            found.volumes = mountedVolumes(*calls);
            heartbeat->beat();
            found.user = thisUser();
            heartbeat->beat();
            found.homes = homeFolders(*calls, homes, found.user.home);
            return found;
        });
    if (!places.isStalled()) {
        Places found = std::move(places).value();
        options.volumeRoots = wantedVolumes(found.volumes, options.picked, where);
        options.mountPoints = std::move(found.volumes.mountPoints);
        options.preferredUserName = std::move(found.user.name);
        options.homeFolders = std::move(found.homes);
    }
    if (where == SearchedPlaces::pickedAlone) {
        options.homeFolders.clear();
        return options;
    }
    options.askTmutil = system.hasTmutil;
    options.lockedVolumeRunner = [children = services.children](const SharedCancelToken& token) {
        return LockedVolumes(children).list(lockedVolumesTimeout, token);
    };
    options.unopenedDiskRunner = [calls = services.calls, children = services.children](
                                     const SharedCancelToken& token) {
        return unopenedDisks(*calls, *children, lockedVolumesTimeout, token);
    };
    return options;
}

} // namespace vantorel
