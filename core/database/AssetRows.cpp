#include "database/AssetRows.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cmath>

// Values of the asset table, as seen in real libraries:
//   ZKIND 0 photo, 1 video. ZKINDSUBTYPE 2 with ZKIND 0: a Live Photo.
//   ZSAVEDASSETTYPE 4: an item of a shared album, always with a ZCLOUDBATCHPUBLISHDATE; 10: a referenced
//   file. ZADJUSTMENTSSTATE (newer versions, in place of ZHASADJUSTMENTS): 0 none, 1 and 2 edited, 3 a
//   slow-motion ramp that the camera set, which is no edit. ZLATITUDE and ZLONGITUDE: both -180 where there
//   is no place.

namespace vantorel {

namespace {

enum Column : int {
    pk,
    uuid,
    directory,
    fileName,
    created,
    added,
    modified,
    favorite,
    hidden,
    trashed,
    kind,
    subtype,
    hasAdjustments,
    adjustmentsState,
    savedType,
    zoneOffset,
    latitude,
    longitude,
    published,
    master,
    columnCount
};

constexpr std::array<std::string_view, columnCount> columnNames{
    "Z_PK",
    "ZUUID",
    "ZDIRECTORY",
    "ZFILENAME",
    "ZDATECREATED",
    "ZADDEDDATE",
    "ZMODIFICATIONDATE",
    "ZFAVORITE",
    "ZHIDDEN",
    "ZTRASHEDSTATE",
    "ZKIND",
    "ZKINDSUBTYPE",
    "ZHASADJUSTMENTS",
    "ZADJUSTMENTSSTATE",
    "ZSAVEDASSETTYPE",
    "ZTIMEZONEOFFSET",
    "ZLATITUDE",
    "ZLONGITUDE",
    "ZCLOUDBATCHPUBLISHDATE",
    "ZMASTER",
};

constexpr std::int64_t savedAsShared = 4;
constexpr std::int64_t savedAsReferenced = 10;
constexpr std::int64_t livePhotoSubtype = 2;
constexpr std::int64_t slowMotionRamp = 3;
/// Memory is asked for ahead for so many rows; a count that a damaged database gives is not trusted further.
constexpr std::int64_t mostReserved = 1'000'000;

bool isSet(const SQLiteRow& row, Column column) { return row.int64At(column).value_or(0) != 0; }

std::optional<double> coordinate(const SQLiteRow& row, Column column, double most)
{
    const auto value = row.realAt(column);
    return value && std::isfinite(*value) && std::abs(*value) <= most ? value : std::nullopt;
}

/// Reads dates of one row and counts what is out of range.
class Dates {
public:
    Dates(const SQLiteRow& row, ReadContext& context)
        : row_(row)
        , context_(context)
    {
    }
    ~Dates() { context_.itemsWithRejectedDate += rejected_ > 0 ? 1 : 0; }
    Dates(const Dates&) = delete;
    Dates& operator=(const Dates&) = delete;

    std::optional<Date> at(Column column)
    {
        const int type = row_.typeAt(column);
        if (type == SQLITE_NULL) {
            return std::nullopt;
        }
        const bool isNumber = type == SQLITE_INTEGER || type == SQLITE_FLOAT;
        const LibraryDate date =
            isNumber ? libraryDate(row_.realAt(column)) : LibraryDate{.date = std::nullopt, .rejected = true};
        rejected_ += date.rejected ? 1 : 0;
        context_.rejectedDates += date.rejected ? 1 : 0;
        return date.date;
    }

private:
    const SQLiteRow& row_;
    ReadContext& context_;
    int rejected_ = 0;
};

Asset::Kind kindOf(std::optional<std::int64_t> value)
{
    if (value == 0) {
        return Asset::Kind::photo;
    }
    return value == 1 ? Asset::Kind::video : Asset::Kind::other;
}

bool isEdited(const SQLiteRow& row)
{
    const std::int64_t state = row.int64At(adjustmentsState).value_or(0);
    return isSet(row, hasAdjustments) || (state != 0 && state != slowMotionRamp);
}

} // namespace

void readAssetRows(ReadState& state, const DatabaseSteps::Worker& worker)
{
    const std::string table = quotedIdentifier(state.schema.assetTable);
    const auto expected = static_cast<std::size_t>(
        std::clamp<std::int64_t>(worker.reader.count("SELECT count(*) AS n FROM " + table), 0, mostReserved));
    auto& assets = state.snapshot.assets;
    assets.reserve(expected);
    state.facts.reserve(expected);

    RowCounter rows(state, state.schema.assetTable, worker.rows);
    const auto take = [&](const SQLiteRow& row) {
        const std::int64_t key = row.int64At(pk).value_or(0);
        rows.add(key);
        auto id = row.stringAt(uuid);
        auto name = row.stringAt(fileName);
        // Keys below 1 are given out to files without a record, never by Photos; one that comes twice shows
        // that the column is no key.
        const bool isInOrder = state.lenient() || assets.empty() || key > assets.back().pk;
        const bool isKey = key >= 1 && isInOrder;
        if (!isKey || !id || id->empty() || !name) {
            ++state.context.droppedDamaged;
            return;
        }
        Asset& asset = assets.emplace_back();
        AssetFacts& facts = state.facts.emplace_back();
        Dates dates(row, state.context);

        asset.pk = key;
        asset.uuid = std::move(*id);
        asset.directory = row.stringAt(directory).value_or(std::string());
        asset.fileName = std::move(*name);
        asset.isFavorite = isSet(row, favorite);
        asset.isHidden = isSet(row, hidden);
        asset.isTrashed = isSet(row, trashed);
        asset.kind = kindOf(row.int64At(kind));
        asset.isLivePhoto = asset.kind == Asset::Kind::photo && row.int64At(subtype) == livePhotoSubtype;
        asset.hasEdits = isEdited(row);
        asset.dateCreated = dates.at(created);
        asset.dateModified = dates.at(modified);
        asset.dateAdded = dates.at(added);
        asset.timeZoneOffset = row.int64At(zoneOffset);
        const auto north = coordinate(row, latitude, 90);
        const auto east = coordinate(row, longitude, 180);
        if (north && east) {
            asset.latitude = north;
            asset.longitude = east;
        }
        const auto saved = row.int64At(savedType);
        asset.isSharedAlbumItem = saved == savedAsShared || row.typeAt(published) != SQLITE_NULL;
        facts.isStoredElsewhere = saved == savedAsReferenced;
        facts.cloudMaster = row.int64At(master).value_or(0);
    };
    forEachRowByKey(state, worker.reader,
        "SELECT " + selectList(columnNames, state.schema.assetColumns) + " FROM " + table, take);
}

} // namespace vantorel
