#pragma once

#include "disk/Root.h"

#include <cerrno>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>

namespace vantorel {

/// The files of one database, beneath the library.
struct DatabaseFiles {
    DiskPath database{};
    DiskPath log{};   ///< "-wal"
    DiskPath index{}; ///< "-shm": of the log; SQLite makes it anew in a copy.
};

DatabaseFiles databaseFiles(const DiskPath& database);

/// The state of the files at one moment.
struct DatabaseLook {
    CallResult<FileStatus> database = std::unexpected(ENOENT);
    CallResult<FileStatus> log = std::unexpected(ENOENT);
    CallResult<FileStatus> index = std::unexpected(ENOENT);
    std::string logHeader{};  ///< Tells a log that was begun anew, also where times are coarse.
    bool logIsSilent = false; ///< The log's disk did not answer, while it answered for all the rest.
    std::int64_t fileBytes = 0;
    std::optional<std::int64_t> spaceFree{}; ///< In the private place; none where it could not be told.

    std::int64_t spaceNeeded() const;
    bool hasLog() const { return log && log->type == FileStatus::Type::regular && log->size > 0; }
};

/// All but the log's header. Blocks, as the next; run guarded.
DatabaseLook lookAtDatabase(
    const Root& library, const DatabaseFiles& files, const DiskPath& place, Heartbeat& heartbeat);

/// What `DatabaseLook::logHeader` is made of; "" when it cannot be read.
std::string logHeaderOf(const Root& library, const DiskPath& log);

/// Whether what was copied between the two looks is one state of the database. The log's index does not
/// count.
bool settled(const DatabaseLook& before, const DatabaseLook& after);

} // namespace vantorel
