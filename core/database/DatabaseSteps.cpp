#include "database/DatabaseSteps.h"

#include "database/model/ReadError.h"

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

DatabaseSteps::~DatabaseSteps()
{
    if (beside_ && beside_->box) { // the steps beside it ended with a throw: nobody waits any longer
        beside_->heartbeat->giveUp();
        if (!beside_->box->done.tryAcquire()) {
            detail::noteAbandonedThread();
        }
    }
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

void DatabaseSteps::beginBeside(std::function<void(SQLiteReader&)> work)
{
    beside_ = start([source = source_, work = std::move(work)](
                        const std::shared_ptr<Heartbeat>& heartbeat, std::atomic<std::int64_t>&) {
        SQLiteReader reader(source.calls, source.clock, source.file, stopCheck(source.cancel, heartbeat));
        work(reader);
    });
}

DatabaseSteps::End DatabaseSteps::endBeside(const std::string& what)
{
    const Running running = beside_.value();
    beside_.reset();
    return finish(running, what, 0);
}

DatabaseSteps::End DatabaseSteps::guarded(const std::string& what, std::int64_t share, GuardedWork work)
{
    return finish(start(std::move(work)), what, share);
}

/// A guarded run in two halves, so that something else can be done before it is waited for.
DatabaseSteps::Running DatabaseSteps::start(GuardedWork work) const
{
    Running running{.box = std::make_shared<detail::GuardedBox<Unit>>(),
        .heartbeat = std::make_shared<Heartbeat>(source_.clock),
        .rows = std::make_shared<std::atomic<std::int64_t>>(0)};
    const bool started =
        detail::startWorker([running, work = std::make_shared<GuardedWork>(std::move(work))]() mutable {
            try {
                (*work)(running.heartbeat, *running.rows);
                running.box->value.emplace();
            } catch (...) {
                running.box->exception = std::current_exception();
            }
            work.reset(); // what it held is closed by the time its end is seen
            running.box->done.release();
        });
    if (!started) {
        running.box.reset();
    }
    return running;
}

DatabaseSteps::End DatabaseSteps::finish(const Running& running, const std::string& what, std::int64_t share)
{
    Patience patience;
    patience.stallLimit = source_.stallLimit;
    patience.keepGoing = [this, rows = running.rows, share,
                             grace = keepGoingWithGrace(source_.clock, source_.cancel)] {
        report(std::min(rows->load(std::memory_order_relaxed), share));
        return grace();
    };
    patience.onSilence = [this](bool waiting) { source_.progress->waitForDisk(waiting); };

    End end = End::whole;
    try {
        if (!running.box
            || !detail::waitGuarded(*source_.clock, patience, running.box->done, *running.heartbeat)) {
            throw isCancelled(source_.cancel) ? ReadError::cancelled() : ReadError::databaseNotAnswering();
        }
        if (running.box->exception) {
            std::rethrow_exception(running.box->exception);
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
