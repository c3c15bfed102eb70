#include "database/KeywordRows.h"

#include <algorithm>

namespace vantorel {

void readKeywordRows(ReadState& state, KeywordTitles& keywords, const DatabaseSteps::Worker& worker)
{
    const std::string& table = state.schema.keywordTable.value();
    RowCounter rows(state, table, worker.rows);
    enum Column : int { pk, title };
    forEachRowByKey(state, worker.reader, "SELECT Z_PK, ZTITLE FROM " + quotedIdentifier(table),
        [&](const SQLiteRow& row) {
            const std::int64_t key = row.int64At(pk).value_or(0);
            rows.add(key);
            keywords.titles.try_emplace(key, row.stringAt(title).value_or(std::string()));
        });
}

void readKeywordLinks(ReadState& state, KeywordTitles& keywords, const DatabaseSteps::Worker& worker)
{
    const ResolvedSchema::Join& join = state.schema.keywordJoin.value();
    RowCounter rows(state, join.table, worker.rows);
    enum Column : int { attributes, keyword };
    worker.reader.forEachRow("SELECT " + quotedIdentifier(join.left) + ", " + quotedIdentifier(join.right)
            + " FROM " + quotedIdentifier(join.table),
        {}, [&](const SQLiteRow& row) {
            rows.add();
            const auto position = state.attributes.find(row.int64At(attributes).value_or(0));
            if (!position) {
                return;
            }
            const auto found = keywords.titles.find(row.int64At(keyword).value_or(0));
            if (found == keywords.titles.end() || !keywords.budget.take(found->second)) {
                ++state.context.keywordLinksWithoutKeyword;
                keywords.assetsWithLostKeyword.push_back(*position);
            } else if (!found->second.empty()) {
                state.snapshot.assets[*position].keywords.push_back(found->second);
            }
        });
}

void settleKeywords(ReadState& state, const KeywordTitles& keywords)
{
    for (Asset& asset : state.snapshot.assets) {
        std::ranges::sort(asset.keywords);
        const auto twice = std::ranges::unique(asset.keywords);
        asset.keywords.erase(twice.begin(), twice.end());
    }
    for (const std::size_t position : keywords.assetsWithLostKeyword) {
        Asset& asset = state.snapshot.assets[position];
        // A detail that is listed as lost is empty: what is left of the keywords is worth more than the mark.
        if (asset.keywords.empty()) {
            asset.lostDetails.insert(Asset::LostDetail::keywords);
        }
    }
}

} // namespace vantorel
