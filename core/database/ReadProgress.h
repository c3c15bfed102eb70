#pragma once

#include "database/model/ScanProgress.h"

#include <cstdint>
#include <mutex>

namespace vantorel {

/// Passes a reading's progress on, from whatever thread, until it is closed: a worker that was given up may
/// still report when its caller is gone. Shared by all of them. Says nothing twice.
class ReadProgress {
public:
    explicit ReadProgress(ScanProgressCallback callback);

    /// A stage begins, at 0.
    void begin(ScanStage stage, std::int64_t total = 0);
    /// Within the current stage. `done` never goes back.
    void advance(std::int64_t done, std::int64_t total);
    void waitForDisk(bool waiting);
    /// Nothing is passed on any more.
    void close();

private:
    void tell(const ScanProgress& now);

    std::mutex lock_; ///< Guards all below; held while the callback runs, so that `close` is final.
    ScanProgressCallback callback_;
    ScanProgress last_;
    bool told_ = false;
};

} // namespace vantorel
