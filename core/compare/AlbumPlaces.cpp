#include "compare/AlbumPlaces.h"

#include "base/Unicode.h"
#include "database/KeyIndex.h"

#include <algorithm>
#include <string_view>

namespace vantorel {

namespace {

/// Far more than people nest or write: without a bound a hostile library could ask for a long copy of the
/// same folders for every album in them.
constexpr std::size_t mostShownFolders = 16;
constexpr std::size_t mostShownBytes = 200;
constexpr std::string_view ellipsis = "\xE2\x80\xA6";

std::string shortened(const std::string& name)
{
    return name.size() <= mostShownBytes
        ? name
        : std::string(prefixOfWholeCharacters(name, mostShownBytes)).append(ellipsis);
}

} // namespace

std::size_t AlbumPathNumbers::of(std::size_t folder, const Album& album)
{
    std::string step = std::to_string(folder) + "/" + composed(album.title ? *album.title : std::string());
    return numbers_.try_emplace(std::move(step), numbers_.size() + 1).first->second;
}

AlbumPlaces::AlbumPlaces(const std::vector<Album>& albums, AlbumPathNumbers& numbers)
    : albums_(albums)
    , places_(albums.size())
    , paths_(albums.size(), AlbumPathNumbers::top)
{
    KeyIndex positions;
    positions.reserve(albums.size());
    for (std::size_t i = 0; i < albums.size(); ++i) {
        positions.add(albums[i].pk, i);
    }
    positions.sort();
    for (std::size_t i = 0; i < albums.size(); ++i) {
        const auto holder = albums[i].parentPK ? positions.find(*albums[i].parentPK) : std::nullopt;
        if (holder && albums[*holder].kind == Album::Kind::folder) { // the library's root is the top itself
            places_[i].parent = *holder;
        }
    }
    breakCircles(places_);
    for (const std::size_t i : treeOrder(albums, places_)) {
        paths_[i] = numbers.of(folderPath(i), albums[i]);
    }
}

bool AlbumPlaces::isCompared(const Album& album)
{
    return !album.isTrashed && (album.kind == Album::Kind::album || album.kind == Album::Kind::folder);
}

std::size_t AlbumPlaces::folderPath(std::size_t position) const
{
    const std::size_t holder = folder(position);
    return holder == AlbumPlace::top ? AlbumPathNumbers::top : paths_[holder];
}

ChangedAlbum::Place AlbumPlaces::shownPlace(std::size_t position) const
{
    ChangedAlbum::Place place;
    for (std::size_t at = folder(position); at != AlbumPlace::top; at = folder(at)) {
        if (place.size() == mostShownFolders) {
            place.emplace_back(ellipsis);
            break;
        }
        place.push_back(shortened(shownTitle(albums_[at])));
    }
    std::ranges::reverse(place);
    return place;
}

} // namespace vantorel
