#include "database/PrivateDatabaseCopyLook.h"

#include <algorithm>
#include <array>
#include <span>
#include <tuple>

// A library that is in use changes while it is copied. Photos appends its changes to the log; now and then it
// merges the log into the database and begins the log anew, with other numbers in its header. So the database
// is copied first and the log after it: whatever was merged into pages that were copied half-way is then
// still in the log, unless the log was begun anew in between. That and any other change is noticed by two
// looks, one before and one after the copying, and the copy is made again.

namespace vantorel {

namespace {

constexpr std::size_t logHeaderBytes = 32;
constexpr std::int64_t spaceBeyondFiles = 64LL << 20; ///< For what SQLite writes beside them.
constexpr std::int64_t mostBelieved = 1LL << 60;      ///< A broken disk may claim any size; sums must hold.

DiskPath withSuffix(const DiskPath& file, const char* suffix)
{
    DiskPath companion = file;
    companion += suffix;
    return companion;
}

bool isSameState(const CallResult<FileStatus>& before, const CallResult<FileStatus>& after)
{
    if (!before || !after) {
        return before.has_value() == after.has_value() && before.error() == after.error();
    }
    const auto state = [](const FileStatus& status) {
        return std::tuple(status.type, status.size, status.modified, status.device, status.inode);
    };
    return state(*before) == state(*after);
}

} // namespace

DatabaseFiles databaseFiles(const DiskPath& database)
{
    return {.database = database, .log = withSuffix(database, "-wal"), .index = withSuffix(database, "-shm")};
}

std::int64_t DatabaseLook::spaceNeeded() const { return fileBytes + spaceBeyondFiles; }

DatabaseLook lookAtDatabase(
    const Root& library, const DatabaseFiles& files, const DiskPath& place, Heartbeat& heartbeat)
{
    DatabaseLook look;
    look.database = library.status(files.database);
    heartbeat.beat();
    look.log = library.status(files.log);
    heartbeat.beat();
    look.index = library.status(files.index);
    heartbeat.beat();
    for (const auto* status : {&look.database, &look.log, &look.index}) {
        look.fileBytes += *status ? std::clamp<std::int64_t>((*status)->size, 0, mostBelieved) : 0;
    }
    if (const auto system = library.calls()->fileSystemOf(place)) {
        look.spaceFree = system->freeBytes;
    }
    return look;
}

std::string logHeaderOf(const Root& library, const DiskPath& log)
{
    std::array<std::byte, logHeaderBytes> bytes{};
    const auto file = library.openFile(log, readOnlyOpenFlags());
    const auto got = file ? library.calls()->readAt(file->get(), bytes, 0) : std::unexpected(file.error());
    return got ? std::string(reinterpret_cast<const char*>(bytes.data()), *got) : std::string();
}

bool settled(const DatabaseLook& before, const DatabaseLook& after)
{
    // A header that could not be read once says nothing.
    const bool sameRound =
        before.logHeader == after.logHeader || before.logHeader.empty() || after.logHeader.empty();
    return isSameState(before.database, after.database) && isSameState(before.log, after.log) && sameRound;
}

} // namespace vantorel
