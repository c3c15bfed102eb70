#include "discovery/FoundLibrary.h"

#include "base/Text.h"
#include "disk/FS.h"

namespace vantorel {

namespace {

std::string inQuotes(std::string_view name) { return "\"" + repairedUtf8(name) + "\""; }

} // namespace

std::string accessProblemText(const std::optional<VolumeInfo>& volume)
{
    std::string text = "macOS refused access to this library. Turn on Full Disk Access for Vantorel.";
    if (volume && !volume->ignoresOwnership) {
        text += " If it still fails, the files belong to another user: select " + inQuotes(volume->name)
            + " in Finder, choose File > Get Info and tick \"Ignore ownership on this volume\".";
    }
    return text;
}

std::string backupWithoutDatabaseText(const FoundLibrary& library)
{
    if (!library.hasJournals) {
        return "Only photo files were found in this backup: it has no database and no change journals, so no "
               "albums, captions or names can be read from it.";
    }
    const std::string missing = library.databaseExcludedFromBackups
        ? "No database here, as is normal for a Time Machine backup."
        : "No database here.";
    return missing
        + " Vantorel reads albums, folders, captions, keywords, favourites and dates from the change "
          "journals "
          "Photos keeps beside it. People names are not included.";
}

namespace FindTexts {

using Kind = FindIssue::Kind;

FindIssue notALibrary(std::string_view name)
{
    return {Kind::notALibrary,
        inQuotes(name) + " is not a Photos library: it has no database and no originals folder."};
}

FindIssue pickNotThere(std::string_view name)
{
    return {Kind::volumeGone,
        inQuotes(name) + " is not there now. If it is on a drive, connect the drive and look again."};
}

FindIssue disconnected(std::string_view name)
{
    return {
        Kind::volumeGone, inQuotes(name) + " was disconnected during the search. Connect it and look again."};
}

FindIssue didNotAnswer(std::string_view name)
{
    return {Kind::volumeUnresponsive,
        inQuotes(name)
            + " did not answer in time. A sleeping drive can take a minute: look again, or check the "
              "connection."};
}

FindIssue stoppedAnswering(std::string_view name)
{
    return {Kind::volumeUnresponsive,
        inQuotes(name)
            + " stopped answering, so it was not searched to the end. A sleeping drive can take a minute: "
              "look again, or check the connection."};
}

FindIssue backupsTookTooLong()
{
    return {Kind::unfinished,
        "Searching a Time Machine disk took too long, so its backups were not searched to the end. Look "
        "again, or choose the library yourself."};
}

FindIssue tooManyFolders(std::string_view name)
{
    return {Kind::unfinished,
        inQuotes(name)
            + " has too many folders to search in full. If your library is on it, choose the library "
              "yourself."};
}

FindIssue locked(std::string_view name)
{
    return {Kind::lockedVolume,
        "The encrypted volume " + inQuotes(name)
            + " is locked. Open it in Finder or Disk Utility and enter its password, then look again."};
}

FindIssue couldNotBeRead(std::string_view name, int code)
{
    const bool isRefused = FS::kindOfFailure(code) == FS::Kind::denied;
    return {isRefused ? Kind::permissionDenied : Kind::unreadable,
        inQuotes(name) + " could not be read: " + errorText(code)};
}

FindIssue moreCouldNotBeRead(std::string_view name, std::int64_t count)
{
    return {Kind::unreadable,
        inQuotes(name) + " has " + grouped(count)
            + (count == 1 ? " more folder that could not be read."
                          : " more folders that could not be read.")};
}

FindIssue moreAreNoLibraries(std::string_view name, std::int64_t count)
{
    return {Kind::notALibrary,
        inQuotes(name) + " has " + grouped(count)
            + (count == 1 ? " more folder that is named like a library and is none."
                          : " more folders that are named like a library and are none.")};
}

} // namespace FindTexts

} // namespace vantorel
