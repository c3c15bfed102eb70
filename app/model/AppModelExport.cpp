#include "app/model/AppModel.h"

#include "app/model/AppModelWork.h"
#include "app/model/FreedInBackground.h"
#include "app/model/MainTimers.h"
#include "app/model/SavedOptions.h"
#include "base/Text.h"

#include <unordered_set>

#include <QtCore/qpointer.h>

namespace vantorel {

namespace {

PlanSummary summaryOf(const ExportPlan& plan)
{
    std::unordered_set<std::int64_t> assets;
    PlanSummary summary{.bytes = sizeEstimate(plan)};
    for (const auto& item : plan.items) {
        assets.insert(item.assetPK);
        summary.copies += static_cast<std::int64_t>(item.files.size());
    }
    summary.photos = static_cast<std::int64_t>(assets.size());
    return summary;
}

/// What a run still writes there: the same number by which it refuses to start.
std::int64_t neededThere(const ExportPlan& plan, const DestinationFacts& facts)
{
    const auto blockSize = facts.volume ? facts.volume->blockSize : 0;
    const bool continues = facts.unfinished && facts.unfinished->planID == plan.id && facts.savedKeys;
    if (!continues) {
        return neededBytes(plan, blockSize);
    }
    std::int64_t needed = 0;
    for (const auto& item : plan.items) {
        if (!item.files.empty() && !facts.savedKeys->contains(item.files.front().relativePath)) {
            needed = sumOfSizes(needed, neededBytes(item, blockSize));
        }
    }
    return needed;
}

} // namespace

void AppModel::openExport()
{
    if (!scanned()) {
        return;
    }
    if (!exportDestination()) {
        const auto saved = services_.settings->text(settingsKeys::exportDestination);
        if (saved && !saved->empty()) {
            setExportDestination(*saved);
        }
    }
    if (!exportPlan() && !isPlanning()) {
        planAgain();
    }
    showExport.set(true);
}

void AppModel::closeExport() { showExport.set(false); }

void AppModel::setExportOptions(const ExportOptions& options)
{
    if (options != exportOptions()) {
        exportOptions.set(options);
        planAgain();
    }
}

/// What belongs to the library that was scanned before. An export that runs goes on: it has all that it
/// needs.
void AppModel::clearExport()
{
    auto options = exportOptions();
    options.includeOutsideFiles = false;
    options.albumPKs.reset();
    exportOptions.set(options);
    showExport.set(false);
    exportOutcome.set(nullptr);
    ++planGeneration_;
    exportPlan.set(nullptr);
    planSummary.set({});
    isPlanning.set(false);
    // The folder stays chosen; what was found in it was looked for under the other library's name.
    ++destinationGeneration_;
    destinationFacts.set(std::nullopt);
    inspectedFor_.clear();
    updateUnfinished();
}

void AppModel::planAgain()
{
    ++planGeneration_;
    isPlanning.set(true);
    if (!planningRuns_) {
        startPlanning();
    }
}

void AppModel::startPlanning()
{
    struct Planned {
        std::shared_ptr<const ExportPlan> plan{};
        PlanSummary summary{};
    };
    const auto scan = scanned() ? scanned()->result : nullptr;
    if (!scan) {
        isPlanning.set(false);
        return;
    }
    planningRuns_ = true;
    inBackground<Planned>(
        [work = services_.core.plan, start = services_.start, scan, options = exportOptions()] {
            auto plan = work(*scan, options);
            const auto summary = summaryOf(plan);
            const auto items = plan.items.size();
            return Planned{.plan = freedInBackground(std::move(plan), items, start), .summary = summary};
        },
        [this, generation = planGeneration_, options = exportOptions()](const Planned& planned) {
            planningRuns_ = false;
            if (generation != planGeneration_) {
                startPlanning(); // under the choices, and of the scan, as they are by now
                return;
            }
            plannedOptions_ = options;
            planSummary.set(planned.summary);
            exportPlan.set(planned.plan);
            isPlanning.set(false);
            const bool mayBeOther = !destinationFacts() || destinationFacts()->unfinished;
            if (exportDestination() && planned.plan && planned.plan->id != inspectedFor_ && mayBeOther) {
                inspectDestination();
            }
            updateUnfinished();
        },
        {});
}

void AppModel::chooseExportDestination()
{
    services_.desktop->choose(
        {.what = Desktop::Panel::What::folder,
            .prompt = "Choose Folder",
            .message =
                "Choose where to save the export. A new folder is made inside it. To continue an unfinished "
                "export, choose the same place as before."},
        [model = QPointer(this)](const std::optional<DiskPath>& folder) {
            if (model && folder) {
                model->setExportDestination(*folder);
            }
        });
}

void AppModel::setExportDestination(const DiskPath& folder)
{
    if (isExporting()) {
        return;
    }
    exportOutcome.set(nullptr);
    exportDestination.set(folder);
    destinationFacts.set(std::nullopt);
    inspectDestination();
    updateUnfinished();
}

void AppModel::inspectDestination()
{
    const auto generation = ++destinationGeneration_;
    const auto scan = scanned();
    DestinationQuestion question{
        .folder = *exportDestination(),
        .libraryName = scan ? scan->result->snapshot.name : std::string(),
        .planID = exportPlan() ? exportPlan()->id : std::string(),
    };
    destinationDidNotAnswer.set(false);
    inspectedFor_ = question.planID;
    using Facts = std::optional<DestinationFacts>;
    inBackground<Facts>([inspect = services_.core.inspectDestination,
                            question = std::move(question)] { return inspect(question); },
        [this, generation](const Facts& facts) {
            if (generation == destinationGeneration_) {
                applyFacts(facts);
            }
        },
        std::nullopt);
}

void AppModel::applyFacts(std::optional<DestinationFacts> facts)
{
    destinationDidNotAnswer.set(!facts);
    const auto unfinished = facts ? facts->unfinished : std::nullopt;
    destinationFacts.set(std::move(facts));
    if (unfinished && adoptedChoicesFrom_ != unfinished->folder) {
        adoptedChoicesFrom_ = unfinished->folder;
        // Files outside the library ask for trust and are ticked by hand alone; chosen albums could not be
        // seen here.
        auto options = unfinished->options;
        options.includeOutsideFiles = exportOptions().includeOutsideFiles;
        options.albumPKs = exportOptions().albumPKs;
        setExportOptions(options);
    }
    updateUnfinished();
}

void AppModel::updateUnfinished()
{
    const auto& facts = destinationFacts();
    const auto plan = exportPlan();
    if (!facts || !plan) {
        unfinishedNote.set(std::nullopt);
        resumesUnfinished.set(false);
        neededBytesThere.set(0);
        return;
    }
    neededBytesThere.set(neededThere(*plan, *facts));
    resumesUnfinished.set(facts->unfinished && facts->unfinished->planID == plan->id);
    unfinishedNote.set(facts->unfinished
            ? vantorel::unfinishedNote(*facts->unfinished, *plan, plannedOptions_)
            : std::nullopt);
}

bool AppModel::canStartExport() const
{
    const auto plan = exportPlan();
    const auto& facts = destinationFacts();
    return plan && !plan->items.empty() && !isPlanning() && exportDestination() && facts && !facts->problem
        && !destinationDidNotAnswer() && !isExporting()
        && (!facts->volume || facts->volume->freeBytes >= neededBytesThere());
}

std::function<void(const ExportProgress&)> AppModel::exportProgressOf(const SharedCancelToken& token)
{
    return throttled<ExportProgress>([this, token](const ExportProgress& value) {
        if (exportToken_ == token) {
            exportProgress.set(value);
            exportPace.set(exportSpeed_.update(value.bytesDone, value.bytesTotal, services_.timers->now()));
            exportNotice_.update(value.waitingForDisk);
        }
    });
}

void AppModel::startExport()
{
    const auto plan = exportPlan();
    if (!plan || !scanned() || isPlanning() || !exportDestination() || isExporting()) {
        return;
    }
    const DiskPath destination = *exportDestination();
    services_.settings->setBytes(settingsKeys::exportOptions, savedForm(exportOptions()));
    if (isValidUtf8(destination.native())) {
        services_.settings->setText(settingsKeys::exportDestination, destination.native());
    }
    const auto token = std::make_shared<CancelToken>();
    exportToken_ = token;
    exportProgress.set(
        {.itemsTotal = static_cast<std::int64_t>(plan->items.size()), .bytesTotal = planSummary().bytes});
    exportPace.set({});
    exportSpeed_.restart();
    isStoppingExport.set(false);
    exportOutcome.set(nullptr);
    isExporting.set(true);
    beginActivity("Vantorel is saving files");
    noSuddenTermination_ = services_.desktop->preventSuddenTermination();

    Exporter::Request request{
        .plan = plan,
        .destination = destination,
        .scan = scanned()->result,
        .options = plannedOptions_,
        .cancel = token,
        .progress = exportProgressOf(token),
    };
    struct Ended {
        std::shared_ptr<const ExportOutcome> outcome{};
        bool folderIsThere = false;
    };
    inBackground<Ended>(
        [core = services_.core, request = std::move(request)] {
            auto outcome = std::make_shared<const ExportOutcome>(core.runExport(request));
            const bool isThere = outcome->folder && core.folderIsThere(*outcome->folder);
            return Ended{.outcome = std::move(outcome), .folderIsThere = isThere};
        },
        [this, token](const Ended& ended) {
            if (exportToken_ == token) {
                applyOutcome(ended.outcome, ended.folderIsThere);
            }
        },
        Ended{.outcome = std::make_shared<const ExportOutcome>(ExportOutcome{
                  .state = ExportOutcome::CannotStart{"the system has no memory or thread left for it"}})});
}

void AppModel::applyOutcome(const std::shared_ptr<const ExportOutcome>& outcome, bool folderIsThere)
{
    exportToken_.reset();
    exportNotice_.update(false);
    outcomeFolderIsThere.set(folderIsThere);
    exportOutcome.set(outcome);
    isStoppingExport.set(false);
    isExporting.set(false);
    noSuddenTermination_.reset();
    endActivity();
    announce(outcome->isFinished() ? title(*outcome) + "." : "Export not finished.");
    if (exportDestination()) {
        inspectDestination(); // it has less room now, and maybe an unfinished export
    }
    if (const auto quit = std::exchange(quitAfterExport_, {})) {
        quit();
    }
}

void AppModel::stopExport()
{
    if (exportToken_ && !isStoppingExport()) {
        exportToken_->cancel();
        isStoppingExport.set(true);
    }
}

void AppModel::clearOutcome() { exportOutcome.set(nullptr); }

void AppModel::setQuitAfterExport(std::function<void()> action) { quitAfterExport_ = std::move(action); }

} // namespace vantorel
