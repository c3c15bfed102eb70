#include "sample/DatabaseWriter.h"

#include "sample/FileTypes.h"
#include "sample/Random.h"

#include "base/Date.h"
#include "base/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace vantorel::sample {

namespace {

enum Purpose : std::uint64_t { assetDetails = 201, bookmarkData = 202, adjustmentId = 203 };

constexpr double noPlace = -180.0;
constexpr double month = 2'629'746.0;

/// "2024:07:14 18:05:09" at the place where it was taken.
std::optional<std::string> exifTime(const std::optional<double>& created, std::optional<std::int64_t> offset)
{
    const LibraryDate date = libraryDate(created);
    if (!date.date) {
        return std::nullopt;
    }
    const auto local =
        std::chrono::floor<std::chrono::seconds>(*date.date) + std::chrono::seconds(offset.value_or(0));
    const auto day = std::chrono::floor<std::chrono::days>(local);
    const std::chrono::year_month_day calendar(day);
    const std::chrono::hh_mm_ss time(local - day);
    return fmt::format("{:04}:{:02}:{:02} {:02}:{:02}:{:02}", static_cast<int>(calendar.year()),
        static_cast<unsigned>(calendar.month()), static_cast<unsigned>(calendar.day()), time.hours().count(),
        time.minutes().count(), time.seconds().count());
}

std::optional<std::string> zoneName(std::optional<std::int64_t> offset)
{
    if (!offset) {
        return std::nullopt;
    }
    const std::int64_t minutes = std::abs(*offset) / 60;
    return fmt::format("GMT{}{:02}{:02}", *offset < 0 ? '-' : '+', minutes / 60, minutes % 60);
}

int playbackStyle(const SampleItem& item)
{
    return item.kind == SampleItem::Kind::video ? 4 : item.isLivePhoto ? 3 : 1;
}

} // namespace

ItemTables::ItemTables(SampleDatabase& database, const LibraryContent& content)
    : content_(content)
    , assetNumberColumn_(fmt::format("Z{}_ASSET", content.layout.number("GenericAsset")))
    , assets_(database, content.layout, content.layout.assetTable())
    , places_(database, content.layout, content.layout.placesTable())
    , attributes_(database, content.layout, content.layout.tableOf("AdditionalAssetAttributes"))
    , extended_(database, content.layout, content.layout.tableOf("ExtendedAttributes"))
    , descriptions_(database, content.layout, content.layout.tableOf("AssetDescription"))
    , resources_(database, content.layout, content.layout.tableOf("InternalResource"))
    , bookmarks_(database, content.layout, content.layout.tableOf("FileSystemBookmark"))
    , masters_(database, content.layout, content.layout.tableOf("CloudMaster"))
    , adjustments_(database, content.layout, content.layout.tableOf("UnmanagedAdjustment"))
    , keywordLinks_(
          database, content.layout, content.layout.link("AdditionalAssetAttributes", "KEYWORDS").table)
    , faces_(database, content.layout, content.layout.tableOf("DetectedFace"))
{
}

void ItemTables::insert(std::size_t first, std::size_t last)
{
    for (std::size_t i = first; i < last; ++i) {
        insertAsset(i);
        insertAttributes(i);
        insertDetails(i);
        insertResources(i);
    }
    insertFaces(first, last);
}

void ItemTables::insertAsset(std::size_t index)
{
    const SampleItem& item = content_.plan.items[index];
    const ItemRow& row = content_.rows.items[index];
    Random random(mixedSeed(content_.options.seed, assetDetails, index));
    const double added = row.added.value_or(row.created.value_or(0));
    const auto trashed = item.isTrashed ? std::optional(added + month) : std::nullopt;
    const auto edited = item.hasEdits ? std::optional(added + 3600) : std::nullopt;
    const auto published = item.isSharedAlbumItem ? std::optional(added + 60) : std::nullopt;
    const auto burst = item.isUnpickedBurstFrame ? std::optional(drawnUuid(random)) : std::nullopt;
    const double latitude = item.latitude.value_or(noPlace);
    const double longitude = item.longitude.value_or(noPlace);
    assets_.insert({{"Z_PK", row.pk}, {"Z_ENT", content_.layout.number("Asset")}, {"Z_OPT", 3},
        {"ZUUID", row.uuid}, {"ZDIRECTORY", row.directory}, {"ZFILENAME", row.fileName},
        {"ZDATECREATED", row.created}, {"ZSORTTOKEN", row.created}, {"ZADDEDDATE", row.added},
        {"ZMODIFICATIONDATE", row.modified}, {"ZTRASHEDDATE", trashed}, {"ZTRASHEDSTATE", item.isTrashed},
        {"ZTRASHEDREASON", 0}, {"ZFAVORITE", item.isFavorite}, {"ZHIDDEN", item.isHidden},
        {"ZKIND", item.kind == SampleItem::Kind::video}, {"ZKINDSUBTYPE", row.kindSubtype},
        {"ZPLAYBACKSTYLE", playbackStyle(item)}, {"ZSAVEDASSETTYPE", row.savedAssetType},
        {"ZLATITUDE", latitude}, {"ZLONGITUDE", longitude},
        {"ZVISIBILITYSTATE", item.isSharedAlbumItem || item.isUnpickedBurstFrame ? 2 : 0},
        {"ZDUPLICATEASSETVISIBILITYSTATE", 0}, {"ZCOMPLETE", 1}, {"ZCLOUDLOCALSTATE", row.isInCloud()},
        {"ZCLOUDDELETESTATE", 0}, {"ZCLOUDPLACEHOLDERKIND", 0}, {"ZCLOUDBATCHPUBLISHDATE", published},
        {"ZCLOUDASSETGUID", drawnUuid(random)}, {"ZADDITIONALATTRIBUTES", row.attributesPk},
        {"ZEXTENDEDATTRIBUTES", row.pk}, {"ZMASTER", key(row.cloudMasterPk)},
        {"ZIMPORTSESSION", content_.rows.importSessions[row.importSession]}, {"ZAVALANCHEUUID", burst},
        {"ZAVALANCHEPICKTYPE", item.isUnpickedBurstFrame ? 2 : 0}, {"ZAVALANCHEKIND", 0},
        {"ZWIDTH", row.width}, {"ZHEIGHT", row.height}, {"ZORIENTATION", 1},
        {"ZDURATION", item.kind == SampleItem::Kind::video ? 1.0 : 0.0},
        {"ZUNIFORMTYPEIDENTIFIER", fileTypes[fileTypeIndex(item.extension)].identifier},
        {"ZHASADJUSTMENTS", item.hasEdits}, {"ZADJUSTMENTSSTATE", row.adjustmentsState},
        {"ZADJUSTMENTTIMESTAMP", edited}, {"ZBUNDLESCOPE", item.isSharedAlbumItem ? 2 : 0},
        {"ZFACEAREAPOINTS", 0}, {"ZTHUMBNAILINDEX", index}, {"ZVIDEOCPVISIBILITYSTATE", 0},
        {"ZACTIVELIBRARYSCOPEPARTICIPATIONSTATE", 0}, {"ZLIBRARYSCOPESHARESTATE", 0}, {"ZISRECENTLYSAVED", 0},
        {"ZCURATIONSCORE", 0.5}});
    places_.insert({{"Z_PK", row.pk}, {"ZLATITUDE_MIN", latitude}, {"ZLATITUDE_MAX", latitude},
        {"ZLONGITUDE_MIN", longitude}, {"ZLONGITUDE_MAX", longitude}});
}

void ItemTables::insertAttributes(std::size_t index)
{
    const SampleItem& item = content_.plan.items[index];
    const ItemRow& row = content_.rows.items[index];
    const FileFacts& facts = content_.facts[index];
    Random random(mixedSeed(content_.options.seed, assetDetails, index));
    // A shared item's own original is elsewhere: nothing is known of it.
    const auto fingerprint = item.isSharedAlbumItem ? std::nullopt : std::optional(facts.fingerprint);
    const std::int64_t size = item.isSharedAlbumItem ? 0 : facts.size;
    const auto guessedOffset = item.timeZoneOffset || row.isInCloud()
        ? std::optional(item.timeZoneOffset.value_or(0))
        : std::nullopt;
    attributes_.insert({{"Z_PK", row.attributesPk},
        {"Z_ENT", content_.layout.number("AdditionalAssetAttributes")}, {"Z_OPT", 5}, {"ZASSET", row.pk},
        {assetNumberColumn_, content_.layout.number("Asset")}, {"ZASSETDESCRIPTION", key(row.descriptionPk)},
        {"ZORIGINALFILENAME", row.originalFileName}, {"ZORIGINALFILESIZE", size}, {"ZTITLE", item.title},
        {"ZACCESSIBILITYDESCRIPTION", item.caption}, {"ZTIMEZONEOFFSET", item.timeZoneOffset},
        {"ZINFERREDTIMEZONEOFFSET", guessedOffset}, {"ZTIMEZONENAME", zoneName(item.timeZoneOffset)},
        {"ZEXIFTIMESTAMPSTRING", exifTime(row.created, item.timeZoneOffset)},
        {"ZORIGINALRESOURCECHOICE", item.hasRawPartner && index % 2 == 1},
        {"ZUNMANAGEDADJUSTMENT", key(row.adjustmentPk)}, {"ZMASTERFINGERPRINT", fingerprint},
        {"ZORIGINALSTABLEHASH", fingerprint}, {"ZORIGINALWIDTH", row.width}, {"ZORIGINALHEIGHT", row.height},
        {"ZORIGINALORIENTATION", 1}, {"ZIMPORTEDBY", 3}, {"ZPUBLICGLOBALUUID", drawnUuid(random)},
        {"ZVIEWCOUNT", random.below(30)}, {"ZPLAYCOUNT", 0}, {"ZSHARECOUNT", 0}, {"ZUPLOADATTEMPTS", 0}});
    // Also has a zone, which is not the one that Photos shows.
    extended_.insert({{"Z_PK", row.pk}, {"Z_ENT", content_.layout.number("ExtendedAttributes")}, {"Z_OPT", 1},
        {"ZASSET", row.pk}, {"ZTIMEZONEOFFSET", item.timeZoneOffset.value_or(0) - 3600},
        {"ZDATECREATED", row.created}, {"ZISO", 100}, {"ZCAMERAMAKE", "Imaginary Optics"},
        {"ZCAMERAMODEL", index % 3 == 0 ? "Walnut 1" : "Walnut 2"}});
}

void ItemTables::insertDetails(std::size_t index)
{
    const SampleItem& item = content_.plan.items[index];
    const ItemRow& row = content_.rows.items[index];
    const Layout& layout = content_.layout;
    if (row.descriptionPk != 0) {
        descriptions_.insert({{"Z_PK", row.descriptionPk}, {"Z_ENT", layout.number("AssetDescription")},
            {"Z_OPT", 1}, {"ZASSETATTRIBUTES", row.attributesPk}, {"ZLONGDESCRIPTION", item.caption}});
    }
    if (row.isInCloud()) {
        masters_.insert({{"Z_PK", row.cloudMasterPk}, {"Z_ENT", layout.number("CloudMaster")}, {"Z_OPT", 4},
            {"ZCLOUDLOCALSTATE", row.cloudMasterPk % 40 == 0 ? 1 : 3},
            {"ZCLOUDMASTERGUID", content_.facts[index].fingerprint},
            {"ZORIGINALFILENAME", row.originalFileName}, {"ZCREATIONDATE", row.created},
            {"ZIMPORTDATE", row.added},
            {"ZUNIFORMTYPEIDENTIFIER", fileTypes[fileTypeIndex(item.extension)].identifier}});
    }
    if (row.adjustmentPk != 0) {
        Random random(mixedSeed(content_.options.seed, adjustmentId, index));
        adjustments_.insert({{"Z_PK", row.adjustmentPk}, {"Z_ENT", layout.number("UnmanagedAdjustment")},
            {"Z_OPT", 1}, {"ZASSETATTRIBUTES", row.attributesPk}, {"ZADJUSTMENTTIMESTAMP", row.added},
            {"ZADJUSTMENTFORMATIDENTIFIER", "com.apple.photo"}, {"ZADJUSTMENTFORMATVERSION", "1.5"},
            {"ZEDITORLOCALIZEDNAME", "Photos"}, {"ZUUID", drawnUuid(random)}});
    }
    const Layout::Link link = layout.link("AdditionalAssetAttributes", "KEYWORDS");
    for (const std::size_t keyword : item.keywords) {
        keywordLinks_.insert(
            {{link.left, row.attributesPk}, {link.right, content_.rows.keywords.at(keyword).pk}});
    }
}

void ItemTables::insertResources(std::size_t index)
{
    const SampleItem& item = content_.plan.items[index];
    const ItemRow& row = content_.rows.items[index];
    const Layout& layout = content_.layout;
    const VolumeRow* volume = content_.rows.volume(item.referencedVolume);
    for (const ResourceRow& resource : resourcesOf(item, row, index, content_.facts[index].size)) {
        const std::int64_t pk = nextResource_++;
        const bool isOriginal = resource.subtype == 1 && resource.dataClass == 0;
        const auto fingerprint = isOriginal ? std::optional(content_.facts[index].fingerprint) : std::nullopt;
        const std::int64_t bookmark = resource.bookmarkPath.empty() ? 0 : nextBookmark_++;
        const std::size_t type = fileTypeIndex(resource.extension);
        resources_.insert({{"Z_PK", pk}, {"Z_ENT", layout.number("InternalResource")}, {"Z_OPT", 2},
            {"ZASSET", row.pk}, {assetNumberColumn_, layout.number("Asset")},
            {"ZDATASTORECLASSID", resource.dataClass}, {"ZDATASTORESUBTYPE", resource.subtype},
            {"ZRESOURCETYPE", resource.type}, {"ZVERSION", resource.version}, {"ZRECIPEID", resource.recipe},
            {"ZLOCALAVAILABILITY", resource.isLocal ? 1 : -1}, {"ZLOCALAVAILABILITYTARGET", 0},
            {"ZREMOTEAVAILABILITY", resource.isRemote}, {"ZREMOTEAVAILABILITYTARGET", 0},
            {"ZDATALENGTH", resource.length}, {"ZFINGERPRINT", fingerprint}, {"ZSTABLEHASH", fingerprint},
            {"ZFILESYSTEMBOOKMARK", key(bookmark)},
            {"ZFILESYSTEMVOLUME", key(bookmark != 0 && volume != nullptr ? volume->pk : 0)},
            {"ZTRASHEDSTATE", 0}, {"ZFILEID", -1}, {"ZUNIFORMTYPEIDENTIFIER", type + 1},
            {"ZCOMPACTUTI", fileTypes[type].code}, {"ZCLOUDLOCALSTATE", row.isInCloud() ? 3 : 0},
            {"ZCLOUDDELETESTATE", 0}, {"ZPTPTRASHEDSTATE", 0}});
        if (bookmark != 0) {
            Random random(
                mixedSeed(content_.options.seed, bookmarkData, static_cast<std::uint64_t>(bookmark)));
            const std::string data = "book" + drawnBytes(random, 600);
            bookmarks_.insert({{"Z_PK", bookmark}, {"Z_ENT", layout.number("FileSystemBookmark")},
                {"Z_OPT", 1}, {"ZRESOURCE", pk}, {"ZPATHRELATIVETOVOLUME", resource.bookmarkPath},
                {"ZBOOKMARKDATA", Blob{data}}});
        }
    }
}

void ItemTables::insertFaces(std::size_t first, std::size_t last)
{
    // Faces of no photo come with the first items.
    const bool takesRest = !std::exchange(hasFacesOfNoPhoto_, true);
    const auto belongsHere = [&](const FaceRow& face) {
        return face.item ? *face.item >= first && *face.item < last : takesRest;
    };
    for (const FaceRow& face : content_.rows.faces) {
        if (!belongsHere(face)) {
            continue;
        }
        const auto assetPk = face.item ? std::optional(content_.rows.items[*face.item].pk) : std::nullopt;
        const auto personPk =
            face.person ? std::optional(content_.rows.people.at(*face.person).pk) : std::nullopt;
        const SampleItem* item = face.item ? &content_.plan.items[*face.item] : nullptr;
        const bool isVisible = item != nullptr && !item->isTrashed && !item->isHidden
            && !item->isSharedAlbumItem && !item->isUnpickedBurstFrame;
        faces_.insert({{"Z_PK", face.pk}, {"Z_ENT", content_.layout.number("DetectedFace")}, {"Z_OPT", 2},
            {"ZASSET", assetPk},
            {assetNumberColumn_, face.item ? std::optional(content_.layout.number("Asset")) : std::nullopt},
            {"ZPERSON", personPk}, {"ZASSETFORFACE", assetPk}, {"ZPERSONFORFACE", personPk},
            {"ZHIDDEN", face.isHidden}, {"ZISINTRASH", 0}, {"ZASSETVISIBLE", isVisible}, {"ZMANUAL", 0},
            {"ZTRAININGTYPE", face.isTraining}, {"ZCENTERX", 0.4}, {"ZCENTERY", 0.6}, {"ZSIZE", 0.1},
            {"ZNAMESOURCE", face.person ? 1 : 0}, {"ZUUID", face.uuid}});
    }
}

} // namespace vantorel::sample
