#include "database/SQLiteReader.h"

#include "base/Text.h"
#include "disk/OpenFile.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <span>

namespace vantorel {

namespace {

constexpr int busyMilliseconds = 2'000;
constexpr int stepsBetweenChecks = 1'000; ///< Virtual-machine steps; a fraction of a millisecond.
constexpr std::size_t rowsBetweenChecks = 2'000;
constexpr std::size_t databaseHeaderBytes = 100;
constexpr std::string_view databaseMagic{"SQLite format 3\0", 16};
constexpr std::size_t writeVersionOffset = 18; ///< Of the database header; 2 means write-ahead log.
constexpr std::size_t readVersionOffset = 19;

struct StatementEnd {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementEnd>;

std::string descriptionOf(SQLiteReaderError::Kind kind, const std::string& detail, const std::string& sql)
{
    switch (kind) {
    case SQLiteReaderError::Kind::fileNotFound:
        return "Database not found: " + detail;
    case SQLiteReaderError::Kind::copyFailed:
        return "Could not copy database: " + detail;
    case SQLiteReaderError::Kind::openFailed:
        return "Could not open database: " + detail;
    case SQLiteReaderError::Kind::prepareFailed:
        return "SQL error " + detail + " in: " + sql;
    case SQLiteReaderError::Kind::stepFailed:
        return "SQL step failed: " + detail;
    }
    std::unreachable();
}

/// A time limit as it can be added to a clock: not a number counts as 0.
Seconds clamped(Seconds limit)
{
    constexpr Seconds most{1'000'000'000.0};
    return limit > Seconds{0} ? std::min(limit, most) : Seconds{0};
}

int primaryCode(sqlite3* db) { return sqlite3_errcode(db) & 0xff; }

/// A relative path always begins with "./", so that SQLite takes no name for something special (":memory:",
/// "file:...").
std::string plainName(const DiskPath& file)
{
    return file.is_absolute() ? file.native() : "./" + file.native();
}

/// The path as a file URL; every byte that could mean something in a URL is percent-encoded.
std::string fileURL(const DiskPath& file)
{
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string url = file.is_absolute() ? "file://" : "file:";
    for (const char c : plainName(file)) {
        if (plain.find(c) != std::string_view::npos) {
            url += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            url += '%';
            url += digits[byte >> 4U];
            url += digits[byte & 0x0fU];
        }
    }
    return url;
}

DiskPath logOf(const DiskPath& file)
{
    DiskPath log = file;
    log += "-wal";
    return log;
}

/// Whether the file is a database in write-ahead-log mode, by its header. What cannot be read is none.
bool isInLogMode(const std::shared_ptr<const SystemCalls>& calls, const DiskPath& file)
{
    const auto fd = calls->open(file, readOnlyOpenFlags());
    if (!fd) {
        return false;
    }
    const OpenFile opened(calls, *fd);
    const auto status = calls->statusOf(opened.get());
    if (!status || status->type != FileStatus::Type::regular) {
        return false;
    }
    std::array<std::byte, databaseHeaderBytes> header{};
    std::size_t got = 0;
    while (got < header.size()) {
        const auto count =
            calls->readAt(opened.get(), std::span(header).subspan(got), static_cast<std::int64_t>(got));
        if (!count || *count == 0) {
            return false;
        }
        got += *count;
    }
    const auto isMagic = [&header] {
        return std::equal(databaseMagic.begin(), databaseMagic.end(), header.begin(),
            [](char expected, std::byte found) { return std::byte(expected) == found; });
    };
    return isMagic() && header[writeVersionOffset] == std::byte{2}
    && header[readVersionOffset] == std::byte{2};
}

/// What tells one state of a file from another. Reading changes the access time and nothing else.
std::optional<FileStatus> identityOf(const SystemCalls& calls, const DiskPath& file)
{
    const auto status = calls.status(file, SystemCalls::Links::notFollowed);
    if (!status) {
        return std::nullopt;
    }
    FileStatus identity;
    identity.type = status->type;
    identity.size = status->size;
    identity.modified = status->modified;
    identity.device = status->device;
    identity.inode = status->inode;
    return identity;
}

int bind(sqlite3_stmt* statement, int position, const SQLiteValue& value)
{
    if (const auto* integer = std::get_if<std::int64_t>(&value)) {
        return sqlite3_bind_int64(statement, position, *integer);
    }
    if (const auto* real = std::get_if<double>(&value)) {
        return sqlite3_bind_double(statement, position, *real);
    }
    if (const auto* text = std::get_if<std::string>(&value)) {
        return sqlite3_bind_text(statement, position, text->c_str(), -1, SQLITE_TRANSIENT);
    }
    return sqlite3_bind_null(statement, position);
}

SQLiteRow::Index indexOf(sqlite3_stmt* statement)
{
    SQLiteRow::Index index;
    const int count = sqlite3_column_count(statement);
    for (int i = 0; i < count; ++i) {
        const char* name = sqlite3_column_name(statement, i);
        if (name != nullptr && *name != '\0') {
            index.try_emplace(lowerAscii(name), i); // of two equal names the first one wins
        }
    }
    return index;
}

} // namespace

SQLiteReaderError::SQLiteReaderError(Kind kind, std::string detail, std::string sql, int code)
    : kind_(kind)
    , code_(code)
    , description_(descriptionOf(kind, detail, sql))
{
}

SQLiteReaderError SQLiteReaderError::timedOut(Seconds limit)
{
    const auto seconds = static_cast<std::int64_t>(clamped(limit).count());
    SQLiteReaderError error(Kind::stepFailed,
        "the query took longer than " + std::to_string(seconds) + " seconds and was stopped", {},
        SQLITE_INTERRUPT);
    error.timeout_ = true;
    return error;
}

SQLiteReaderError SQLiteReaderError::openTimedOut(std::string message)
{
    SQLiteReaderError error(Kind::openFailed, std::move(message), {}, SQLITE_INTERRUPT);
    error.timeout_ = true;
    return error;
}

/// Holds the connection for one query: `close` from elsewhere leaves it to the last holder.
class SQLiteReader::Use {
public:
    explicit Use(SQLiteReader& reader)
        : reader_(reader)
    {
        const std::lock_guard guard(reader_.lock_);
        if (reader_.closed_ || reader_.db_ == nullptr) {
            throw SQLiteReaderError(SQLiteReaderError::Kind::openFailed, "closed");
        }
        ++reader_.users_;
    }
    ~Use()
    {
        const std::lock_guard guard(reader_.lock_);
        if (--reader_.users_ == 0 && reader_.closed_) {
            sqlite3_close_v2(std::exchange(reader_.db_, nullptr));
        }
    }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

private:
    SQLiteReader& reader_;
};

/// Arms the guard for one statement. A statement that runs inside another's handler has its own time; the
/// outer one's deadline stands again afterwards.
class SQLiteReader::Watch {
public:
    explicit Watch(SQLiteReader& reader)
        : reader_(reader)
        , outer_(reader.queryGuard_.deadline)
    {
        SQLiteQueryGuard& guard = reader_.queryGuard_;
        guard.deadline = reader_.clock_->uptime()
            + std::chrono::duration_cast<std::chrono::nanoseconds>(clamped(guard.timeout));
        guard.stop = SQLiteQueryGuard::Stop::none;
        reader_.stopFailure_ = nullptr;
    }
    ~Watch() { reader_.queryGuard_.deadline = outer_; }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

private:
    SQLiteReader& reader_;
    std::optional<std::chrono::nanoseconds> outer_;
};

SQLiteReader::SQLiteReader(std::shared_ptr<const SystemCalls> calls, std::shared_ptr<const Clock> clock,
    const DiskPath& file, std::function<bool()> stopCheck)
    : calls_(std::move(calls))
    , clock_(std::move(clock))
    , file_(file)
{
    queryGuard_.stopCheck = std::move(stopCheck);

    const auto status = file_.native().find('\0') == std::string::npos
        ? calls_->status(file_, SystemCalls::Links::notFollowed)
        : std::unexpected(ENOENT); // no file has such a name
    if (!status) {
        if (status.error() == ENOENT || status.error() == ENOTDIR) {
            throw SQLiteReaderError(SQLiteReaderError::Kind::fileNotFound, file_.native());
        }
        throw SQLiteReaderError(SQLiteReaderError::Kind::openFailed, errorText(status.error()));
    }
    if (status->type != FileStatus::Type::regular) {
        throw SQLiteReaderError(
            SQLiteReaderError::Kind::openFailed, file_.native() + " is not a regular file");
    }

    try {
        open(openingFor());
        sqlite3_busy_timeout(db_, busyMilliseconds);
        // A large library's schema is longer than the strict limits allow; they hold once it is read.
        harden(Limits::lenient);
        sqlite3_progress_handler(db_, stepsBetweenChecks, &SQLiteReader::progressHandler, this);
        probe();
        harden(Limits::strict);
        execute("PRAGMA query_only = ON");
        openedIdentity_ = identityNow();
    } catch (...) {
        close();
        throw;
    }
}

SQLiteReader::~SQLiteReader() { close(); }

/// A database in log mode whose log is missing or empty cannot be read without writing beside it, unless
/// SQLite is told that nothing changes. With a log it must be opened for writing, since its index is rebuilt.
SQLiteReader::Opening SQLiteReader::openingFor() const
{
    const auto log = calls_->status(logOf(file_), SystemCalls::Links::notFollowed);
    const bool hasLog = log && log->size >= 1;
    return !hasLog && isInLogMode(calls_, file_) ? Opening::immutable : Opening::inPlace;
}

void SQLiteReader::open(Opening opening)
{
    const bool immutable = opening == Opening::immutable;
    const std::string name = immutable ? fileURL(file_) + "?immutable=1" : plainName(file_);
    const int flags =
        SQLITE_OPEN_NOMUTEX | (immutable ? SQLITE_OPEN_READONLY | SQLITE_OPEN_URI : SQLITE_OPEN_READWRITE);
    const int code = sqlite3_open_v2(name.c_str(), &db_, flags, nullptr);
    if (code == SQLITE_OK) {
        return;
    }
    throw SQLiteReaderError(SQLiteReaderError::Kind::openFailed,
        db_ == nullptr ? "code " + std::to_string(code) : std::string(sqlite3_errmsg(db_)), {}, code & 0xff);
}

void SQLiteReader::harden(Limits limits)
{
    // A setting that this SQLite does not know is no reason to refuse the file: the others hold.
    for (const auto& [setting, value] :
        {std::pair{SQLITE_DBCONFIG_DEFENSIVE, 1}, std::pair{SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
            std::pair{SQLITE_DBCONFIG_ENABLE_TRIGGER, 0}, std::pair{SQLITE_DBCONFIG_ENABLE_VIEW, 0},
            // Closing would otherwise merge the copied log into the copy and delete it.
            std::pair{SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1}}) {
        sqlite3_db_config(db_, setting, value, static_cast<int*>(nullptr));
    }
    execute("PRAGMA trusted_schema = OFF");
    // SQLite's check of the file would otherwise work out conditions that the file brings along: a single one
    // may take for ever, and Photos has none.
    execute("PRAGMA ignore_check_constraints = ON");

    sqlite3_limit(db_, SQLITE_LIMIT_LENGTH, 0x2000'0000);
    sqlite3_limit(db_, SQLITE_LIMIT_ATTACHED, 0);
    sqlite3_limit(db_, SQLITE_LIMIT_TRIGGER_DEPTH, 1);
    switch (limits) {
    case Limits::lenient:
        sqlite3_limit(db_, SQLITE_LIMIT_SQL_LENGTH, 100'000'000);
        sqlite3_limit(db_, SQLITE_LIMIT_EXPR_DEPTH, 1'000);
        sqlite3_limit(db_, SQLITE_LIMIT_COMPOUND_SELECT, 500);
        return;
    case Limits::strict:
        sqlite3_limit(db_, SQLITE_LIMIT_SQL_LENGTH, 1'000'000);
        sqlite3_limit(db_, SQLITE_LIMIT_EXPR_DEPTH, 200);
        sqlite3_limit(db_, SQLITE_LIMIT_COMPOUND_SELECT, 50);
        sqlite3_limit(db_, SQLITE_LIMIT_LIKE_PATTERN_LENGTH, 2'000);
        sqlite3_limit(db_, SQLITE_LIMIT_FUNCTION_ARG, 16);
        return;
    }
    std::unreachable();
}

/// Reads the schema for the first time, so what is no database or has a broken schema shows here.
void SQLiteReader::probe()
{
    const Watch watch(*this);
    const int code = sqlite3_exec(db_, "SELECT count(*) FROM sqlite_master", nullptr, nullptr, nullptr);
    if (code == SQLITE_OK) {
        return;
    }
    std::string message = sqlite3_errmsg(db_);
    if (queryGuard_.stop == SQLiteQueryGuard::Stop::timedOut) {
        throw SQLiteReaderError::openTimedOut(std::move(message));
    }
    throwStop();
    throw SQLiteReaderError(SQLiteReaderError::Kind::openFailed, std::move(message), {}, code & 0xff);
}

/// One of the connection's own settings.
void SQLiteReader::execute(const char* sql)
{
    const Watch watch(*this);
    if (const int code = sqlite3_exec(db_, sql, nullptr, nullptr, nullptr); code != SQLITE_OK) {
        throwStop();
        throw SQLiteReaderError(SQLiteReaderError::Kind::openFailed, sqlite3_errmsg(db_), {}, code & 0xff);
    }
}

bool SQLiteReader::stopAsked() { return queryGuard_.stopCheck && queryGuard_.stopCheck(); }

int SQLiteReader::guardCheck()
{
    if (closed_) {
        return 1;
    }
    if (stopAsked()) {
        queryGuard_.stop = SQLiteQueryGuard::Stop::cancelled;
        return 1;
    }
    if (queryGuard_.deadline && clock_->uptime() > *queryGuard_.deadline) {
        queryGuard_.stop = SQLiteQueryGuard::Stop::timedOut;
        return 1;
    }
    return 0;
}

int SQLiteReader::progressHandler(void* reader) noexcept
{
    auto& self = *static_cast<SQLiteReader*>(reader);
    try {
        return self.guardCheck();
    } catch (...) { // SQLite is C: the exception goes on from where the statement was run
        self.stopFailure_ = std::current_exception();
        return 1;
    }
}

void SQLiteReader::throwStop() const
{
    if (stopFailure_) {
        std::rethrow_exception(stopFailure_);
    }
    if (closed_) {
        throw SQLiteReaderError(SQLiteReaderError::Kind::openFailed, "closed");
    }
    switch (queryGuard_.stop) {
    case SQLiteQueryGuard::Stop::none:
        return;
    case SQLiteQueryGuard::Stop::cancelled:
        throw SQLiteCancelled();
    case SQLiteQueryGuard::Stop::timedOut:
        throw SQLiteReaderError::timedOut(queryGuard_.timeout);
    }
}

void SQLiteReader::run(const std::string& sql, const std::vector<SQLiteValue>& parameters,
    const std::function<bool(const SQLiteRow&)>& handler)
{
    const Use use(*this);
    const Watch watch(*this); // preparing may read the schema again, so it is watched too

    Statement statement;
    {
        sqlite3_stmt* prepared = nullptr;
        const int code = sqlite3_prepare_v2(db_, sql.c_str(), -1, &prepared, nullptr);
        statement.reset(prepared);
        if (code != SQLITE_OK || !statement) {
            throwStop();
            throw SQLiteReaderError(
                SQLiteReaderError::Kind::prepareFailed, sqlite3_errmsg(db_), sql, primaryCode(db_));
        }
    }
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        if (bind(statement.get(), static_cast<int>(i) + 1, parameters[i]) != SQLITE_OK) {
            throw SQLiteReaderError(
                SQLiteReaderError::Kind::prepareFailed, sqlite3_errmsg(db_), sql, primaryCode(db_));
        }
    }

    const SQLiteRow::Index index = indexOf(statement.get());
    const SQLiteRow row(statement.get(), index);
    for (std::size_t count = 1;; ++count) {
        const int code = sqlite3_step(statement.get());
        if (code == SQLITE_DONE) {
            return;
        }
        if (code != SQLITE_ROW) {
            throwStop();
            throw SQLiteReaderError(
                SQLiteReaderError::Kind::stepFailed, sqlite3_errmsg(db_), {}, code & 0xff);
        }
        if (!handler(row)) {
            return;
        }
        // A query inside the handler left its own end there.
        queryGuard_.stop = SQLiteQueryGuard::Stop::none;
        stopFailure_ = nullptr;
        if (closed_) {
            throw SQLiteReaderError(SQLiteReaderError::Kind::openFailed, "closed");
        }
        if (count % rowsBetweenChecks == 0 && stopAsked()) {
            throw SQLiteCancelled();
        }
    }
}

void SQLiteReader::forEachRow(
    const std::string& sql, const std::vector<SQLiteValue>& parameters, const RowHandler& handler)
{
    run(sql, parameters, [&handler](const SQLiteRow& row) {
        handler(row);
        return true;
    });
}

std::int64_t SQLiteReader::count(const std::string& sql, const std::vector<SQLiteValue>& parameters)
{
    std::int64_t result = 0;
    run(sql, parameters, [&result](const SQLiteRow& row) {
        result = row.int64("n").value_or(0);
        return false;
    });
    return result;
}

const std::set<std::string>& SQLiteReader::columns(const std::string& table)
{
    const std::string key = lowerAscii(table);
    if (const auto known = columnCache_.find(key); known != columnCache_.end()) {
        return known->second;
    }
    std::set<std::string> names;
    forEachRow("PRAGMA table_info(" + quotedIdentifier(table) + ")", {}, [&names](const SQLiteRow& row) {
        if (const auto name = row.string("name")) {
            names.insert(lowerAscii(*name));
        }
    });
    return columnCache_.emplace(key, std::move(names)).first->second;
}

std::string SQLiteReader::selectColumn(const std::string& column, const std::string& tableAlias,
    const std::string& table, const std::optional<std::string>& as)
{
    const std::string& name = as ? *as : column;
    if (columns(table).contains(lowerAscii(column))) {
        return tableAlias + "." + column + " AS " + name;
    }
    return "NULL AS " + name;
}

void SQLiteReader::setTimeout(Seconds timeout) { queryGuard_.timeout = timeout; }

void SQLiteReader::setStopCheck(std::function<bool()> predicate)
{
    queryGuard_.stopCheck = std::move(predicate);
}

SQLiteReader::Identity SQLiteReader::identityNow() const
{
    return {.database = identityOf(*calls_, file_), .log = identityOf(*calls_, logOf(file_))};
}

bool SQLiteReader::fileChangedUnderneath() const { return identityNow() != openedIdentity_; }

void SQLiteReader::close()
{
    const std::lock_guard guard(lock_);
    closed_ = true;
    if (users_ == 0) {
        sqlite3_close_v2(std::exchange(db_, nullptr));
    }
}

} // namespace vantorel
