// Guarded work on the thread that waits for it. A target makes hundreds of guarded runs for one input, and on
// a busy machine each way to a worker and back takes longer than the work. Linked by the fuzzers in the place
// of the core's own; what is replayed in the ordinary tests runs on workers.

#include "disk/Guarded.h"
#include "disk/Thread.h"

namespace vantorel {

// There is none: what serves another thread for long is done without by whoever asks for it.
bool startDetachedThread(std::size_t /*stackBytes*/, std::function<void()> /*body*/) { return false; }
bool runOnWorker(std::function<void()> /*body*/) { return false; }
std::size_t detachedThreadsAlive() { return 0; }
bool isOnDetachedThread() { return false; }

bool detail::startWorker(std::function<void()> body)
{
    body();
    return true;
}

} // namespace vantorel
