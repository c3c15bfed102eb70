#include "scan/LibraryScanner.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace vantorel {

LibraryScanResult LibraryScanner::scan(
    const DiskPath& library, const SharedCancelToken& cancel, const ScanProgressCallback& progress) const
{
    // Once the database is copied the library's disk is idle until the originals are checked, or the journals
    // are read. The reader never calls after it returned, and never twice at a time.
    std::shared_ptr<ListingsAhead> ahead;
    bool isSalvaging = false;
    std::atomic<bool> areFilesChecked = false;
    const auto watchStages = [&](ScanProgress now) {
        isSalvaging = isSalvaging || now.stage == ScanStage::salvaging;
        if (now.stage == ScanStage::readingDatabase && isSalvaging) {
            // What was salvaged is a database in its turn; to read it is no step back to the one that was
            // damaged.
            now.stage = ScanStage::salvaging;
        } else if (now.stage == ScanStage::readingDatabase && areFilesChecked) {
            return; // the end of SQLite's check, beside which the files were checked
        }
        if (now.stage == ScanStage::readingDatabase && !ahead) {
            ahead = std::make_shared<ListingsAhead>(services_.calls, services_.clock, library);
        } else if (now.stage == ScanStage::readingJournals && ahead) {
            ahead->stop();
        }
        if (progress) {
            progress(now);
        }
    };
    const auto inspected = [&](const LibrarySnapshot& snapshot) {
        OriginalsInspector inspector(services_);
        inspector.stallTimeout = std::min(stallTimeout, DiskPatience::originalsCheckAtMost);
        inspector.ahead = ahead;
        return inspector.inspect(snapshot, cancel, progress);
    };

    LibraryReader reader(services_);
    reader.stallTimeout = stallTimeout;
    reader.copyHooks = copyHooks;
    // SQLite's check of a large file takes as long as all the rest, and nearly always finds nothing.
    std::optional<OriginalsReport> early;
    reader.whileChecked = [&](const LibrarySnapshot& tables) {
        areFilesChecked = true;
        early = inspected(tables);
    };
    LibrarySnapshot snapshot = reader.read(library, cancel, watchStages);
    if (snapshot.damage.severity != DamageReport::Severity::none) {
        early.reset(); // other photos came to light
    }
    OriginalsReport report = early ? *std::move(early) : inspected(snapshot);
    if (isCancelled(cancel)) {
        throw ReadError::cancelled();
    }
    return reconciled(std::move(snapshot), std::move(report));
}

} // namespace vantorel
