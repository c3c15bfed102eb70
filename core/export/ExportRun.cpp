#include "export/ExportRun.h"

#include "base/Text.h"
#include "export/CopyStage.h"
#include "export/ReadMe.h"
#include "export/SaveStages.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <exception>
#include <span>
#include <unordered_set>

namespace vantorel {

namespace {

using State = ExportOutcome::State;

constexpr int mostLockTries = 20;
constexpr std::chrono::milliseconds lockPause(100);

/// The plan as it is carried out: changed by the caller's hook, and without items that have nothing to save.
std::shared_ptr<const ExportPlan> carriedOut(const Exporter::Request& request)
{
    const auto isEmpty = [](const PlannedItem& item) { return item.files.empty(); };
    if (!request.settings.hooks.rewritePlan && std::ranges::none_of(request.plan->items, isEmpty)) {
        return request.plan;
    }
    auto plan = std::make_shared<ExportPlan>(*request.plan);
    if (request.settings.hooks.rewritePlan) {
        request.settings.hooks.rewritePlan(*plan);
    }
    std::erase_if(plan->items, isEmpty);
    return plan;
}

std::int64_t bytesOf(const PlannedItem& item)
{
    std::int64_t bytes = 0;
    for (const PlannedFile& file : item.files) {
        bytes = sumOfSizes(bytes, file.size);
    }
    return bytes;
}

/// Items that the scan itself could not read or check.
std::int64_t scanGapsOf(const OriginalsReport& report)
{
    return std::ranges::count_if(report.entries, [](const auto& entry) {
        using Reason = OriginalEntry::MissingReason;
        const OriginalEntry& original = entry.second;
        return original.status == OriginalEntry::Status::unchecked
            || original.reason == Reason::folderUnreadable || original.reason == Reason::accessDenied;
    });
}

/// The plan's order, with what failed in an earlier run at the end.
std::vector<std::size_t> triedOrder(const ExportPlan& plan, const std::set<std::string>& tryLast)
{
    std::vector<std::size_t> order(plan.items.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::ranges::stable_partition(order, [&](std::size_t item) {
        return std::ranges::none_of(plan.items[item].files,
            [&](const PlannedFile& file) { return tryLast.contains(file.relativePath); });
    });
    return order;
}

State unexpected(const std::exception& error)
{
    return ExportOutcome::Failed{.reason = "an error in the program (" + repairedUtf8(error.what()) + ")"};
}

} // namespace

ExportRun::ExportRun(CoreServices services, const Exporter::Request& request)
    : services_(std::move(services))
    , request_(request)
{
    request_.plan = carriedOut(request);
    box_ = std::make_shared<RunBox>(
        static_cast<std::int64_t>(request_.plan->items.size()), sizeEstimate(*request_.plan));
    steps_ = std::make_shared<const DiskSteps>(
        services_.clock, request_.cancel, box_, request_.progress, request_.settings.stallTimeout);
}

/// Workers that were given up may still be alive: they call no hook any more.
ExportRun::~ExportRun()
{
    box_->endObserving();
    // One of them that hangs on the library must not keep the next run out of the folder.
    if (context_ && (!stop_ || stop_->destinationAnswers)) {
        context_->journal.reset();
    }
}

ExportOutcome ExportRun::run()
{
    if (auto ended = begin()) {
        return std::move(*ended);
    }
    try {
        stop_ = prepare();
        takeStock();
        if (!stop_) {
            save();
        }
    } catch (const std::exception& error) {
        stop_ = RunStop{.state = unexpected(error)};
    }
    return finish();
}

std::optional<ExportOutcome> ExportRun::begin()
{
    auto start = checkStart(services_, *steps_, request_, *request_.plan);
    if (!start) {
        return ExportOutcome{.state = std::move(start.error())};
    }
    start_ = std::move(*start);
    auto folder = openFolder();
    if (!folder) {
        return ExportOutcome{.state = std::move(folder.error())};
    }
    folder_ = std::move(*folder);

    context_ = std::make_shared<SavingContext>(SavingContext{
        .calls = services_.calls,
        .steps = steps_,
        .box = box_,
        .plan = request_.plan,
        .sidecars = std::make_shared<const SidecarTexts>(request_.plan, request_.scan, request_.options),
        .settings = request_.settings,
        .library = start_.library,
        .root = folder_.root,
        .libraryWatch = start_.libraryWatch,
        .destinationWatch = start_.destinationWatch,
        .destinationIsFat = start_.volume.fileSystem == VolumeInfo::FileSystem::fat,
    });
    const bool maySpin = start_.destinationDrive.spins.value_or(true);
    if (request_.settings.overlap == ExportSettings::Overlap::always || !maySpin) {
        context_->largeReadsAtOnce = context_->smallReadsAtOnce;
    }
    context_->names = std::make_shared<FinalNames>(request_.plan, PlacedFolders());
    results_.emplace(context_);
    return std::nullopt;
}

/// The folder of the export that is continued, or a new one.
std::expected<ExportFolder, State> ExportRun::openFolder()
{
    if (start_.continued) {
        std::string name = start_.continued->folderName;
        name.resize(name.size() - bookkeeping::incompleteSuffix.size());
        return ExportFolder{.root = start_.continued->root, .finalBase = std::move(name)};
    }
    const ExportState state{
        .planID = request_.plan->id, .library = request_.plan->libraryName, .options = request_.options};
    auto made = steps_->run(DiskPatience::destinationWrite,
        [destination = start_.destination, state](const std::shared_ptr<Heartbeat>& heartbeat) {
            removeForgottenBookkeeping(*destination, state.library, *heartbeat);
            return makeExportFolder(*destination, state, *heartbeat);
        });
    if (!made) {
        return std::unexpected(stopOf(made.error()).state);
    }
    if (!*made) {
        return std::unexpected(State(ExportOutcome::CannotStart{
            .reason = "the output folder could not be created: " + errorText(made->error())}));
    }
    return std::move(**made);
}

/// Everything between the folder and its first item.
std::optional<RunStop> ExportRun::prepare()
{
    struct Prepared {
        std::shared_ptr<ExportJournal> journal;
        PlacedFolders folders;
    };
    using Result = std::expected<Prepared, DestinationError>;
    const ExportState state{
        .planID = request_.plan->id, .library = request_.plan->libraryName, .options = request_.options};
    const bool isContinued = start_.continued.has_value();
    auto prepared = steps_->run(DiskPatience::destinationWrite,
        [clock = services_.clock, root = folder_.root, plan = request_.plan, watch = start_.destinationWatch,
            state, isContinued, endsTorn = isContinued && start_.continued->journalIsTorn,
            stateDiffers = isContinued && start_.continued->options != request_.options,
            folderName = folder_.finalBase + std::string(bookkeeping::incompleteSuffix)](
            const std::shared_ptr<Heartbeat>& heartbeat) -> Result {
            // First the journal's lock: another run may be at work here. One that was killed a moment ago may
            // not have let go yet.
            auto journal = ExportJournal::open(root, endsTorn);
            for (int tries = 1; !journal && journal.error() == EWOULDBLOCK && tries < mostLockTries;
                ++tries) {
                clock->sleepFor(lockPause);
                journal = ExportJournal::open(root, endsTorn);
            }
            if (!journal) {
                return std::unexpected(destinationError(journal.error(), *watch));
            }
            if (isContinued) {
                if (auto ready = prepareContinued(*root, state, folderName, stateDiffers, *heartbeat);
                    !ready) {
                    return std::unexpected(destinationError(ready.error(), *watch));
                }
            }
            auto folders = makePlanFolders(*root, *plan, *heartbeat);
            if (!folders) {
                return std::unexpected(destinationError(folders.error(), *watch));
            }
            return Prepared{.journal = std::move(*journal), .folders = std::move(*folders)};
        });
    if (!prepared) {
        return stopOf(prepared.error());
    }
    if (!*prepared && prepared->error().code == EWOULDBLOCK) {
        // The other run's folder is left alone.
        return RunStop{.state = ExportOutcome::CannotStart{.reason = "another export is saving into \""
                               + repairedUtf8(start_.continued->folderName)
                               + "\" at the moment. Wait until it has ended"},
            .destinationAnswers = false};
    }
    if (!*prepared) {
        return stopOf(prepared->error());
    }
    placed_ = std::move((*prepared)->folders);
    context_->names = std::make_shared<FinalNames>(request_.plan, placed_);
    context_->journal = std::move((*prepared)->journal);
    context_->placer =
        std::make_shared<const FilePlacer>(context_->root, context_->names, start_.continued.has_value());
    return std::nullopt;
}

/// What is saved already, and in which order the rest is tried.
void ExportRun::takeStock()
{
    earlier_.emplace(context_, start_.continued ? start_.continued->journal : std::vector<JournalEntry>());
    order_ =
        triedOrder(*request_.plan, start_.continued ? start_.continued->tryLast : std::set<std::string>());
}

void ExportRun::save()
{
    using Overlap = ExportSettings::Overlap;
    const bool overlaps = request_.settings.overlap == Overlap::always
        || (request_.settings.overlap == Overlap::asDrivesAllow
            && !mayShareHeads(start_.libraryDrive, start_.destinationDrive));
    const auto copyingToken = std::make_shared<CancelToken>(request_.cancel);
    const auto copySteps =
        overlaps ? std::make_shared<const DiskSteps>(steps_->besideTheRun(copyingToken)) : steps_;
    CopyStage copying(context_, copySteps);
    SaveStages saving(context_);
    const SaveCourse course{
        .next = [&] { return nextGroup(); },
        .commit = [&](CommitGroup& group) { saving.commit(group); },
        .ended = [&](CommitGroup& group) { return ended(group); },
        .copy = [&](CommitGroup& group) { return copying.run(group); },
    };
    if (!overlaps) {
        saveInTurn(course);
        return;
    }
    saveOverlapping(course,
        {.clock = services_.clock, .waiting = [this] { steps_->tellProgress(); }, .copying = copyingToken});
}

/// The next items that are not saved yet. What an earlier run saved is checked on the way.
std::optional<CommitGroup> ExportRun::nextGroup()
{
    const GroupBounds& bounds = request_.settings.group;
    CommitGroup group;
    std::int64_t bytes = 0;
    while (position_ < order_.size() && group.items.size() < std::max<std::size_t>(1, bounds.items)
        && bytes < bounds.bytes) {
        const std::size_t index = order_[position_];
        auto item = isCancelled(request_.cancel)
            ? std::unexpected(RunStop{.state = ExportOutcome::Cancelled{}})
            : unsaved(index);
        if (!item) {
            group.cutFrom(0, item.error());
            return group;
        }
        ++position_;
        if (*item) {
            bytes = sumOfSizes(bytes, bytesOf(request_.plan->items[index]));
            group.items.push_back(std::move(**item));
        }
    }
    return group.items.empty() ? std::nullopt : std::optional(std::move(group));
}

/// An item that is to be saved; none where an earlier run has saved it whole.
std::expected<std::optional<SavingItem>, RunStop> ExportRun::unsaved(std::size_t index)
{
    SavingItem item{.index = index};
    if (!earlier_->has(index)) {
        return item;
    }
    if (!earlier_->wasLookedAt(index)) {
        const auto ahead = std::span(order_).subspan(position_);
        if (const auto looked = earlier_->lookAt(ahead); !looked) {
            return std::unexpected(looked.error());
        }
    }
    box_->name(context_->sidecars->name(index));
    auto checked = earlier_->check(index);
    if (!checked) {
        return std::unexpected(checked.error());
    }
    results_->addSetAside(checked->setAside);
    if (checked->state == EarlierItems::Checked::State::whole) {
        results_->resume(index, std::move(checked->row));
        box_->end(index, bytesOf(request_.plan->items[index]), RunBox::End::resumed);
        steps_->tellProgress();
        return std::nullopt;
    }
    if (checked->state == EarlierItems::Checked::State::partly) {
        item.earlier = std::move(checked->row);
    }
    return item;
}

bool ExportRun::ended(CommitGroup& group)
{
    for (const auto& [item, isSaved] : results_->take(group)) {
        const PlannedItem& planned = request_.plan->items[item];
        box_->end(item, bytesOf(planned), isSaved ? RunBox::End::saved : RunBox::End::skipped);
        if (isSaved && request_.settings.hooks.afterItem) {
            request_.settings.hooks.afterItem(planned);
        }
    }
    steps_->tellProgress();
    if (group.stop && !stop_) {
        stop_ = group.stop;
    }
    return !group.stop;
}

ExportOutcome ExportRun::finish()
{
    const bool cannotStart = stop_ && std::holds_alternative<ExportOutcome::CannotStart>(stop_->state);
    if (cannotStart) {
        return ExportOutcome{.state = stop_->state};
    }
    countUnreached();
    const bool isSourceFailing = stop_ && std::holds_alternative<ExportOutcome::SourceFailing>(stop_->state);
    const std::int64_t notRead =
        scanGapsOf(request_.scan->originals) + (stop_ ? 0 : results_->curableFailures());
    results_->fillUp(isSourceFailing ? SkipReason::notTriedAgain : SkipReason::notTried);
    if (!stop_ && notRead > 0) {
        stop_ = RunStop{.state = ExportOutcome::SomeNotRead{.count = notRead}};
    }
    ExportOutcome outcome = outcomeSoFar();
    const std::string tryLast = filesForTheEnd();
    EndTexts texts{
        .report = reportText(results_->takeRows(), outcome.skipped, request_.scan->snapshot),
        .tryLast = {},
    };
    if (!stop_ && endFinished(outcome, texts)) {
        return outcome;
    }
    texts.tryLast = tryLast;
    outcome.state = stop_->state;
    endUnfinished(outcome, std::move(texts));
    return outcome;
}

/// What an earlier run recorded and this one did not get to is saved all the same.
void ExportRun::countUnreached()
{
    for (std::size_t i = position_; i < order_.size(); ++i) {
        if (earlier_->has(order_[i])) {
            results_->resume(order_[i], earlier_->recorded(order_[i]));
        }
    }
}

ExportOutcome ExportRun::outcomeSoFar() const
{
    ExportOutcome outcome{
        .state = ExportOutcome::Finished{},
        .folder =
            start_.destination->path() / (folder_.finalBase + std::string(bookkeeping::incompleteSuffix)),
        .bytesWritten = results_->bytesSaved(),
        .skipped = results_->skipped(),
        .notes = request_.plan->notes,
        .sourceLimit = sourceLimitOf(request_.scan->snapshot.damage),
        .lostAllAlbums = lostAllAlbums(request_.scan->snapshot.damage),
        .scanGaps = scanGapsOf(request_.scan->originals),
    };
    std::unordered_set<std::int64_t> assets;
    for (const auto& [item, row] : results_->saved()) {
        ++outcome.exportedItems;
        assets.insert(row.item.assetPK);
    }
    outcome.exportedAssets = static_cast<std::int64_t>(assets.size());
    for (std::string& note : results_->notes(placed_.refusedCount())) {
        outcome.notes.push_back(std::move(note));
    }
    return outcome;
}

/// The planned files that the next run tries last: what failed on the library's disk, now or earlier.
std::string ExportRun::filesForTheEnd() const
{
    std::set<std::string> files = results_->failedOnDisk();
    for (std::size_t item = 0; start_.continued && item < request_.plan->items.size(); ++item) {
        for (const PlannedFile& file : request_.plan->items[item].files) {
            const bool hasFailed = start_.continued->tryLast.contains(file.relativePath);
            if (hasFailed && !results_->saved().contains(item)) {
                files.insert(file.relativePath);
            }
        }
    }
    std::string lines;
    for (const std::string& file : files) {
        lines += file + "\n";
    }
    return lines;
}

/// False, with `stop_` set, where the folder could not be made a finished one.
bool ExportRun::endFinished(ExportOutcome& outcome, EndTexts texts)
{
    texts.readMe = readMeFinished(*request_.plan, outcome);
    const auto finished = steps_->withoutCancel().run(DiskPatience::destinationWrite,
        [destination = start_.destination, folder = folder_, watch = start_.destinationWatch,
            texts = std::move(texts), libraryName = request_.plan->libraryName](
            const std::shared_ptr<Heartbeat>& heartbeat) -> std::expected<std::string, DestinationError> {
            const auto name =
                finishFolder(*destination, *folder.root, folder, libraryName, texts, *heartbeat);
            if (!name) {
                return std::unexpected(destinationError(name.error(), *watch));
            }
            return *name;
        });
    if (!finished || !*finished) {
        stop_ = finished ? stopOf(finished->error()) : stopOf(finished.error());
        return false;
    }
    outcome.folder = start_.destination->path() / **finished;
    outcome.reportCSV = *outcome.folder / finishedReportName;
    return true;
}

void ExportRun::endUnfinished(ExportOutcome& outcome, EndTexts texts)
{
    if (!stop_->destinationAnswers) {
        return;
    }
    const auto* notRead = std::get_if<ExportOutcome::SomeNotRead>(&outcome.state);
    texts.readMe = readMeWhenStopped(folder_.finalBase + std::string(bookkeeping::incompleteSuffix),
        {.scanReachedEverything = outcome.scanGaps == 0, .notRead = notRead ? notRead->count : 0});
    const auto left = steps_->withoutCancel().run(DiskPatience::destinationWrite,
        [root = folder_.root, watch = start_.destinationWatch, texts = std::move(texts)](
            const std::shared_ptr<Heartbeat>& heartbeat) -> std::expected<Unit, DestinationError> {
            if (const auto written = leaveUnfinished(*root, texts, *heartbeat); !written) {
                return std::unexpected(destinationError(written.error(), *watch));
            }
            return Unit{};
        });
    if (left && *left) {
        outcome.reportCSV = *outcome.folder / unfinishedReportName;
    } else if (notRead != nullptr) {
        // Otherwise what stopped the run says more than that its report could not be written.
        outcome.state = left ? stopOf(left->error()).state : stopOf(left.error()).state;
    }
}

ExportOutcome Exporter::run(const Request& request) const
{
    try {
        ExportRun run(services_, request);
        return run.run();
    } catch (const std::exception& error) {
        return ExportOutcome{.state = unexpected(error)};
    }
}

} // namespace vantorel
