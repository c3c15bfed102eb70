#pragma once

#include "base/Clock.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <vector>

namespace vantorel {

/// A clock whose time passes only where a test makes it: "a read that hangs 10 s under a limit of 30 s" takes
/// milliseconds and comes out the same every time.
///
/// While no thread sleeps through this clock (`sleepFor`, `hang`), `acquire` waits for its signal for as long
/// as the real work takes, and no time passes. While one sleeps, and every other thread waits too, time jumps
/// to the next end of a wait. So work that is really done costs no time, even beside a hang.
///
/// At the end of each test all hangs are ended and all detached threads are waited for, whatever the test
/// did: nothing that it left behind runs into the next test or into static destruction.
class ManualClock final : public Clock {
public:
    using Nanoseconds = std::chrono::nanoseconds;

    ManualClock();
    ~ManualClock() override;
    ManualClock(const ManualClock&) = delete;
    ManualClock& operator=(const ManualClock&) = delete;

    Nanoseconds uptime() const override;
    Nanoseconds continuous() const override;
    /// Begins at noon of 1 May 2024, UTC.
    std::chrono::system_clock::time_point wall() const override;
    bool acquire(Signal& signal, Nanoseconds atMost) const override;
    void sleepFor(Nanoseconds duration) const override;

    /// Does not return before `endHangs` or the end of the test.
    void hang() const;
    /// Wakes every thread that sleeps or hangs now.
    void endHangs() const;
    /// Time passes by hand.
    void advance(Nanoseconds duration) const;
    /// Only the continuous and the wall clock go on.
    void computerSleeps(Nanoseconds duration) const;

    /// Waits until no detached thread is left: after it, what threads close and drop at their end is closed.
    static void waitForThreads();

private:
    struct Waiter;
    enum class Woken { sleepers, all };
    friend class ThreadsOfTests;

    void enter(Waiter& waiter) const;
    void leave(Waiter& waiter) const;
    void sleep(std::optional<Nanoseconds> duration) const;
    void noteWorking() const;
    void letTimePass() const;
    bool othersWork() const;
    void wakeDue(Woken woken) const;
    void setEnding(bool ending) const;
    void forget(std::thread::id thread) const;

    mutable std::mutex lock_; ///< Before any signal's own lock.
    mutable std::condition_variable changed_;
    mutable Nanoseconds uptime_ = std::chrono::hours(1);
    mutable Nanoseconds slept_ = std::chrono::hours(5);
    mutable std::vector<Waiter*> waiting_;      ///< Nobody told them yet to go on.
    mutable std::set<std::thread::id> working_; ///< Known threads, the detached ones apart, that do not wait.
    mutable std::size_t hangsEnded_ = 0;
    mutable bool ending_ = false; ///< The test is over: no wait lasts.
    mutable std::chrono::steady_clock::time_point lastChange_ = std::chrono::steady_clock::now();
    mutable std::size_t elsewhere_ = 0; ///< Threads that wait for something else than the clock.
};

} // namespace vantorel
