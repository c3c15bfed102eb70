#pragma once

#include "disk/Guarded.h"
#include "export/RunBox.h"

#include <algorithm>
#include <expected>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

namespace vantorel {

/// How a run touches disks: each step on a worker of its own, while the run's thread waits, tells progress,
/// and heeds the user's stop.
class DiskSteps {
public:
    /// Why a step has no result. `silent` says nothing about damage.
    enum class Trouble { silent, cancelled };

    /// Without a token the steps are not stopped: for the end of a run, which a stop must not cut short.
    /// `patience` is how long the run's caller lets a disk be silent at most.
    DiskSteps(std::shared_ptr<const Clock> clock, SharedCancelToken cancel, std::shared_ptr<RunBox> box,
        std::function<void(const ExportProgress&)> progress, Seconds patience)
        : clock_(std::move(clock))
        , cancel_(std::move(cancel))
        , box_(std::move(box))
        , progress_(std::move(progress))
        , patience_(patience)
    {
    }

    DiskSteps withoutCancel() const { return {clock_, nullptr, box_, progress_, patience_}; }
    /// For another thread than the run's: what it has to tell is told by the run's.
    DiskSteps besideTheRun(SharedCancelToken cancel) const
    {
        DiskSteps steps(clock_, std::move(cancel), box_, nullptr, patience_);
        steps.tells_ = false;
        return steps;
    }

    /// `work` gets the heartbeat and owns all that it touches. A destination gets no more patience than the
    /// caller has, and all of that in its longest steps.
    template <typename Work>
    auto run(Seconds silenceAllowed, Work work) const
        -> std::expected<std::invoke_result_t<Work&, const std::shared_ptr<Heartbeat>&>, Trouble>
    {
        const Patience patience{
            .stallLimit = silenceAllowed < DiskPatience::destinationWrite
                ? std::min(silenceAllowed, patience_)
                : patience_,
            .keepGoing =
                [this, withinGrace = keepGoingWithGrace(clock_, cancel_)] {
                    tellProgress();
                    return withinGrace();
                },
            .onSilence =
                [this](bool waiting) {
                    box_->setWaiting(waiting);
                    tellProgress();
                },
        };
        auto outcome = guardedRun(clock_, patience, std::move(work));
        tellProgress();
        if (outcome.isStalled()) {
            return std::unexpected(whyNone());
        }
        return std::move(outcome).value();
    }

    /// Why a step that was given up has no result.
    Trouble whyNone() const { return isCancelled(cancel_) ? Trouble::cancelled : Trouble::silent; }

    /// Hands what changed to the caller of the export, on this thread.
    void tellProgress() const
    {
        if (!tells_) {
            return;
        }
        for (const ExportProgress& change : box_->takeChanges()) {
            if (progress_) {
                progress_(change);
            }
        }
    }

    const SharedCancelToken& cancel() const { return cancel_; }
    const std::shared_ptr<const Clock>& clock() const { return clock_; }

private:
    std::shared_ptr<const Clock> clock_;
    SharedCancelToken cancel_;
    std::shared_ptr<RunBox> box_;
    std::function<void(const ExportProgress&)> progress_;
    Seconds patience_;
    bool tells_ = true;
};

} // namespace vantorel
