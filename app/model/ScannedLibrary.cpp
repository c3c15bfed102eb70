#include "app/model/ScannedLibrary.h"

#include <algorithm>
#include <numeric>

namespace vantorel {

ScannedLibrary scannedLibraryOf(std::shared_ptr<const LibraryScanResult> result)
{
    const auto& assets = result->snapshot.assets;
    ScannedLibrary scanned{.result = result, .overview = overviewOf(*result), .albums = albumNodes(*result)};
    scanned.positions.reserve(assets.size());
    for (std::size_t i = 0; i < assets.size(); ++i) {
        scanned.positions.emplace(assets[i].pk, i);
    }
    scanned.byDate.resize(assets.size());
    std::iota(scanned.byDate.begin(), scanned.byDate.end(), std::size_t{0});
    std::ranges::stable_sort(scanned.byDate, [&](std::size_t a, std::size_t b) {
        const auto& first = assets[a].dateCreated;
        const auto& second = assets[b].dateCreated;
        return first && (!second || *first < *second);
    });
    return scanned;
}

} // namespace vantorel
