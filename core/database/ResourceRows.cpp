#include "database/ResourceRows.h"

#include <string_view>
#include <utility>

// A resource is one file of an asset. ZDATASTORESUBTYPE 1 is the original, 17 the RAW beside a JPEG, 18 the
// video of a Live Photo; 3 means a picture of a shared album or a reduced copy in the cloud and says nothing
// about an original. ZVERSION 0 is the state before any edit. ZLOCALAVAILABILITY 1: the file is here;
// ZREMOTEAVAILABILITY 1: it is in the cloud. Of a referenced file the local availability says nothing.
//
// A file outside the library: the resource points at a bookmark with a path relative to a volume, and at the
// volume; newer and older versions alike have the volume at the resource, not at the bookmark.

namespace vantorel {

namespace {

constexpr std::int64_t originalSubtype = 1;
constexpr std::int64_t rawSubtype = 17;
constexpr std::int64_t pairedVideoSubtype = 18;
constexpr std::int64_t masterUploaded = 3;

std::string tableOf(const std::string& name) { return quotedIdentifier(name); }

/// Whether a path of the library consists of names alone: nothing that leads elsewhere, nothing empty. By
/// hand, since it is asked twice for every photo.
bool isPlainPath(std::string_view path)
{
    if (path.find('\0') != std::string_view::npos) {
        return false;
    }
    for (;;) {
        const std::size_t slash = path.find('/');
        const std::string_view name = path.substr(0, slash);
        if (name.empty() || name == "." || name == "..") {
            return false;
        }
        if (slash == std::string_view::npos) {
            return true;
        }
        path.remove_prefix(slash + 1);
    }
}

bool isPlainName(std::string_view name)
{
    return name.find('/') == std::string_view::npos && isPlainPath(name);
}

/// Below the originals folder; empty means that folder itself.
bool isPlainFolder(std::string_view path) { return path.empty() || isPlainPath(path); }

bool isPlainAbsolutePath(std::string_view path)
{
    if (path.ends_with('/')) {
        path.remove_suffix(1);
    }
    return path.starts_with('/') && isPlainPath(path.substr(1));
}

std::optional<std::string> bookmarkedPath(const BookmarkUse& use, const OutsidePlaces& places)
{
    const auto found = places.bookmarks.find(use.bookmark);
    if (found == places.bookmarks.end()) {
        return std::nullopt;
    }
    const OutsidePlaces::Bookmark& bookmark = found->second;
    if (!isPlainPath(bookmark.relativePath)) {
        return std::nullopt;
    }
    const auto key = use.volume ? use.volume : bookmark.volume;
    if (!key) {
        return "/" + bookmark.relativePath;
    }
    const auto volume = places.volumes.find(*key);
    if (volume == places.volumes.end() || !isPlainName(volume->second)) {
        return std::nullopt;
    }
    return "/Volumes/" + volume->second + "/" + bookmark.relativePath;
}

/// The path by the asset's own columns, which name the folder as it was mounted then.
std::optional<std::string> recordedPath(const Asset& asset)
{
    if (!isPlainAbsolutePath(asset.directory)) {
        return std::nullopt;
    }
    return asset.directory + (asset.directory.ends_with('/') ? "" : "/") + asset.fileName;
}

/// Whether the file can lie where its record says: below its folder, or, for a referenced one, anywhere that
/// is named without detours.
bool isPossible(const Asset& asset)
{
    if (!isPlainName(asset.fileName)) {
        return false;
    }
    if (asset.isReferenced) {
        return asset.referencedPath || isPlainFolder(asset.directory);
    }
    return isPlainFolder(asset.directory);
}

void settleAsset(Asset& asset, const AssetFacts& facts)
{
    if (asset.isSharedAlbumItem) {
        return;
    }
    asset.isReferenced = facts.isStoredElsewhere || facts.hasOriginalBookmark;
    if (!asset.isReferenced && facts.hasOriginalResource) {
        asset.isOnlyInCloud = !facts.isOriginalLocal && facts.isOriginalRemote;
    } else if (asset.isReferenced) {
        asset.isOnlyInCloud = false;
    }
    asset.expectsPartner = asset.isLivePhoto || facts.hasPartnerResource;
}

} // namespace

void readResourceRows(ReadState& state, const DatabaseSteps::Worker& worker)
{
    const std::string& table = state.schema.resourceTable.value();
    const ResolvedSchema::Columns& columns = state.schema.resourceColumns;
    const std::string unedited = columns.contains("zversion") ? " AND ZVERSION = 0" : "";
    const std::string remote = columns.contains("zremoteavailability") ? "ZREMOTEAVAILABILITY" : "NULL";
    const std::string bookmark = columns.contains("zfilesystembookmark") ? "ZFILESYSTEMBOOKMARK" : "NULL";
    const std::string volume = columns.contains("zfilesystemvolume") ? "ZFILESYSTEMVOLUME" : "NULL";
    RowCounter rows(state, table, worker.rows);

    enum First : int { a, s, l, r };
    const auto takeState = [&](const SQLiteRow& row) {
        rows.add();
        const auto asset = state.assets.find(row.int64At(a).value_or(0));
        if (!asset) {
            return;
        }
        AssetFacts& facts = state.facts[*asset];
        const std::int64_t subtype = row.int64At(s).value_or(0);
        if (subtype == originalSubtype) {
            facts.hasOriginalResource = true;
            facts.isOriginalLocal |= row.int64At(l) == 1;
            facts.isOriginalRemote |= row.int64At(r) == 1;
        } else if (subtype == rawSubtype) {
            facts.hasPartnerResource = true;
        }
    };
    worker.reader.forEachRow("SELECT ZASSET AS A, ZDATASTORESUBTYPE AS S, ZLOCALAVAILABILITY AS L, " + remote
            + " AS R, " + bookmark + " AS B FROM " + tableOf(table) + " WHERE ZDATASTORESUBTYPE IN (1, 3, 17)"
            + unedited,
        {}, takeState);

    enum Second : int { asset, subtype, mark, place };
    const auto takePartner = [&](const SQLiteRow& row) {
        const auto position = state.assets.find(row.int64At(asset).value_or(0));
        if (!position) {
            return;
        }
        AssetFacts& facts = state.facts[*position];
        const std::int64_t kind = row.int64At(subtype).value_or(0);
        facts.hasPartnerResource |= kind == pairedVideoSubtype;
        if (const auto key = row.int64At(mark)) {
            facts.hasOriginalBookmark |= kind == originalSubtype;
            state.bookmarkUses.push_back({.asset = *position,
                .isOriginal = kind == originalSubtype,
                .bookmark = *key,
                .volume = row.int64At(place)});
        }
    };
    // Only files outside the library have a bookmark, so this gives few rows. In the order of the rows, so
    // that partners come out in the same order whatever index is used.
    worker.reader.forEachRow("SELECT ZASSET AS A, ZDATASTORESUBTYPE AS S, " + bookmark + " AS B, " + volume
            + " AS V FROM " + tableOf(table)
            + " WHERE (ZDATASTORESUBTYPE = 18 OR (ZDATASTORESUBTYPE IN (1, 17) AND " + bookmark
            + " IS NOT NULL))" + unedited + " ORDER BY Z_PK",
        {}, takePartner);
}

void readBookmarkRows(ReadState& state, OutsidePlaces& places, const DatabaseSteps::Worker& worker)
{
    const std::string& table = state.schema.bookmarkTable.value();
    const std::string volume = state.schema.bookmarkColumns.contains("zvolume") ? "ZVOLUME" : "NULL";
    RowCounter rows(state, table, worker.rows);
    enum Column : int { pk, path, place };
    worker.reader.forEachRow(
        "SELECT Z_PK, ZPATHRELATIVETOVOLUME AS P, " + volume + " AS V FROM " + tableOf(table), {},
        [&](const SQLiteRow& row) {
            const std::int64_t key = row.int64At(pk).value_or(0);
            rows.add(key);
            places.bookmarks.try_emplace(key,
                OutsidePlaces::Bookmark{.relativePath = row.stringAt(path).value_or(std::string()),
                    .volume = row.int64At(place)});
        });
}

void readVolumeRows(ReadState& state, OutsidePlaces& places, const DatabaseSteps::Worker& worker)
{
    const std::string& table = state.schema.volumeTable.value();
    RowCounter rows(state, table, worker.rows);
    enum Column : int { pk, name };
    worker.reader.forEachRow("SELECT Z_PK, ZNAME FROM " + tableOf(table), {}, [&](const SQLiteRow& row) {
        const std::int64_t key = row.int64At(pk).value_or(0);
        rows.add(key);
        places.volumes.try_emplace(key, row.stringAt(name).value_or(std::string()));
    });
}

bool lacksOriginalResource(const ReadState& state)
{
    for (std::size_t i = 0; i < state.facts.size(); ++i) {
        const AssetFacts& facts = state.facts[i];
        if (!facts.hasOriginalResource && facts.cloudMaster != 0
            && !state.snapshot.assets[i].isSharedAlbumItem) {
            return true;
        }
    }
    return false;
}

void readCloudMasterRows(ReadState& state, const DatabaseSteps::Worker& worker)
{
    const std::string& table = state.schema.cloudMasterTable.value();
    RowCounter rows(state, table, worker.rows);
    KeyIndex uploaded;
    enum Column : int { pk, cloudState };
    worker.reader.forEachRow(
        "SELECT Z_PK, ZCLOUDLOCALSTATE AS S FROM " + tableOf(table), {}, [&](const SQLiteRow& row) {
            const std::int64_t key = row.int64At(pk).value_or(0);
            rows.add(key);
            if (row.int64At(cloudState) == masterUploaded) {
                uploaded.add(key, 0);
            }
        });
    uploaded.sort();
    for (std::size_t i = 0; i < state.facts.size(); ++i) {
        const AssetFacts& facts = state.facts[i];
        Asset& asset = state.snapshot.assets[i];
        asset.isOnlyInCloud = !asset.isSharedAlbumItem && !facts.hasOriginalResource && facts.cloudMaster != 0
            && uploaded.find(facts.cloudMaster).has_value();
    }
}

void settleLocations(ReadState& state, const OutsidePlaces& places)
{
    auto& assets = state.snapshot.assets;
    for (std::size_t i = 0; i < assets.size(); ++i) {
        settleAsset(assets[i], state.facts[i]);
    }
    for (const BookmarkUse& use : state.bookmarkUses) {
        Asset& asset = assets[use.asset];
        auto path = asset.isReferenced ? bookmarkedPath(use, places) : std::nullopt;
        if (!path) {
            continue;
        }
        if (!use.isOriginal) {
            asset.referencedPartners.push_back(std::move(*path));
        } else if (!asset.referencedPath) {
            asset.referencedPath = std::move(path);
        }
    }
    std::vector<BookmarkUse>().swap(state.bookmarkUses);

    std::size_t kept = 0;
    for (std::size_t i = 0; i < assets.size(); ++i) {
        Asset& asset = assets[i];
        if (asset.isReferenced && !asset.referencedPath) {
            asset.referencedPath = recordedPath(asset);
        }
        if (!isPossible(asset)) {
            ++state.context.droppedImpossiblePath;
            continue;
        }
        if (kept != i) {
            assets[kept] = std::move(asset);
            state.facts[kept] = state.facts[i];
        }
        ++kept;
    }
    if (kept != assets.size()) {
        assets.resize(kept);
        state.facts.resize(kept);
        indexAssets(state);
    }
}

} // namespace vantorel
