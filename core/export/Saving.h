#pragma once

#include "export/ExportJournal.h"
#include "export/ExportReport.h"
#include "export/FilePlacer.h"
#include "export/RunStop.h"
#include "export/SidecarTexts.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantorel {

/// What the stages of a run work with. Everything is shared, so that a worker that was given up owns what it
/// touches.
struct SavingContext {
    std::shared_ptr<const SystemCalls> calls{};
    std::shared_ptr<const DiskSteps> steps{};
    std::shared_ptr<RunBox> box{};
    std::shared_ptr<const ExportPlan> plan{};
    std::shared_ptr<const SidecarTexts> sidecars{};
    ExportSettings settings{};
    std::shared_ptr<const Root> library{};
    std::shared_ptr<const Root> root{}; ///< The export folder.
    std::shared_ptr<const VolumeWatch> libraryWatch{};
    std::shared_ptr<const VolumeWatch> destinationWatch{};
    bool destinationIsFat = false;
    std::shared_ptr<FinalNames> names{};
    std::shared_ptr<ExportJournal> journal{};
    std::shared_ptr<const FilePlacer> placer{};
};

/// One file being saved.
struct FilePart {
    DiskPath temporary{};
    FileDigest content{};             ///< Of the bytes read from the library.
    std::string path{};               ///< The final one, once it is placed.
    std::optional<SkipCause> cause{}; ///< Why it is not saved.

    bool isAlive() const { return !cause; }
};

/// One item on its way through the stages. Its first part is the main file; without that nothing of it is
/// saved. A companion that cannot be read does not keep the photo from being saved.
struct SavingItem {
    std::size_t index = 0;         ///< In the plan.
    std::vector<FilePart> parts{}; ///< One for each planned file.
    std::string sidecar{};         ///< The wanted path, then the one it got.
    bool hasSidecar = false;
    bool isRecorded = false; ///< Its line is in the journal.
    /// What an earlier run saved of it, where that was not all; still there and checked.
    std::optional<ReportRow> earlier{};

    bool isAlive() const { return !parts.empty() && parts.front().isAlive(); }
};

/// Items that are made durable and recorded together.
struct CommitGroup {
    std::vector<SavingItem> items{};
    std::optional<RunStop> stop{}; ///< Set by a stage that ends the run; no later stage sees the group.
    std::int64_t setAside = 0;     ///< Files of an earlier run kept under another name.
};

/// Takes groups through the stages. Another executor may have several groups in different stages at once;
/// each stage sees the groups in order, and `next` and `committed` are called on the run's thread, in order
/// too.
class SaveExecutor {
public:
    using Stage = std::function<void(CommitGroup&)>;

    virtual ~SaveExecutor() = default;
    /// `next` gives the next group, none at the end. `committed` takes a group that went through all stages
    /// or was stopped in one, and answers whether to go on.
    virtual void run(const std::vector<Stage>& stages,
        const std::function<std::optional<CommitGroup>()>& next,
        const std::function<bool(CommitGroup&)>& committed) const = 0;
};

/// One group after the other.
class SerialExecutor final : public SaveExecutor {
public:
    void run(const std::vector<Stage>& stages, const std::function<std::optional<CommitGroup>()>& next,
        const std::function<bool(CommitGroup&)>& committed) const override;
};

} // namespace vantorel
