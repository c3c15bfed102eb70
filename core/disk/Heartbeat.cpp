#include "disk/Heartbeat.h"

#include <algorithm>
#include <utility>

namespace vantorel {

Heartbeat::Heartbeat(std::shared_ptr<const Clock> clock)
    : clock_(std::move(clock))
    , last_(clock_->uptime())
{
}

void Heartbeat::beat()
{
    const auto now = clock_->uptime();
    const std::scoped_lock held(lock_);
    // A thread that read the clock earlier may get the lock later.
    last_ = std::max(last_, now);
}

Seconds Heartbeat::silence() const
{
    const std::scoped_lock held(lock_);
    return clock_->uptime() - last_;
}

bool Heartbeat::gaveUp() const
{
    const std::scoped_lock held(lock_);
    return gaveUp_;
}

void Heartbeat::giveUp()
{
    const std::scoped_lock held(lock_);
    gaveUp_ = true;
}

} // namespace vantorel
