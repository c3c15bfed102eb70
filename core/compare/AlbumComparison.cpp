#include "compare/AlbumComparison.h"

#include "base/Unicode.h"
#include "compare/AlbumPlaces.h"
#include "compare/Candidates.h"
#include "compare/IdentifierKeys.h"
#include "database/KeyIndex.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace vantorel {

namespace {

constexpr std::size_t none = ItemPairs::none;

/// Which album or folder here is which there, by positions.
struct AlbumPairs {
    std::vector<std::size_t> there;
    std::vector<std::size_t> here;
};

/// By identifier first, then by the names on the way from the top. An album is never a folder.
AlbumPairs pairAlbums(const AlbumPlaces& here, const AlbumPlaces& there)
{
    AlbumPairs pairs{.there = std::vector(here.size(), none), .here = std::vector(there.size(), none)};
    const auto pair = [&pairs](std::size_t i, std::size_t j) {
        pairs.there[i] = j;
        pairs.here[j] = i;
    };
    const auto forEachUnpaired = [](const AlbumPlaces& places, const std::vector<std::size_t>& partners,
                                     const auto& visit) {
        for (std::size_t i = 0; i < places.size(); ++i) {
            if (partners[i] == none && AlbumPlaces::isCompared(places.album(i))) {
                visit(places.album(i), i);
            }
        }
    };

    IdentifierKeys keys;
    std::unordered_map<std::string_view, std::size_t> index;
    forEachUnpaired(there, pairs.here,
        [&](const Album& album, std::size_t j) { index.insert_or_assign(keys.of(album), j); });
    index.erase(std::string_view{});
    forEachUnpaired(here, pairs.there, [&](const Album& album, std::size_t i) {
        const auto found = index.find(keys.of(album));
        if (found != index.end() && pairs.here[found->second] == none
            && there.album(found->second).kind == album.kind) {
            pair(i, found->second);
        }
    });

    const auto pathKey = [](const AlbumPlaces& places, std::size_t i) {
        return places.path(i) * 2 + (places.album(i).kind == Album::Kind::folder ? 1 : 0);
    };
    Candidates<std::size_t> candidates(there.size());
    forEachUnpaired(
        there, pairs.here, [&](const Album&, std::size_t j) { candidates.add(pathKey(there, j), j); });
    forEachUnpaired(here, pairs.there, [&](const Album&, std::size_t i) {
        if (const auto found = candidates.take(pathKey(here, i))) {
            pair(i, *found);
        }
    });
    return pairs;
}

/// The photos of paired albums, compared through the pairs of items.
class AlbumMembers {
public:
    AlbumMembers(const LibrarySnapshot& here, const LibrarySnapshot& there, const ItemPairs& pairs)
        : here_{.assets = here.assets, .partners = pairs.there, .partnerAssets = there.assets}
        , there_{.assets = there.assets, .partners = pairs.here, .partnerAssets = here.assets}
    {
    }

    void compare(const Album& here, const Album& there, ChangedAlbum& change)
    {
        ++round_;
        const std::vector<std::size_t> membersHere = here_.members(here, round_);
        const std::vector<std::size_t> membersThere = there_.members(there, round_);
        change.photosMissingInOther = here_.countNotIn(there_, membersHere, round_);
        change.photosOnlyInOther = there_.countNotIn(here_, membersThere, round_);
    }

private:
    struct Side {
        const std::vector<Asset>& assets;
        const std::vector<std::size_t>& partners; ///< For each asset its position on the other side.
        const std::vector<Asset>& partnerAssets;
        KeyIndex positions{};
        std::vector<std::size_t> lastRound = std::vector<std::size_t>(assets.size(), 0); ///< As a member.

        /// Positions, each once.
        std::vector<std::size_t> members(const Album& album, std::size_t round)
        {
            if (positions.size() != assets.size()) {
                positions.reserve(assets.size());
                for (std::size_t i = 0; i < assets.size(); ++i) {
                    positions.add(assets[i].pk, i);
                }
                positions.sort();
            }
            std::vector<std::size_t> found;
            found.reserve(album.assetPKs.size());
            for (const std::int64_t key : album.assetPKs) {
                const auto position = positions.find(key);
                if (position && std::exchange(lastRound[*position], round) != round) {
                    found.push_back(*position);
                }
            }
            return found;
        }

        std::int64_t countNotIn(
            const Side& other, const std::vector<std::size_t>& members, std::size_t round) const
        {
            return std::ranges::count_if(members, [&](std::size_t i) {
                const std::size_t partner = partners[i];
                if (assets[i].isTrashed) {
                    return false;
                }
                return partner == none
                    || (other.lastRound[partner] != round
                        && !partnerAssets[partner].lostDetails.contains(Asset::LostDetail::albums));
            });
        }
    };

    Side here_;
    Side there_;
    std::size_t round_ = 0;
};

/// In the same folder, be it renamed, or in one of the same names.
bool isInSamePlace(
    const AlbumPlaces& here, std::size_t i, const AlbumPlaces& there, std::size_t j, const AlbumPairs& pairs)
{
    if (here.folderPath(i) == there.folderPath(j)) {
        return true;
    }
    const std::size_t folderHere = here.folder(i);
    const std::size_t folderThere = there.folder(j);
    return folderHere != AlbumPlace::top && folderThere != AlbumPlace::top
        && pairs.there[folderHere] == folderThere;
}

} // namespace

void compareAlbums(const LibrarySnapshot& here, const LibrarySnapshot& there, const ItemPairs& pairs,
    const ComparableDetails& comparable, LibraryComparison& result)
{
    AlbumPathNumbers numbers;
    const AlbumPlaces placesHere(here.albums, numbers);
    const AlbumPlaces placesThere(there.albums, numbers);
    const AlbumPairs albums = pairAlbums(placesHere, placesThere);
    AlbumMembers members(here, there, pairs);

    for (std::size_t i = 0; i < here.albums.size(); ++i) {
        const Album& album = here.albums[i];
        if (!AlbumPlaces::isCompared(album)) {
            continue;
        }
        if (albums.there[i] == none) {
            (album.kind == Album::Kind::folder ? result.missingFolderPKs : result.missingAlbumPKs)
                .push_back(album.pk);
            continue;
        }
        const std::size_t j = albums.there[i];
        const Album& match = there.albums[j];
        ChangedAlbum change{.sourcePK = album.pk, .otherPK = match.pk, .name = shownTitle(album)};
        const ChangedAlbum unchanged = change;
        if (!isSameText(album.title.value_or(""), match.title.value_or(""))) {
            change.renamedFrom = shownTitle(match);
        }
        if (comparable.folders && !isInSamePlace(placesHere, i, placesThere, j, albums)) {
            change.movedFrom = placesThere.shownPlace(j);
        }
        if (comparable.albums) {
            members.compare(album, match, change);
        }
        if (change == unchanged) {
            ++result.sameAlbumCount;
        } else {
            result.changedAlbums.push_back(std::move(change));
        }
    }
    for (std::size_t j = 0; j < there.albums.size(); ++j) {
        const bool isOnlyThere = albums.here[j] == none && AlbumPlaces::isCompared(there.albums[j]);
        result.onlyInOtherAlbumCount += isOnlyThere ? 1 : 0;
    }
}

} // namespace vantorel
