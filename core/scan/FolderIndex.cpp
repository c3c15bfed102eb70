#include "scan/FolderIndex.h"

#include "base/Text.h"
#include "scan/OriginalNames.h"
#include "scan/PhotoFileTypes.h"

#include <algorithm>
#include <tuple>

namespace vantorel {

namespace {

bool mayBeMain(const FS::Entry& entry)
{
    return (entry.kind == FS::Kind::regular || entry.kind == FS::Kind::special)
        && OriginalNames::partDigit(entry.name) == 0 && !OriginalNames::isLeftBySystem(entry.name);
}

} // namespace

FolderIndex::FolderIndex(std::vector<FS::Entry> entries)
    : entries_(std::move(entries))
    , claimed_(entries_.size(), false)
{
    identifiers_.reserve(entries_.size());
    for (std::uint32_t i = 0; i < entries_.size(); ++i) {
        const std::string_view identifier = OriginalNames::identifier(entries_[i].name);
        if (!identifier.empty()) {
            identifiers_.emplace_back(upperIdentifier(identifier), i);
        }
    }
    std::ranges::sort(identifiers_);
}

FolderIndex::Identifier FolderIndex::upperIdentifier(std::string_view text)
{
    Identifier identifier{};
    std::ranges::transform(text.substr(0, identifier.size()), identifier.begin(),
        [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return identifier;
}

const FS::Entry* FolderIndex::mainFile(const Asset& asset)
{
    if (!asset.fileName.empty()) {
        if (const FS::Entry* entry = byName(asset.fileName); entry != nullptr && mayBeMain(*entry)) {
            return entry;
        }
        if (const FS::Entry* entry = byLowerName(asset.fileName)) {
            return entry;
        }
    }
    return byUUID(asset);
}

const FS::Entry* FolderIndex::byName(std::string_view name) const
{
    const auto found = std::ranges::lower_bound(
        entries_, name, {}, [](const FS::Entry& entry) { return std::string_view(entry.name); });
    return found != entries_.end() && found->name == name ? &*found : nullptr;
}

const FS::Entry* FolderIndex::byLowerName(std::string_view name)
{
    if (!hasLowerNames_) {
        hasLowerNames_ = true;
        lowerNames_.reserve(entries_.size());
        for (std::uint32_t i = 0; i < entries_.size(); ++i) {
            if (mayBeMain(entries_[i])) {
                lowerNames_.emplace(OriginalNames::folded(entries_[i].name), i);
            }
        }
    }
    const auto found = lowerNames_.find(OriginalNames::folded(name));
    return found == lowerNames_.end() ? nullptr : &entries_[found->second];
}

const FS::Entry* FolderIndex::byUUID(const Asset& asset) const
{
    const std::string wanted = OriginalNames::lowerCaseExtension(asset.fileName);
    const auto likeness = [&](const FS::Entry& entry) {
        const std::string extension = OriginalNames::lowerCaseExtension(entry.name);
        return std::tuple(entry.kind == FS::Kind::regular, entry.size > 0, extension == wanted,
            isPhotoOrVideoExtension(extension), entry.size == asset.originalFileSize, entry.size);
    };
    const FS::Entry* best = nullptr;
    for (const FS::Entry* entry : withIdentifier(asset.uuid)) {
        if (mayBeMain(*entry) && (best == nullptr || likeness(*entry) > likeness(*best))) {
            best = entry;
        }
    }
    return best;
}

std::vector<const FS::Entry*> FolderIndex::withIdentifier(std::string_view identifier) const
{
    std::vector<const FS::Entry*> found;
    if (!isUuid(identifier)) {
        return found;
    }
    const auto range = std::ranges::equal_range(
        identifiers_, upperIdentifier(identifier), {}, &std::pair<Identifier, std::uint32_t>::first);
    for (const auto& keyed : range) {
        found.push_back(&entries_[keyed.second]);
    }
    return found;
}

std::size_t FolderIndex::positionOf(const FS::Entry& entry) const
{
    return static_cast<std::size_t>(&entry - entries_.data());
}

void FolderIndex::claim(const FS::Entry& entry) { claimed_[positionOf(entry)] = true; }

bool FolderIndex::isClaimed(const FS::Entry& entry) const { return claimed_[positionOf(entry)]; }

} // namespace vantorel
