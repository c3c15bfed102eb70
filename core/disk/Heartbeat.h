#pragma once

#include "base/Clock.h"

#include <chrono>
#include <memory>
#include <mutex>

namespace vantorel {

/// The time of a worker's last sign of life, and the word of its waiter that nobody waits any longer.
/// Shared by both; any thread.
class Heartbeat {
public:
    explicit Heartbeat(std::shared_ptr<const Clock> clock);

    void beat();
    Seconds silence() const;
    /// A worker looks at this between two calls to the disk and ends when it is true.
    bool gaveUp() const;
    void giveUp();

private:
    std::shared_ptr<const Clock> clock_;
    mutable std::mutex lock_;
    std::chrono::nanoseconds last_; ///< Uptime.
    bool gaveUp_ = false;
};

} // namespace vantorel
