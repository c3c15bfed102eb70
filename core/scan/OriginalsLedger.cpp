#include "scan/OriginalsLedger.h"

#include "base/Text.h"
#include "scan/OriginalNames.h"

#include <algorithm>
#include <utility>

namespace vantorel {

namespace {

constexpr std::int64_t progressStep = 500;

} // namespace

OriginalsLedger::OriginalsLedger(const LibrarySnapshot& snapshot, const ScanProgressCallback& progress)
    : snapshot_(snapshot)
    , progress_(progress)
{
    tell(false);
    report_.entries.reserve(snapshot.assets.size());
    for (const Asset& asset : snapshot.assets) {
        report_.entries.emplace(asset.pk, OriginalEntry{});
    }
    for (const Asset& asset : snapshot.assets) {
        if (asset.isSharedAlbumItem) { // such items are not stored as originals: nothing is looked for
            settle(asset,
                {.status = OriginalEntry::Status::missing,
                    .reason = OriginalEntry::MissingReason::sharedAlbumItem});
        }
    }
}

void OriginalsLedger::tell(bool waitingForDisk) const
{
    if (progress_) {
        progress_({.stage = ScanStage::checkingFiles,
            .done = done_,
            .total = std::ssize(snapshot_.assets),
            .waitingForDisk = waitingForDisk});
    }
}

void OriginalsLedger::countChecked()
{
    if (++done_ % progressStep == 0) {
        tell(false);
    }
}

void OriginalsLedger::settle(const Asset& asset, OriginalEntry entry)
{
    entryOf(asset) = std::move(entry);
    countChecked();
}

void OriginalsLedger::settleWithoutOriginal(
    const Asset& asset, Lack lack, std::vector<ResolvedFile> companions)
{
    OriginalEntry& entry = entryOf(asset);
    entry.status = lack.status;
    entry.reason = lack.reason;
    entry.refusedPath = std::move(lack.refusedPath);
    const std::string letter = isUuid(asset.uuid) ? upperAscii(asset.uuid.substr(0, 1)) : std::string{};
    withoutOriginal_[letter].push_back({.asset = &asset, .companions = std::move(companions)});
}

void OriginalsLedger::lowerState() { report_.state = OriginalsReport::State::partlyUnreadable; }

void OriginalsLedger::noteUnreadable(const std::string& folder)
{
    lowerState();
    report_.unreadableFolders.push_back(folder);
}

void OriginalsLedger::noteDenied(const std::string& folder)
{
    lowerState();
    for (std::size_t slash = folder.find('/', 1); slash != std::string::npos;
        slash = folder.find('/', slash + 1)) {
        if (denied_.contains(folder.substr(0, slash))) {
            return;
        }
    }
    if (denied_.insert(folder).second) {
        report_.deniedFolders.push_back(folder);
    }
}

void OriginalsLedger::note(const std::string& folder, const Looked& looked)
{
    if (looked.isUnreadable()) {
        noteUnreadable(folder);
    }
    if (looked.isDenied()) {
        noteDenied(folder);
    }
}

void OriginalsLedger::addUnknown(OriginalsReport::UnknownFile file)
{
    (file.size == 0 ? report_.emptyUnknownFiles : report_.unknownFiles).push_back(std::move(file));
}

OriginalsReport OriginalsLedger::finished(bool wasStopped) &&
{
    if (wasStopped) {
        report_.state = OriginalsReport::State::interrupted;
    } else if (done_ % progressStep != 0) {
        tell(false);
    }
    std::ranges::sort(report_.unknownFiles, {}, &OriginalsReport::UnknownFile::main);
    std::ranges::sort(report_.emptyUnknownFiles, {}, &OriginalsReport::UnknownFile::main);
    return std::move(report_);
}

std::string pathIn(std::string_view folder, std::string_view name)
{
    std::string path(folder);
    path += folder.empty() || name.empty() ? "" : "/";
    path += name;
    return path;
}

bool lacksPartner(const Asset& asset, const std::vector<ResolvedFile>& companions)
{
    if (!asset.expectsPartner) {
        return false;
    }
    return std::ranges::none_of(companions, [&](const ResolvedFile& companion) {
        const std::string_view path = companion.path;
        const char digit = OriginalNames::partDigit(path.substr(path.rfind('/') + 1));
        return digit == '3' || (digit == '4' && !asset.isLivePhoto);
    });
}

} // namespace vantorel
