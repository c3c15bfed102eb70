#pragma once

#include "database/LibraryReader.h"
#include "database/model/LibrarySnapshot.h"
#include "database/model/ScanProgress.h"
#include "disk/CancelToken.h"
#include "scan/ListingsAhead.h"
#include "scan/OriginalsReport.h"

#include <functional>
#include <memory>

namespace vantorel {

/// Walks a library's originals (and the places outside that referenced photos point at) and says for every
/// asset what is on the disk. Only reads; never throws: every trouble is in the report.
class OriginalsInspector {
public:
    explicit OriginalsInspector(CoreServices services)
        : services_(std::move(services))
    {
    }

    Seconds stallTimeout = DiskPatience::originalsCheckAtMost;
    std::function<void(const DiskPath&)>
        beforeListing{}; ///< Called with each folder before it is listed; tests.

    std::shared_ptr<ListingsAhead>
        ahead{}; ///< Folders of this library that were listed already. Not used where there is a hook.

    OriginalsReport inspect(const LibrarySnapshot& snapshot, const SharedCancelToken& cancel,
        const ScanProgressCallback& progress) const;

private:
    CoreServices services_;
};

} // namespace vantorel
