#include "database/ReadState.h"

#include "base/Text.h"

namespace vantorel {

void indexAssets(ReadState& state)
{
    const auto& assets = state.snapshot.assets;
    state.assets.clear();
    state.assets.reserve(assets.size());
    for (std::size_t i = 0; i < assets.size(); ++i) {
        state.assets.add(assets[i].pk, i);
    }
    state.assets.sort();
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
