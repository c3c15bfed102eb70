#include "disk/WorkerThread.h"

namespace vantorel {

// Linux has no policy of a thread for access times: each open asks for O_NOATIME instead.
void prepareWorkerThread() { }

} // namespace vantorel
