#include "discovery/volumes/SystemAdvice.h"

#include "base/Text.h"
#include "discovery/volumes/VolumeInfo.h"

#include <fmt/format.h>

#include <array>
#include <utility>

#include <pwd.h>
#include <unistd.h>

namespace vantorel::SystemAdvice {

namespace {

using Links = SystemCalls::Links;

/// None for an identifier that no user of this computer has: the disk was written on another one.
std::optional<std::string> userName(std::uint32_t user)
{
    std::array<char, 4096> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    const bool isKnown = getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) == 0 && found;
    return isKnown ? std::optional<std::string>(found->pw_name) : std::nullopt;
}

struct Owner {
    DiskPath folder{};
    std::uint32_t user = 0;
};

/// Of the folder; where nothing can be learnt of it, of the nearest one above it, which keeps others out.
std::optional<Owner> ownerOf(const SystemCalls& calls, DiskPath folder)
{
    while (true) {
        if (const auto status = calls.status(folder, Links::followed)) {
            return Owner{.folder = folder, .user = status->owner};
        }
        if (!folder.has_relative_path()) {
            return std::nullopt;
        }
        folder = folder.parent_path();
    }
}

/// The formats of other systems, to which a mount can give an owner.
bool takesOwnerFromMount(const SystemCalls& calls, const DiskPath& folder)
{
    const auto fileSystem = calls.fileSystemOf(folder);
    if (!fileSystem) {
        return false;
    }
    switch (fileSystemKind(fileSystem->typeName)) {
    case VolumeInfo::FileSystem::apfs:
    case VolumeInfo::FileSystem::hfs:
    case VolumeInfo::FileSystem::exfat:
    case VolumeInfo::FileSystem::fat:
    case VolumeInfo::FileSystem::ntfs:
        return true;
    case VolumeInfo::FileSystem::network:
    case VolumeInfo::FileSystem::other:
        return fileSystem->typeName == "fuseblk"; // exFAT or NTFS
    }
    std::unreachable();
}

} // namespace

std::optional<std::string> refused(const SystemCalls& calls, const DiskPath& folder)
{
    const auto owner = ownerOf(calls, folder);
    if (!owner) {
        return "On Linux: look who owns the folder, and run Vantorel as that user.";
    }
    const std::string shown = "\"" + displayText(owner->folder.native()) + "\"";
    if (owner->user == geteuid()) {
        return fmt::format(
            "On Linux: {} is yours, but its permissions, or those of something in it, keep you out.", shown);
    }
    const auto name = userName(owner->user);
    const std::string who = name ? fmt::format("to the user {}. Run Vantorel as that user or as root", *name)
                                 : fmt::format("to user number {}, whom this computer does not know. Run "
                                               "Vantorel as root",
                                       owner->user);
    const std::string mounting = takesOwnerFromMount(calls, owner->folder)
        ? fmt::format(", or mount the disk read-only with uid={},gid={} so that its files count as yours",
              geteuid(), getegid())
        : "";
    return fmt::format("On Linux: {} belongs {}{}.", shown, who, mounting);
}

std::optional<std::string> lockedVolume()
{
    return "On Linux: open it in the file manager, or with \"udisksctl unlock -b DEVICE\".";
}

std::optional<std::string> unopened(const UnopenedDisk& disk)
{
    const std::string name = "\"" + displayText(disk.name) + "\"";
    switch (disk.format) {
    case UnopenedDisk::Format::apfs:
        return "On Linux: " + name
            + " is a Mac disk (APFS) that is connected, but not open. Linux does not read this format by "
              "itself: "
              "open it with \"fsapfsmount\", then choose the library in it, or connect the disk to a Mac.";
    case UnopenedDisk::Format::macOSExtended:
        return "On Linux: " + name
            + " is a Mac disk (Mac OS Extended) that is connected, but not open. Open it in the file "
              "manager, "
              "then look again.";
    case UnopenedDisk::Format::encryptedMac:
        return "On Linux: " + name
            + " is an encrypted Mac disk that is connected, but not open. Linux does not read this format by "
              "itself: open it with \"fvdemount\", or connect the disk to a Mac.";
    }
    std::unreachable();
}

std::optional<std::string> nothingFound()
{
    return "On Linux: a disk or network drive has to be open in the file manager before it can be searched.";
}

std::optional<std::string> olderBackups()
{
    return "On Linux: on a Mac OS Extended disk every date is a folder in \"Backups.backupdb\", in which you "
           "can "
           "choose the library yourself. On an APFS disk every date is a snapshot, which has to be mounted "
           "first.";
}

} // namespace vantorel::SystemAdvice
