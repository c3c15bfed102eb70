#include "scan/LibraryScanner.h"

#include <algorithm>
#include <utility>

namespace vantorel {

LibraryScanResult LibraryScanner::scan(
    const DiskPath& library, const SharedCancelToken& cancel, const ScanProgressCallback& progress) const
{
    LibraryReader reader(services_);
    reader.stallTimeout = stallTimeout;
    reader.copyHooks = copyHooks;
    LibrarySnapshot snapshot = reader.read(library, cancel, progress);

    OriginalsInspector inspector(services_);
    inspector.stallTimeout = std::min(stallTimeout, DiskPatience::originalsCheckAtMost);
    OriginalsReport report = inspector.inspect(snapshot, cancel, progress);
    if (isCancelled(cancel)) {
        throw ReadError::cancelled();
    }
    return reconciled(std::move(snapshot), std::move(report));
}

} // namespace vantorel
