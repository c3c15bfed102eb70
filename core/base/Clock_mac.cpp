#include "base/ClockSources.h"

#include <time.h>

namespace vantorel {

// On macOS the clocks named "monotonic" go on while the computer sleeps; "uptime" does not.
std::chrono::nanoseconds systemUptime()
{
    return std::chrono::nanoseconds(clock_gettime_nsec_np(CLOCK_UPTIME_RAW));
}

std::chrono::nanoseconds systemContinuous()
{
    return std::chrono::nanoseconds(clock_gettime_nsec_np(CLOCK_MONOTONIC_RAW));
}

} // namespace vantorel
