#include "database/AlbumRows.h"

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
    return isNumber(row.typeAt(column)) ? row.int64At(column).value_or(noOrder) : noOrder;
}

std::optional<std::string> textAt(const SQLiteRow& row, int column)
{
    auto text = row.stringAt(column);
    return text && text->empty() ? std::nullopt : text;
}

constexpr std::size_t nowhere = std::numeric_limits<std::size_t>::max();

/// The position of each album's folder, `nowhere` at the top.
class Parents {
public:
    Parents(ReadState& state, AlbumTree& tree)
        : state_(state)
        , tree_(tree)
        , parents_(state.snapshot.albums.size(), nowhere)
    {
    }

    std::vector<std::size_t> found()
    {
        for (std::size_t i = 0; i < parents_.size(); ++i) {
            parents_[i] = parentOf(i);
        }
        breakCircles();
        return std::move(parents_);
    }

private:
    std::size_t parentOf(std::size_t album)
    {
        const auto key = tree_.facts[album].parent;
        if (!key) {
            return nowhere;
        }
        const auto position = tree_.albums.find(*key);
        if (!position) {
            countLost(album);
            return nowhere;
        }
        const Album::Kind holder = state_.snapshot.albums[*position].kind;
        return holder == Album::Kind::folder || holder == Album::Kind::root ? *position : nowhere;
    }

    /// What Photos made for itself is not shown, so it is nobody's loss.
    void countLost(std::size_t album)
    {
        if (state_.snapshot.albums[album].kind != Album::Kind::other) {
            ++state_.context.albumsWithoutParent;
        }
    }

    /// Folders that hold each other in a circle would be reached from no top: the one with the least id,
    /// which is the first that a walk meets, is put there.
    void breakCircles()
    {
        enum class Mark : char { unseen, onPath, reached };
        std::vector<Mark> marks(parents_.size(), Mark::unseen);
        std::vector<std::size_t> path;
        for (std::size_t i = 0; i < parents_.size(); ++i) {
            path.clear();
            std::size_t at = i;
            while (at != nowhere && marks[at] == Mark::unseen) {
                marks[at] = Mark::onPath;
                path.push_back(at);
                at = parents_[at];
            }
            if (at != nowhere && marks[at] == Mark::onPath) {
                std::size_t least = at;
                for (std::size_t member = parents_[at]; member != at; member = parents_[member]) {
                    least = std::min(least, member);
                }
                parents_[least] = nowhere;
                countLost(least);
            }
            for (const std::size_t member : path) {
                marks[member] = Mark::reached;
            }
        }
    }

    ReadState& state_;
    AlbumTree& tree_;
    std::vector<std::size_t> parents_;
};

/// The positions in the order of the tree: siblings by their order, each followed by what it holds.
std::vector<std::size_t> treeOrder(const std::vector<Album>& albums, const std::vector<AlbumFacts>& facts,
    const std::vector<std::size_t>& parents)
{
    std::vector<std::size_t> byFolder(albums.size());
    for (std::size_t i = 0; i < byFolder.size(); ++i) {
        byFolder[i] = i;
    }
    // `nowhere` is the greatest position, so the top comes last.
    std::ranges::sort(
        byFolder, {}, [&](std::size_t i) { return std::tuple(parents[i], facts[i].order, albums[i].pk); });
    std::vector<std::pair<std::size_t, std::size_t>> children(
        albums.size() + 1); // of each, the top at the end
    for (std::size_t i = 0; i < byFolder.size();) {
        const std::size_t parent = parents[byFolder[i]];
        const std::size_t begin = i;
        while (i < byFolder.size() && parents[byFolder[i]] == parent) {
            ++i;
        }
        children[std::min(parent, albums.size())] = {begin, i};
    }

    std::vector<std::size_t> order;
    order.reserve(albums.size());
    std::vector<std::pair<std::size_t, std::size_t>> open{
        children.back()}; // deep nesting must not use the stack
    while (!open.empty()) {
        auto& [next, end] = open.back();
        if (next == end) {
            open.pop_back();
            continue;
        }
        const std::size_t album = byFolder[next++];
        order.push_back(album);
        open.push_back(children[album]);
    }
    return order;
}

} // namespace

void readAlbumRows(ReadState& state, AlbumTree& tree, const DatabaseSteps::Worker& worker)
{
    const std::string& table = state.schema.albumTable.value();
    RowCounter rows(state, table, worker.rows);
    const auto take = [&](const SQLiteRow& row) {
        const std::int64_t key = row.int64At(pk).value_or(0);
        rows.add(key);
        const bool isInOrder = state.snapshot.albums.empty() || key > state.snapshot.albums.back().pk;
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
    worker.reader.forEachRow("SELECT " + selectList(columnNames, state.schema.albumColumns) + " FROM "
            + quotedIdentifier(table) + " ORDER BY Z_PK",
        {}, take);
}

void settleFolders(ReadState& state, AlbumTree& tree)
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
    const std::vector<std::size_t> parents = Parents(state, tree).found();
    const std::vector<std::size_t> order = treeOrder(albums, tree.facts, parents);

    std::vector<Album> ordered;
    ordered.reserve(albums.size());
    for (const std::size_t i : order) {
        Album& album = ordered.emplace_back(albums[i]);
        if (parents[i] != nowhere) {
            album.parentPK = albums[parents[i]].pk;
        }
    }
    albums = std::move(ordered);
    indexAlbums();
    std::vector<AlbumFacts>().swap(tree.facts);
}

void readAlbumLinks(ReadState& state, AlbumTree& tree, const DatabaseSteps::Worker& worker)
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

void settleEntries(ReadState& state, AlbumTree& tree)
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
