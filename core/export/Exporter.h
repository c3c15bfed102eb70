#pragma once

#include "disk/CancelToken.h"
#include "disk/DiskPatience.h"
#include "export/ExportOptions.h"
#include "export/ExportOutcome.h"
#include "export/ExportPlan.h"
#include "scan/LibraryScanner.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace vantorel {

/// Lets a caller watch or disturb a run; all empty in normal use.
struct ExportHooks {
    std::function<void()> afterChunk{};
    std::function<void(const PlannedItem&)> afterItem{};
    std::function<std::optional<int>(const DiskPath& source, std::int64_t offset, std::size_t size)>
        readFault{};
    std::function<void(ExportPlan&)> rewritePlan{};
};

/// How much is made durable and recorded together: one wait for the medium then serves many items. A group
/// ends where it reaches any of these; what is in it is what a stop or a power cut may cost.
struct GroupBounds {
    std::size_t items = 64;
    std::int64_t bytes = 64'000'000; ///< As planned; a single item may have more.
    Seconds time{2};                 ///< Since its first item was begun.
};

struct ExportSettings {
    bool verifyCopies = true;                        ///< Read every saved file back and compare digests.
    Seconds stallTimeout = DiskPatience::exportRead; ///< Of the library's side.
    bool checkFreeSpace = true;
    GroupBounds group{};
    /// Whether the next group is copied while one is made durable and checked.
    enum class Overlap {
        never,
        asDrivesAllow, ///< Not where both sides share a drive whose heads would go to and fro.
        always,
    };
    Overlap overlap = Overlap::asDrivesAllow;
    ExportHooks hooks{};
};

struct ExportProgress {
    std::int64_t itemsDone = 0;
    std::int64_t itemsTotal = 0;
    std::int64_t bytesDone = 0;
    std::int64_t bytesTotal = 0;
    std::int64_t skipped = 0;
    std::string currentName{};
    std::int64_t resumedItems = 0;
    bool waitingForDisk = false;

    bool operator==(const ExportProgress&) const = default;
};

/// Carries out a plan: copies, makes durable, reads back, names, records. Never throws to its caller; every
/// failure is an outcome state, a skipped item with its reason, or a note. Synchronous and long; runs on a
/// background thread.
class Exporter {
public:
    struct Request {
        std::shared_ptr<const ExportPlan> plan{};
        DiskPath destination{}; ///< The folder that the user chose.
        std::shared_ptr<const LibraryScanResult> scan{};
        ExportOptions options{};
        ExportSettings settings{};
        SharedCancelToken cancel{};
        std::function<void(const ExportProgress&)>
            progress{}; ///< From the run's thread, after each chunk and item.
    };

    explicit Exporter(CoreServices services)
        : services_(std::move(services))
    {
    }

    ExportOutcome run(const Request& request) const;

private:
    CoreServices services_;
};

} // namespace vantorel
