#pragma once

#include <cstddef>
#include <functional>

namespace vantorel {

/// Guarded work runs on stacks of this size.
inline constexpr std::size_t workerStackBytes = 4'194'304;

/// Starts a detached thread with a stack of the given size; false when there was no thread to start. On macOS
/// the thread first sets its I/O policy so that reading writes no access times. What `body` throws ends the
/// process, as it must not.
[[nodiscard]] bool startDetachedThread(std::size_t stackBytes, std::function<void()> body);

/// Runs `body` on such a thread with the stack of a worker: on one that has nothing to do any more, where
/// there is one, else on a new one. Between two bodies a thread waits a while for the next, so that thousands
/// of short runs do not start thousands of threads; one that hangs in the kernel takes no other body. False
/// when there was no thread to start.
[[nodiscard]] bool runOnWorker(std::function<void()> body);

/// How many detached threads have something to do yet (those that were given up among them), and whether the
/// calling thread is one. Tests wait by them until nothing is left to do, and let no time pass while one
/// works.
std::size_t detachedThreadsAlive();
bool isOnDetachedThread();

} // namespace vantorel
