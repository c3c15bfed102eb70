#pragma once

#include "base/Clock.h"

namespace vantorel {

/// How long the program waits for disks before it says so or goes on without them.
namespace DiskPatience {

inline constexpr Seconds pollingSlice{0.05};
inline constexpr Seconds waitingNotice{8.0};    ///< Silence after which the waiting notice is shown.
inline constexpr Seconds longerNotice{30.0};    ///< After the notice appeared, the longer text replaces it.
inline constexpr Seconds graceAfterCancel{2.0}; ///< On the clock that counts sleep.

inline constexpr Seconds scan{180.0}; ///< Stall limit of a whole scan as the programs start it.
inline constexpr Seconds originalsCheckAtMost{90.0};
inline constexpr Seconds databaseStepAtMost{60.0};
inline constexpr Seconds databaseCopyAtLeast{60.0};
inline constexpr double databaseCopyBytesPerSecond =
    16.0 * 1024 * 1024; ///< One second more for every 16 MiB.
inline constexpr Seconds singleLook{5.0};

inline constexpr Seconds exportRead{120.0};       ///< The library's side of an export.
inline constexpr Seconds exportSecondTry{30.0};   ///< The same when a file is tried again.
inline constexpr Seconds destinationStep{20.0};   ///< A small step on the destination, and its inspection.
inline constexpr Seconds destinationWrite{120.0}; ///< A write, a sync or a read-back there.

} // namespace DiskPatience

} // namespace vantorel
