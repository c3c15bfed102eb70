#pragma once

#include "database/SalvagerDatabase.h"
#include "disk/CancelToken.h"
#include "disk/ChildProcess.h"
#include "disk/SystemCalls.h"

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantorel {

/// How much room there is for the rebuilt database; none where that cannot be told.
using FreeBytes = std::function<std::optional<std::int64_t>()>;
/// What a rebuilt database must leave free.
inline constexpr std::int64_t spaceToLeave = 1'073'741'824;
bool isRoomLeft(const FreeBytes& freeBytes);

/// One run of the SQLite tool over a damaged database.
struct RecoveryRequest {
    DiskPath tool{};
    DiskPath damaged{};
    DiskPath rebuilt{}; ///< Nothing is there yet.
    /// Without any of them the result is of no use. Compared without regard to case.
    std::vector<std::string> wantedTables{};
    std::int64_t mostTextBytes = 0;
    Seconds timeout{30};
    SharedCancelToken cancel{};
    FreeBytes freeBytes{};
    std::function<void(std::int64_t statements)> onStatements{}; ///< Loaded so far, now and then.
};

struct Recovery {
    std::unique_ptr<SalvagerDatabase> database{}; ///< Open, all that was loaded committed.
    bool toolFailed = false; ///< It reported an error, or was ended; what it had given is there.
};

enum class RecoveryFailure {
    notStarted,
    noSpace,
    unusable, ///< Nothing came out in which a photo could be found.
    cancelled,
};

/// Runs the tool and loads what it prints, statement by statement and as it comes: the text of a badly
/// damaged database is many times as large as the file. A statement that fails is passed over, since one is
/// expected to (the definition of a virtual table).
std::expected<Recovery, RecoveryFailure> recoverDatabase(
    const ChildProcessRunner& children, const RecoveryRequest& request);

} // namespace vantorel
