#pragma once

#include "disk/SystemCalls.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace vantorel {

/// Notices when the volume under a running operation goes away or another one takes its place. Any thread.
/// Asks the disk: on the waiting thread only inside a guarded run.
class VolumeWatch {
public:
    VolumeWatch(std::shared_ptr<const SystemCalls> calls, DiskPath path);
    /// Whether the same volume is still mounted there.
    bool isStillThere() const;

private:
    std::shared_ptr<const SystemCalls> calls_;
    DiskPath path_;
    std::optional<std::uint64_t> fsid_;
};

} // namespace vantorel
