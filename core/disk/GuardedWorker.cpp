#include "disk/Guarded.h"
#include "disk/Thread.h"

namespace vantorel::detail {

// Apart from the waiting: a fuzz target links another one, which spares it the way to a thread and back.
bool startWorker(std::function<void()> body) { return runOnWorker(std::move(body)); }

} // namespace vantorel::detail
