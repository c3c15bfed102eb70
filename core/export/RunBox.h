#pragma once

#include "export/Exporter.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace vantorel {

/// The progress of one run, shared by the run's thread and its workers, which may outlive the run. One lock
/// guards all values. Every change is kept until the run's thread fetches it and tells its caller, so that
/// workers never call into the program that started the export.
class RunBox {
public:
    RunBox(std::int64_t itemsTotal, std::int64_t bytesTotal);

    /// The file that is being saved from now on.
    void begin(std::size_t item, const std::string& name);
    /// The same for one that an earlier run saved, once that was looked at.
    void name(const std::string& name);
    /// Bytes of an item that were copied; below 0 for those of a try that failed.
    void chunk(std::size_t item, std::int64_t bytes);
    enum class End { saved, resumed, skipped };
    /// An item is dealt with; `bytes` is what the plan counts for it, whether or not it was copied.
    void end(std::size_t item, std::int64_t bytes, End end);
    /// A disk is waited for, or answered again; both come in pairs, from several threads.
    void setWaiting(bool waiting);

    /// What changed since the last call, oldest first.
    std::vector<ExportProgress> takeChanges();

    /// Calls a caller's observer, unless the run has ended. Never two at once.
    void observe(const std::function<void()>& observer);
    /// Afterwards no observer is called any more; waits for one that is being called.
    void endObserving();

private:
    void note(); ///< Under the lock, as the next.
    void addUnderWay(std::size_t item, std::int64_t bytes);

    std::mutex lock_;
    ExportProgress progress_;
    int waits_ = 0; ///< Disks that are waited for.
    std::int64_t bytesOfEnded_ = 0;
    std::map<std::size_t, std::int64_t> bytesUnderWay_; ///< By item.
    std::int64_t sumUnderWay_ = 0;                      ///< Of all of these.
    std::vector<ExportProgress> changes_;

    std::mutex observing_; ///< Held while an observer is called, which may not start or end a run.
    bool ended_ = false;
};

} // namespace vantorel
