#pragma once

#include <cstddef>
#include <functional>

namespace vantorel {

/// Calls `work(0)` to `work(count - 1)`, each once, on this thread and on as many more as the machine has
/// processors for; returns when all have ended. For work with values alone: what waits for a disk is guarded.
/// `work` is called from several threads at a time. Of what it throws the first is thrown here, once all have
/// ended; the rest is not begun any more.
void inParallel(std::size_t count, const std::function<void(std::size_t)>& work);

} // namespace vantorel
