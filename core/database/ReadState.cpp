#include "database/ReadState.h"

#include "base/Text.h"
#include "database/BothEnds.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace vantorel {

namespace {

/// Assets that were read from both ends of a damaged table are not in the order of their keys.
void sortAssets(ReadState& state)
{
    auto& assets = state.snapshot.assets;
    if (std::ranges::is_sorted(assets, {}, &Asset::pk)) {
        return;
    }
    std::vector<std::size_t> order(assets.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::sort(order, {}, [&](std::size_t i) { return assets[i].pk; });
    std::vector<Asset> sortedAssets;
    std::vector<AssetFacts> sortedFacts;
    sortedAssets.reserve(order.size());
    sortedFacts.reserve(order.size());
    for (const std::size_t i : order) {
        sortedAssets.push_back(std::move(assets[i]));
        sortedFacts.push_back(state.facts[i]);
    }
    assets = std::move(sortedAssets);
    state.facts = std::move(sortedFacts);
}

} // namespace

void indexAssets(ReadState& state)
{
    sortAssets(state);
    const auto& assets = state.snapshot.assets;
    state.assets.clear();
    state.assets.reserve(assets.size());
    for (std::size_t i = 0; i < assets.size(); ++i) {
        state.assets.add(assets[i].pk, i);
    }
    state.assets.sort();
}

void forEachRowByKey(const ReadState& state, SQLiteReader& reader, const std::string& select,
    const SQLiteReader::RowHandler& handler)
{
    const std::string ascending = select + " ORDER BY Z_PK";
    if (!state.lenient()) {
        reader.forEachRow(ascending, {}, handler);
        return;
    }
    if (const auto lost = forEachRowFromBothEnds(reader, ascending, ascending + " DESC", "Z_PK", handler)) {
        throw SQLiteReaderError(SQLiteReaderError::Kind::stepFailed, "part of the table could not be read",
            ascending, lost->code);
    }
}

std::string selectItem(std::string_view column, const ResolvedSchema::Columns& present, std::string_view as)
{
    // A column that is not there must not be named: SQLite takes a quoted name that it does not know for a
    // text.
    const bool isThere = present.contains(lowerAscii(column));
    return (isThere ? quotedIdentifier(column) : std::string("NULL")) + " AS " + quotedIdentifier(as);
}

std::string selectList(std::span<const std::string_view> names, const ResolvedSchema::Columns& present)
{
    std::string list;
    for (const std::string_view name : names) {
        list += (list.empty() ? "" : ", ") + selectItem(name, present, name);
    }
    return list;
}

} // namespace vantorel
