#pragma once

#include "base/Clock.h"
#include "disk/CancelToken.h"

#include <expected>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// One runner for all child processes: the SQLite tool, diskutil, tmutil. No shell; standard input is empty,
/// standard error goes to the null device; the environment is the parent's with LC_ALL=C.
class ChildProcessRunner {
public:
    struct Request {
        std::string program{}; ///< Absolute path.
        std::vector<std::string> arguments{};
        Seconds timeout{30}; ///< Then it is terminated (SIGTERM, 2 seconds, SIGKILL).
        SharedCancelToken cancel{};
        /// Receives standard output as it comes, on the calling thread; false ends the child. Without it the
        /// output is collected into `Ended::output`, at most `mostOutputBytes`.
        std::function<bool(std::string_view)> onOutput{};
        std::size_t mostOutputBytes = 64u << 20u;
    };
    struct Ended {
        int exitStatus = 0; ///< 128 + signal for a child that a signal ended.
        std::string output{};
    };
    enum class Failure { notStarted, timedOut, cancelled, tooMuchOutput };

    virtual ~ChildProcessRunner() = default;
    virtual std::expected<Ended, Failure> run(const Request& request) const = 0;
};

std::shared_ptr<const ChildProcessRunner> realChildProcesses(std::shared_ptr<const Clock> clock);

} // namespace vantorel
