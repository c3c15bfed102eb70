#include "scan/OriginalsInspector.h"

#include "base/Text.h"
#include "scan/FolderIndex.h"
#include "scan/OriginalNames.h"
#include "scan/OriginalsFolder.h"
#include "scan/OriginalsLedger.h"
#include "scan/OriginalsWalk.h"
#include "scan/ReferencedFiles.h"
#include "scan/SmallerCopies.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantorel {

namespace {

using Status = OriginalEntry::Status;
using Reason = OriginalEntry::MissingReason;

/// One folder of smaller copies.
struct CopyFolder {
    std::string path{};
    FolderIndex index;
    bool isUnreadable = false;
    bool isDenied = false;
};

using Assets = std::vector<OriginalsLedger::WithoutOriginal>;

/// Names that begin with the identifier of one of the assets. Few of a large folder's: the others are not
/// looked at.
OriginalsWalk::Wanted copiesOf(const Assets& assets)
{
    auto identifiers = std::make_shared<std::vector<std::string>>();
    identifiers->reserve(assets.size());
    for (const OriginalsLedger::WithoutOriginal& without : assets) {
        identifiers->push_back(upperAscii(without.asset->uuid));
    }
    std::ranges::sort(*identifiers);
    return [identifiers, upper = std::string()](std::string_view name) mutable {
        upper.assign(OriginalNames::identifier(name));
        std::ranges::transform(upper, upper.begin(),
            [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
        return !upper.empty() && std::ranges::binary_search(*identifiers, upper);
    };
}

/// The three folders in which copies of assets lie whose identifiers begin with the letter.
std::vector<CopyFolder> copyFolders(
    const std::string& letter, const Assets& assets, OriginalsWalk& walk, OriginalsLedger& ledger)
{
    const OriginalsWalk::Wanted wanted = copiesOf(assets);
    std::vector<CopyFolder> folders;
    for (const std::string_view parent : SmallerCopies::folders) {
        std::string path = pathIn(parent, letter);
        Looked looked = walk.look(path, wanted);
        if (looked.isMissing() && lowerAscii(letter) != letter) {
            path = pathIn(parent, lowerAscii(letter));
            looked = walk.look(path, wanted);
        }
        ledger.note(path, looked);
        folders.push_back({.path = std::move(path),
            .index = FolderIndex(std::move(looked.list.entries)),
            .isUnreadable = looked.isUnreadable(),
            .isDenied = looked.isDenied()});
    }
    return folders;
}

/// No copy was seen, in folders that were perhaps not seen whole: then nobody knows that there is none.
void settleWithoutCopy(OriginalEntry& entry, const std::vector<CopyFolder>& folders)
{
    if (entry.reason != Reason::notFound) {
        return;
    }
    if (std::ranges::any_of(folders, &CopyFolder::isUnreadable)) {
        entry.status = Status::unchecked;
        entry.reason = Reason::folderUnreadable;
    } else if (std::ranges::any_of(folders, &CopyFolder::isDenied)) {
        entry.reason = Reason::accessDenied;
    }
}

/// Neither the main file nor a smaller copy is here, but perhaps a file that was paired with it. It is an
/// original too and must not be left behind: a RAW stands for the picture, of which its JPEG partner is what
/// is missing; the video of a Live Photo is less than the photo, as a smaller copy is.
void settlePairedFile(OriginalsLedger::WithoutOriginal& without, OriginalEntry& entry)
{
    const bool lacks = lacksPartner(*without.asset, without.companions);
    auto alone = pairedFileAlone(std::move(without.companions));
    if (!alone) {
        return;
    }
    const std::string_view name = std::string_view(alone->path).substr(alone->path.rfind('/') + 1);
    const bool mayBeMore = entry.reason == Reason::accessDenied || entry.reason == Reason::folderUnreadable;
    if (OriginalNames::partDigit(name) == '4' && !mayBeMore) {
        entry = {.status = Status::present, .partnerMissing = true};
    } else {
        entry.status = Status::derivativeOnly;
        entry.partnerMissing = lacks;
    }
    entry.file = std::move(alone);
}

void findCopy(
    OriginalsLedger::WithoutOriginal& without, const std::vector<CopyFolder>& folders, OriginalEntry& entry)
{
    const Asset& asset = *without.asset;
    SmallerCopies::Choice choice(asset.kind);
    for (const CopyFolder& folder : folders) {
        for (const FS::Entry* copy : folder.index.withIdentifier(asset.uuid)) {
            choice.consider(folder.path, *copy);
        }
    }
    if (!choice.best()) {
        settleWithoutCopy(entry, folders);
        settlePairedFile(without, entry);
        return;
    }
    const bool wasNotSeen = entry.reason == Reason::accessDenied || entry.reason == Reason::folderUnreadable;
    if (wasNotSeen && asset.isOnlyInCloud) {
        entry.reason = Reason::onlyInCloud;
    }
    // A file elsewhere that is not there now may be on a disk that can be connected: that is what its owner
    // has to read. The copy is saved as one all the same.
    const bool liesElsewhere = asset.isReferenced
        && (entry.reason == Reason::referencedFileGone || entry.reason == Reason::refusedLocation);
    entry.status = liesElsewhere ? Status::missing : Status::derivativeOnly;
    entry.isStillOfVideo = asset.kind == Asset::Kind::video && !choice.best()->isVideo;
    entry.partnerMissing = lacksPartner(asset, without.companions);
    entry.file = ResolvedFile{.path = choice.best()->path,
        .size = choice.best()->size,
        .companions = std::move(without.companions)};
}

/// Looks for smaller copies of what was not found, in the folders that are needed for it, each listed once.
void checkSmallerCopies(OriginalsWalk& walk, OriginalsLedger& ledger)
{
    for (auto& [letter, assets] : ledger.withoutOriginal()) {
        std::vector<CopyFolder> folders;
        if (!letter.empty()) {
            folders = copyFolders(letter, assets, walk, ledger);
        }
        if (walk.stopped()) {
            return;
        }
        for (OriginalsLedger::WithoutOriginal& without : assets) {
            findCopy(without, folders, ledger.entryOf(*without.asset));
            ledger.countChecked();
        }
    }
}

} // namespace

OriginalsReport OriginalsInspector::inspect(const LibrarySnapshot& snapshot, const SharedCancelToken& cancel,
    const ScanProgressCallback& progress) const
{
    OriginalsLedger ledger(snapshot, progress);
    OriginalsWalk walk(services_,
        {.base = snapshot.libraryURL,
            .limit = stallTimeout,
            .cancel = cancel,
            .beforeListing = beforeListing,
            .onSilence = [&ledger](bool waiting) { ledger.tell(waiting); },
            .ahead = beforeListing ? nullptr : ahead});
    OriginalsFolder(walk, ledger).check(snapshot.assets);
    ReferencedFiles(walk, ledger).check(snapshot.assets);
    if (!walk.stopped()) {
        ledger.claimStrays();
    }
    checkSmallerCopies(walk, ledger);
    return std::move(ledger).finished(walk.stopped().has_value());
}

} // namespace vantorel
