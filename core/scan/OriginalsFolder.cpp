#include "scan/OriginalsFolder.h"

#include "base/Text.h"
#include "disk/Root.h"
#include "scan/OriginalNames.h"
#include "scan/UnknownFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <utility>

namespace vantorel {

namespace {

using Status = OriginalEntry::Status;
using Reason = OriginalEntry::MissingReason;

/// Photos uses one level beneath "originals". What lies deeper, or is more than this, counts as not read.
constexpr std::ptrdiff_t deepestFolder = 6;
constexpr std::size_t mostFolders = 20'000;

/// The files beside a main file that belong to the same asset.
std::vector<const FS::Entry*> partsOf(const Asset& asset, const FS::Entry* main, const FolderIndex& index)
{
    std::vector<const FS::Entry*> parts = index.withIdentifier(asset.uuid);
    if (main != nullptr && OriginalNames::identifier(main->name) != asset.uuid) {
        const auto named = index.withIdentifier(OriginalNames::identifier(main->name));
        parts.insert(parts.end(), named.begin(), named.end());
    }
    std::erase_if(parts, [](const FS::Entry* entry) { return OriginalNames::partDigit(entry->name) == 0; });
    std::ranges::sort(parts, {}, [](const FS::Entry* entry) { return std::string_view(entry->name); });
    const auto repeated = std::ranges::unique(parts);
    parts.erase(repeated.begin(), repeated.end());
    return parts;
}

OriginalsLedger::Lack lackOf(const Asset& asset, const Looked& looked, const std::string& folder)
{
    if (looked.escapes) {
        return {.reason = Reason::refusedLocation, .refusedPath = folder};
    }
    if (looked.isUnreadable()) {
        return {.status = Status::unchecked, .reason = Reason::folderUnreadable};
    }
    if (looked.isDenied()) {
        return {.reason = Reason::accessDenied, .refusedPath = folder};
    }
    if (asset.isOnlyInCloud) {
        return {.reason = Reason::onlyInCloud};
    }
    return {.reason = asset.isReferenced ? Reason::referencedFileGone : Reason::notFound};
}

} // namespace

void OriginalsFolder::check(const std::vector<Asset>& assets)
{
    open();
    std::map<std::string, Assets> folders;
    for (const Asset& asset : assets) {
        const bool liesOutside = asset.isReferenced && asset.referencedPath;
        if (!asset.isSharedAlbumItem && !liesOutside) {
            folders[folderOf(asset)].push_back(&asset);
        }
    }
    const auto atTop = folders.extract("");
    for (const auto& [folder, assetsInIt] : folders) {
        checkFolder(folder, assetsInIt);
    }
    checkFolder("", atTop ? atTop.mapped() : Assets{}); // gives its listing away, so it comes last
    checkOtherFolders();
}

void OriginalsFolder::open()
{
    top_ = walk_.look(name_);
    if (top_.isMissing()) {
        // Not every file system takes both spellings for one.
        Looked capital = walk_.look("Originals");
        if (!capital.isMissing()) {
            name_ = "Originals";
            top_ = std::move(capital);
        }
    }
    if (top_.failed && top_.failed->code == ENOTDIR && !top_.escapes && walk_.showsFolderLinksAsFiles()) {
        top_.failed->kind = FS::ListFailure::Kind::unavailable;
    }
    ledger_.note(name_, top_);
    isTopWhole_ = !top_.isUnreadable() && !top_.isDenied();
    for (const FS::Entry& entry : top_.list.entries) {
        topNames_.emplace(OriginalNames::folded(entry.name), entry.name);
    }
}

const FS::Entry* OriginalsFolder::entryAtTop(std::string_view name) const
{
    const auto found = std::ranges::lower_bound(
        top_.list.entries, name, {}, [](const FS::Entry& entry) { return std::string_view(entry.name); });
    return found != top_.list.entries.end() && found->name == name ? &*found : nullptr;
}

/// Where the asset's original should lie, relative to the originals folder, as that folder spells it.
std::string OriginalsFolder::folderOf(const Asset& asset)
{
    std::string directory = asset.directory;
    if (directory.empty() && isUuid(asset.uuid)) {
        // A record without its place: Photos files an original under the first letter of its identifier.
        std::string letter = upperAscii(asset.uuid.substr(0, 1));
        if (!isTopWhole_ || topNames_.contains(OriginalNames::folded(letter))) {
            directory = std::move(letter);
        }
    }
    const auto [known, isNew] = spellings_.try_emplace(directory, directory);
    if (isNew) {
        const std::string top = directory.substr(0, directory.find('/'));
        const auto spelled = topNames_.find(OriginalNames::folded(top));
        if (entryAtTop(top) == nullptr && spelled != topNames_.end()) {
            known->second = spelled->second + directory.substr(top.size());
        }
    }
    return known->second;
}

/// Linux shows a folder that Time Machine hard-linked on Mac OS Extended as an empty file: it is there, and
/// cannot be read.
bool OriginalsFolder::isFolderLink(const FS::Entry& entry)
{
    return entry.kind == FS::Kind::regular && entry.size == 0 && walk_.showsFolderLinksAsFiles();
}

/// What the listing of the originals folder answers already is not asked again.
Looked OriginalsFolder::lookInto(const std::string& folder)
{
    if (folder.empty()) {
        return std::move(top_);
    }
    Looked looked;
    looked.failed = FS::ListFailure{.kind = FS::ListFailure::Kind::missing, .code = ENOENT};
    const FS::Entry* top = entryAtTop(folder.substr(0, folder.find('/')));
    if (!isSafeRelativePath(folder) || (top == nullptr && isTopWhole_)) {
        looked.escapes = top_.escapes;
        return looked;
    }
    if (top != nullptr && top->kind == FS::Kind::special) {
        looked.escapes = true;
        return looked;
    }
    const std::string path = pathIn(name_, folder);
    if (top != nullptr && isFolderLink(*top)) {
        looked.failed->kind = FS::ListFailure::Kind::unavailable;
    } else if (top == nullptr || top->kind == FS::Kind::directory) {
        looked = walk_.look(path);
    }
    ledger_.note(path, looked);
    return looked;
}

void OriginalsFolder::checkFolder(const std::string& folder, const Assets& assets)
{
    if (walk_.stopped()) {
        return;
    }
    visited_.insert(folder);
    Looked looked = lookInto(folder);
    if (walk_.stopped() && !looked.silent) {
        return;
    }
    if (looked.escapes) {
        ledger_.lowerState(); // nobody saw what else lies behind the link
    }
    FolderIndex index(std::exchange(looked.list.entries, {}));
    const std::string path = pathIn(name_, folder);
    for (const Asset* asset : assets) {
        checkAsset(*asset, path, looked, index);
    }
    collectUnknown(folder, index);
}

void OriginalsFolder::checkAsset(
    const Asset& asset, const std::string& folder, const Looked& looked, FolderIndex& index)
{
    const FS::Entry* main = index.mainFile(asset);
    std::vector<ResolvedFile> companions;
    for (const FS::Entry* part : partsOf(asset, main, index)) {
        index.claim(*part);
        if (part->kind == FS::Kind::regular && part->size > 0) {
            companions.push_back({.path = pathIn(folder, part->name), .size = part->size});
        }
    }
    if (main == nullptr) {
        ledger_.settleWithoutOriginal(asset, lackOf(asset, looked, folder), std::move(companions));
        return;
    }
    index.claim(*main);
    settleFound(asset, *main, pathIn(folder, main->name), std::move(companions));
}

void OriginalsFolder::settleFound(
    const Asset& asset, const FS::Entry& main, const std::string& path, std::vector<ResolvedFile> companions)
{
    if (main.kind != FS::Kind::regular) {
        ledger_.settleWithoutOriginal(
            asset, {.reason = Reason::refusedLocation, .refusedPath = path}, std::move(companions));
        return;
    }
    if (main.size <= 0) {
        ledger_.settleWithoutOriginal(asset, {.reason = Reason::emptyFile}, std::move(companions));
        return;
    }
    OriginalEntry entry;
    entry.status = asset.originalFileSize.value_or(main.size) == main.size ? Status::present
                                                                           : Status::presentSizeDiffers;
    entry.partnerMissing = lacksPartner(asset, companions);
    entry.file = ResolvedFile{.path = path, .size = main.size, .companions = std::move(companions)};
    ledger_.settle(asset, std::move(entry));
}

void OriginalsFolder::collectUnknown(const std::string& folder, const FolderIndex& index)
{
    std::vector<const FS::Entry*> unclaimed;
    for (const FS::Entry& entry : index.entries()) {
        if (OriginalNames::isLeftBySystem(entry.name)) {
            continue;
        }
        if (entry.kind == FS::Kind::directory) {
            toVisit_.push_back(pathIn(folder, entry.name));
        } else if (entry.kind == FS::Kind::regular && !index.isClaimed(entry)) {
            unclaimed.push_back(&entry);
        }
    }
    for (auto& file : groupUnknownFiles(folder, pathIn(name_, folder), unclaimed)) {
        ledger_.addUnknown(std::move(file));
    }
}

/// Folders in which no record names a file.
void OriginalsFolder::checkOtherFolders()
{
    for (std::size_t next = 0; next < toVisit_.size() && !walk_.stopped(); ++next) {
        const std::string folder = toVisit_[next]; // a copy: the list grows
        if (!visited_.insert(folder).second) {
            continue;
        }
        const std::string path = pathIn(name_, folder);
        if (std::ranges::count(folder, '/') >= deepestFolder || visited_.size() > mostFolders) {
            ledger_.noteUnreadable(path);
            continue;
        }
        Looked looked = walk_.look(path);
        ledger_.note(path, looked);
        collectUnknown(folder, FolderIndex(std::move(looked.list.entries)));
    }
}

} // namespace vantorel
