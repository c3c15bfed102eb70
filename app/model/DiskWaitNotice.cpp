#include "app/model/DiskWaitNotice.h"

#include "app/model/MainTimers.h"
#include "disk/DiskPatience.h"

#include <utility>

namespace vantorel {

DiskWaitNotice::DiskWaitNotice(std::shared_ptr<MainTimers> timers, std::function<void(DiskWait)> show)
    : timers_(std::move(timers))
    , show_(std::move(show))
{
}

void DiskWaitNotice::update(bool isWaiting)
{
    if (std::exchange(isWaiting_, isWaiting) == isWaiting) {
        return;
    }
    ++*wait_;
    show_(isWaiting ? DiskWait::waiting : DiskWait::none);
    if (isWaiting) {
        timers_->after(DiskPatience::longerNotice,
            [this, begun = *wait_, current = std::weak_ptr<const std::uint64_t>(wait_)] {
                // The pointer tells whether this object is still there.
                if (const auto now = current.lock(); now && *now == begun) {
                    show_(DiskWait::waitingLong);
                }
            });
    }
}

} // namespace vantorel
