#include "journals/JournalObjects.h"

#include "base/Text.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

// Keys of the payloads, as macOS 10.15 to 26 write them. A key without a value is absent. `directory` is one
// hexadecimal digit, or an absolute path for a file outside the library. Of `adjustmentsState` (newer) and
// `hasAdjustments` (older) both can be there after a change to an older record.
//
// `resources` has an entry for each file of the photo: `subType` 1 is the original, 17 the RAW beside a JPEG,
// 18 the video of a Live Photo; `version` and `recipeID` 0 mean as imported. A file outside the library has a
// `bookmarkPath`, relative to the volume whose identifier stands under `volume`.

namespace vantorel {

namespace {

/// Real photos have some ten entries.
constexpr std::size_t mostResources = 256;
constexpr std::size_t mostPartners = 4;
/// Of the first entries' keys together: entries may all be one long dictionary, which a list can name often.
constexpr std::size_t mostResourceKeys = 65'536;
constexpr std::size_t mostHashBytes = 64;

enum Subtype : std::int32_t { original = 1, rawPartner = 17, pairedVideo = 18 };

/// The values of one entry, not yet read.
struct ResourceEntry {
    JournalValue subtype, version, recipe, local, remote, fingerprint, path, volume;
};

ResourceEntry entryOf(const JournalValue& value, std::size_t& keysLeft)
{
    static constexpr std::pair<std::string_view, JournalValue ResourceEntry::*> keys[] = {
        {"subType", &ResourceEntry::subtype},
        {"version", &ResourceEntry::version},
        {"recipeID", &ResourceEntry::recipe},
        {"localAvailability", &ResourceEntry::local},
        {"remoteAvailability", &ResourceEntry::remote},
        {"fingerprint", &ResourceEntry::fingerprint},
        {"bookmarkPath", &ResourceEntry::path},
        {"volume", &ResourceEntry::volume},
    };
    ResourceEntry entry;
    value.visitEntries([&](std::string_view key, const JournalValue& found) {
        if (keysLeft == 0) {
            return false;
        }
        --keysLeft;
        const auto* const wanted = std::ranges::find(keys, key, [](const auto& pair) { return pair.first; });
        if (wanted != std::end(keys)) {
            entry.*(wanted->second) = found;
        }
        return true;
    });
    return entry;
}

JournalAsset::Resources resourcesOf(const JournalValue& value)
{
    JournalAsset::Resources found;
    bool hasOriginal = false;
    std::size_t partners = 0;
    std::size_t keysLeft = mostResourceKeys;
    for (const JournalValue& element : value.elements(mostResources)) {
        const ResourceEntry entry = entryOf(element, keysLeft);
        const auto subtype = entry.subtype.code();
        if (entry.version.code().value_or(0) != 0 || entry.recipe.code().value_or(0) != 0) {
            continue;
        }
        const bool isOriginal = subtype == original && !hasOriginal;
        const bool isPartner = (subtype == rawPartner || subtype == pairedVideo) && partners < mostPartners;
        if (isOriginal) {
            hasOriginal = true;
            found.fingerprint = entry.fingerprint.text();
            found.localAvailability = entry.local.code();
            found.remoteAvailability = entry.remote.code();
        } else if (isPartner) {
            ++partners;
            found.hasPartner = true;
        } else {
            continue;
        }
        if (std::string path = entry.path.text(); !path.empty()) {
            found.bookmarks.push_back(
                {.isOriginal = isOriginal, .path = std::move(path), .volume = entry.volume.identifier()});
        }
    }
    return found;
}

using AssetSetter = void (*)(JournalAsset&, const JournalValue&);
using AssetKey = std::pair<std::string_view, AssetSetter>;

constexpr AssetKey assetKeys[] = {
    {"addedDate", [](JournalAsset& asset, const JournalValue& value) { asset.dateAdded = value.date(); }},
    {"adjustmentsState",
        [](JournalAsset& asset, const JournalValue& value) { asset.adjustmentsState = value.code(); }},
    {"dateCreated", [](JournalAsset& asset, const JournalValue& value) { asset.dateCreated = value.date(); }},
    {"description", [](JournalAsset& asset, const JournalValue& value) { asset.caption = value.text(); }},
    {"directory", [](JournalAsset& asset, const JournalValue& value) { asset.directory = value.text(); }},
    {"favorite", [](JournalAsset& asset, const JournalValue& value) { asset.isFavorite = value.flag(); }},
    {"filename", [](JournalAsset& asset, const JournalValue& value) { asset.fileName = value.text(); }},
    {"hasAdjustments",
        [](JournalAsset& asset, const JournalValue& value) { asset.hasAdjustments = value.code(); }},
    {"hidden", [](JournalAsset& asset, const JournalValue& value) { asset.isHidden = value.flag(); }},
    {"inTrash", [](JournalAsset& asset, const JournalValue& value) { asset.isTrashed = value.flag(); }},
    {"keywords",
        [](JournalAsset& asset, const JournalValue& value) { asset.keywords = value.identifiers(); }},
    {"kind", [](JournalAsset& asset, const JournalValue& value) { asset.kind = value.code(); }},
    {"kindSubtype", [](JournalAsset& asset, const JournalValue& value) { asset.kindSubtype = value.code(); }},
    {"latitude", [](JournalAsset& asset, const JournalValue& value) { asset.latitude = value.real(); }},
    {"localAvailability",
        [](JournalAsset& asset, const JournalValue& value) { asset.localAvailability = value.code(); }},
    {"longitude", [](JournalAsset& asset, const JournalValue& value) { asset.longitude = value.real(); }},
    {"modificationDate",
        [](JournalAsset& asset, const JournalValue& value) { asset.dateModified = value.date(); }},
    {"originalFilename",
        [](JournalAsset& asset, const JournalValue& value) { asset.originalFileName = value.text(); }},
    {"originalFilesize",
        [](JournalAsset& asset, const JournalValue& value) { asset.originalFileSize = value.integer(); }},
    {"originalHash",
        [](JournalAsset& asset, const JournalValue& value) {
            asset.originalHash = value.bytes(mostHashBytes);
        }},
    {"remoteAvailability",
        [](JournalAsset& asset, const JournalValue& value) { asset.remoteAvailability = value.code(); }},
    {"resources",
        [](JournalAsset& asset, const JournalValue& value) { asset.resources = resourcesOf(value); }},
    {"savedAssetType",
        [](JournalAsset& asset, const JournalValue& value) { asset.savedAssetType = value.code(); }},
    {"timeZoneOffset",
        [](JournalAsset& asset, const JournalValue& value) { asset.timeZoneOffset = value.code(); }},
    {"title", [](JournalAsset& asset, const JournalValue& value) { asset.title = value.text(); }},
};
static_assert(std::ranges::is_sorted(assetKeys, {}, &AssetKey::first));

std::uint64_t mixed(std::uint64_t value)
{
    value = (value ^ value >> 30U) * 0xBF58476D1CE4E5B9U;
    value = (value ^ value >> 27U) * 0x94D049BB133111EBU;
    return value ^ value >> 31U;
}

} // namespace

void JournalAsset::set(std::string_view key, const JournalValue& value)
{
    const auto* const found = std::ranges::lower_bound(assetKeys, key, {}, &AssetKey::first);
    if (found != std::end(assetKeys) && found->first == key) {
        found->second(*this, value);
    }
}

void JournalAlbum::set(std::string_view key, const JournalValue& value)
{
    if (key == "title") {
        title = value.text();
    } else if (key == "kind") {
        kind = value.code();
    } else if (key == "inTrash") {
        isTrashed = value.flag();
    } else if (key == "assets") {
        assets = value.identifiers();
    } else if (key == "childCollections") {
        children = value.identifiers();
    }
}

void JournalKeyword::set(std::string_view key, const JournalValue& value)
{
    if (key == "title") {
        title = value.text();
    }
}

void JournalVolume::set(std::string_view key, const JournalValue& value)
{
    if (key == "name") {
        name = value.text();
    }
}

PayloadUse useOf(const std::optional<BinaryPlist>& list, std::uint64_t type, std::string_view certainKey)
{
    if (!list || !list->isDictionary(list->top())) {
        return PayloadUse::unusable;
    }
    if (type == JournalRecord::whole && list->value(list->top(), certainKey)) {
        return PayloadUse::replaced;
    }
    bool isEmpty = true;
    list->visitEntries(
        list->top(), [&isEmpty](std::string_view, BinaryPlist::Object) { return isEmpty = false; });
    return isEmpty ? PayloadUse::nothing : PayloadUse::merged;
}

IdentifierIndex::IdentifierIndex()
    : slots_(64, 0)
    // Nobody who writes a library can know which identifiers will fall together.
    , seed_(parseInteger<std::uint64_t>(randomUuid().substr(24), 16).value_or(0))
{
}

std::size_t IdentifierIndex::slotOf(const Identifier& identifier) const
{
    std::uint64_t halves[2];
    std::memcpy(halves, identifier.data(), sizeof halves);
    const std::uint64_t hash = mixed(mixed(halves[0] ^ seed_) + halves[1]);
    const std::size_t mask = slots_.size() - 1;
    std::size_t slot = static_cast<std::size_t>(hash) & mask;
    while (slots_[slot] != 0 && identifiers_[slots_[slot] - 1] != identifier) {
        slot = (slot + 1) & mask;
    }
    return slot;
}

std::optional<std::size_t> IdentifierIndex::find(const Identifier& identifier) const
{
    const std::uint32_t found = slots_[slotOf(identifier)];
    return found != 0 ? std::optional<std::size_t>(found - 1) : std::nullopt;
}

std::size_t IdentifierIndex::findOrAdd(const Identifier& identifier)
{
    const std::size_t slot = slotOf(identifier);
    if (slots_[slot] != 0) {
        return slots_[slot] - 1;
    }
    identifiers_.push_back(identifier);
    slots_[slot] = static_cast<std::uint32_t>(identifiers_.size());
    if (identifiers_.size() * 2 > slots_.size()) {
        grow();
    }
    return identifiers_.size() - 1;
}

void IdentifierIndex::grow()
{
    std::vector<std::uint32_t>(slots_.size() * 2, 0).swap(slots_);
    for (std::size_t place = 0; place < identifiers_.size(); ++place) {
        slots_[slotOf(identifiers_[place])] = static_cast<std::uint32_t>(place + 1);
    }
}

} // namespace vantorel
