#include "sample/LibraryRows.h"

#include "sample/BuiltInAlbums.h"
#include "sample/Random.h"

#include "base/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <stdexcept>
#include <utility>

namespace vantorel::sample {

namespace {

enum Purpose : std::uint64_t { itemId = 1, albumId, personId, faceId, keywordId, volumeId, storeId };

constexpr std::size_t mostImportSessions = 4;
constexpr std::int64_t orderStep = 1024; ///< Photos leaves gaps, so that something can be put in between.

std::string uuidFor(std::uint64_t seed, Purpose purpose, std::size_t index)
{
    Random random(mixedSeed(seed, purpose, index));
    return drawnUuid(random);
}

struct Location {
    std::string directory{};
    std::string fileName{};
};

/// "/Volumes/<volume>/<relative path>", divided.
Location referencedLocation(const SampleItem& item)
{
    const std::string full = item.referencedVolume.empty()
        ? "/" + item.referencedRelativePath
        : "/Volumes/" + item.referencedVolume + "/" + item.referencedRelativePath;
    const auto slash = full.rfind('/');
    return {.directory = slash == 0 ? "/" : full.substr(0, slash), .fileName = full.substr(slash + 1)};
}

std::optional<double> stored(const std::optional<Date>& date)
{
    return date ? std::optional(secondsSince2001(*date)) : std::nullopt;
}

std::int64_t kindSubtype(const SampleItem& item, std::size_t index)
{
    const bool isVideo = item.kind == SampleItem::Kind::video;
    if (item.isLivePhoto && !isVideo) {
        return 2;
    }
    if (isVideo) {
        return item.isSharedAlbumItem ? 100 : index % 3 == 1 ? 101 : 0; // Every third one is slow motion.
    }
    if (item.width > 2 * item.height && item.height > 0) {
        return 1;
    }
    return item.extension == "png" ? 10 : 0;
}

class RowMaker {
public:
    RowMaker(const SamplePlan& plan, const WriteOptions& options)
        : plan_(plan)
        , options_(options)
    {
    }

    LibraryRows made()
    {
        rows_.storeUuid = uuidFor(options_.seed, storeId, 0);
        addAlbums();
        addVolumes();
        addItems();
        addKeywords();
        addPeople();
        addFaces();
        return std::move(rows_);
    }

private:
    void addItems();
    ItemRow itemRow(std::size_t index) const;
    void addAlbums();
    void addBuiltInAlbums(std::int64_t& nextPk);
    AlbumRow planAlbumRow(std::size_t index, const std::vector<std::int64_t>& pks, std::int64_t order) const;
    void addVolumes();
    void addKeywords();
    void addPeople();
    void addFaces();

    const SamplePlan& plan_;
    const WriteOptions& options_;
    LibraryRows rows_{};
};

void RowMaker::addItems()
{
    std::int64_t descriptions = 0;
    std::int64_t masters = 0;
    std::int64_t adjustments = 0;
    rows_.items.reserve(plan_.items.size());
    for (std::size_t i = 0; i < plan_.items.size(); ++i) {
        const SampleItem& item = plan_.items[i];
        ItemRow row = itemRow(i);
        if (item.caption) {
            row.descriptionPk = ++descriptions;
        }
        const bool isPlain = !item.isSharedAlbumItem && !item.isReferenced;
        if (item.isOnlyInCloud || (isPlain && i % 7 == 3)) {
            row.cloudMasterPk = ++masters;
            row.savedAssetType = 6;
        }
        if (item.hasEdits) {
            row.adjustmentPk = ++adjustments;
            row.adjustmentsState = adjustments % 3 == 0 ? 2 : 1;
        } else if (row.kindSubtype == 101) {
            row.adjustmentsState = 3;
        }
        rows_.items.push_back(std::move(row));
    }
}

ItemRow RowMaker::itemRow(std::size_t index) const
{
    const SampleItem& item = plan_.items[index];
    ItemRow row;
    row.pk = static_cast<std::int64_t>(index + index / 9 + 1);
    // Neighbours swapped: who takes one table's key for the other's reads a neighbour's details.
    row.attributesPk = static_cast<std::int64_t>((index ^ 1U) + 1);
    row.uuid = itemUuid(plan_, index, options_.seed);
    row.kindSubtype = kindSubtype(item, index);
    row.width = item.width > 0 ? item.width : plan_.pictureWidth;
    row.height = item.height > 0 ? item.height : plan_.pictureHeight;
    if (item.isPortrait) {
        std::swap(row.width, row.height);
    }
    row.originalFileName = item.originalFileName.empty()
        ? fmt::format("IMG_{:04}.{}", index + 1, upperAscii(item.extension))
        : item.originalFileName;
    row.importSession = index * rows_.importSessions.size() / plan_.items.size();
    row.created = item.rawDateCreated ? item.rawDateCreated : stored(item.dateCreated);
    row.modified = stored(item.dateModified);
    row.added = stored(item.dateAdded);
    row.directory = row.uuid.substr(0, 1);
    row.fileName = storedFileName(plan_, index, options_.seed);
    if (item.isReferenced) {
        Location location = referencedLocation(item);
        row.directory = std::move(location.directory);
        row.fileName = std::move(location.fileName);
        row.savedAssetType = 10;
    }
    if (item.isSharedAlbumItem) {
        const auto holds = [&](const AlbumRow& album) {
            return album.isShared
                && std::ranges::find(album.members, index, &AlbumRow::Member::item) != album.members.end();
        };
        const auto album = std::ranges::find_if(rows_.albums, holds);
        row.directory = fmt::format("{}/{}", 6'000'000'000U + options_.seed % 1'000'000'000U,
            album == rows_.albums.end() ? uuidFor(options_.seed, albumId, plan_.albums.size()) : album->uuid);
        row.fileName = row.uuid + (item.kind == SampleItem::Kind::video ? ".MP4" : ".JPG");
        row.savedAssetType = 4;
    }
    return row;
}

void RowMaker::addAlbums()
{
    std::int64_t nextPk = 1;
    addBuiltInAlbums(nextPk);
    // Keys descend where the plan ascends: neither the order of siblings nor that of parents and children
    // can be taken from them.
    std::vector<std::int64_t> pks;
    for (std::size_t i = 0; i < plan_.albums.size(); ++i) {
        pks.push_back(nextPk + static_cast<std::int64_t>(plan_.albums.size() - i));
    }
    std::int64_t order = 512;
    for (std::size_t i = 0; i < plan_.albums.size(); ++i) {
        rows_.albums.push_back(planAlbumRow(i, pks, order += orderStep));
    }
    rows_.planAlbums = plan_.albums.size();
}

void RowMaker::addBuiltInAlbums(std::int64_t& nextPk)
{
    std::size_t drawn = 1'000'000; // Beyond the indexes of the plan's albums.
    const auto addRow = [&](AlbumRow row) {
        row.pk = nextPk++;
        row.uuid = uuidFor(options_.seed, albumId, drawn++);
        rows_.albums.push_back(std::move(row));
    };
    rows_.projectsRootPk = nextPk;
    addRow({.entity = "Folder", .kind = 3998, .sortKey = 5});
    rows_.rootPk = nextPk;
    addRow({.entity = "Folder", .kind = 3999});
    const std::size_t sessions = std::min(mostImportSessions, plan_.items.size());
    for (std::size_t i = 0; i < sessions; ++i) {
        rows_.importSessions.push_back(nextPk);
        addRow({.entity = "ImportSession", .kind = 1506});
    }
    for (const BuiltInAlbum& album : builtInAlbums) {
        if (options_.generation < album.firstGeneration || options_.generation > album.lastGeneration) {
            continue;
        }
        AlbumRow row{.entity = std::string(album.entity), .kind = album.kind, .order = album.order};
        if (!album.title.empty()) {
            row.title = album.title;
        }
        row.parentPk = album.order != 0 ? rows_.rootPk : 0;
        addRow(std::move(row));
    }
    nextPk += 3; // Some were deleted long ago.
}

AlbumRow RowMaker::planAlbumRow(
    std::size_t index, const std::vector<std::int64_t>& pks, std::int64_t order) const
{
    const SampleAlbum& album = plan_.albums[index];
    AlbumRow row{.pk = pks[index], .title = album.title, .planAlbum = index, .isTrashed = album.isTrashed};
    row.uuid = uuidFor(options_.seed, albumId, index);
    row.parentPk = album.parent ? pks.at(*album.parent) : rows_.rootPk;
    switch (album.kind) {
    case SampleAlbum::Kind::album:
        row.entity = "Album";
        row.kind = 2;
        row.sortKey = std::array<std::int64_t, 3>{1, 0, 5}.at(index % 3);
        break;
    case SampleAlbum::Kind::folder:
        row.entity = "Folder";
        row.kind = 4000;
        break;
    case SampleAlbum::Kind::smart:
        row.entity = "FetchingAlbum";
        row.kind = 1507;
        row.isSmart = true;
        break;
    case SampleAlbum::Kind::shared:
        row.entity = "CloudSharedAlbum";
        row.kind = 1505;
        row.parentPk = 0;
        row.isShared = true;
        break;
    case SampleAlbum::Kind::project:
        row.entity = "ProjectAlbum";
        row.kind = 1508;
        row.parentPk = rows_.projectsRootPk;
        break;
    }
    row.order = row.parentPk != 0 ? order : 0;
    for (const std::size_t item : album.items) {
        if (item >= plan_.items.size()) {
            throw std::runtime_error(fmt::format("The plan's album {} names an item that it lacks.", index));
        }
        row.members.push_back(
            {.item = item, .order = orderStep * static_cast<std::int64_t>(row.members.size() + 1)});
    }
    return row;
}

void RowMaker::addVolumes()
{
    for (const SampleItem& item : plan_.items) {
        if (item.isReferenced && !item.referencedVolume.empty()
            && rows_.volume(item.referencedVolume) == nullptr) {
            const std::size_t index = rows_.volumes.size();
            rows_.volumes.push_back({.pk = static_cast<std::int64_t>(index + 1),
                .uuid = uuidFor(options_.seed, volumeId, index),
                .name = item.referencedVolume});
        }
    }
}

void RowMaker::addKeywords()
{
    for (std::size_t i = 0; i < plan_.keywords.size(); ++i) {
        rows_.keywords.push_back({.pk = static_cast<std::int64_t>(plan_.keywords.size() - i + 2),
            .uuid = uuidFor(options_.seed, keywordId, i),
            .title = plan_.keywords[i]});
    }
}

void RowMaker::addPeople()
{
    const auto pkOf = [](std::size_t index) { return static_cast<std::int64_t>(2 * index + 1); };
    for (std::size_t i = 0; i < plan_.people.size(); ++i) {
        const SamplePerson& person = plan_.people[i];
        PersonRow row{.pk = pkOf(i), .uuid = uuidFor(options_.seed, personId, i)};
        // Nameless people are written in both ways that Photos knows.
        if (!person.fullName.empty() || i % 2 == 0) {
            row.fullName = person.fullName;
        }
        if (!person.displayName.empty()) {
            row.displayName = person.displayName;
        }
        if (person.mergedInto) {
            row.mergeTargetPk = pkOf(*person.mergedInto);
        }
        rows_.people.push_back(std::move(row));
    }
}

void RowMaker::addFaces()
{
    const auto addFace = [this](FaceRow face) {
        face.pk = static_cast<std::int64_t>(rows_.faces.size() + 1);
        face.uuid = uuidFor(options_.seed, faceId, rows_.faces.size());
        rows_.faces.push_back(std::move(face));
    };
    for (std::size_t i = 0; i < plan_.items.size(); ++i) {
        for (const std::size_t person : plan_.items[i].people) {
            rows_.people.at(person).faces += plan_.items[i].isTrashed || plan_.items[i].isHidden ? 0 : 1;
            addFace({.item = i, .person = person});
        }
        // Faces that name nobody: of somebody unknown, and one that the user removed from the photo.
        if (!plan_.people.empty() && plan_.items[i].people.empty() && i % 11 == 5) {
            addFace({.item = i});
            addFace({.item = i, .person = i % plan_.people.size(), .isHidden = true});
        }
    }
    for (std::size_t i = 0; i < std::min<std::size_t>(plan_.people.size(), 4); ++i) {
        addFace({.person = i, .isTraining = true});
    }
}

} // namespace

LibraryRows layOut(const SamplePlan& plan, const WriteOptions& options)
{
    return RowMaker(plan, options).made();
}

const VolumeRow* LibraryRows::volume(const std::string& name) const
{
    const auto found = std::ranges::find(volumes, name, &VolumeRow::name);
    return found == volumes.end() ? nullptr : &*found;
}

std::string itemUuid(const SamplePlan& plan, std::size_t index, std::uint64_t seed)
{
    const std::string& given = plan.items.at(index).uuid;
    return given.empty() ? uuidFor(seed, itemId, index) : given;
}

std::string storedFileName(const SamplePlan& plan, std::size_t index, std::uint64_t seed)
{
    return itemUuid(plan, index, seed) + "." + plan.items.at(index).extension;
}

std::string partnerPath(const std::string& relativePath, const std::string& extension)
{
    const auto slash = relativePath.rfind('/');
    const auto dot = relativePath.rfind('.');
    const bool hasExtension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    return relativePath.substr(0, hasExtension ? dot : relativePath.size()) + "." + extension;
}

std::string videoPartnerExtension() { return "mov"; }

std::string rawPartnerExtension(std::size_t index) { return index % 2 == 0 ? "cr2" : "dng"; }

} // namespace vantorel::sample
