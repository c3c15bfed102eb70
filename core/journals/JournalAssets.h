#pragma once

#include "database/model/Asset.h"
#include "journals/JournalObjects.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vantorel {

/// What is needed of other kinds to make photos of their records.
struct AssetSurroundings {
    const JournalObjects<JournalKeyword>& keywords;
    const JournalObjects<JournalVolume>& volumes;
    bool keywordsAreThere = true; ///< Else that they are missing is no loss of single ones.
};

struct JournalAssetsResult {
    std::vector<Asset> assets{};          ///< Ascending `pk`: the place of the record + 1.
    std::vector<std::size_t> positions{}; ///< In `assets`, by place; `nowhere` for what was left out.
    std::int64_t withoutLocation = 0;     ///< Left out.
    std::int64_t lostKeywordLinks = 0;
    std::int64_t itemsWithRejectedDate = 0;

    static constexpr std::size_t nowhere = static_cast<std::size_t>(-1);
};

/// Turns the records into assets; their texts are moved out of them.
JournalAssetsResult assetsOf(JournalObjects<JournalAsset>& records, const AssetSurroundings& surroundings);

} // namespace vantorel
