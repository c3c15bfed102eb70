#pragma once

#include "base/Clock.h"

#include <functional>
#include <memory>
#include <vector>

#include <QtCore/qtimer.h>

namespace vantorel {

/// Things to do later on the main thread. Main thread only.
class MainTimers {
public:
    virtual ~MainTimers() = default;
    /// Time asleep counts. What was asked for cannot be taken back: the action looks whether it is still
    /// wanted. It is not called any more once the timers are gone.
    virtual void after(Seconds delay, std::function<void()> action) = 0;
    /// On the clock that the delays are measured on.
    virtual Seconds now() const = 0;
};

/// Timers on the clock that goes on while the computer sleeps. Qt's own stand still meanwhile on some
/// systems; so one of them only wakes this object, and the clock decides.
class ContinuousTimers final : public MainTimers {
public:
    explicit ContinuousTimers(std::shared_ptr<const Clock> clock);
    void after(Seconds delay, std::function<void()> action) override;
    Seconds now() const override { return clock_->continuous(); }
    /// Does what is due now.
    void runDue();

private:
    struct Entry {
        std::chrono::nanoseconds due{};
        std::function<void()> action{};
    };
    void wakeForNext();

    std::shared_ptr<const Clock> clock_;
    std::vector<Entry> entries_{}; ///< In the order in which they are due; equal ones as they were asked for.
    QTimer wake_{};
};

} // namespace vantorel
