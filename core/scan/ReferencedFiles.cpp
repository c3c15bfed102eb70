#include "scan/ReferencedFiles.h"

#include "scan/ReferencedPlaces.h"

#include <utility>

namespace vantorel {

using Outcome = FileLook::Outcome;
using Status = OriginalEntry::Status;
using Reason = OriginalEntry::MissingReason;

void ReferencedFiles::check(const std::vector<Asset>& assets)
{
    for (const Asset& asset : assets) {
        if (walk_.stopped()) {
            return;
        }
        if (!asset.isSharedAlbumItem && asset.isReferenced && asset.referencedPath) {
            checkAsset(asset);
        }
    }
}

std::optional<ReferencedFiles::Outside> ReferencedFiles::lookFor(
    const std::string& recordedPath, std::optional<std::int64_t> recordedSize)
{
    const auto path = ReferencedPlaces::readable(recordedPath);
    if (!path) {
        return std::nullopt;
    }
    Outside outside{.look = walk_.lookAt(*path), .path = *path};
    // The start-up disk stands as a link in /Volumes, so a link may mean another spelling of the place, too.
    if (outside.look.outcome != Outcome::missing && outside.look.outcome != Outcome::notAFile) {
        return outside;
    }
    const std::string_view volume = ReferencedPlaces::volumeName(*path);
    const auto mountPoints =
        volume.empty() ? std::vector<std::string>{} : walk_.mountPointsOf(std::string(volume));
    for (const std::string& place : ReferencedPlaces::alternatives(*path, mountPoints)) {
        const FileLook look = walk_.lookAt(place);
        // In a place that was only guessed, a file of another size is another file.
        if (look.outcome == Outcome::found && look.size == recordedSize.value_or(look.size)) {
            return Outside{.look = look, .path = place};
        }
        if (look.outcome == Outcome::denied || look.outcome == Outcome::unreadable) {
            outside = {.look = look, .path = place};
        }
    }
    return outside;
}

void ReferencedFiles::checkAsset(const Asset& asset)
{
    const auto outside = lookFor(*asset.referencedPath, asset.originalFileSize);
    if (walk_.stopped()) {
        return;
    }
    // Whatever keeps the file from being read: a smaller copy in the library is better than nothing.
    if (!outside) {
        ledger_.settleWithoutOriginal(
            asset, {.reason = Reason::refusedLocation, .refusedPath = asset.referencedPath}, {});
        return;
    }
    switch (outside->look.outcome) {
    case Outcome::found:
        if (outside->look.size <= 0) {
            ledger_.settleWithoutOriginal(asset, {.reason = Reason::emptyFile}, {});
        } else {
            OriginalEntry entry{.status = Status::referenced,
                .file = ResolvedFile{.path = outside->path, .size = outside->look.size},
                .isOutsideLibrary = true};
            addPartners(asset, entry);
            ledger_.settle(asset, std::move(entry));
        }
        return;
    case Outcome::missing:
        ledger_.settleWithoutOriginal(asset, {.reason = Reason::referencedFileGone}, {});
        return;
    case Outcome::denied:
        ledger_.noteDenied(DiskPath(outside->path).parent_path().native());
        ledger_.settleWithoutOriginal(
            asset, {.reason = Reason::accessDenied, .refusedPath = outside->path}, {});
        return;
    case Outcome::unreadable:
        ledger_.lowerState();
        ledger_.settleWithoutOriginal(
            asset, {.status = Status::unchecked, .reason = Reason::folderUnreadable}, {});
        return;
    case Outcome::notAFile:
        ledger_.settleWithoutOriginal(
            asset, {.reason = Reason::refusedLocation, .refusedPath = outside->path}, {});
        return;
    }
    std::unreachable();
}

void ReferencedFiles::addPartners(const Asset& asset, OriginalEntry& entry)
{
    bool lacksOne = asset.expectsPartner && asset.referencedPartners.empty();
    for (const std::string& recorded : asset.referencedPartners) {
        const auto partner = lookFor(recorded, std::nullopt);
        if (partner && partner->look.outcome == Outcome::found && partner->look.size > 0) {
            entry.file->companions.push_back({.path = partner->path, .size = partner->look.size});
            continue;
        }
        lacksOne = true;
        if (partner && partner->look.outcome == Outcome::denied) {
            ledger_.noteDenied(DiskPath(partner->path).parent_path().native());
        } else if (partner && partner->look.outcome == Outcome::unreadable) {
            ledger_.lowerState();
        }
    }
    entry.partnerMissing = lacksOne;
}

} // namespace vantorel
