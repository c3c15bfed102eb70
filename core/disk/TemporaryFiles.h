#pragma once

#include "disk/SystemCalls.h"

#include <expected>
#include <memory>
#include <string>

namespace vantorel {

/// The program's own temporary place: "vantorel-<uid>/run-<uuid>" in the user's temporary folder (macOS) or
/// in $TMPDIR, else /var/tmp (Linux; /tmp may be memory), mode 0700, with a lock file beside it that this
/// process holds. A folder whose lock is free belongs to a run that is gone, and is stale; age never decides,
/// since another run may be alive.
class TemporaryFiles {
public:
    /// Creates the run's folder. `base` replaces the system's place (tests). On failure the errno value;
    /// EPERM when something stands in its place that is not a folder of this user's alone.
    static CallResult<std::shared_ptr<TemporaryFiles>> create(
        std::shared_ptr<const SystemCalls> calls, const DiskPath& base = {});
    /// Removes the run's folder with all that is in it.
    ~TemporaryFiles();
    TemporaryFiles(const TemporaryFiles&) = delete;
    TemporaryFiles& operator=(const TemporaryFiles&) = delete;

    const DiskPath& temporaryDirectory() const { return folder_; }
    /// A new empty folder in it, mode 0700. Any thread.
    CallResult<DiskPath> makeFolder(const std::string& purpose);
    /// Removes such a folder with all that is in it. What cannot be removed stays for the sweep.
    void remove(const DiskPath& folder);
    /// Removes what earlier runs left behind; returns how many runs' folders.
    int sweepStaleTemporaryFiles();

private:
    TemporaryFiles() = default;
    struct Lock;
    std::shared_ptr<const SystemCalls> calls_;
    DiskPath base_;
    DiskPath folder_;
    std::unique_ptr<Lock> lock_;
};

/// Where the system wants a user's temporary files.
DiskPath systemTemporaryPlace();

} // namespace vantorel
