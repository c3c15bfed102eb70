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
    /// What the destination's drive is asked at once. Syncs and single reads it can put into an order of its
    /// own; the reading of large files side by side would cost a drive that spins its speed.
    std::size_t syncsAtOnce = 4;
    std::size_t smallReadsAtOnce = 4;
    std::size_t largeReadsAtOnce = 1;
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
    std::vector<FilePart> parts{}; ///< One for each planned file, once it was begun.
    FreshFile freshSidecar{};      ///< Before it gets its name.
    std::string sidecar{};         ///< The path it got.
    bool hasSidecar = false;
    bool isCut = false; ///< The run ends before it is saved.
    /// What an earlier run saved of it, where that was not all; still there and checked.
    std::optional<ReportRow> earlier{};

    bool hasMain() const { return !parts.empty() && parts.front().isAlive(); }
    bool isAlive() const { return hasMain() && !isCut; }
};

/// Items that are made durable and recorded together.
struct CommitGroup {
    std::vector<SavingItem> items{};
    std::optional<RunStop> stop{}; ///< The run ends with this group.
    std::int64_t setAside = 0;     ///< Files of an earlier run kept under another name.

    /// The run ends, and the item at a position and those behind it are not saved by it. What stands before
    /// them is, unless the destination does not answer or the user stopped the run.
    void cutFrom(std::size_t position, const RunStop& why);
    /// Whether a stage has anything to do.
    bool goesOn() const;

private:
    bool mayGoOn() const;
};

/// What is done with groups, and on which thread.
struct SaveCourse {
    /// The next group, none at the end; one with a stop, and maybe without items, where the run ends here.
    /// The run's thread, as the two that follow.
    std::function<std::optional<CommitGroup>()> next{};
    /// From the temporary files to the journal.
    std::function<void(CommitGroup&)> commit{};
    /// Takes every group that `next` gave, in their order, saved or cut; answers whether to go on.
    std::function<bool(CommitGroup&)> ended{};
    /// Copies into temporary files; gives what is left for a later group where this one takes too long. On
    /// whichever thread, one at a time.
    std::function<CommitGroup(CommitGroup&)> copy{};
};

/// Copies a group, commits it, and so on.
void saveInTurn(const SaveCourse& course);

/// Copies a group on a thread of its own while the one before is committed. `waiting` is called in slices
/// while the run's thread waits for a copy; `copying` is cancelled where a group's end ends the run, so that
/// the copying of the next one stops.
struct Overlapping {
    std::shared_ptr<const Clock> clock{};
    std::function<void()> waiting{};
    SharedCancelToken copying{};
};
void saveOverlapping(const SaveCourse& course, const Overlapping& how);

} // namespace vantorel
