#include "scan/OriginalsReport.h"

#include "base/Text.h"
#include "scan/OriginalNames.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace vantorel {

namespace {

using Status = OriginalEntry::Status;
using Reason = OriginalEntry::MissingReason;

std::string_view smallerCopyText(std::optional<Reason> reason)
{
    if (reason == Reason::onlyInCloud) {
        return "Only a smaller copy here: the original stayed in iCloud (Optimize Storage)";
    }
    if (reason == Reason::emptyFile) {
        return "Only a smaller copy here: the original file is there but empty";
    }
    if (reason == Reason::accessDenied) {
        return "Only a smaller copy found: macOS refused access to the folder of the original";
    }
    if (reason == Reason::folderUnreadable) {
        return "Only a smaller copy found: the folder of the original could not be read";
    }
    return "Only a smaller copy here: the original is missing";
}

std::string_view missingText(Reason reason)
{
    switch (reason) {
    case Reason::onlyInCloud:
        return "Missing: the original stayed in iCloud (Optimize Storage) and is not in this copy";
    case Reason::sharedAlbumItem:
        return "Missing: this is a shared album item, which is not stored as an original";
    case Reason::referencedFileGone:
        return "Missing: the library only pointed at a file elsewhere, and that file is not there";
    case Reason::notFound:
        return "Missing: not in this copy of the library";
    case Reason::emptyFile:
        return "Missing: the file is there but empty";
    case Reason::accessDenied:
        return "Not read: macOS refused access to the file or its folder. This can usually be fixed";
    case Reason::refusedLocation:
        return "Not read: the library points at a file outside itself, in a place or of a type Vantorel does "
               "not "
               "read";
    case Reason::folderUnreadable:
        return "Not checked: its folder could not be read";
    }
    std::unreachable();
}

std::int64_t countOf(const OriginalsReport& report, Reason reason)
{
    return std::ranges::count_if(
        report.entries, [reason](const auto& keyed) { return keyed.second.reason == reason; });
}

/// "1 item", "1,234 items".
std::string items(std::int64_t count) { return count == 1 ? "1 item" : grouped(count) + " items"; }

/// "(a, b, c, d, e and others)": at most five are named.
std::string namedFolders(const std::vector<std::string>& folders)
{
    constexpr std::ptrdiff_t most = 5;
    const auto named = std::min(most, std::ssize(folders));
    return fmt::format("({}{})", fmt::join(folders.begin(), folders.begin() + named, ", "),
        std::ssize(folders) > most ? " and others" : "");
}

std::optional<std::string> unreadableNote(const OriginalsReport& report, bool readWhole)
{
    std::vector<std::string> folders = report.unreadableFolders;
    std::erase_if(folders, [](const std::string& folder) { return folder.starts_with('/'); });
    const std::int64_t unread = countOf(report, Reason::folderUnreadable);

    std::string note;
    if (folders.size() == 1) {
        note = fmt::format("The folder {} could not be read in full.", folders.front());
    } else if (!folders.empty()) {
        note = fmt::format(
            "{} folders could not be read in full {}.", grouped(std::ssize(folders)), namedFolders(folders));
    } else if (unread > 0 || !report.unreadableFolders.empty()) {
        note = "Some files outside this library could not be read.";
    } else {
        return std::nullopt;
    }

    if (unread == 0) {
        note += readWhole ? " Every item the library names there was found, but other files there may not be "
                            "counted."
                          : " The database cannot say what else is there, so how many photos that is, is not "
                            "known.";
    } else {
        note +=
            fmt::format(" {} {} in those places and could not be checked, so {} not saved. A later scan may "
                        "reach more, if the disk answers better.",
                items(unread), unread == 1 ? "is" : "are",
                unread == 1 ? "its original is" : "their originals are");
    }
    return note;
}

std::optional<std::string> deniedNote(const OriginalsReport& report)
{
    if (report.deniedFolders.empty()) {
        return std::nullopt;
    }
    const std::int64_t refused = countOf(report, Reason::accessDenied);
    const std::string where = report.deniedFolders.size() == 1
        ? "the folder " + report.deniedFolders.front()
        : fmt::format(
              "{} folders {}", grouped(std::ssize(report.deniedFolders)), namedFolders(report.deniedFolders));
    return fmt::format(
        "macOS refused access to {}{}. This is about permissions, not damage. Check that Vantorel has Full "
        "Disk "
        "Access in System Settings. On an external disk, turn on \"Ignore ownership on this volume\" in "
        "Finder's Get Info. Then scan again.",
        where, refused > 0 ? ", which holds " + items(refused) : "");
}

} // namespace

std::optional<ResolvedFile> pairedFileAlone(std::vector<ResolvedFile> companions)
{
    for (const char digit : {'4', '3'}) {
        const auto found = std::ranges::find_if(companions, [digit](const ResolvedFile& companion) {
            const std::string_view path = companion.path;
            return OriginalNames::partDigit(path.substr(path.rfind('/') + 1)) == digit;
        });
        if (found != companions.end()) {
            ResolvedFile alone = std::move(*found);
            companions.erase(found);
            alone.companions = std::move(companions);
            return alone;
        }
    }
    return std::nullopt;
}

bool holdsSmallerCopy(const OriginalEntry& entry)
{
    const bool isOfElsewhere = entry.status == Status::missing
        && (entry.reason == Reason::referencedFileGone || entry.reason == Reason::refusedLocation);
    return entry.file && (entry.status == Status::derivativeOnly || isOfElsewhere);
}

std::string_view statusText(const OriginalEntry& entry)
{
    if (entry.isStillOfVideo) {
        return entry.reason == Reason::onlyInCloud
            ? "Only a still picture of this video here: the video stayed in iCloud (Optimize Storage)"
            : "Only a still picture of this video here: the video is missing";
    }
    switch (entry.status) {
    case Status::present:
        return entry.partnerMissing
            ? "Original present, but its Live Photo video or paired file is not in this copy"
            : "Original present";
    case Status::presentSizeDiffers:
        return "Original present, but its size differs from the database, so it may be damaged";
    case Status::referenced:
        return "Original present outside the library";
    case Status::derivativeOnly:
        return smallerCopyText(entry.reason);
    case Status::missing:
        return missingText(entry.reason.value_or(Reason::notFound));
    case Status::unchecked:
        return entry.reason == Reason::folderUnreadable ? "Not checked: its folder could not be read"
                                                        : "Not checked";
    }
    std::unreachable();
}

std::vector<std::string> problemNotes(const OriginalsReport& report, bool readWhole, bool wasCancelled)
{
    std::vector<std::string> notes;
    if (auto note = unreadableNote(report, readWhole)) {
        notes.push_back(std::move(*note));
    }
    if (auto note = deniedNote(report)) {
        notes.push_back(std::move(*note));
    }
    if (wasCancelled) {
        notes.emplace_back("The check of the files was stopped before it finished.");
    }
    return notes;
}

ItemRow itemRow(const Asset& asset, const OriginalEntry& entry)
{
    return {.id = asset.pk,
        .name = shownName(asset),
        .date = asset.dateCreated,
        .status = std::string(statusText(entry)),
        .isFine = entry.status == Status::present && !entry.partnerMissing && !entry.isStillOfVideo};
}

std::string shownName(const Asset& asset)
{
    if (asset.originalFileName && !asset.originalFileName->empty()) {
        return *asset.originalFileName;
    }
    return asset.fileName.empty() ? asset.uuid : asset.fileName;
}

} // namespace vantorel
