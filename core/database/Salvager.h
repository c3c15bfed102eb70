#pragma once

#include "base/Clock.h"
#include "database/SalvagerRecovery.h"
#include "disk/CancelToken.h"
#include "disk/ChildProcess.h"
#include "disk/SystemCalls.h"

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <vector>

namespace vantorel {

/// Rebuilds a database that can be read from a damaged private copy: the SQLite tool gives back what it
/// finds, and the rows whose table it could not tell are put back into theirs. Only the private folder is
/// touched. Synchronous and long; the caller's thread.
class Salvager {
public:
    enum class Failure {
        noSpace,     ///< No room for the rebuilt database.
        unusable,    ///< Nothing came out in which a photo could be found.
        toolRefused, ///< No tool on this computer recovers in the required mode.
        cancelled,
    };
    struct Output {
        DiskPath url{};              ///< "recovered.sqlite" in the private folder.
        std::int64_t rehomed = 0;    ///< Rows moved back into their tables.
        std::int64_t unassigned = 0; ///< Rows that no table could be told for.
        bool toolFailed = false;     ///< The tool reported an error; what it had given by then is used.

        bool operator==(const Output&) const = default;
    };
    struct Request {
        DiskPath database{}; ///< The damaged copy. The tool merges its log into it.
        DiskPath folder{};   ///< The private folder; an earlier "recovered.sqlite" in it is replaced.
        SharedCancelToken cancel{};
        std::function<void(std::int64_t rows)> onRows{}; ///< Rows and definitions so far, now and then.
        FreeBytes freeBytes{};                           ///< Instead of asking the folder's file system.
    };

    Salvager(std::shared_ptr<const SystemCalls> calls, std::shared_ptr<const ChildProcessRunner> children);
    /// With other tools than this system's.
    Salvager(std::shared_ptr<const SystemCalls> calls, std::shared_ptr<const ChildProcessRunner> children,
        std::vector<DiskPath> tools);

    /// A failure leaves nothing in the folder.
    std::expected<Output, Failure> salvage(const Request& request) const;

private:
    std::expected<Output, Failure> rebuild(const Request& request, const DiskPath& rebuilt) const;

    std::shared_ptr<const SystemCalls> calls_;
    std::shared_ptr<const ChildProcessRunner> children_;
    std::vector<DiskPath> tools_;
};

} // namespace vantorel
