#pragma once

#include "base/Enum.h"

#include <cstdint>
#include <functional>

namespace vantorel {

enum class ScanStage { copyingDatabase, readingDatabase, readingJournals, salvaging, checkingFiles };

inline constexpr EnumNames<ScanStage, 5> scanStageNames{{
    {ScanStage::copyingDatabase, "copyingDatabase"},
    {ScanStage::readingDatabase, "readingDatabase"},
    {ScanStage::readingJournals, "readingJournals"},
    {ScanStage::salvaging, "salvaging"},
    {ScanStage::checkingFiles, "checkingFiles"},
}};
static_assert(inEnumOrder(scanStageNames));

struct ScanProgress {
    ScanStage stage = ScanStage::copyingDatabase;
    std::int64_t done = 0;
    std::int64_t total = 0; ///< 0: not known.
    bool waitingForDisk = false;

    bool operator==(const ScanProgress&) const = default;
};

/// Called from the scanning thread and from waiters of guarded steps; hands its values on by itself.
using ScanProgressCallback = std::function<void(const ScanProgress&)>;

} // namespace vantorel
