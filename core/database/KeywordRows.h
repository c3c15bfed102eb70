#pragma once

#include "base/TextBudget.h"
#include "database/DatabaseSteps.h"
#include "database/ReadState.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace vantorel {

struct KeywordTitles {
    std::unordered_map<std::int64_t, std::string> titles{};
    std::vector<std::size_t> assetsWithLostKeyword{};
    TextBudget budget{};
};

void readKeywordRows(ReadState& state, KeywordTitles& keywords, const DatabaseSteps::Worker& worker);
/// The links between attributes rows and keywords.
void readKeywordLinks(ReadState& state, KeywordTitles& keywords, const DatabaseSteps::Worker& worker);
/// Sorts each asset's keywords, each once, and marks those that lost all of theirs.
void settleKeywords(ReadState& state, const KeywordTitles& keywords);

} // namespace vantorel
