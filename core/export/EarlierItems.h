#pragma once

#include "export/Saving.h"

#include <cstddef>
#include <expected>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace vantorel {

/// What the journal of an unfinished export says was saved, checked against what stands in the folder.
class EarlierItems {
public:
    /// Marks the recorded names as given.
    EarlierItems(std::shared_ptr<const SavingContext> context, const std::vector<JournalEntry>& journal);

    bool has(std::size_t item) const { return entries_.contains(item); }

    /// What the journal says of an item, unchecked.
    ReportRow recorded(std::size_t item) const;

    /// Reads the files of the first of these items and of some that follow, several at once, and compares
    /// them with the journal. Changes nothing. Items that are not in the journal are passed over.
    std::expected<void, RunStop> lookAt(std::span<const std::size_t> items);
    bool wasLookedAt(std::size_t item) const { return looks_.contains(item); }

    struct Checked {
        enum class State {
            whole,   ///< All of it is there and matches; nothing is to be done.
            partly,  ///< What was recorded matches, but not all files were saved then.
            notUsed, ///< To be saved again; what no longer matched was kept under another name.
        };
        State state = State::notUsed;
        ReportRow row{}; ///< What was recorded; of `whole` and `partly`.
        std::int64_t setAside = 0;
    };
    /// Draws the conclusions for an item that was looked at, once: makes its sidecar anew where that is
    /// missing or different, makes room for another copy where its files do not match.
    std::expected<Checked, RunStop> check(std::size_t item);

    /// What was found where one of an item's files should be.
    enum class Found { matching, different, missing };
    struct Look {
        std::vector<Found> files{}; ///< In the journal's order.
        bool sidecarMatches = false;
    };

private:
    bool isWholeAsItIs(std::size_t item, const Look& look) const;

    std::shared_ptr<const SavingContext> context_;
    std::unordered_map<std::size_t, JournalEntry> entries_; ///< By item.
    std::unordered_map<std::size_t, Look> looks_;           ///< By item; those that were not checked yet.
};

} // namespace vantorel
