#include "disk/WorkerThread.h"

#include <tuple>

#include <sys/resource.h>

namespace vantorel {

void prepareWorkerThread()
{
    // Reading writes no access times, on any file system. A system that refuses keeps its default; the
    // reading itself is as good as before.
    std::ignore = setiopolicy_np(IOPOL_TYPE_VFS_ATIME_UPDATES, IOPOL_SCOPE_THREAD, IOPOL_ATIME_UPDATES_OFF);
}

} // namespace vantorel
