#pragma once

#include "base/Clock.h"
#include "disk/CancelToken.h"
#include "disk/ChildProcess.h"
#include "disk/SystemCalls.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// Asks the system's own tool which backups can be read now.
class TmutilRoots {
public:
    struct Result {
        std::vector<DiskPath> roots{};
        std::optional<std::string> issue{}; ///< A sentence, when there was no list.

        bool operator==(const Result&) const = default;
    };

    explicit TmutilRoots(std::shared_ptr<const ChildProcessRunner> children)
        : children_(std::move(children))
    {
    }
    /// Blocks at most the timeout and the 3 seconds that ending a child may take.
    Result ask(Seconds timeout, const SharedCancelToken& cancel) const;

    /// The lines of its output that are paths, each once. Any bytes.
    static std::vector<DiskPath> rootsIn(std::string_view output);

private:
    std::shared_ptr<const ChildProcessRunner> children_;
};

} // namespace vantorel
