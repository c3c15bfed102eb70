#pragma once

#include "base/Enum.h"
#include "discovery/volumes/VolumeInfo.h"
#include "disk/SystemCalls.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// `modern` has its database file; `legacy` is an older layout, which is not read; `noDatabase` has an
/// originals folder but no database file.
enum class LibraryFormat { modern, legacy, noDatabase };

inline constexpr EnumNames<LibraryFormat, 3> libraryFormatNames{{
    {LibraryFormat::modern, "modern"},
    {LibraryFormat::legacy, "legacy"},
    {LibraryFormat::noDatabase, "noDatabase"},
}};
static_assert(inEnumOrder(libraryFormatNames));

/// A library found on a disk or chosen by the user.
struct FoundLibrary {
    /// In a Time Machine backup; on a mounted volume; in a folder that the user chose; in a home folder.
    enum class Origin { timeMachine, volume, picked, home };

    DiskPath url{};     ///< The library folder.
    std::string name{}; ///< Its name without extension: bytes as the disk gives them.
    Origin origin = Origin::volume;
    LibraryFormat format = LibraryFormat::modern;
    std::optional<VolumeInfo> volume{}; ///< Where known.
    std::optional<std::int64_t>
        databaseBytes{}; ///< Of "database/Photos.sqlite", where it could be looked at.
    std::optional<std::chrono::sys_seconds> databaseModified{};
    std::optional<std::string> accessProblem{}; ///< Why it cannot be read as it stands (permissions).
    std::optional<std::string> accessAdvice{};  ///< What helps on this system; quiet, beneath the problem.
    /// Its "database" folder is marked to be left out of backups: a copy in a backup has no database, as is
    /// normal.
    bool databaseExcludedFromBackups = false;
    bool hasJournals = false; ///< It keeps change journals with content.

    bool operator==(const FoundLibrary&) const = default;
};

inline constexpr EnumNames<FoundLibrary::Origin, 4> libraryOriginNames{{
    {FoundLibrary::Origin::timeMachine, "timeMachine"},
    {FoundLibrary::Origin::volume, "volume"},
    {FoundLibrary::Origin::picked, "picked"},
    {FoundLibrary::Origin::home, "home"},
}};
static_assert(inEnumOrder(libraryOriginNames));

/// What stood in the way of a search, as a whole sentence.
struct FindIssue {
    enum class Kind {
        permissionDenied,
        volumeUnresponsive,
        volumeGone,
        lockedVolume,
        unfinished,
        notALibrary,
        unreadable
    };

    Kind kind = Kind::unreadable;
    std::string message{};

    bool operator==(const FindIssue&) const = default;
};

inline constexpr EnumNames<FindIssue::Kind, 7> findIssueNames{{
    {FindIssue::Kind::permissionDenied, "permissionDenied"},
    {FindIssue::Kind::volumeUnresponsive, "volumeUnresponsive"},
    {FindIssue::Kind::volumeGone, "volumeGone"},
    {FindIssue::Kind::lockedVolume, "lockedVolume"},
    {FindIssue::Kind::unfinished, "unfinished"},
    {FindIssue::Kind::notALibrary, "notALibrary"},
    {FindIssue::Kind::unreadable, "unreadable"},
}};
static_assert(inEnumOrder(findIssueNames));

struct FindResult {
    std::vector<FoundLibrary> libraries{}; ///< Picked, home, volumes, backups; by name within.
    std::vector<FindIssue> issues{};
    std::vector<DiskPath> unreachablePicks{}; ///< Chosen folders that could not be reached.
    std::vector<std::string> advice{};        ///< What helps on this system; quiet, beneath the issues.

    bool operator==(const FindResult&) const = default;
};

/// "macOS refused access to this library. …", with what helps on a volume that heeds ownership.
std::string accessProblemText(const std::optional<VolumeInfo>& volume);

/// What is said of a library without a database in a Time Machine backup.
std::string backupWithoutDatabaseText(const FoundLibrary& library);

/// The sentences of issues. A name (of a volume or folder, bytes) stands between double quotes.
namespace FindTexts {

FindIssue notALibrary(std::string_view name);
FindIssue pickNotThere(std::string_view name);
FindIssue disconnected(std::string_view name);
FindIssue didNotAnswer(std::string_view name);
FindIssue stoppedAnswering(std::string_view name);
FindIssue backupsTookTooLong();
FindIssue tooManyFolders(std::string_view name);
FindIssue locked(std::string_view name);
/// `code`: errno; EPERM and EACCES are about permissions.
FindIssue couldNotBeRead(std::string_view name, int code);
/// After the first few, the rest as one.
FindIssue moreCouldNotBeRead(std::string_view name, std::int64_t count);
FindIssue moreAreNoLibraries(std::string_view name, std::int64_t count);

} // namespace FindTexts

} // namespace vantorel
