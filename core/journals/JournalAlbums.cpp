#include "journals/JournalAlbums.h"

#include "database/model/AlbumOrder.h"

#include <utility>

// `kind` of a record: 2 album, 4000 folder, 3999 the invisible top folder, 1507 smart album. 3998, the top of
// the projects, and 1508, a project, are shown to nobody. An album does not say which folder it is in; the
// folder lists its children in order.

namespace vantorel {

namespace {

Album::Kind kindOf(std::int32_t value)
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

class Making {
public:
    Making(const CollectionRecords& records, const JournalObjects<JournalAsset>& assetRecords,
        JournalAssetsResult& assets)
        : records_(records)
        , assetRecords_(assetRecords)
        , assets_(assets)
    {
    }

    JournalAlbumsResult made()
    {
        for (const auto* journal :
            {&records_.albums, &records_.folders, &records_.smart, &records_.projects}) {
            collect(*journal);
        }
        places_.resize(albums_.size());
        claimed_.resize(albums_.size());
        for (std::size_t i = 0; i < albums_.size(); ++i) {
            claimChildren(i);
        }
        countLostFolders();
        for (const std::size_t album : breakCircles(places_)) {
            countLostFolder(album);
        }
        for (const std::size_t i : treeOrder(albums_, places_)) {
            settle(i);
        }
        return std::move(result_);
    }

private:
    void collect(const JournalObjects<JournalAlbum>& journal)
    {
        for (std::size_t place = 0; place < journal.size(); ++place) {
            ++lastKey_;
            const auto& [record, exists, hadWhole] = journal.at(place);
            if (!exists) {
                continue;
            }
            if (!record.kind) {
                ++result_.damaged;
                damaged_.findOrAdd(journal.identifierAt(place));
                continue;
            }
            Album& album = albums_.emplace_back();
            album.pk = lastKey_;
            album.uuid = textOf(journal.identifierAt(place));
            album.title = record.title.empty() ? std::nullopt : std::optional(record.title);
            album.kind = kindOf(*record.kind);
            album.isTrashed = record.isTrashed;
            sources_.push_back(&record);
            known_.findOrAdd(journal.identifierAt(place));
            if (byIdentifier_.size() < known_.size()) {
                byIdentifier_.push_back(albums_.size() - 1); // of two with one name the first
            }
        }
    }

    /// The first folder that lists an album has it.
    void claimChildren(std::size_t folder)
    {
        const IdentifierList& children = sources_[folder]->children;
        const bool isFolder =
            albums_[folder].kind == Album::Kind::folder || albums_[folder].kind == Album::Kind::root;
        for (std::size_t i = 0; i < children.count(); ++i) {
            const Identifier name = children.at(i);
            const auto known = known_.find(name);
            if (!known) {
                countUnknown(name);
                continue;
            }
            const std::size_t child = byIdentifier_[*known];
            if (claimed_[child]) {
                continue;
            }
            claimed_[child] = true;
            places_[child] = {
                .parent = isFolder ? folder : AlbumPlace::top, .order = static_cast<std::int64_t>(i)};
        }
    }

    void countUnknown(const Identifier& name)
    {
        // A record without a kind is counted already, and a child that two folders list is one.
        const std::size_t before = damaged_.size();
        damaged_.findOrAdd(name);
        result_.damaged += damaged_.size() > before && records_.allAreThere ? 1 : 0;
    }

    void countLostFolders()
    {
        for (std::size_t i = 0; i < albums_.size(); ++i) {
            if (!claimed_[i]) {
                countLostFolder(i);
            }
        }
    }

    void countLostFolder(std::size_t i)
    {
        // Smart albums, and what was deleted, can be in no folder.
        const Album& album = albums_[i];
        const bool needsFolder = album.kind == Album::Kind::album || album.kind == Album::Kind::folder;
        result_.withoutFolder += needsFolder && !album.isTrashed && records_.foldersAreThere ? 1 : 0;
    }

    void settle(std::size_t i)
    {
        Album& album = albums_[i];
        if (places_[i].parent != AlbumPlace::top) {
            album.parentPK = albums_[places_[i].parent].pk;
        }
        const IdentifierList& members = sources_[i]->assets;
        for (std::size_t m = 0; m < members.count(); ++m) {
            const auto place = assetRecords_.find(members.at(m));
            const std::size_t position = place ? assets_.positions[*place] : JournalAssetsResult::nowhere;
            if (position == JournalAssetsResult::nowhere) {
                ++album.lostEntries;
                ++result_.lostEntries;
                continue;
            }
            Asset& asset = assets_.assets[position];
            // Members come album by album, so one that stands twice is the asset's last.
            if (asset.albumPKs.empty() || asset.albumPKs.back() != album.pk) {
                asset.albumPKs.push_back(album.pk);
                album.assetPKs.push_back(asset.pk);
            }
        }
        result_.albums.push_back(std::move(album));
    }

    const CollectionRecords& records_;
    const JournalObjects<JournalAsset>& assetRecords_;
    JournalAssetsResult& assets_;
    JournalAlbumsResult result_;
    std::int64_t lastKey_ = 0;
    std::vector<Album> albums_; ///< Ascending `pk`.
    std::vector<const JournalAlbum*> sources_;
    std::vector<AlbumPlace> places_;
    std::vector<bool> claimed_;
    IdentifierIndex known_;
    std::vector<std::size_t> byIdentifier_; ///< Position in `albums_` by place in `known_`.
    IdentifierIndex damaged_;
};

} // namespace

JournalAlbumsResult albumsOf(const CollectionRecords& records,
    const JournalObjects<JournalAsset>& assetRecords, JournalAssetsResult& assets)
{
    return Making(records, assetRecords, assets).made();
}

} // namespace vantorel
