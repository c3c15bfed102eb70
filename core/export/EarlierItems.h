#pragma once

#include "export/Saving.h"

#include <expected>
#include <memory>
#include <optional>
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
    /// Reads an item's files and compares them with the journal; makes its sidecar anew where that is missing
    /// or different.
    std::expected<Checked, RunStop> check(std::size_t item) const;

private:
    std::shared_ptr<const SavingContext> context_;
    std::unordered_map<std::size_t, JournalEntry> entries_; ///< By item.
};

} // namespace vantorel
