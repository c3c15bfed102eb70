#pragma once

#include "base/Clock.h"
#include "disk/CancelToken.h"
#include "disk/Guarded.h"
#include "disk/Root.h"
#include "disk/TemporaryFiles.h"

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantorel {

/// A copy of a library's database and its companions in a private folder. The library itself is never opened
/// as a database. The copy is removed with the object; shared, since a worker that was given up may still
/// write to it.
struct PrivateDatabaseCopy {
    ~PrivateDatabaseCopy();

    DiskPath folder{};
    DiskPath database{};
    std::vector<std::string> notes{}; ///< What the copy could not carry, for the user.
    std::int64_t badBytes = 0;        ///< Of the database, zero-filled.
    bool walUnreadable = false;       ///< The newest changes are missing.
    bool didNotSettle = false;        ///< The files kept changing while they were copied.

    std::shared_ptr<TemporaryFiles> place{}; ///< Owner of `folder`.
};

struct CopyFailure {
    enum class Kind {
        missing,      ///< No database file there. Not a disk failure.
        refused,      ///< A link, a folder that leads outside, not a regular file: `reason` says which.
        denied,       ///< Permission.
        unreadable,   ///< Read errors; `reason` words them.
        notAnswering, ///< Stalled.
        noSpace,      ///< Not enough private space: `neededBytes`, `freeBytes`.
        writeFailed,  ///< The private place; `reason` words it.
        cancelled,
        gone, ///< The library's disk went away.
    };
    Kind kind = Kind::missing;
    std::string reason{}; ///< A phrase without a full stop.
    int code = 0;         ///< errno, 0 where there is none.
    std::int64_t neededBytes = 0;
    std::int64_t freeBytes = 0;

    bool operator==(const CopyFailure&) const = default;
};

/// Hooks around the private copy, for tests.
struct CopyHooks {
    std::function<void()> afterFirstLook{}; ///< After the files' status was taken and before the copy.
    std::function<std::optional<int>(const std::string& file, std::int64_t offset, std::size_t size)>
        readFault{};
};

struct DatabaseCopyRequest {
    std::shared_ptr<const Root> library{};
    DiskPath database = "database/Photos.sqlite"; ///< Relative to the library.
    std::shared_ptr<TemporaryFiles> place{};
    Seconds stallLimit{180};
    SharedCancelToken cancel{};
    std::function<void(bool)> onSilence{};
    std::function<void(std::int64_t done, std::int64_t total)>
        onBytes{}; ///< Bytes copied so far, on the calling thread or a worker's.
    CopyHooks hooks{};
};

std::expected<std::shared_ptr<const PrivateDatabaseCopy>, CopyFailure> copyDatabase(
    std::shared_ptr<const Clock> clock, const DatabaseCopyRequest& request);

} // namespace vantorel
