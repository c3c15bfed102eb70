#pragma once

#include "base/Clock.h"
#include "database/PrivateDatabaseCopy.h"
#include "database/model/LibrarySnapshot.h"
#include "database/model/ReadError.h"
#include "database/model/ScanProgress.h"
#include "disk/CancelToken.h"
#include "disk/ChildProcess.h"
#include "disk/DiskPatience.h"
#include "disk/SystemCalls.h"
#include "disk/TemporaryFiles.h"

#include <functional>
#include <memory>

namespace vantorel {

/// The services that reading and saving stand on, handed in once by the program or a test.
struct CoreServices {
    std::shared_ptr<const SystemCalls> calls;
    std::shared_ptr<const Clock> clock;
    std::shared_ptr<const ChildProcessRunner> children;
    std::shared_ptr<TemporaryFiles> temporary; ///< Where private copies go.
};

/// Turns one Photos library folder into a snapshot and its damage report: the whole database side of a scan.
/// Synchronous and long; runs on a background thread.
class LibraryReader {
public:
    explicit LibraryReader(CoreServices services)
        : services_(std::move(services))
    {
    }

    Seconds stallTimeout = DiskPatience::scan;
    CopyHooks copyHooks{};
    /// Told what the tables of a database gave, where nothing speaks of damage so far, while SQLite's own
    /// check of the file goes on beside. Where the read then ends with the severity `none`, its photos are
    /// these.
    std::function<void(const LibrarySnapshot&)> whileChecked{};

    /// Throws `ReadError` only where nothing at all could be read or the read was cancelled; every lesser
    /// problem is in the snapshot's damage report and notes.
    LibrarySnapshot read(
        const DiskPath& library, const SharedCancelToken& cancel, const ScanProgressCallback& progress) const;

private:
    CoreServices services_;
};

} // namespace vantorel
