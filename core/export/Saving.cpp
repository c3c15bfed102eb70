#include "export/Saving.h"

#include "disk/Thread.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <tuple>
#include <utility>
#include <variant>

namespace vantorel {

namespace {

/// The copying of groups beside the run's thread. What it copies with belongs to that thread's caller, so it
/// is waited for at the end: it never hangs, since it does not touch a disk itself either.
class CopyLane {
public:
    CopyLane(const SaveCourse& course, const Overlapping& how)
        : how_(how)
        , shared_(std::make_shared<Shared>())
    {
        shared_->clock = how.clock;
        shared_->copy = course.copy;
        isRunning_ = runOnWorker([shared = shared_] { serve(*shared); });
    }

    ~CopyLane()
    {
        if (!isRunning_) {
            return;
        }
        how_.copying->cancel();
        {
            const std::scoped_lock held(shared_->lock);
            shared_->isEnding = true;
        }
        shared_->wanted.release();
        while (!how_.clock->acquire(shared_->left, slice)) { }
    }

    CopyLane(const CopyLane&) = delete;
    CopyLane& operator=(const CopyLane&) = delete;

    bool isRunning() const { return isRunning_; }

    void give(CommitGroup group)
    {
        {
            const std::scoped_lock held(shared_->lock);
            shared_->input = std::move(group);
        }
        shared_->wanted.release();
    }

    /// The group that was given, once it is copied, and what is left of it. Throws what copying threw.
    struct Copied {
        CommitGroup group{};
        CommitGroup rest{};
    };
    Copied take()
    {
        while (!how_.clock->acquire(shared_->done, slice)) {
            how_.waiting();
        }
        how_.waiting();
        const std::scoped_lock held(shared_->lock);
        if (shared_->exception) {
            std::rethrow_exception(std::exchange(shared_->exception, nullptr));
        }
        return std::move(shared_->output);
    }

private:
    static constexpr auto slice =
        std::chrono::duration_cast<std::chrono::nanoseconds>(DiskPatience::pollingSlice);

    struct Shared {
        std::shared_ptr<const Clock> clock;
        std::function<CommitGroup(CommitGroup&)> copy;
        Signal wanted;   ///< There is an input, or it ends.
        Signal done;     ///< There is an output, or an exception.
        Signal left;     ///< The thread touches nothing of the run's any more.
        std::mutex lock; ///< Guards the rest.
        CommitGroup input;
        Copied output;
        std::exception_ptr exception;
        bool isEnding = false;
    };

    static void serve(Shared& shared)
    {
        while (true) {
            while (!shared.clock->acquire(shared.wanted, std::chrono::hours(1))) { }
            CommitGroup group;
            {
                const std::scoped_lock held(shared.lock);
                if (shared.isEnding) {
                    break;
                }
                group = std::move(shared.input);
            }
            CommitGroup rest;
            std::exception_ptr exception;
            try {
                rest = shared.copy(group);
            } catch (...) {
                exception = std::current_exception();
            }
            {
                const std::scoped_lock held(shared.lock);
                shared.output = {.group = std::move(group), .rest = std::move(rest)};
                shared.exception = exception;
            }
            shared.done.release();
        }
        shared.copy = nullptr;
        shared.left.release();
    }

    const Overlapping& how_;
    std::shared_ptr<Shared> shared_;
    bool isRunning_ = false;
};

/// Takes to its end what is not saved since the run ends.
void endUnsaved(const SaveCourse& course, CommitGroup& group, const RunStop& stop)
{
    if (!group.items.empty()) {
        group.cutFrom(0, stop);
        std::ignore = course.ended(group); // it ends whatever this says
    }
}

} // namespace

void CommitGroup::cutFrom(std::size_t position, const RunStop& why)
{
    if (!stop) {
        stop = why;
    }
    stop->destinationAnswers = stop->destinationAnswers && why.destinationAnswers;
    const bool isForAll = !mayGoOn();
    for (std::size_t i = isForAll ? 0 : position; i < items.size(); ++i) {
        items[i].isCut = true;
    }
}

bool CommitGroup::mayGoOn() const
{
    return !stop
        || (stop->destinationAnswers && !std::holds_alternative<ExportOutcome::Cancelled>(stop->state));
}

bool CommitGroup::goesOn() const { return mayGoOn() && std::ranges::any_of(items, &SavingItem::isAlive); }

void saveInTurn(const SaveCourse& course)
{
    std::optional<CommitGroup> group = course.next();
    while (group) {
        CommitGroup rest;
        if (!group->stop) {
            rest = course.copy(*group);
            course.commit(*group);
        }
        if (!course.ended(*group)) {
            endUnsaved(course, rest, *group->stop);
            return;
        }
        group = rest.items.empty() ? course.next() : std::optional(std::move(rest));
    }
}

void saveOverlapping(const SaveCourse& course, const Overlapping& how)
{
    CopyLane lane(course, how);
    if (!lane.isRunning()) {
        saveInTurn(course);
        return;
    }
    std::optional<CommitGroup> copied; // and to be committed
    std::optional<CommitGroup> following = course.next();
    while (copied || following) {
        const bool isCopying = following && !following->stop;
        if (isCopying) {
            lane.give(std::move(*following));
            following.reset();
        }
        if (copied && following && following->stop && !following->stop->destinationAnswers) {
            copied->cutFrom(0, *following->stop);
        }
        std::optional<RunStop> stop;
        for (auto* group : {&copied, &following}) {
            if (*group && !stop) {
                course.commit(**group);
                stop = course.ended(**group) ? std::nullopt : (*group)->stop;
                group->reset();
            }
        }
        CopyLane::Copied now;
        if (isCopying) {
            if (stop) {
                how.copying->cancel();
            }
            now = lane.take();
        }
        if (stop) {
            for (CommitGroup* group : {&now.group, &now.rest}) {
                endUnsaved(course, *group, *stop);
            }
            if (following) {
                endUnsaved(course, *following, *stop);
            }
            return;
        }
        if (isCopying) {
            if (!now.rest.items.empty()) {
                following = std::move(now.rest);
                if (now.group.stop) {
                    following->cutFrom(0, *now.group.stop);
                }
            } else if (!now.group.stop) {
                following = course.next();
            }
            copied = std::move(now.group);
        }
    }
}

} // namespace vantorel
