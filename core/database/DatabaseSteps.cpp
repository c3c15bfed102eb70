#include "database/DatabaseSteps.h"

#include "database/model/ReadError.h"
#include "disk/Guarded.h"

#include <sqlite3.h>

#include <algorithm>
#include <utility>

namespace vantorel {

namespace {

/// Whether an error speaks of this computer (its disk with the private copy, its memory) and says nothing
/// about the library.
bool isOfThisComputer(const SQLiteReaderError& error)
{
    switch (error.code()) {
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
    case SQLITE_NOMEM:
    case SQLITE_FULL:
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return true;
    case SQLITE_OK: // none from SQLite: the file was not there or could not be looked at
        return error.kind() != SQLiteReaderError::Kind::stepFailed;
    default:
        return false;
    }
}

/// Asked every thousand steps of SQLite's machine: each time is a sign of life, also where no row comes out
/// for long (a check, a sort).
std::function<bool()> stopCheck(SharedCancelToken cancel, std::shared_ptr<Heartbeat> heartbeat)
{
    return [cancel = std::move(cancel), heartbeat = std::move(heartbeat)] {
        heartbeat->beat();
        return isCancelled(cancel) || heartbeat->gaveUp();
    };
}

} // namespace

DatabaseSteps::DatabaseSteps(DatabaseSource source)
    : source_(std::move(source))
{
}

DatabaseSteps::End DatabaseSteps::open()
{
    auto opened = std::make_shared<std::shared_ptr<SQLiteReader>>();
    const End end = guarded("Photos.sqlite", 0,
        [opened, source = source_](const std::shared_ptr<Heartbeat>& heartbeat, std::atomic<std::int64_t>&) {
            *opened = std::make_shared<SQLiteReader>(
                source.calls, source.clock, source.file, stopCheck(source.cancel, heartbeat));
        });
    reader_ = *opened;
    return end;
}

DatabaseSteps::End DatabaseSteps::run(const std::string& what, std::int64_t share, Work work)
{
    return guarded(what, share,
        [reader = reader_, cancel = source_.cancel, work = std::move(work)](
            const std::shared_ptr<Heartbeat>& heartbeat, std::atomic<std::int64_t>& rows) {
            reader->setStopCheck(stopCheck(cancel, heartbeat));
            work({.reader = *reader, .rows = rows});
        });
}

void DatabaseSteps::expect(std::int64_t rows)
{
    total_ = done_ + rows;
    report(0);
}

DatabaseSteps::End DatabaseSteps::guarded(const std::string& what, std::int64_t share, GuardedWork work)
{
    auto rows = std::make_shared<std::atomic<std::int64_t>>(0);
    Patience patience;
    patience.stallLimit = source_.stallLimit;
    patience.keepGoing = [this, rows, share, grace = keepGoingWithGrace(source_.clock, source_.cancel)] {
        report(std::min(rows->load(std::memory_order_relaxed), share));
        return grace();
    };
    patience.onSilence = [this](bool waiting) { source_.progress->waitForDisk(waiting); };

    End end = End::whole;
    try {
        const auto ended = guardedRun(source_.clock, patience,
            [work = std::move(work), rows](const std::shared_ptr<Heartbeat>& heartbeat) {
                work(heartbeat, *rows);
                return Unit{};
            });
        if (ended.isStalled()) {
            throw isCancelled(source_.cancel) ? ReadError::cancelled() : ReadError::databaseNotAnswering();
        }
    } catch (const SQLiteCancelled&) {
        throw ReadError::cancelled();
    } catch (const SQLiteReaderError& error) {
        if (error.isTimeout()) {
            throw ReadError::readTookTooLong(what);
        }
        if (isOfThisComputer(error)) {
            throw ReadError::copyFailed(
                "this Mac could not read the private copy (" + error.description() + ")");
        }
        end = End::damaged;
    }
    if (isCancelled(source_.cancel)) {
        throw ReadError::cancelled();
    }
    done_ += share;
    report(0);
    return end;
}

void DatabaseSteps::report(std::int64_t rows) const { source_.progress->advance(done_ + rows, total_); }

} // namespace vantorel
