#pragma once

#include "disk/SystemCalls.h"

#include <functional>
#include <memory>

namespace vantorel {

/// Word that volumes came or went, for as long as the object lives. Ends at its destruction: afterwards
/// `changed` is neither running nor called again, so it must not be destroyed from within `changed`.
class VolumeChanges {
public:
    virtual ~VolumeChanges() = default;
};

/// `changed` is called once for each change or for several together, on a thread of the watch's own (Linux)
/// or on the main thread (macOS, where the main run loop must run). It says only that a look is worth while.
/// None where the system gives no word; whoever asked then looks when the user comes back to the program.
std::unique_ptr<VolumeChanges> watchVolumeChanges(
    std::shared_ptr<const SystemCalls> calls, std::function<void()> changed);

} // namespace vantorel
