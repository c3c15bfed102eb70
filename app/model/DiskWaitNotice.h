#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace vantorel {

class MainTimers;

/// What a window says while a disk is silent.
enum class DiskWait { none, waiting, waitingLong };

/// Turns "waiting for the disk" of a progress into the notice: short at first, the longer one when the wait
/// lasts. Main thread.
class DiskWaitNotice {
public:
    DiskWaitNotice(std::shared_ptr<MainTimers> timers, std::function<void(DiskWait)> show);
    void update(bool isWaiting);

private:
    std::shared_ptr<MainTimers> timers_;
    std::function<void(DiskWait)> show_;
    bool isWaiting_ = false;
    std::shared_ptr<std::uint64_t> wait_ = std::make_shared<std::uint64_t>(0); ///< Counts the waits.
};

} // namespace vantorel
