#include "sample/ExpectedSnapshot.h"

#include "sample/ItemMedia.h"
#include "sample/LibraryRows.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace vantorel::sample {

namespace {

std::optional<std::string> notEmpty(const std::optional<std::string>& text)
{
    return text && !text->empty() ? text : std::nullopt;
}

void sortOnce(std::vector<std::string>& names)
{
    std::ranges::sort(names);
    const auto twice = std::ranges::unique(names);
    names.erase(twice.begin(), twice.end());
}

/// The name that Photos shows for a person: that of whoever it was merged into.
std::string shownName(const SamplePlan& plan, std::size_t person)
{
    for (std::size_t steps = 0; plan.people.at(person).mergedInto && steps < plan.people.size(); ++steps) {
        person = *plan.people[person].mergedInto;
    }
    const SamplePerson& shown = plan.people[person];
    return shown.fullName.empty() ? shown.displayName : shown.fullName;
}

Album::Kind kindOf(const AlbumRow& row)
{
    switch (row.kind) {
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

std::optional<Date> dateOf(const std::optional<double>& stored) { return libraryDate(stored).date; }

void addLocation(Asset& asset, const SampleItem& item, std::size_t index)
{
    asset.isSharedAlbumItem = item.isSharedAlbumItem;
    if (item.isSharedAlbumItem) {
        return;
    }
    asset.isReferenced = item.isReferenced;
    asset.isOnlyInCloud = item.isOnlyInCloud && !item.isReferenced;
    asset.expectsPartner = item.isLivePhoto || item.hasRawPartner;
    if (!item.isReferenced) {
        return;
    }
    const std::string volume =
        item.referencedVolume.empty() ? std::string("/") : "/Volumes/" + item.referencedVolume + "/";
    asset.referencedPath = volume + item.referencedRelativePath;
    if (item.hasRawPartner) {
        asset.referencedPartners.push_back(
            volume + partnerPath(item.referencedRelativePath, rawPartnerExtension(index)));
    }
    if (item.isLivePhoto) {
        asset.referencedPartners.push_back(
            volume + partnerPath(item.referencedRelativePath, videoPartnerExtension()));
    }
}

Asset expectedAsset(const SamplePlan& plan, const LibraryRows& rows, std::size_t index)
{
    const SampleItem& item = plan.items[index];
    const ItemRow& row = rows.items[index];
    Asset asset;
    asset.pk = row.pk;
    asset.uuid = row.uuid;
    asset.directory = row.directory;
    asset.fileName = row.fileName;
    asset.originalFileName = row.originalFileName;
    asset.title = notEmpty(item.title);
    asset.caption = notEmpty(item.caption);
    for (const std::size_t keyword : item.keywords) {
        asset.keywords.push_back(plan.keywords.at(keyword));
    }
    for (const std::size_t person : item.people) {
        if (const std::string name = shownName(plan, person); !name.empty()) {
            asset.people.push_back(name);
        }
    }
    sortOnce(asset.keywords);
    sortOnce(asset.people);
    asset.isFavorite = item.isFavorite;
    asset.isHidden = item.isHidden;
    asset.isTrashed = item.isTrashed;
    asset.kind = item.kind == SampleItem::Kind::video ? Asset::Kind::video : Asset::Kind::photo;
    asset.isLivePhoto = row.kindSubtype == 2;
    asset.hasEdits = item.hasEdits;
    asset.dateCreated = dateOf(row.created);
    asset.dateModified = dateOf(row.modified);
    asset.dateAdded = dateOf(row.added);
    asset.timeZoneOffset = item.timeZoneOffset;
    if (item.latitude && item.longitude) {
        asset.latitude = item.latitude;
        asset.longitude = item.longitude;
    }
    addLocation(asset, item, index);
    return asset;
}

/// Siblings by their order, those without one last and by key; each followed by what it holds.
std::vector<const AlbumRow*> inTreeOrder(const LibraryRows& rows)
{
    std::map<std::int64_t, std::vector<const AlbumRow*>> children;
    for (const AlbumRow& row : rows.albums) {
        // The top of the projects is no folder for anybody else.
        children[row.parentPk == rows.projectsRootPk ? 0 : row.parentPk].push_back(&row);
    }
    for (auto& [parent, siblings] : children) {
        std::ranges::sort(siblings, {},
            [](const AlbumRow* row) { return std::tuple(row->parentPk == 0, row->order, row->pk); });
    }
    std::vector<const AlbumRow*> ordered;
    std::vector<const AlbumRow*> open(children[0].rbegin(), children[0].rend());
    while (!open.empty()) {
        const AlbumRow* row = open.back();
        open.pop_back();
        ordered.push_back(row);
        if (const auto held = children.find(row->pk); held != children.end()) {
            open.insert(open.end(), held->second.rbegin(), held->second.rend());
        }
    }
    return ordered;
}

void addAlbums(LibrarySnapshot& snapshot, const LibraryRows& rows)
{
    for (const AlbumRow* row : inTreeOrder(rows)) {
        Album album;
        album.pk = row->pk;
        album.uuid = row->uuid;
        album.title = notEmpty(row->title);
        album.kind = kindOf(*row);
        if (row->parentPk != 0 && row->parentPk != rows.projectsRootPk) {
            album.parentPK = row->parentPk;
        }
        album.isTrashed = row->isTrashed;
        for (const AlbumRow::Member& member : row->members) {
            album.assetPKs.push_back(rows.items[member.item].pk);
            snapshot.assets[member.item].albumPKs.push_back(row->pk);
        }
        snapshot.albums.push_back(std::move(album));
    }
}

} // namespace

LibrarySnapshot expectedSnapshot(const SamplePlan& plan, const WriteOptions& options, const DiskPath& folder)
{
    const LibraryRows rows = layOut(plan, options);
    LibrarySnapshot snapshot;
    snapshot.libraryURL = folder;
    snapshot.name = folder.stem().string();
    snapshot.schema = summaryOfModel(options.changes.modelVersion.value_or(modelVersion(options.generation)));
    snapshot.schema.assetTable = Layout(options.generation, options.changes).assetTable();
    std::map<std::string, FileFacts> known;
    for (std::size_t i = 0; i < plan.items.size(); ++i) {
        Asset asset = expectedAsset(plan, rows, i);
        if (!asset.isSharedAlbumItem) {
            ItemMedia media(plan, rows, options, i);
            const auto [facts, isNew] = known.try_emplace(media.key());
            if (isNew) {
                facts->second = factsOf(media.original());
            }
            asset.originalFileSize = facts->second.size;
            asset.fingerprint = facts->second.fingerprint;
        }
        snapshot.assets.push_back(std::move(asset));
    }
    addAlbums(snapshot, rows);
    for (std::size_t i = 0; i < plan.people.size(); ++i) {
        if (std::string name = shownName(plan, i); !name.empty()) {
            snapshot.people.push_back(std::move(name));
        }
    }
    sortOnce(snapshot.people);
    return snapshot;
}

} // namespace vantorel::sample
