#include "scan/OriginalsLedger.h"

#include "base/Text.h"
#include "scan/OriginalNames.h"

#include <algorithm>
#include <iterator>
#include <tuple>
#include <utility>

namespace vantorel {

namespace {

constexpr std::int64_t progressStep = 500;

bool isPart(std::string_view path) { return OriginalNames::partDigit(path.substr(path.rfind('/') + 1)) != 0; }

ResolvedFile resolved(const OriginalsReport::UnknownFile& file)
{
    ResolvedFile found{.path = file.main, .size = file.size};
    for (std::size_t i = 0; i < file.companions.size(); ++i) {
        found.companions.push_back({.path = file.companions[i], .size = file.companionSizes[i]});
    }
    return found;
}

/// A file and its companions, as companions of another.
void addParts(std::vector<ResolvedFile>& companions, ResolvedFile file)
{
    std::ranges::move(std::exchange(file.companions, {}), std::back_inserter(companions));
    companions.push_back(std::move(file));
    std::ranges::sort(companions, {}, &ResolvedFile::path);
}

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

void OriginalsLedger::claimStrays()
{
    Strays strays;
    for (std::size_t i = 0; i < report_.unknownFiles.size(); ++i) {
        if (isUuid(report_.unknownFiles[i].uuid)) {
            strays[report_.unknownFiles[i].uuid].push_back(i);
        }
    }
    if (strays.empty()) {
        return;
    }
    std::vector<bool> isClaimed(report_.unknownFiles.size(), false);
    for (auto& [letter, assets] : withoutOriginal_) {
        std::vector<WithoutOriginal> still;
        for (WithoutOriginal& without : assets) {
            const auto stray = bestStray(*without.asset, strays);
            const bool isFree = stray && !isClaimed[*stray];
            if (isFree) {
                isClaimed[*stray] = true;
            }
            if (!isFree || !settleStray(without, *stray)) {
                still.push_back(std::move(without));
            }
        }
        assets = std::move(still);
    }
    completePartners(strays, isClaimed);

    std::vector<OriginalsReport::UnknownFile> unclaimed;
    for (std::size_t i = 0; i < isClaimed.size(); ++i) {
        if (!isClaimed[i]) {
            unclaimed.push_back(std::move(report_.unknownFiles[i]));
        }
    }
    report_.unknownFiles = std::move(unclaimed);
}

/// A main file before a part of one, one of the recorded size before another, the larger.
std::optional<std::size_t> OriginalsLedger::bestStray(const Asset& asset, const Strays& strays) const
{
    const auto found = strays.find(upperAscii(asset.uuid));
    if (found == strays.end()) {
        return std::nullopt;
    }
    return *std::ranges::max_element(found->second, {}, [&](std::size_t i) {
        const OriginalsReport::UnknownFile& file = report_.unknownFiles[i];
        return std::tuple(!isPart(file.main), file.size == asset.originalFileSize, file.size);
    });
}

/// Whether nothing more is to be looked for.
bool OriginalsLedger::settleStray(WithoutOriginal& without, std::size_t stray)
{
    ResolvedFile file = resolved(report_.unknownFiles[stray]);
    if (isPart(file.path)) {
        addParts(without.companions, std::move(file));
        return false;
    }
    const Asset& asset = *without.asset;
    std::ranges::move(without.companions, std::back_inserter(file.companions));
    OriginalEntry entry;
    entry.status = asset.originalFileSize.value_or(file.size) == file.size
        ? OriginalEntry::Status::present
        : OriginalEntry::Status::presentSizeDiffers;
    entry.partnerMissing = lacksPartner(asset, file.companions);
    entry.file = std::move(file);
    settle(asset, std::move(entry));
    return true;
}

/// Paired files that lie elsewhere than their main file.
void OriginalsLedger::completePartners(const Strays& strays, std::vector<bool>& isClaimed)
{
    for (const Asset& asset : snapshot_.assets) {
        OriginalEntry& entry = entryOf(asset);
        if (!entry.partnerMissing || !entry.file || entry.isOutsideLibrary) {
            continue;
        }
        const auto stray = bestStray(asset, strays);
        if (stray && !isClaimed[*stray] && isPart(report_.unknownFiles[*stray].main)) {
            isClaimed[*stray] = true;
            addParts(entry.file->companions, resolved(report_.unknownFiles[*stray]));
            entry.partnerMissing = lacksPartner(asset, entry.file->companions);
        }
    }
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
