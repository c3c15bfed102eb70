#pragma once

#include "database/model/Asset.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace vantorel {

/// Which item here is which item there, by positions in the two libraries' lists. Each is in at most one
/// pair.
struct ItemPairs {
    static constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

    std::vector<std::size_t> there{}; ///< For each item here.
    std::vector<std::size_t> here{};  ///< For each item there.
    std::int64_t byNameAndDate = 0;   ///< Pairs that nothing stronger than name, date and size speaks for.

    bool operator==(const ItemPairs&) const = default;
};

/// Pairs the items in three passes, the surest first: by identifier; by the fingerprint of the original; by
/// name, date and size (of items here that have an original name and a date). A pair is never broken by a
/// later pass. Linear in both lists, whatever keys are equal.
ItemPairs pairItems(const std::vector<Asset>& here, const std::vector<Asset>& there);

} // namespace vantorel
