#pragma once

#include <chrono>

namespace vantorel {

/// The system's two monotonic clocks: one stands still while the computer sleeps, the other does not.
std::chrono::nanoseconds systemUptime();
std::chrono::nanoseconds systemContinuous();

} // namespace vantorel
