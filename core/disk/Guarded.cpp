#include "disk/Guarded.h"

#include <atomic>

namespace vantorel {

namespace {

std::atomic<bool> abandoned{false};

/// The waiting notice of one wait: told to the caller when it changes, and hidden at the end of the wait.
class Notice {
public:
    explicit Notice(const std::function<void(bool)>& tell)
        : tell_(tell)
    {
    }

    void show(bool wanted)
    {
        if (tell_ && wanted != shown_) {
            shown_ = wanted;
            tell_(wanted);
        }
    }

private:
    const std::function<void(bool)>& tell_;
    bool shown_ = false;
};

/// True when the signal came, false when the work is to be given up.
bool waitInSlices(
    const Clock& clock, const Patience& patience, Signal& done, const Heartbeat& heartbeat, Notice& notice)
{
    constexpr auto slice = std::chrono::duration_cast<std::chrono::nanoseconds>(DiskPatience::pollingSlice);
    while (!clock.acquire(done, slice)) {
        const Seconds silence = heartbeat.silence();
        if (silence > patience.stallLimit || (patience.keepGoing && !patience.keepGoing())) {
            return false;
        }
        notice.show(silence > DiskPatience::waitingNotice);
    }
    return true;
}

} // namespace

std::function<bool()> keepGoingWithGrace(std::shared_ptr<const Clock> clock, SharedCancelToken cancel)
{
    return [clock = std::move(clock), cancel = std::move(cancel),
               seen = std::optional<std::chrono::nanoseconds>()]() mutable {
        if (!isCancelled(cancel)) {
            return true;
        }
        const auto now = clock->continuous();
        if (!seen) {
            seen = now;
        }
        return now - *seen < DiskPatience::graceAfterCancel;
    };
}

bool anyThreadAbandoned() { return abandoned; }

namespace detail {

bool waitGuarded(const Clock& clock, const Patience& patience, Signal& done, Heartbeat& heartbeat)
{
    Notice notice(patience.onSilence);
    bool finished = false;
    try {
        finished = waitInSlices(clock, patience, done, heartbeat, notice);
    } catch (...) {
        // The caller's own check or notice threw: nobody waits for the worker any longer.
        heartbeat.giveUp();
        noteAbandonedThread();
        throw;
    }
    if (!finished) {
        heartbeat.giveUp();
        // The work may have ended at this very moment.
        finished = done.tryAcquire();
    }
    if (!finished) {
        noteAbandonedThread();
    }
    notice.show(false);
    return finished;
}

void noteAbandonedThread() { abandoned = true; }

} // namespace detail

} // namespace vantorel
