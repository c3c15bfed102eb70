#include "base/ClockSources.h"

#include <ctime>

namespace vantorel {

namespace {

std::chrono::nanoseconds reading(clockid_t clock)
{
    timespec now{};
    // Fails only for a clock that the kernel does not know; both have been there since Linux 2.6.39.
    clock_gettime(clock, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

} // namespace

// CLOCK_MONOTONIC does not count suspended time on Linux, CLOCK_BOOTTIME does.
std::chrono::nanoseconds systemUptime() { return reading(CLOCK_MONOTONIC); }

std::chrono::nanoseconds systemContinuous() { return reading(CLOCK_BOOTTIME); }

} // namespace vantorel
