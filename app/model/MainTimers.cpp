#include "app/model/MainTimers.h"

#include <algorithm>
#include <utility>

namespace vantorel {

namespace {

using namespace std::chrono_literals;

/// After waking up, what is due is done within this time at the latest.
constexpr auto longestNap = 250ms;

} // namespace

ContinuousTimers::ContinuousTimers(std::shared_ptr<const Clock> clock)
    : clock_(std::move(clock))
{
    wake_.setSingleShot(true);
    wake_.setTimerType(Qt::PreciseTimer);
    wake_.callOnTimeout([this] { runDue(); });
}

void ContinuousTimers::after(Seconds delay, std::function<void()> action)
{
    const auto due = clock_->continuous() + std::chrono::duration_cast<std::chrono::nanoseconds>(delay);
    const auto place = std::ranges::upper_bound(entries_, due, {}, &Entry::due);
    entries_.insert(place, {.due = due, .action = std::move(action)});
    wakeForNext();
}

void ContinuousTimers::runDue()
{
    const auto now = clock_->continuous();
    while (!entries_.empty() && entries_.front().due <= now) {
        const auto action = std::move(entries_.front().action);
        entries_.erase(entries_.begin());
        action();
    }
    wakeForNext();
}

void ContinuousTimers::wakeForNext()
{
    if (entries_.empty()) {
        wake_.stop();
        return;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(entries_.front().due - clock_->continuous());
    wake_.start(std::clamp(left, 0ms, std::chrono::milliseconds(longestNap)));
}

} // namespace vantorel
