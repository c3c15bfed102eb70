#pragma once

#include "base/Clock.h"

#include <cstdint>
#include <deque>
#include <optional>

namespace vantorel {

/// How fast a piece of work goes and how long it still takes, worked out from its counts. It keeps silent
/// while the work is too young or too uneven for an honest answer.
class Pace {
public:
    struct Reading {
        std::int64_t perSecond = 0;    ///< 0: not known yet.
        std::optional<Seconds> left{}; ///< None while it would be a guess.

        bool operator==(const Reading&) const = default;
    };

    /// Forgets what was; for another stage, whose counts mean something else.
    void restart();
    /// `now` is on any clock that does not go backwards. A total of 0 is not known.
    Reading update(std::int64_t done, std::int64_t total, Seconds now);

private:
    struct Sample {
        Seconds at{0};
        std::int64_t done = 0;
    };
    static double speed(const Sample& from, const Sample& to);

    std::deque<Sample> samples_{}; ///< Half a second apart, of the last half minute.
    std::int64_t total_ = 0;
    Reading shown_{};
    Seconds shownAt_{0};
};

} // namespace vantorel
