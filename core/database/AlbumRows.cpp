#include "database/AlbumRows.h"

#include "database/model/AlbumOrder.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

// ZKIND of an album row: 2 album, 4000 folder, 3999 the invisible top folder, 1507 smart album, 1505 shared
// album. Everything else is made by Photos itself (imports, projects, media types): kept, but not shown. 3998
// is the top of the projects, which is no folder for anybody else. Children of a folder are ordered by
// Z_FOK_PARENTFOLDER, the photos of an album by the order column of the link table.

namespace vantorel {

namespace {

enum Column : int { pk, uuid, title, kind, parentFolder, orderInParent, trashed, columnCount };

constexpr std::array<std::string_view, columnCount> columnNames{
    "Z_PK",
    "ZUUID",
    "ZTITLE",
    "ZKIND",
    "ZPARENTFOLDER",
    "Z_FOK_PARENTFOLDER",
    "ZTRASHEDSTATE",
};

Album::Kind kindOf(std::int64_t value)
{
    switch (value) {
    case 2:
        return Album::Kind::album;
    case 4000:
        return Album::Kind::folder;
    case 3999:
        return Album::Kind::root;
    case 1507:
        return Album::Kind::smart;
    case 1505:
        return Album::Kind::shared;
    default:
        return Album::Kind::other;
    }
}

bool isNumber(int type) { return type == SQLITE_INTEGER || type == SQLITE_FLOAT; }

std::int64_t orderAt(const SQLiteRow& row, int column)
{
    return isNumber(row.typeAt(column)) ? row.int64At(column).value_or(AlbumPlace::noOrder)
                                        : AlbumPlace::noOrder;
}

std::optional<std::string> textAt(const SQLiteRow& row, int column)
{
    auto text = row.stringAt(column);
    return text && text->empty() ? std::nullopt : text;
}

/// Finds where each album stands.
class Places {
public:
    Places(ReadState& state, AlbumLinks& tree)
        : state_(state)
        , tree_(tree)
    {
    }

    std::vector<AlbumPlace> found()
    {
        std::vector<AlbumPlace> places(state_.snapshot.albums.size());
        for (std::size_t i = 0; i < places.size(); ++i) {
            places[i] = {.parent = parentOf(i), .order = tree_.facts[i].order};
        }
        for (const std::size_t album : breakCircles(places)) {
            countLost(album);
        }
        return places;
    }

private:
    std::size_t parentOf(std::size_t album)
    {
        const auto key = tree_.facts[album].parent;
        if (!key) {
            return AlbumPlace::top;
        }
        const auto position = tree_.albums.find(*key);
        if (!position) {
            countLost(album);
            return AlbumPlace::top;
        }
        const Album::Kind holder = state_.snapshot.albums[*position].kind;
        return holder == Album::Kind::folder || holder == Album::Kind::root ? *position : AlbumPlace::top;
    }

    /// What Photos made for itself is not shown, so it is nobody's loss.
    void countLost(std::size_t album)
    {
        if (state_.snapshot.albums[album].kind != Album::Kind::other) {
            ++state_.context.albumsWithoutParent;
        }
    }

    ReadState& state_;
    AlbumLinks& tree_;
};

} // namespace

void readAlbumRows(ReadState& state, AlbumLinks& tree, const DatabaseSteps::Worker& worker)
{
    const std::string& table = state.schema.albumTable.value();
    RowCounter rows(state, table, worker.rows);
    const auto take = [&](const SQLiteRow& row) {
        const std::int64_t key = row.int64At(pk).value_or(0);
        rows.add(key);
        const bool isInOrder =
            state.lenient() || state.snapshot.albums.empty() || key > state.snapshot.albums.back().pk;
        if (!isNumber(row.typeAt(kind)) || !isInOrder) {
            ++state.context.albumsWithoutKind;
            return;
        }
        Album& album = state.snapshot.albums.emplace_back();
        album.pk = key;
        album.uuid = textAt(row, uuid);
        album.title = textAt(row, title);
        album.kind = kindOf(row.int64At(kind).value_or(0));
        album.isTrashed = row.int64At(trashed).value_or(0) != 0;
        if (album.kind == Album::Kind::album || album.kind == Album::Kind::folder) {
            ++state.context.userAlbumRows;
        }
        tree.facts.push_back({.parent = row.int64At(parentFolder), .order = orderAt(row, orderInParent)});
    };
    forEachRowByKey(state, worker.reader,
        "SELECT " + selectList(columnNames, state.schema.albumColumns) + " FROM " + quotedIdentifier(table),
        take);
}

void settleFolders(ReadState& state, AlbumLinks& tree)
{
    auto& albums = state.snapshot.albums;
    const auto indexAlbums = [&] {
        tree.albums.clear();
        for (std::size_t i = 0; i < albums.size(); ++i) {
            tree.albums.add(albums[i].pk, i);
        }
        tree.albums.sort();
    };
    indexAlbums();
    const std::vector<AlbumPlace> places = Places(state, tree).found();

    std::vector<Album> ordered;
    ordered.reserve(albums.size());
    for (const std::size_t i : treeOrder(albums, places)) {
        Album& album = ordered.emplace_back(albums[i]);
        if (places[i].parent != AlbumPlace::top) {
            album.parentPK = albums[places[i].parent].pk;
        }
    }
    albums = std::move(ordered);
    indexAlbums();
    std::vector<AlbumFacts>().swap(tree.facts);
}

void readAlbumLinks(ReadState& state, AlbumLinks& tree, const DatabaseSteps::Worker& worker)
{
    const ResolvedSchema::Join& join = state.schema.albumJoin.value();
    RowCounter rows(state, join.table, worker.rows);
    enum Item : int { album, asset, order };
    worker.reader.forEachRow("SELECT " + quotedIdentifier(join.left) + ", " + quotedIdentifier(join.right)
            + ", " + (join.order ? quotedIdentifier(*join.order) : std::string("NULL")) + " FROM "
            + quotedIdentifier(join.table),
        {}, [&](const SQLiteRow& row) {
            rows.add();
            const auto owner = row.int64At(album);
            const auto member = row.int64At(asset);
            if (!owner || !member) {
                return;
            }
            if (const auto position = tree.albums.find(*owner)) {
                tree.links.push_back({.album = *position, .order = orderAt(row, order), .asset = *member});
            } else if (const auto photo = state.assets.find(*member)) {
                tree.assetsWithLostAlbum.push_back(*photo);
            }
        });
}

void settleEntries(ReadState& state, AlbumLinks& tree)
{
    auto& albums = state.snapshot.albums;
    auto& assets = state.snapshot.assets;
    std::ranges::sort(
        tree.links, {}, [](const AlbumLink& link) { return std::tuple(link.album, link.order, link.asset); });
    for (const AlbumLink& link : tree.links) {
        Album& album = albums[link.album];
        const auto position = state.assets.find(link.asset);
        if (!position) {
            ++album.lostEntries;
            ++state.context.albumEntriesWithoutPhoto;
            continue;
        }
        Asset& asset = assets[*position];
        // Links come album by album, so an entry that stands twice is the asset's last one.
        if (asset.albumPKs.empty() || asset.albumPKs.back() != album.pk) {
            asset.albumPKs.push_back(album.pk);
            album.assetPKs.push_back(asset.pk);
        }
    }
    std::vector<AlbumLink>().swap(tree.links);
    for (const std::size_t position : tree.assetsWithLostAlbum) {
        if (assets[position].albumPKs.empty()) { // a detail that is listed as lost is empty
            assets[position].lostDetails.insert(Asset::LostDetail::albums);
        }
    }
}

} // namespace vantorel
