#include "database/ReadProgress.h"

#include <algorithm>
#include <utility>

namespace vantorel {

ReadProgress::ReadProgress(ScanProgressCallback callback)
    : callback_(std::move(callback))
{
}

void ReadProgress::begin(ScanStage stage, std::int64_t total)
{
    const std::lock_guard guard(lock_);
    tell({.stage = stage, .done = 0, .total = total, .waitingForDisk = false});
}

void ReadProgress::advance(std::int64_t done, std::int64_t total)
{
    const std::lock_guard guard(lock_);
    ScanProgress now = last_;
    now.done = std::max(last_.done, done);
    now.total = total;
    tell(now);
}

void ReadProgress::waitForDisk(bool waiting)
{
    const std::lock_guard guard(lock_);
    ScanProgress now = last_;
    now.waitingForDisk = waiting;
    tell(now);
}

void ReadProgress::close()
{
    const std::lock_guard guard(lock_);
    callback_ = nullptr;
}

void ReadProgress::tell(const ScanProgress& now)
{
    if (told_ && now == last_) {
        return;
    }
    told_ = true;
    last_ = now;
    if (callback_) {
        callback_(now);
    }
}

} // namespace vantorel
