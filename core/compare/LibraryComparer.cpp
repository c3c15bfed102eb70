#include "compare/LibraryComparer.h"

#include "compare/AlbumComparison.h"
#include "compare/ComparisonCautions.h"
#include "compare/ItemDifferences.h"
#include "compare/ItemPairs.h"

#include <algorithm>
#include <utility>

namespace vantorel {

namespace {

const OriginalEntry* entryOf(const OriginalsReport& report, const Asset& asset)
{
    const auto found = report.entries.find(asset.pk);
    return found == report.entries.end() ? nullptr : &found->second;
}

void compareItems(const LibraryScanResult& source, const LibraryScanResult& other, const ItemPairs& pairs,
    const ComparableDetails& comparable, LibraryComparison& result)
{
    for (std::size_t i = 0; i < pairs.there.size(); ++i) {
        const Asset& here = source.snapshot.assets[i];
        if (pairs.there[i] == ItemPairs::none) {
            if (here.isTrashed) {
                ++result.deletedHereOnlyCount;
            } else {
                result.missingAssetPKs.push_back(here.pk);
            }
            continue;
        }
        const Asset& there = other.snapshot.assets[pairs.there[i]];
        std::vector<AssetChange> changes = recordChanges(here, there, comparable);
        switch (originalThere(
            entryOf(source.originals, here), {.asset = there, .entry = entryOf(other.originals, there)})) {
        case OriginalThere::noDifference:
            break;
        case OriginalThere::missing:
            changes.push_back(AssetChange::originalMissingInOther);
            break;
        case OriginalThere::inCloud:
            ++result.originalInCloudInOtherCount;
            break;
        }
        if (changes.empty()) {
            ++result.sameAssetCount;
        } else {
            result.changedAssets.push_back({.sourcePK = here.pk,
                .otherPK = there.pk,
                .name = shownName(here),
                .changes = std::move(changes)});
        }
    }
    result.onlyInOtherAssetCount = std::ranges::count(pairs.here, ItemPairs::none);
}

} // namespace

LibraryComparison LibraryComparer::compare(const LibraryScanResult& source, const LibraryScanResult& other)
{
    LibraryComparison result;
    result.cautions = comparisonCautions(source, other);
    const ItemPairs pairs = pairItems(source.snapshot.assets, other.snapshot.assets);
    result.matchedByNameAndDate = pairs.byNameAndDate;
    const ComparableDetails comparable(source.snapshot.schema, other.snapshot.schema);
    compareItems(source, other, pairs, comparable, result);
    compareAlbums(source.snapshot, other.snapshot, pairs, comparable, result);
    return result;
}

} // namespace vantorel
