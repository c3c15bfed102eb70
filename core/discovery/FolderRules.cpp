#include "discovery/FolderRules.h"

#include "base/Text.h"
#include "discovery/LibraryProbe.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>

namespace vantorel {

namespace {

using Names = std::span<const std::string_view>;

// In lower case and sorted, each of them.

/// Packages of older programs for photos, which may hold an older library. They are not walked into.
constexpr std::array<std::string_view, 4> olderLibraries{
    ".aplibrary", ".migratedaplibrary", ".migratedphotolibrary", ".photolibrary"};

/// Folders that show as one file on a Mac, or hold thousands of small files of one program.
constexpr std::array<std::string_view, 46> packages{".app", ".appex", ".backupbundle", ".band", ".bundle",
    ".component", ".cpgz", ".docset", ".download", ".dsym", ".fcpbundle", ".framework", ".garageband",
    ".imovielibrary", ".imovieproject", ".kext", ".key", ".logicx", ".lproj", ".lrdata", ".lrlibrary",
    ".mlmodelc", ".mpkg", ".musiclibrary", ".nib", ".numbers", ".pages", ".photoboothlibrary",
    ".photoslibrary", ".pkg", ".playground", ".plugin", ".prefpane", ".pvm", ".qlgenerator", ".rtfd",
    ".saver", ".sparsebundle", ".theater", ".tvlibrary", ".utm", ".vmwarevm", ".wdgt", ".xcarchive",
    ".xcassets", ".xcodeproj"};

constexpr std::array<std::string_view, 14> anywhere{"$recycle.bin", "__macosx", "__pycache__", "appdata",
    "cache", "caches", "cmakefiles", "deriveddata", "found.000", "lost+found", "node_modules",
    "site-packages", "system volume information", "venv"};

constexpr std::array<std::string_view, 1> inHomes{"library"};

/// At the top of a disk that an operating system starts from.
constexpr std::array<std::string_view, 33> ofSystems{"applications", "bin", "boot", "cores", "dev", "etc",
    "lib", "lib32", "lib64", "library", "libx32", "network", "nix", "opt", "perflogs", "private", "proc",
    "program files", "program files (x86)", "programdata", "recovery", "run", "sbin", "snap", "sys", "system",
    "tmp", "usr", "var", "vm", "volumes", "windows", "winsxs"};

static_assert(std::ranges::is_sorted(packages) && std::ranges::is_sorted(anywhere)
    && std::ranges::is_sorted(ofSystems) && std::ranges::is_sorted(olderLibraries));

bool isIn(Names names, std::string_view name) { return std::ranges::binary_search(names, name); }

std::string_view extensionOf(std::string_view name)
{
    const std::size_t dot = name.rfind('.');
    return dot == std::string_view::npos || dot == 0 ? std::string_view() : name.substr(dot);
}

bool isDigits(std::string_view text)
{
    return std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

bool isBareDate(std::string_view name)
{
    constexpr std::size_t length = 17; // 2024-05-01-101112
    return name.size() == length && name[4] == '-' && name[7] == '-' && name[10] == '-'
        && isDigits(name.substr(0, 4)) && isDigits(name.substr(5, 2)) && isDigits(name.substr(8, 2))
        && isDigits(name.substr(11));
}

/// Hidden folders are the system's or a program's own, but for those in which deleted things wait.
bool isHidden(std::string_view lowered) { return lowered.starts_with('.') && !lowered.starts_with(".trash"); }

} // namespace

bool isBackupDate(std::string_view name)
{
    constexpr std::array<std::string_view, 4> states{".backup", ".inprogress", ".interrupted", ".previous"};
    const std::string_view extension = extensionOf(name);
    return isBareDate(name.substr(0, name.size() - extension.size()))
        && (extension.empty() || isIn(states, lowerAscii(extension)));
}

FolderUse useOf(const FS::Entry& entry, const FolderPlace& place)
{
    const std::string name = lowerAscii(entry.name);
    const std::string_view extension = extensionOf(name);
    const bool mayBeLibraryPackage = isNamedLikeLibrary(name) || isIn(olderLibraries, extension);
    if (entry.kind == FS::Kind::special) {
        return mayBeLibraryPackage ? FolderUse::probedAsLink : FolderUse::passedOver;
    }
    if (entry.kind != FS::Kind::directory) {
        return FolderUse::passedOver;
    }
    if (mayBeLibraryPackage) {
        return FolderUse::probed;
    }
    if (name == "backups.backupdb") {
        return FolderUse::backupStore;
    }
    // Without a word behind it a date is a name that people use, too.
    if (isBackupDate(name) && (place.isTop || !extension.empty())) {
        return FolderUse::datedBackup;
    }
    // A cloud folder that is not on this machine: a look into it would fetch it.
    const bool cannotHold = entry.contentElsewhere || isHidden(name) || isIn(packages, extension)
        || isIn(anywhere, name) || (place.isHome && isIn(inHomes, name))
        || (place.isSystemVolume && isIn(ofSystems, name));
    return cannotHold ? FolderUse::passedOver : FolderUse::walked;
}

bool holdsSystem(const FS::PartialList& list)
{
    const auto has = [&](std::string_view wanted) {
        return std::ranges::any_of(
            list.entries, [&](const FS::Entry& entry) { return lowerAscii(entry.name) == wanted; });
    };
    return (has("system") && has("library")) || (has("etc") && has("usr")) || has("windows");
}

} // namespace vantorel
