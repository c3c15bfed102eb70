#pragma once

#include "discovery/volumes/VolumeChanges.h"

#include <functional>
#include <memory>
#include <string>

namespace vantorel {

/// Linux's word that the mount table changed; behind an interface so that a test can give it. Any thread.
class MountNotices {
public:
    virtual ~MountNotices() = default;
    /// Waits for the next change, true; false after `end`, or when no more word will come.
    virtual bool wait() = 0;
    /// Lets `wait` return false from now on.
    virtual void end() = 0;
    /// The table as it is now, in the format of /proc/self/mountinfo.
    virtual std::string table() = 0;
};

/// /proc/self/mountinfo and poll; none when it cannot be opened.
std::shared_ptr<MountNotices> systemMountNotices(std::shared_ptr<const SystemCalls> calls);

/// Tells of changes of the volumes that are searched alone: services mount and unmount things of their own
/// all day.
std::unique_ptr<VolumeChanges> watchMountTable(
    std::shared_ptr<MountNotices> notices, std::function<void()> changed);

} // namespace vantorel
