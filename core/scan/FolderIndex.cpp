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
        if (const auto identifier = identifierOf(OriginalNames::identifier(entries_[i].name))) {
            identifiers_.emplace_back(*identifier, i);
        }
    }
    if (!std::ranges::is_sorted(identifiers_)) { // they are, where all are written in one case
        std::ranges::sort(identifiers_);
    }
}

std::optional<FolderIndex::Identifier> FolderIndex::identifierOf(std::string_view text)
{
    if (!isUuid(text)) {
        return std::nullopt;
    }
    Identifier identifier;
    for (const char c : text) {
        if (c == '-') {
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        const unsigned digit = byte <= '9' ? byte - '0' : (byte & 0xFU) + 9U; // A is 0x41, a is 0x61
        identifier.high = identifier.high << 4U | identifier.low >> 60U;
        identifier.low = identifier.low << 4U | digit;
    }
    return identifier;
}

std::span<const FolderIndex::Keyed> FolderIndex::keyed(const Identifier& identifier) const
{
    const auto range = std::ranges::equal_range(identifiers_, identifier, {}, &Keyed::first);
    return {range.begin(), range.end()};
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
    // Nearly every name begins with an identifier, and few files share one.
    if (const auto identifier = identifierOf(OriginalNames::identifier(name))) {
        for (const Keyed& entry : keyed(*identifier)) {
            if (entries_[entry.second].name == name) {
                return &entries_[entry.second];
            }
        }
        return nullptr;
    }
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
    if (const auto wanted = identifierOf(identifier)) {
        for (const Keyed& entry : keyed(*wanted)) {
            found.push_back(&entries_[entry.second]);
        }
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
