#include "database/SnapshotMerge.h"

#include "database/model/AlbumOrder.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace vantorel {

namespace {

using Detail = Asset::LostDetail;
using LossKind = DamageReport::Loss::Kind;

/// Gives out row ids that are not taken yet.
class FreeKeys {
public:
    template <typename Items>
    explicit FreeKeys(const Items& items)
    {
        taken_.reserve(items.size());
        for (const auto& item : items) {
            taken_.insert(item.pk);
            if (item.pk >= next_ && item.pk < most) {
                next_ = item.pk + 1;
            }
        }
    }

    std::int64_t give(std::int64_t wanted, RowIds ids)
    {
        if (ids == RowIds::same && wanted > 0 && taken_.insert(wanted).second) {
            return wanted;
        }
        while (!taken_.insert(next_).second) {
            ++next_;
        }
        return next_++;
    }

private:
    /// A damaged row can have the greatest number there is; what comes behind must still have room.
    static constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max() / 2;
    std::unordered_set<std::int64_t> taken_;
    std::int64_t next_ = 1;
};

bool isListed(Album::Kind kind) { return kind != Album::Kind::other && kind != Album::Kind::root; }
bool holdsAlbums(Album::Kind kind) { return kind == Album::Kind::folder || kind == Album::Kind::root; }

std::string fileOf(const Asset& asset) { return asset.directory + '/' + asset.fileName; }

class Merge {
public:
    Merge(LibrarySnapshot& base, const LibrarySnapshot& other, RowIds ids)
        : base_(base)
        , other_(other)
        , ids_(ids)
    {
    }

    SnapshotAdditions run()
    {
        addAssets();
        addAlbums();
        addFolders();
        addEntries();
        orderAlbums();
        std::ranges::sort(base_.assets, {}, &Asset::pk);
        addPeople();
        correctLosses();
        return added_;
    }

private:
    /// Where an asset or album of the other source is in the base, by position.
    struct Place {
        std::size_t position = 0;
        bool isNew = false;
    };

    void addAssets()
    {
        std::unordered_map<std::string_view, std::size_t> byIdentifier;
        std::unordered_map<std::string, std::size_t> byFile;
        const std::size_t before = base_.assets.size();
        byIdentifier.reserve(before);
        byFile.reserve(before);
        for (std::size_t i = 0; i < before; ++i) {
            byIdentifier.try_emplace(base_.assets[i].uuid, i);
            byFile.try_emplace(fileOf(base_.assets[i]), i);
        }
        const auto sameAs = [&](const Asset& asset) -> std::optional<std::size_t> {
            if (const auto found = byIdentifier.find(asset.uuid); found != byIdentifier.end()) {
                return found->second;
            }
            // One file is one photo, whatever a damaged or mended record calls it.
            const auto found = byFile.find(fileOf(asset));
            return found != byFile.end() ? std::optional(found->second) : std::nullopt;
        };
        std::vector<std::pair<const Asset*, std::size_t>> matched;
        std::vector<const Asset*> missing;
        for (const Asset& asset : other_.assets) {
            if (const auto position = sameAs(asset)) {
                matched.emplace_back(&asset, *position);
            } else {
                missing.push_back(&asset);
            }
        }
        assets_.reserve(other_.assets.size());
        for (const auto& [asset, position] : matched) {
            assets_.try_emplace(asset->pk, Place{.position = position});
            if (fill(base_.assets[position], *asset)) {
                ++added_.details;
            }
        }
        FreeKeys keys(base_.assets);
        base_.assets.reserve(before + missing.size());
        for (const Asset* asset : missing) {
            Asset& copy = base_.assets.emplace_back(*asset);
            copy.pk = keys.give(asset->pk, ids_);
            copy.albumPKs.clear();
            assets_.try_emplace(asset->pk, Place{.position = base_.assets.size() - 1, .isNew = true});
        }
        added_.photos = static_cast<std::int64_t>(missing.size());
    }

    /// Gives lost details back; whether there was one.
    bool fill(Asset& target, const Asset& source)
    {
        bool filled = false;
        const auto restore = [&](Detail detail, auto&& take) {
            if (!target.lostDetails.contains(detail) || source.lostDetails.contains(detail)) {
                return;
            }
            take();
            target.lostDetails.erase(detail);
            filled = true;
        };
        restore(Detail::originalName, [&] {
            target.originalFileName = source.originalFileName;
            // These come with the name, from the same record.
            const auto takeMissing = [](auto& value, const auto& from) { value = value ? value : from; };
            takeMissing(target.title, source.title);
            takeMissing(target.originalFileSize, source.originalFileSize);
            takeMissing(target.fingerprint, source.fingerprint);
            takeMissing(target.timeZoneOffset, source.timeZoneOffset);
            ++recordsBack_;
        });
        restore(Detail::caption, [&] {
            target.caption = source.caption;
            captionsBack_ += source.caption ? 1 : 0;
        });
        restore(Detail::keywords, [&] {
            target.keywords = source.keywords;
            keywordsBack_ += static_cast<std::int64_t>(source.keywords.size());
        });
        restore(Detail::people, [&] {
            target.people = source.people;
            peopleBack_ = true;
        });
        restore(Detail::dates, [&] {
            target.dateCreated = source.dateCreated;
            target.dateModified = source.dateModified;
            target.dateAdded = source.dateAdded;
        });
        return filled;
    }

    void addAlbums()
    {
        std::unordered_map<std::string, std::size_t> byIdentifier;
        std::unordered_map<std::int64_t, std::size_t> byKey;
        std::optional<std::size_t> root;
        for (std::size_t i = 0; i < base_.albums.size(); ++i) {
            const Album& album = base_.albums[i];
            if (album.uuid) {
                byIdentifier.try_emplace(*album.uuid, i);
            }
            byKey.try_emplace(album.pk, i);
            if (album.kind == Album::Kind::root && !root) {
                root = i;
            }
        }
        const auto sameAs = [&](const Album& album) -> std::optional<std::size_t> {
            if (album.uuid) {
                if (const auto found = byIdentifier.find(*album.uuid); found != byIdentifier.end()) {
                    return found->second;
                }
            }
            if (album.kind == Album::Kind::root) {
                return root;
            }
            const auto found = byKey.find(album.pk);
            const bool isSame = ids_ == RowIds::same && found != byKey.end()
                && (!album.uuid || !base_.albums[found->second].uuid);
            return isSame ? std::optional(found->second) : std::nullopt;
        };
        FreeKeys keys(base_.albums);
        baseAlbums_ = base_.albums.size();
        for (const Album& album : other_.albums) {
            if (const auto position = sameAs(album)) {
                albums_.try_emplace(album.pk, Place{.position = *position});
                continue;
            }
            if (!isListed(album.kind)) {
                continue;
            }
            Album& copy = base_.albums.emplace_back(album);
            copy.pk = keys.give(album.pk, ids_);
            copy.parentPK.reset();
            copy.assetPKs.clear();
            albums_.try_emplace(album.pk, Place{.position = base_.albums.size() - 1, .isNew = true});
            ++added_.albums;
        }
    }

    /// Puts added albums into their folders, and back into an added folder what had lost it.
    void addFolders()
    {
        for (const Album& album : other_.albums) {
            const auto place = albums_.find(album.pk);
            if (place == albums_.end() || !album.parentPK) {
                continue;
            }
            const auto folder = albums_.find(*album.parentPK);
            if (folder == albums_.end() || !holdsAlbums(base_.albums[folder->second.position].kind)) {
                continue;
            }
            Album& target = base_.albums[place->second.position];
            const bool isFree = place->second.isNew || (!target.parentPK && folder->second.isNew);
            if (isFree && place->second.position != folder->second.position) {
                target.parentPK = base_.albums[folder->second.position].pk;
                foldersBack_ += place->second.isNew ? 0 : 1;
            }
        }
    }

    /// An album that both know keeps its own entries: the other source can be older or newer. It gains the
    /// photos that the base did not know, and all of them where the base lost the links.
    void addEntries()
    {
        const bool linksAreLost = std::ranges::any_of(
            base_.assets, [](const Asset& asset) { return asset.lostDetails.contains(Detail::albums); });
        for (const Album& album : other_.albums) {
            const auto place = albums_.find(album.pk);
            if (place == albums_.end()) {
                continue;
            }
            Album& target = base_.albums[place->second.position];
            std::unordered_set<std::int64_t> members;
            if (!place->second.isNew) {
                members.insert(target.assetPKs.begin(), target.assetPKs.end());
            }
            for (const std::int64_t entry : album.assetPKs) {
                const auto asset = assets_.find(entry);
                if (asset == assets_.end()) {
                    continue;
                }
                const bool isWanted = place->second.isNew || asset->second.isNew || linksAreLost;
                Asset& member = base_.assets[asset->second.position];
                if (isWanted && members.insert(member.pk).second) {
                    target.assetPKs.push_back(member.pk);
                    member.albumPKs.push_back(target.pk);
                    member.lostDetails.erase(Detail::albums);
                    target.lostEntries -= target.lostEntries > 0 && !place->second.isNew ? 1 : 0;
                    linksBack_ |= linksAreLost;
                }
            }
        }
        if (!linksAreLost) {
            return;
        }
        for (const Asset& asset : other_.assets) {
            if (const auto place = assets_.find(asset.pk);
                place != assets_.end() && !asset.lostDetails.contains(Detail::albums)) {
                base_.assets[place->second.position].lostDetails.erase(Detail::albums);
            }
        }
    }

    void orderAlbums()
    {
        auto& albums = base_.albums;
        if (albums.size() == baseAlbums_ && foldersBack_ == 0) {
            return;
        }
        std::unordered_map<std::int64_t, std::size_t> byKey;
        for (std::size_t i = 0; i < albums.size(); ++i) {
            byKey.try_emplace(albums[i].pk, i);
        }
        std::vector<AlbumPlace> places(albums.size());
        for (std::size_t i = 0; i < albums.size(); ++i) {
            places[i].order = static_cast<std::int64_t>(i);
            if (albums[i].parentPK) {
                places[i].parent = byKey.at(*albums[i].parentPK);
            }
        }
        for (const std::size_t broken : breakCircles(places)) {
            albums[broken].parentPK.reset();
        }
        std::vector<Album> ordered;
        ordered.reserve(albums.size());
        for (const std::size_t i : treeOrder(albums, places)) {
            ordered.push_back(std::move(albums[i]));
        }
        albums = std::move(ordered);
    }

    void addPeople()
    {
        base_.people.insert(base_.people.end(), other_.people.begin(), other_.people.end());
        std::ranges::sort(base_.people);
        const auto twice = std::ranges::unique(base_.people);
        base_.people.erase(twice.begin(), twice.end());
    }

    void correctLosses()
    {
        auto& losses = base_.damage.losses;
        const auto lessen = [&](LossKind kind, std::int64_t back) {
            for (DamageReport::Loss& loss : losses) {
                if (loss.kind == kind && back > 0) {
                    const std::int64_t left = std::max<std::int64_t>(0, loss.count - back);
                    loss = left > 0 ? makeLoss(kind, left) : DamageReport::Loss{.kind = kind};
                }
            }
            std::erase_if(losses, [&](const auto& loss) { return loss.kind == kind && loss.count == 0; });
        };
        lessen(LossKind::photosWithoutDetails, recordsBack_);
        lessen(LossKind::captionsLost, captionsBack_);
        lessen(LossKind::keywordLinksWithoutKeyword, keywordsBack_);
        lessen(LossKind::albumsWithoutParent, foldersBack_);
        const auto isMade = [&](LostLinks links) {
            const std::string message = makeLinksLost(links).message;
            std::erase_if(losses, [&](const auto& loss) {
                return loss.kind == LossKind::linksLost && loss.message == message;
            });
        };
        using Feature = SchemaSummary::Feature;
        const auto isThere = [&](Feature feature) { std::erase(base_.schema.unavailable, feature); };
        // Links that were found again can also be none at all: albums that are empty, keywords that nobody
        // uses.
        const auto isWhole = [&](Detail detail) {
            return std::ranges::none_of(
                base_.assets, [&](const Asset& asset) { return asset.lostDetails.contains(detail); });
        };
        if (linksBack_ || isWhole(Detail::albums)) {
            isMade(LostLinks::albums);
        }
        if (linksBack_ || added_.albums > 0) {
            isThere(Feature::albums);
        }
        if (keywordsBack_ > 0 || isWhole(Detail::keywords)) {
            isMade(LostLinks::keywords);
        }
        if (keywordsBack_ > 0) {
            isThere(Feature::keywords);
        }
        if (peopleBack_ || isWhole(Detail::people)) {
            isMade(LostLinks::people);
        }
        if (peopleBack_) {
            isThere(Feature::people);
        }
        if (captionsBack_ > 0) {
            isThere(Feature::captions);
        }
    }

    LibrarySnapshot& base_;
    const LibrarySnapshot& other_;
    RowIds ids_;
    SnapshotAdditions added_;
    std::unordered_map<std::int64_t, Place> assets_; ///< By the other source's keys.
    std::unordered_map<std::int64_t, Place> albums_;
    std::size_t baseAlbums_ = 0;
    std::int64_t recordsBack_ = 0;
    std::int64_t captionsBack_ = 0;
    std::int64_t foldersBack_ = 0;
    std::int64_t keywordsBack_ = 0;
    bool peopleBack_ = false;
    bool linksBack_ = false;
};

} // namespace

SnapshotAdditions addFrom(LibrarySnapshot& base, const LibrarySnapshot& other, RowIds ids)
{
    return Merge(base, other, ids).run();
}

} // namespace vantorel
