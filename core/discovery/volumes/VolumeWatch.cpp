#include "discovery/volumes/VolumeWatch.h"

#include <utility>

namespace vantorel {

VolumeWatch::VolumeWatch(std::shared_ptr<const SystemCalls> calls, DiskPath path)
    : calls_(std::move(calls))
    , path_(std::move(path))
{
    if (const auto identifier = calls_->fileSystemIdentifier(path_)) {
        fsid_ = *identifier;
    }
}

bool VolumeWatch::isStillThere() const
{
    if (!fsid_) {
        return false;
    }
    const auto identifier = calls_->fileSystemIdentifier(path_);
    return identifier && *identifier == *fsid_;
}

} // namespace vantorel
