#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>

namespace vantorel {

using Seconds = std::chrono::duration<double>;

/// A counting semaphore whose timed wait goes through a clock, so that a test decides what time passes.
/// Any thread may release and acquire.
class Signal {
public:
    void release();
    /// Takes one count if there is one; never waits.
    bool tryAcquire();

private:
    friend class Clock;
    friend class SystemClock;
    friend class ManualClock;
    std::mutex lock_;
    std::condition_variable changed_;
    std::size_t count_ = 0;
};

/// The clocks and the only way to wait. Handed on as `std::shared_ptr<const Clock>`, since a worker that was
/// given up outlives its caller. All members may be called from any thread.
class Clock {
public:
    virtual ~Clock() = default;

    /// Monotonic; stands still while the computer sleeps. Silence of a disk is measured on it.
    virtual std::chrono::nanoseconds uptime() const = 0;
    /// Monotonic; goes on while the computer sleeps. The grace after a cancel and the stop sequence use it.
    virtual std::chrono::nanoseconds continuous() const = 0;
    /// Wall clock, since 1970-01-01 UTC. For what is written into files and for nothing that decides.
    virtual std::chrono::system_clock::time_point wall() const = 0;
    /// Waits until the signal has a count and takes it (true), or until `atMost` of uptime passed (false).
    virtual bool acquire(Signal& signal, std::chrono::nanoseconds atMost) const = 0;
    /// Lets time pass on this thread. For tests' scripted delays and for polling, never for synchronisation.
    virtual void sleepFor(std::chrono::nanoseconds duration) const = 0;
};

/// The real clocks of this machine. One shared object for the whole process.
std::shared_ptr<const Clock> systemClock();

} // namespace vantorel
