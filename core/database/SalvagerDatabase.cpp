#include "database/SalvagerDatabase.h"

#include "base/Text.h"

#include <sqlite3.h>

#include <array>
#include <utility>

namespace vantorel {

namespace {

constexpr int stepsBetweenChecks = 10'000;
/// Of one value and one statement. Photos keeps property lists of some kilobytes; what is longer is no
/// caption.
constexpr int mostValueBytes = 64 << 20;

struct StatementEnd {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementEnd>;

bool isSchemaTable(const char* name)
{
    return name != nullptr
        && (std::string_view(name) == "sqlite_master" || std::string_view(name) == "sqlite_schema");
}

/// The tool writes line breaks in texts by these.
bool isTextFunction(const char* name)
{
    constexpr std::array<std::string_view, 3> known{"replace", "char", "unistr"};
    for (const auto each : known) {
        if (name != nullptr && lowerAscii(name) == each) {
            return true;
        }
    }
    return false;
}

} // namespace

SalvagerDatabase::Result<std::unique_ptr<SalvagerDatabase>> SalvagerDatabase::open(
    const DiskPath& file, Opening opening, SharedCancelToken cancel)
{
    std::unique_ptr<SalvagerDatabase> database(new SalvagerDatabase);
    database->cancel_ = std::move(cancel);
    const int flags =
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | (opening == Opening::fresh ? SQLITE_OPEN_CREATE : 0);
    // "./" keeps SQLite from taking a relative name for something special.
    const std::string name = file.is_absolute() ? file.native() : "./" + file.native();
    if (const int code = sqlite3_open_v2(name.c_str(), &database->db_, flags, nullptr); code != SQLITE_OK) {
        return std::unexpected(database->troubleOf(code));
    }
    if (const auto ready = database->setUp(); !ready) {
        return std::unexpected(ready.error());
    }
    return database;
}

SalvagerDatabase::~SalvagerDatabase() { sqlite3_close_v2(db_); }

SalvagerDatabase::Result<void> SalvagerDatabase::setUp()
{
    for (const auto& [setting, value] : {std::pair{SQLITE_DBCONFIG_DEFENSIVE, 1},
             std::pair{SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0}, std::pair{SQLITE_DBCONFIG_ENABLE_TRIGGER, 0},
             std::pair{SQLITE_DBCONFIG_ENABLE_VIEW, 0}, std::pair{SQLITE_DBCONFIG_ENABLE_FKEY, 0}}) {
        sqlite3_db_config(db_, setting, value, static_cast<int*>(nullptr));
    }
    for (const auto& [limit, value] :
        {std::pair{SQLITE_LIMIT_LENGTH, mostValueBytes}, std::pair{SQLITE_LIMIT_SQL_LENGTH, mostValueBytes},
            std::pair{SQLITE_LIMIT_ATTACHED, 0}, std::pair{SQLITE_LIMIT_TRIGGER_DEPTH, 1},
            std::pair{SQLITE_LIMIT_COMPOUND_SELECT, 50}, std::pair{SQLITE_LIMIT_WORKER_THREADS, 0}}) {
        sqlite3_limit(db_, limit, value);
    }
    sqlite3_progress_handler(
        db_, stepsBetweenChecks,
        [](void* self) { return isCancelled(static_cast<SalvagerDatabase*>(self)->cancel_) ? 1 : 0; }, this);
    sqlite3_set_authorizer(db_, &SalvagerDatabase::authorize, this);
    // Made anew when it goes wrong: nothing waits for the disk, and what is undone is undone from memory. A
    // row that damage made break a rule of its table is still a row.
    for (const char* setting : {"PRAGMA trusted_schema = OFF", "PRAGMA synchronous = OFF",
             "PRAGMA journal_mode = MEMORY", "PRAGMA temp_store = MEMORY", "PRAGMA locking_mode = EXCLUSIVE",
             "PRAGMA cache_size = -32768", "PRAGMA ignore_check_constraints = ON"}) {
        if (const auto set = run(setting); !set) {
            return std::unexpected(set.error());
        }
    }
    return {};
}

SalvagerDatabase::Trouble SalvagerDatabase::troubleOf(int code) const
{
    if (isCancelled(cancel_)) {
        return Trouble::cancelled;
    }
    return (code & 0xff) == SQLITE_FULL ? Trouble::noSpace : Trouble::broken;
}

/// Asked while a statement is prepared. Making a table or an index also writes to the table of definitions,
/// which a statement of its own cannot do on a defensive connection.
int SalvagerDatabase::authorize(
    void* self, int action, const char* first, const char* second, const char*, const char*)
{
    if (!static_cast<SalvagerDatabase*>(self)->isForeign_) {
        return SQLITE_OK;
    }
    switch (action) {
    case SQLITE_CREATE_TABLE:
    case SQLITE_CREATE_INDEX:
    case SQLITE_REINDEX: // of the index that is being made
    case SQLITE_INSERT:
        return SQLITE_OK;
    case SQLITE_READ: // an indexed or checked column, a definition
        return SQLITE_OK;
    case SQLITE_UPDATE:
        return isSchemaTable(first) ? SQLITE_OK : SQLITE_DENY;
    case SQLITE_FUNCTION:
        return isTextFunction(second) ? SQLITE_OK : SQLITE_DENY;
    default:
        return SQLITE_DENY;
    }
}

SalvagerDatabase::Result<bool> SalvagerDatabase::runForeign(std::string_view sql)
{
    if (sql.size() > static_cast<std::size_t>(mostValueBytes)) {
        return false;
    }
    sqlite3_stmt* prepared = nullptr;
    isForeign_ = true;
    const int code = sqlite3_prepare_v2(db_, sql.data(), static_cast<int>(sql.size()), &prepared, nullptr);
    isForeign_ = false;
    const Statement statement(prepared);
    int last = code;
    if (code == SQLITE_OK && statement) {
        isForeign_ = true; // SQLite may prepare it once more
        do {
            last = sqlite3_step(statement.get());
        } while (last == SQLITE_ROW);
        isForeign_ = false;
    }
    switch (last & 0xff) {
    case SQLITE_DONE:
        return true;
    case SQLITE_INTERRUPT:
    case SQLITE_FULL:
    case SQLITE_IOERR:
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_NOMEM:
    case SQLITE_CANTOPEN:
    case SQLITE_READONLY:
        return std::unexpected(troubleOf(last));
    default:
        return false;
    }
}

std::int64_t SalvagerDatabase::Row::integer(int column) const
{
    return sqlite3_column_int64(statement_, column);
}

bool SalvagerDatabase::Row::isInteger(int column) const
{
    return sqlite3_column_type(statement_, column) == SQLITE_INTEGER;
}

std::string SalvagerDatabase::Row::text(int column) const
{
    const auto* bytes = sqlite3_column_text(statement_, column);
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
    return bytes == nullptr ? std::string() : std::string(reinterpret_cast<const char*>(bytes), size);
}

SalvagerDatabase::Result<std::int64_t> SalvagerDatabase::run(
    const std::string& sql, const std::function<bool(const Row&)>& handler)
{
    const auto before = sqlite3_total_changes64(db_);
    sqlite3_stmt* prepared = nullptr;
    int code = sqlite3_prepare_v2(db_, sql.c_str(), -1, &prepared, nullptr);
    const Statement statement(prepared);
    while (code == SQLITE_OK || code == SQLITE_ROW) {
        code = sqlite3_step(statement.get());
        if (code == SQLITE_ROW && handler && !handler(Row(statement.get()))) {
            return sqlite3_total_changes64(db_) - before;
        }
    }
    if (code != SQLITE_DONE) {
        return std::unexpected(troubleOf(code));
    }
    return sqlite3_total_changes64(db_) - before;
}

SalvagerDatabase::Result<std::int64_t> SalvagerDatabase::number(const std::string& sql)
{
    std::int64_t result = 0;
    const auto ran = run(sql, [&result](const Row& row) {
        result = row.integer(0);
        return false;
    });
    if (!ran) {
        return std::unexpected(ran.error());
    }
    return result;
}

} // namespace vantorel
