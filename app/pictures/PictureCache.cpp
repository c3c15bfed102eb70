#include "app/pictures/PictureCache.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace vantorel {

namespace {

std::size_t bytesOf(const QImage& image) { return static_cast<std::size_t>(image.sizeInBytes()); }

} // namespace

void PictureCache::insert(Entry entry)
{
    if (const auto known = places_.find(entry.asset); known != places_.end()) {
        const auto same =
            std::ranges::find(known->second, entry.side, [](Place place) { return place->side; });
        if (same != known->second.end()) {
            erase(*same);
        }
    }
    bytes_ += bytesOf(entry.image);
    entries_.push_front(std::move(entry));
    places_[entries_.front().asset].push_back(entries_.begin());
    shrink();
}

bool PictureCache::contains(std::size_t asset, int side) const
{
    const auto known = places_.find(asset);
    return known != places_.end() && std::ranges::find(known->second, side, [](Place place) {
        return place->side;
    }) != known->second.end();
}

const QImage* PictureCache::find(std::size_t asset, int side)
{
    return contains(asset, side) ? nearest(asset, side) : nullptr;
}

const QImage* PictureCache::nearest(std::size_t asset, int side)
{
    const auto known = places_.find(asset);
    if (known == places_.end()) {
        return nullptr;
    }
    const auto best = std::ranges::min_element(known->second, {}, [&](Place place) {
        return place->side >= side ? std::pair(0, place->side) : std::pair(1, -place->side);
    });
    entries_.splice(entries_.begin(), entries_, *best);
    return &(*best)->image;
}

std::uint64_t PictureCache::keyOf(std::size_t asset, int side)
{
    return static_cast<std::uint64_t>(asset) << 20 | static_cast<std::uint64_t>(side);
}

void PictureCache::pin(std::unordered_set<std::uint64_t> keys)
{
    pinned_ = std::move(keys);
    shrink();
}

void PictureCache::clear()
{
    places_.clear();
    entries_.clear();
    pinned_.clear();
    bytes_ = 0;
}

void PictureCache::shrink()
{
    for (auto place = entries_.end(); bytes_ > mostBytes_ && place != entries_.begin();) {
        --place;
        // The one that came last stays too: somebody waits for it.
        if (place != entries_.begin() && !pinned_.contains(keyOf(place->asset, place->side))) {
            const auto next = std::next(place);
            erase(place);
            place = next;
        }
    }
}

void PictureCache::erase(Place place)
{
    bytes_ -= bytesOf(place->image);
    const auto known = places_.find(place->asset);
    std::erase(known->second, place);
    if (known->second.empty()) {
        places_.erase(known);
    }
    entries_.erase(place);
}

} // namespace vantorel
