#include "sample/JournalObjects.h"

#include "sample/FileTypes.h"
#include "sample/JournalFile.h"
#include "sample/Random.h"

#include "base/Text.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

namespace vantorel::sample {

namespace {

enum Purpose : std::uint64_t { cloudIds = 901 };

constexpr std::int64_t booleansFrom = 300;
constexpr double noPlace = -180.0;
constexpr double madeAt = 594'000'000;

using Dictionary = PlistValue::Dictionary;

void addText(Dictionary& to, const char* name, const std::optional<std::string>& text)
{
    if (text) {
        to.emplace_back(name, *text);
    }
}

void addDate(Dictionary& to, const char* name, const std::optional<double>& date)
{
    if (date) {
        to.emplace_back(name, PlistValue::Date{*date});
    }
}

/// The 21 bytes that a fingerprint's text stands for.
std::string fingerprintBytes(std::string_view text)
{
    static constexpr std::string_view letters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    std::uint32_t bits = 0;
    int count = 0;
    for (const char c : text) {
        const auto value = letters.find(c);
        bits = (bits << 6U) | (value == std::string_view::npos ? 0U : static_cast<std::uint32_t>(value));
        if (++count % 4 == 0) {
            out += static_cast<char>((bits >> 16U) & 0xffU);
            out += static_cast<char>((bits >> 8U) & 0xffU);
            out += static_cast<char>(bits & 0xffU);
            bits = 0;
        }
    }
    return out;
}

PlistValue::Array resourceEntries(const LibraryContent& content, std::size_t index, std::int64_t version)
{
    const SampleItem& item = content.plan.items[index];
    const ItemRow& row = content.rows.items[index];
    const FileFacts& facts = content.facts[index];
    const VolumeRow* volume = content.rows.volume(item.referencedVolume);
    PlistValue::Array entries;
    for (const ResourceRow& resource : resourcesOf(item, row, index, facts.size)) {
        if (resource.version == 3) {
            continue; // What can be made again is not journalled.
        }
        Dictionary entry{{"type", resource.type}, {"subType", resource.subtype},
            {"version", resource.version}, {"recipeID", resource.recipe},
            {"remoteAvailability", resource.isRemote ? 1 : 0}, {"cloudLocalState", row.isInCloud() ? 3 : 0},
            {"length", resource.length}, {"inTrash", flagValue(false, version)},
            {"uti", std::string(fileTypes[fileTypeIndex(resource.extension)].identifier)},
            {"uwidth", row.width}, {"uheight", row.height}};
        if (resource.subtype == 1 && version < booleansFrom) {
            entry.emplace_back("fingerprint", facts.fingerprint);
        }
        if (!resource.bookmarkPath.empty()) {
            entry.emplace_back("bookmarkPath", resource.bookmarkPath);
            if (volume != nullptr) {
                entry.emplace_back("volume", PlistValue::Data{uuidBytes(volume->uuid)});
            }
        }
        entries.emplace_back(std::move(entry));
    }
    return entries;
}

std::string keywordIds(const LibraryContent& content, const SampleItem& item)
{
    std::string ids;
    for (const std::size_t keyword : item.keywords) {
        ids += uuidBytes(content.rows.keywords.at(keyword).uuid);
    }
    return ids;
}

Dictionary collectionHead(const AlbumRow& album)
{
    Dictionary payload{{"kind", album.kind}, {"inTrash", album.isTrashed}, {"pinned", false},
        {"prototype", false}, {"customSortKey", album.sortKey}, {"customSortAscending", 1},
        {"creationDate", PlistValue::Date{madeAt}}, {"lastModifiedDate", PlistValue::Date{madeAt + 1e6}}};
    addText(payload, "title", album.title);
    return payload;
}

} // namespace

PlistValue flagValue(bool yes, std::int64_t version)
{
    return version >= booleansFrom ? PlistValue(yes) : PlistValue(yes ? 1 : 0);
}

std::int64_t assetPayloadVersion(int generation)
{
    return generation == 5 ? 10 : generation == 6 ? 25 : generation <= 9 ? 103 : 300;
}

std::int64_t earlierPayloadVersion(int generation)
{
    return generation <= 6 ? 10 : generation <= 9 ? 25 : 103;
}

PlistValue::Dictionary assetPayload(const LibraryContent& content, std::size_t index, std::int64_t version)
{
    const SampleItem& item = content.plan.items[index];
    const ItemRow& row = content.rows.items[index];
    const FileFacts& facts = content.facts[index];
    Dictionary payload{{"directory", row.directory}, {"filename", row.fileName},
        {"originalFilename", row.originalFileName}, {"originalFilesize", facts.size},
        {"latitude", item.latitude.value_or(noPlace)}, {"longitude", item.longitude.value_or(noPlace)},
        {"kind", item.kind == SampleItem::Kind::video ? 1 : 0}, {"kindSubtype", row.kindSubtype},
        {"savedAssetType", row.savedAssetType}, {"favorite", flagValue(item.isFavorite, version)},
        {"hidden", flagValue(item.isHidden, version)}, {"inTrash", PlistValue(item.isTrashed)},
        {"visibilityState", item.isUnpickedBurstFrame ? 2 : 0}, {"width", row.width}, {"height", row.height},
        {"orientation", 1}, {"complete", flagValue(true, version)},
        {"avalanchePickType", item.isUnpickedBurstFrame ? 2 : 0}, {"importedBy", 3},
        {"uti", std::string(fileTypes[fileTypeIndex(item.extension)].identifier)},
        {"resources", resourceEntries(content, index, version)}};
    addDate(payload, "dateCreated", row.created);
    addDate(payload, "addedDate", row.added);
    addDate(payload, "modificationDate", row.modified);
    if (row.created) {
        payload.emplace_back("sortToken", *row.created);
    }
    if (item.timeZoneOffset) {
        payload.emplace_back("timeZoneOffset", *item.timeZoneOffset);
    }
    addText(payload, "title", item.title);
    addText(payload, "description", item.caption);
    if (version == 25 || version == 103) {
        addText(payload, "accessibilityDescription", item.caption);
    }
    if (!item.keywords.empty()) {
        payload.emplace_back("keywords", PlistValue::Data{keywordIds(content, item)});
    }
    if (version < booleansFrom) {
        payload.emplace_back("hasAdjustments", item.hasEdits ? 1 : 0);
        payload.emplace_back("originalHash", PlistValue::Data{fingerprintBytes(facts.fingerprint)});
    } else {
        payload.emplace_back("adjustmentsState", row.adjustmentsState);
    }
    if (row.isInCloud() && version < booleansFrom) {
        Random random(mixedSeed(content.options.seed, cloudIds, index));
        payload.emplace_back("cloudAssetGUID", drawnUuid(random));
        payload.emplace_back("cloudMasterGUID", facts.fingerprint);
        addDate(payload, "importDate", row.added);
    }
    return payload;
}

PlistValue::Dictionary albumPayload(
    const LibraryContent& content, const AlbumRow& album, std::span<const AlbumRow::Member> members)
{
    Dictionary payload = collectionHead(album);
    std::string ids;
    for (const AlbumRow::Member& member : members) {
        if (!content.plan.items[member.item].isSharedAlbumItem) {
            ids += uuidBytes(content.rows.items[member.item].uuid);
        }
    }
    if (!ids.empty()) {
        payload.emplace_back("assets", PlistValue::Data{std::move(ids)});
    }
    if (album.isSmart) {
        payload.emplace_back("userQueryData", PlistValue::Data{"\x0a\x06sample"});
    }
    return payload;
}

std::vector<std::string> journalledChildren(const LibraryContent& content, const AlbumRow& folder)
{
    std::vector<const AlbumRow*> children;
    for (const AlbumRow& album : content.rows.albums) {
        if (album.parentPk == folder.pk && album.planAlbum) {
            children.push_back(&album);
        }
    }
    std::ranges::sort(children, {}, &AlbumRow::order);
    std::vector<std::string> ids;
    for (const AlbumRow* child : children) {
        ids.push_back(uuidBytes(child->uuid));
    }
    return ids;
}

PlistValue::Dictionary folderPayload(
    const LibraryContent& content, const AlbumRow& folder, std::size_t children)
{
    Dictionary payload = collectionHead(folder);
    const std::vector<std::string> ids = journalledChildren(content, folder);
    std::string joinedIds;
    for (std::size_t i = 0; i < std::min(children, ids.size()); ++i) {
        joinedIds += ids[i];
    }
    if (!joinedIds.empty()) {
        payload.emplace_back("childCollections", PlistValue::Data{std::move(joinedIds)});
    }
    if (folder.pk == content.rows.rootPk) {
        payload.emplace_back("cloudGUID", "----Root-Folder----");
    }
    return payload;
}

PlistValue::Dictionary importPayload(const LibraryContent& content, std::size_t session)
{
    std::string ids;
    for (std::size_t i = 0; i < content.rows.items.size(); ++i) {
        if (content.rows.items[i].importSession == session && !content.plan.items[i].isSharedAlbumItem) {
            ids += uuidBytes(content.rows.items[i].uuid);
        }
    }
    Dictionary payload{{"kind", 1506}, {"inTrash", false}, {"customSortKey", 0}, {"customSortAscending", 1},
        {"creationDate", PlistValue::Date{madeAt + static_cast<double>(session) * 1e7}}};
    if (!ids.empty()) {
        payload.emplace_back("assets", PlistValue::Data{std::move(ids)});
    }
    return payload;
}

PlistValue::Dictionary personPayload(const LibraryContent& content, const PersonRow& person)
{
    Dictionary payload{{"type", 0}, {"verifiedType", person.mergeTargetPk != 0 ? -2 : 1},
        {"cloudVerifiedType", 1}, {"order", person.pk}, {"keyFacePickSource", 0}};
    addText(payload, "fullName", person.fullName);
    addText(payload, "displayName", person.displayName);
    for (const PersonRow& target : content.rows.people) {
        if (person.mergeTargetPk == target.pk) {
            payload.emplace_back("mergeTarget", PlistValue::Data{uuidBytes(target.uuid)});
        }
    }
    return payload;
}

PlistValue::Dictionary facePayload(const LibraryContent& content, const FaceRow& face)
{
    Dictionary payload{{"centerX", 0.4}, {"centerY", 0.6}, {"size", 0.1}, {"nameSource", 1},
        {"hidden", face.isHidden}, {"manual", false}};
    if (face.item) {
        payload.emplace_back("asset", PlistValue::Data{uuidBytes(content.rows.items[*face.item].uuid)});
    }
    if (face.person) {
        payload.emplace_back(
            "person", PlistValue::Data{uuidBytes(content.rows.people.at(*face.person).uuid)});
    }
    return payload;
}

} // namespace vantorel::sample
