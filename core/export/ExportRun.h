#pragma once

#include "export/EarlierItems.h"
#include "export/ExportChecks.h"
#include "export/ExportEnd.h"
#include "export/RunResults.h"

#include <memory>
#include <optional>
#include <vector>

namespace vantorel {

/// One export from its checks to its outcome. Its thread touches no disk itself.
class ExportRun {
public:
    ExportRun(CoreServices services, const Exporter::Request& request);
    ~ExportRun();
    ExportRun(const ExportRun&) = delete;
    ExportRun& operator=(const ExportRun&) = delete;

    ExportOutcome run();

private:
    /// The outcome of a run that ends before it saves anything.
    std::optional<ExportOutcome> begin();
    std::expected<ExportFolder, ExportOutcome::State> openFolder();
    std::optional<RunStop> prepare();
    void takeStock();
    void save();
    std::optional<CommitGroup> nextGroup();
    std::expected<std::optional<SavingItem>, RunStop> unsaved(std::size_t index);
    bool ended(CommitGroup& group);

    ExportOutcome finish();
    void countUnreached();
    std::string filesForTheEnd() const;
    void endUnfinished(ExportOutcome& outcome, EndTexts texts);
    bool endFinished(ExportOutcome& outcome, EndTexts texts);
    ExportOutcome outcomeSoFar() const;

    CoreServices services_;
    Exporter::Request request_;
    std::shared_ptr<RunBox> box_;
    std::shared_ptr<const DiskSteps> steps_;

    CheckedStart start_;
    ExportFolder folder_;
    PlacedFolders placed_;
    std::shared_ptr<SavingContext> context_; ///< Filled while the run is set up, then only read.
    std::optional<EarlierItems> earlier_;
    std::optional<RunResults> results_;
    std::vector<std::size_t> order_; ///< Items in the order in which they are tried.
    std::size_t position_ = 0;       ///< Those before it were tried, or found saved.
    std::optional<RunStop> stop_;
};

} // namespace vantorel
