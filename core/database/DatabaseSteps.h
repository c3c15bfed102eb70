#pragma once

#include "base/Clock.h"
#include "database/ReadProgress.h"
#include "database/SQLiteReader.h"
#include "disk/CancelToken.h"
#include "disk/Heartbeat.h"
#include "disk/SystemCalls.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
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

    /// Opens the database. `damaged`: it is none, or its first pages are broken.
    End open();
    /// `what` names the step in a sentence; `share` is the number of rows that is expected, for the progress.
    /// The work touches nothing but what it owns or shares; when the step ends with a throw it may be running
    /// still.
    End run(const std::string& what, std::int64_t share, Work work);
    /// The total of all shares to come.
    void expect(std::int64_t rows);

private:
    using GuardedWork =
        std::function<void(const std::shared_ptr<Heartbeat>& heartbeat, std::atomic<std::int64_t>& rows)>;
    End guarded(const std::string& what, std::int64_t share, GuardedWork work);
    void report(std::int64_t rows) const;

    DatabaseSource source_;
    std::shared_ptr<SQLiteReader> reader_;
    std::int64_t done_ = 0;
    std::int64_t total_ = 0;
};

} // namespace vantorel
