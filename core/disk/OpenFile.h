#pragma once

#include "disk/SystemCalls.h"

namespace vantorel {

/// An owned descriptor. Moves; closes at the end. Not shared between threads without a lock of the owner's.
class OpenFile {
public:
    OpenFile() = default;
    OpenFile(std::shared_ptr<const SystemCalls> calls, int fd);
    OpenFile(OpenFile&& other) noexcept;
    OpenFile& operator=(OpenFile&& other) noexcept;
    ~OpenFile();

    bool isOpen() const { return fd_ >= 0; }
    int get() const { return fd_; }
    /// Closes now: a full disk or a network drive may answer only here. What was written is closed this way.
    [[nodiscard]] CallResult<void> close();

private:
    std::shared_ptr<const SystemCalls> calls_;
    int fd_ = -1;
};

} // namespace vantorel
