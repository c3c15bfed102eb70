#pragma once

#include "export/FinalNames.h"
#include "export/Saving.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vantorel {

/// What came of each item of a run so far, in the plan's order whatever the order of saving. The run's thread
/// only.
class RunResults {
public:
    explicit RunResults(std::shared_ptr<const SavingContext> context)
        : context_(std::move(context))
    {
    }

    /// Takes a group that ended, well or by a stop; the indices of the items that are dealt with.
    struct Ended {
        std::size_t item = 0;
        bool isSaved = false;
    };
    std::vector<Ended> take(const CommitGroup& group);
    /// An item that an earlier run saved.
    void resume(std::size_t item, ReportRow row);
    void addSetAside(std::int64_t count) { setAside_ += count; }

    /// Gives every item that is neither saved nor skipped this reason.
    void fillUp(SkipReason reason);

    /// What is saved, by item.
    const std::map<std::size_t, ReportRow>& saved() const { return rows_; }
    /// The same for the report; afterwards it is here no more.
    std::vector<ReportRow> takeRows();
    /// One for each file or item that is not saved, in the plan's order.
    std::vector<SkippedItem> skipped() const;
    std::int64_t curableFailures() const { return curable_; }
    std::int64_t bytesSaved() const { return bytesSaved_; }
    /// Planned paths on which the library's disk failed.
    const std::set<std::string>& failedOnDisk() const { return failedOnDisk_; }
    /// What the user is told of the run, beyond the plan's notes.
    std::vector<std::string> notes(std::int64_t refusedFolders) const;

private:
    ReportRow rowOf(const SavingItem& item) const;
    bool takeItem(const SavingItem& item);
    void skip(std::size_t item, std::size_t file, const SkipCause& cause);
    std::int64_t renamedItems() const;

    std::shared_ptr<const SavingContext> context_;
    std::map<std::size_t, ReportRow> rows_;                 ///< By item.
    std::map<std::size_t, std::vector<SkippedItem>> skips_; ///< By item.
    std::set<std::string> failedOnDisk_;
    std::int64_t curable_ = 0;
    std::int64_t silentFiles_ = 0;
    std::int64_t bytesSaved_ = 0;
    std::int64_t setAside_ = 0;
};

} // namespace vantorel
