#pragma once

#include "base/Clock.h"
#include "database/ReadProgress.h"
#include "database/SQLiteReader.h"
#include "disk/CancelToken.h"
#include "disk/Guarded.h"
#include "disk/Heartbeat.h"
#include "disk/SystemCalls.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vantorel {

/// How one database is read: everything that its steps share. The file is always a private copy.
struct DatabaseSource {
    std::shared_ptr<const SystemCalls> calls{};
    std::shared_ptr<const Clock> clock{};
    SharedCancelToken cancel{};
    Seconds stallLimit{60};
    std::shared_ptr<ReadProgress> progress{};
    DiskPath file{};
    /// Of a rebuilt database, where a table that lost everything looks like one that was always empty.
    bool isRebuilt = false;
};

/// Runs the steps of one reading, each on a worker of its own that is waited for with patience. Its heartbeat
/// beats while SQLite works, so only a silent disk stalls it.
///
/// `run` throws what ends the whole reading, as a `ReadError`: the user's stop, silence, a query over its
/// time limit, a private copy that this computer itself cannot read. An error of the database's content is no
/// exception: it is the step's result.
class DatabaseSteps {
public:
    enum class End { whole, damaged };
    /// What the work of a step is given: the open database, and where it shows how many rows it has read.
    struct Worker {
        SQLiteReader& reader;
        std::atomic<std::int64_t>& rows;
    };
    using Work = std::function<void(const Worker&)>;

    explicit DatabaseSteps(DatabaseSource source);
    ~DatabaseSteps();
    DatabaseSteps(DatabaseSteps&&) = default;
    DatabaseSteps(const DatabaseSteps&) = delete;
    DatabaseSteps& operator=(const DatabaseSteps&) = delete;

    /// Opens the database. `damaged`: it is none, or its first pages are broken.
    End open();
    /// `what` names the step in a sentence; `share` is the number of rows that is expected, for the progress.
    /// The work touches nothing but what it owns or shares; when the step ends with a throw it may be running
    /// still.
    End run(const std::string& what, std::int64_t share, Work work);
    /// Begins work on a connection of its own, which goes on beside the steps that follow. One at a time; it
    /// ends with `endBeside`, or is given up with this object.
    void beginBeside(std::function<void(SQLiteReader&)> work);
    /// Waits for it, like `run` for a step.
    End endBeside(const std::string& what);
    /// The total of all shares to come.
    void expect(std::int64_t rows);

private:
    using GuardedWork =
        std::function<void(const std::shared_ptr<Heartbeat>& heartbeat, std::atomic<std::int64_t>& rows)>;
    /// Work on a thread of its own, and what it is waited for by.
    struct Running {
        std::shared_ptr<detail::GuardedBox<Unit>> box; ///< None: there was no thread to start.
        std::shared_ptr<Heartbeat> heartbeat;
        std::shared_ptr<std::atomic<std::int64_t>> rows;
    };
    Running start(GuardedWork work) const;
    End finish(const Running& running, const std::string& what, std::int64_t share);
    End guarded(const std::string& what, std::int64_t share, GuardedWork work);
    void report(std::int64_t rows) const;

    DatabaseSource source_;
    std::shared_ptr<SQLiteReader> reader_;
    std::optional<Running> beside_;
    std::int64_t done_ = 0;
    std::int64_t total_ = 0;
};

} // namespace vantorel
