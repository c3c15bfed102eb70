#pragma once

#include "base/Clock.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace vantorel {

/// What the caller of a database copy wants to be told. Workers may outlive the caller: after `close` nobody
/// is called. Any thread.
class DatabaseCopyListener {
public:
    DatabaseCopyListener(
        std::function<void(bool)> onSilence, std::function<void(std::int64_t, std::int64_t)> onBytes)
        : onSilence_(std::move(onSilence))
        , onBytes_(std::move(onBytes))
    {
    }

    void silence(bool silent)
    {
        const std::lock_guard guard(lock_);
        tellSilence(silent);
    }
    void begin(std::int64_t total)
    {
        const std::lock_guard guard(lock_);
        done_ = 0;
        total_ = total;
        tellBytes();
    }
    void copied(std::int64_t bytes)
    {
        const std::lock_guard guard(lock_);
        done_ += bytes;
        total_ = std::max(total_, done_); // a file that grows
        tellBytes();
    }
    void close()
    {
        const std::lock_guard guard(lock_);
        tellSilence(false);
        open_ = false;
    }

private:
    void tellSilence(bool silent)
    {
        if (open_ && onSilence_ && silent != shown_) {
            shown_ = silent;
            onSilence_(silent);
        }
    }
    void tellBytes()
    {
        if (open_ && onBytes_) {
            onBytes_(done_, total_);
        }
    }

    std::mutex lock_; ///< Held while the caller is told, so that nothing is told after `close`.
    std::function<void(bool)> onSilence_;
    std::function<void(std::int64_t, std::int64_t)> onBytes_;
    std::int64_t done_ = 0;
    std::int64_t total_ = 0;
    bool shown_ = false;
    bool open_ = true;
};

/// How much time went into bad stretches, of all files of one copy: from the last chunk or problem to the
/// next problem. Good stretches between them cost nothing. Any thread.
class BadStretches {
public:
    explicit BadStretches(std::shared_ptr<const Clock> clock)
        : clock_(std::move(clock))
        , last_(clock_->uptime())
    {
    }

    void good()
    {
        const std::lock_guard guard(lock_);
        last_ = clock_->uptime();
    }
    /// Told at each problem: whether there is patience left for it.
    bool mayGoOn()
    {
        const std::lock_guard guard(lock_);
        const auto now = clock_->uptime();
        spent_ += now - last_;
        last_ = now;
        return spent_ <= grace;
    }

private:
    static constexpr Seconds grace{600};

    std::shared_ptr<const Clock> clock_;
    std::mutex lock_;
    std::chrono::nanoseconds last_;
    Seconds spent_{0};
};

} // namespace vantorel
