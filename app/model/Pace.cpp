#include "app/model/Pace.h"

#include <algorithm>

namespace vantorel {

namespace {

constexpr Seconds betweenSamples{0.5};
constexpr Seconds memory{30.0};
constexpr Seconds recent{6.0};
/// A number that changes faster than this cannot be read.
constexpr Seconds betweenReadings{1.0};
/// How far the last seconds may be from the last half minute. Once a time is shown it stays for longer: one
/// that comes and goes tells nobody anything.
constexpr double steadyEnough = 1.6;
constexpr double tooUneven = 3.0;

} // namespace

void Pace::restart() { *this = {}; }

double Pace::speed(const Sample& from, const Sample& to)
{
    const double time = (to.at - from.at).count();
    return time > 0 ? static_cast<double>(to.done - from.done) / time : 0;
}

Pace::Reading Pace::update(std::int64_t done, std::int64_t total, Seconds now)
{
    if (total != total_ || (!samples_.empty() && done < samples_.back().done)) {
        restart();
        total_ = total;
    }
    const Sample current{.at = now, .done = done};
    if (samples_.empty() || now - samples_.back().at >= betweenSamples) {
        samples_.push_back(current);
    }
    while (now - samples_.front().at > memory) {
        samples_.pop_front();
    }
    if (now - shownAt_ < betweenReadings && shownAt_ > Seconds(0)) {
        return shown_;
    }
    const auto recently =
        std::ranges::find_if(samples_, [&](const Sample& sample) { return now - sample.at <= recent; });
    const bool oldEnough = now - samples_.front().at >= recent;
    if (!oldEnough || recently == samples_.end()) {
        return shown_;
    }
    const double usual = speed(samples_.front(), current);
    const double latest = speed(*recently, current);
    const double spread = shown_.left ? tooUneven : steadyEnough;
    const bool isSteady = usual > 0 && latest * spread >= usual && latest <= usual * spread;
    shown_ = {.perSecond = static_cast<std::int64_t>(latest)};
    if (isSteady && total > done) {
        shown_.left = Seconds(static_cast<double>(total - done) / usual);
    }
    shownAt_ = now;
    return shown_;
}

} // namespace vantorel
