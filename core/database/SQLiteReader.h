#pragma once

#include "base/Clock.h"
#include "disk/SystemCalls.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace vantorel {

/// A bindable parameter: integer, real, text, null.
using SQLiteValue = std::variant<std::int64_t, double, std::string, std::monostate>;

/// Every failure of a database operation. Leaves this module only as a `ReadError` or as a value.
class SQLiteReaderError : public std::exception {
public:
    enum class Kind { fileNotFound, copyFailed, openFailed, prepareFailed, stepFailed };

    SQLiteReaderError(Kind kind, std::string detail, std::string sql = {}, int code = 0);

    Kind kind() const { return kind_; }
    /// SQLite's primary result code (SQLITE_CORRUPT, SQLITE_NOTADB, SQLITE_IOERR, ...), 0 where there is
    /// none.
    int code() const { return code_; }
    /// The whole text: "Could not open database: " and so on.
    const std::string& description() const { return description_; }
    const char* what() const noexcept override { return description_.c_str(); }
    /// The statement was stopped by the time limit.
    bool isTimeout() const { return timeout_; }
    static SQLiteReaderError timedOut(Seconds limit);
    /// The same while opening: `openFailed` with SQLite's own message.
    static SQLiteReaderError openTimedOut(std::string message);

private:
    Kind kind_;
    int code_ = 0;
    bool timeout_ = false;
    std::string description_;
};

/// The running statement was stopped because the user cancelled.
class SQLiteCancelled : public std::exception {
public:
    const char* what() const noexcept override { return "cancelled"; }
};

/// The current row, valid only while the row handler runs. Columns are looked up by name without regard to
/// case; a column that the result lacks reads as NULL.
class SQLiteRow {
public:
    using Index = std::unordered_map<std::string, int>; ///< Lower-case name to position.

    SQLiteRow(sqlite3_stmt* statement, const Index& index)
        : statement_(statement)
        , index_(&index)
    {
    }

    int type(std::string_view name) const; ///< SQLite type code; 5 (NULL) for a missing column.
    bool isNull(std::string_view name) const;
    std::optional<std::int64_t> int64(std::string_view name) const;
    std::optional<double> real(std::string_view name) const;
    bool boolean(std::string_view name) const;
    /// A BLOB as strict UTF-8 (none if invalid), anything else as text with invalid sequences repaired.
    std::optional<std::string> string(std::string_view name) const;
    std::optional<std::string> data(std::string_view name) const; ///< A BLOB's bytes; an empty one gives "".

    /// The same by position, for loops over many rows: `position` once, then these.
    int position(std::string_view name) const; ///< -1: the result lacks it.
    int typeAt(int position) const;
    std::optional<std::int64_t> int64At(int position) const;
    std::optional<double> realAt(int position) const;
    std::optional<std::string> stringAt(int position) const;
    std::optional<std::string> dataAt(int position) const;

private:
    sqlite3_stmt* statement_;
    const Index* index_;
};

/// A finite number between 0 and `most`, or none (sizes and durations).
std::optional<double> boundedAmount(std::optional<double> value, double most);

/// The watchdog of one reader's queries. Written by the querying thread and by the progress handler on that
/// thread.
struct SQLiteQueryGuard {
    enum class Stop { none, cancelled, timedOut };

    std::optional<std::chrono::nanoseconds> deadline{}; ///< Uptime; none while no statement runs.
    Stop stop = Stop::none;
    Seconds timeout{120};
    std::function<bool()> stopCheck{};
};

/// The one strictly read-only way to an SQLite database: always a private copy or a rebuilt database, never
/// the library's own file. One thread at a time, `close` excepted.
class SQLiteReader {
public:
    /// Device, inode, size and modification time of the database and its log at opening.
    struct Identity {
        std::optional<FileStatus> database{};
        std::optional<FileStatus> log{};
        bool operator==(const Identity&) const = default;
    };

    /// Opens the file in place. Throws `SQLiteReaderError` (fileNotFound, openFailed), and `SQLiteCancelled`
    /// when `stopCheck` stopped the first look at the schema. `stopCheck` stays installed.
    SQLiteReader(std::shared_ptr<const SystemCalls> calls, std::shared_ptr<const Clock> clock,
        const DiskPath& file, std::function<bool()> stopCheck = {});
    ~SQLiteReader();
    SQLiteReader(const SQLiteReader&) = delete;
    SQLiteReader& operator=(const SQLiteReader&) = delete;

    using RowHandler = std::function<void(const SQLiteRow&)>;
    /// Throws `SQLiteReaderError`, `SQLiteCancelled`, and what the handler or the stop check throws. A
    /// handler may run further queries on the same reader.
    void forEachRow(
        const std::string& sql, const std::vector<SQLiteValue>& parameters, const RowHandler& handler);
    template <typename Transform>
    auto rows(const std::string& sql, const std::vector<SQLiteValue>& parameters, Transform transform)
    {
        std::vector<std::invoke_result_t<Transform&, const SQLiteRow&>> result;
        forEachRow(sql, parameters, [&](const SQLiteRow& row) { result.push_back(transform(row)); });
        return result;
    }
    /// The column "n" of the first row; NULL or no row gives 0.
    std::int64_t count(const std::string& sql, const std::vector<SQLiteValue>& parameters = {});
    /// Lower-cased column names; read once per table.
    const std::set<std::string>& columns(const std::string& table);
    /// "<alias>.<column> AS <name>" where the table has the column, else "NULL AS <name>".
    std::string selectColumn(const std::string& column, const std::string& tableAlias,
        const std::string& table, const std::optional<std::string>& as = std::nullopt);
    void setTimeout(Seconds timeout);
    void setStopCheck(std::function<bool()> predicate);
    /// Whether the file or its log are others than those that were opened.
    bool fileChangedUnderneath() const;
    const Identity& openedIdentity() const { return openedIdentity_; }
    /// Final; twice is harmless; from any thread. A query that runs meanwhile is stopped and ends with
    /// `openFailed("closed")`; the connection is then let go by the querying thread.
    void close();

private:
    class Use;
    class Watch;
    enum class Limits { lenient, strict };
    enum class Opening { immutable, inPlace };

    void open(Opening opening);
    Opening openingFor() const;
    void probe();
    void harden(Limits limits);
    void execute(const char* sql);
    int guardCheck();
    static int progressHandler(void* reader) noexcept;
    bool stopAsked();
    /// Runs a query until its end or until the handler answers false.
    void run(const std::string& sql, const std::vector<SQLiteValue>& parameters,
        const std::function<bool(const SQLiteRow&)>& handler);
    /// What an interrupted statement is reported as; returns when it was none of the guard's doing.
    void throwStop() const;
    Identity identityNow() const;

    std::shared_ptr<const SystemCalls> calls_;
    std::shared_ptr<const Clock> clock_;
    DiskPath file_;
    std::map<std::string, std::set<std::string>> columnCache_;
    mutable std::mutex lock_; ///< Serialises close against use; guards `db_` and `users_`, not the queries.
    sqlite3* db_ = nullptr;
    int users_ = 0; ///< Queries that run; the last one lets a closed connection go.
    std::atomic<bool> closed_{false};
    SQLiteQueryGuard queryGuard_;
    std::exception_ptr stopFailure_; ///< What the stop check threw inside SQLite.
    Identity openedIdentity_;
};

/// A name as an SQL identifier: in double quotation marks, inner ones doubled.
std::string quotedIdentifier(std::string_view name);

} // namespace vantorel
