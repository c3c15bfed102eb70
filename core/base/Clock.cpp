#include "base/Clock.h"

#include "base/ClockSources.h"

#include <algorithm>
#include <thread>

namespace vantorel {

void Signal::release()
{
    const std::scoped_lock held(lock_);
    ++count_;
    // Under the lock: whoever takes the count may destroy the signal as soon as the lock is free.
    changed_.notify_one();
}

bool Signal::tryAcquire()
{
    const std::scoped_lock held(lock_);
    if (count_ == 0) {
        return false;
    }
    --count_;
    return true;
}

class SystemClock final : public Clock {
public:
    std::chrono::nanoseconds uptime() const override { return systemUptime(); }
    std::chrono::nanoseconds continuous() const override { return systemContinuous(); }
    std::chrono::system_clock::time_point wall() const override { return std::chrono::system_clock::now(); }

    bool acquire(Signal& signal, std::chrono::nanoseconds atMost) const override
    {
        // The condition variable's own clock may be another one than ours, and its sums may overflow: it
        // waits in bounded steps, and what has passed is read from the uptime.
        constexpr std::chrono::nanoseconds longestStep = std::chrono::hours(1);
        const auto begin = uptime();
        std::unique_lock held(signal.lock_);
        while (signal.count_ == 0) {
            const auto left = atMost - (uptime() - begin);
            if (left <= std::chrono::nanoseconds::zero()) {
                return false;
            }
            signal.changed_.wait_for(held, std::min(left, longestStep));
        }
        --signal.count_;
        return true;
    }

    void sleepFor(std::chrono::nanoseconds duration) const override { std::this_thread::sleep_for(duration); }
};

std::shared_ptr<const Clock> systemClock()
{
    static const std::shared_ptr<const Clock> clock = std::make_shared<SystemClock>();
    return clock;
}

} // namespace vantorel
