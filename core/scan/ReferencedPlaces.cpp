#include "scan/ReferencedPlaces.h"

#include "base/Text.h"
#include "base/Unicode.h"
#include "discovery/volumes/VolumeInfo.h"
#include "disk/MountTable.h"
#include "scan/OriginalNames.h"
#include "scan/PhotoFileTypes.h"

#include <algorithm>
#include <array>
#include <span>

namespace vantorel::ReferencedPlaces {

namespace {

using Components = std::vector<std::string_view>;

/// All in lower case: the disks of a Mac take both.
constexpr std::array<std::string_view, 18> systemFolders{"system", "library", "private", "etc", "dev", "proc",
    "sys", "usr", "bin", "sbin", "var", "run", "boot", "cores", "lib", "lib32", "lib64", "network"};
/// On another disk. "Library" and the like are names that people give to folders on disks of their own.
constexpr std::array<std::string_view, 10> systemFoldersOfDisks{"system", "private", "usr", "bin", "sbin",
    "etc", "dev", "cores", "$recycle.bin", "system volume information"};
constexpr std::array<std::string_view, 5> libraryPackages{
    "photoslibrary", "photolibrary", "migratedphotolibrary", "aplibrary", "migratedaplibrary"};

template <std::size_t count>
bool isOneOf(const std::array<std::string_view, count>& names, std::string_view name)
{
    return std::ranges::find(names, name) != names.end();
}

Components componentsOf(std::string_view path)
{
    Components components;
    while (!path.empty()) {
        const std::size_t slash = std::min(path.find('/'), path.size());
        if (slash > 0) {
            components.push_back(path.substr(0, slash));
        }
        path.remove_prefix(std::min(slash + 1, path.size()));
    }
    return components;
}

std::string absolute(std::span<const std::string_view> components)
{
    std::string path;
    for (const std::string_view component : components) {
        path += '/';
        path += component;
    }
    return path;
}

/// How many components name the disk; 0 for a path on the start-up disk.
std::size_t diskDepth(const Components& components)
{
    const auto begins = [&](std::initializer_list<std::string_view> names) {
        return components.size() > names.size() && std::equal(names.begin(), names.end(), components.begin());
    };
    if (begins({"run", "media"})) {
        return 4;
    }
    if (begins({"media"})) {
        return 3;
    }
    return begins({"Volumes"}) || begins({"mnt"}) ? 2 : 0;
}

/// Folders in system folders that a user's own files are in.
bool isTemporaryPlace(const Components& components)
{
    static const std::array<Components, 4> places{
        {{"var", "tmp"}, {"private", "tmp"}, {"private", "var", "tmp"}, {"private", "var", "folders"}}};
    return std::ranges::any_of(places, [&](const Components& place) {
        return components.size() > place.size() && std::equal(place.begin(), place.end(), components.begin());
    });
}

/// Application data of a user, on whatever disk.
bool isInUsersLibrary(const Components& components)
{
    for (std::size_t i = 0; i + 3 < components.size(); ++i) {
        if (lowerAscii(components[i]) == "users" && lowerAscii(components[i + 2]) == "library") {
            return true;
        }
    }
    return false;
}

/// macOS shows the user's half of the start-up disk under a second path.
Components onStartUpDisk(Components components)
{
    const Components secondPath{"System", "Volumes", "Data"};
    if (components.size() > secondPath.size()
        && std::equal(secondPath.begin(), secondPath.end(), components.begin())) {
        components.erase(components.begin(), components.begin() + std::ssize(secondPath));
    }
    return components;
}

bool isSystemPlace(const Components& components)
{
    const std::size_t depth = diskDepth(components);
    if (components.size() <= depth) {
        return true; // the disk itself
    }
    const std::string top = lowerAscii(components[depth]);
    if (depth > 0) {
        return isOneOf(systemFoldersOfDisks, top);
    }
    return isOneOf(systemFolders, top) && !isTemporaryPlace(components);
}

/// A mount of a real disk as a whole.
bool isDisk(const Mount& mount)
{
    const bool hasDevice = mount.device.starts_with("/dev/") || isNetworkFileSystem(mount.typeName)
        || mount.typeName.starts_with("fuse");
    return hasDevice && mount.root == "/";
}

std::string_view lastComponent(std::string_view path)
{
    return path.substr(path.rfind('/') + 1); // all of it without a slash
}

} // namespace

std::optional<std::string> readable(std::string_view path)
{
    if (!path.starts_with('/') || path.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    const Components components = componentsOf(path);
    if (components.empty() || isSystemPlace(onStartUpDisk(components)) || isInUsersLibrary(components)) {
        return std::nullopt;
    }
    for (const std::string_view component : components) {
        if (component.starts_with('.')
            || isOneOf(libraryPackages, OriginalNames::lowerCaseExtension(component))) {
            return std::nullopt;
        }
    }
    if (!isPhotoOrVideoExtension(OriginalNames::lowerCaseExtension(components.back()))) {
        return std::nullopt;
    }
    return absolute(components);
}

std::vector<std::string> alternatives(std::string_view path, const std::vector<std::string>& mountPoints)
{
    const Components components = componentsOf(path);
    std::vector<std::string> places{absolute(components)};
    if (!volumeName(path).empty()) {
        for (const std::string& mountPoint : mountPoints) {
            places.push_back(mountPoint + absolute(std::span(components).subspan(2)));
        }
    }

    std::vector<std::string> found;
    for (const std::string& place : places) {
        // Drivers of other systems give names composed that a Mac stored decomposed, and the reverse.
        for (const std::string& form : {place, composed(place), decomposed(place)}) {
            const auto allowed = readable(form);
            if (allowed && *allowed != places.front() && std::ranges::find(found, *allowed) == found.end()) {
                found.push_back(*allowed);
            }
        }
    }
    return found;
}

std::string_view volumeName(std::string_view path)
{
    const Components components = componentsOf(path);
    return components.size() > 2 && components[0] == "Volumes" ? components[1] : std::string_view{};
}

std::string diskOf(std::string_view path)
{
    const Components components = componentsOf(path);
    const std::size_t depth = std::max<std::size_t>(diskDepth(components), 1);
    return absolute(std::span(components).first(std::min(depth, components.size())));
}

std::vector<std::string> mountPointsOf(
    const std::shared_ptr<const SystemCalls>& calls, const std::string& name, const DiskPath& library)
{
    std::vector<std::string> found;
    const DiskPath asOnMac = DiskPath("/Volumes") / name;
    const auto status = calls->status(asOnMac, SystemCalls::Links::notFollowed);
    if (status && status->type == FileStatus::Type::link) {
        if (calls->realPath(asOnMac) == DiskPath("/")) {
            found.emplace_back();
        }
        return found;
    }

    const std::string key = OriginalNames::folded(name);
    if (const auto own = VolumeInspector(calls).info(library);
        own && OriginalNames::folded(own->name) == key && own->mountPoint != asOnMac) {
        found.push_back(own->mountPoint == "/" ? std::string{} : own->mountPoint);
    }
    std::vector<std::string> named;
    const auto table = calls->systemText("/proc/self/mountinfo"); // macOS has none: its disks are in /Volumes
    for (const Mount& mount : parseMountTable(table ? *table : std::string{})) {
        if (isDisk(mount) && OriginalNames::folded(lastComponent(mount.mountPoint)) == key) {
            named.push_back(mount.mountPoint);
        }
    }
    // Two disks of one name: which of them is meant nobody can tell.
    if (named.size() == 1 && named.front() != asOnMac
        && std::ranges::find(found, named.front()) == found.end()) {
        found.push_back(named.front());
    }
    return found;
}

} // namespace vantorel::ReferencedPlaces
