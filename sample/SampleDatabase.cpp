#include "sample/SampleDatabase.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <stdexcept>
#include <utility>

namespace vantorel::sample {

namespace {

/// What Photos' own functions would tell its running program is of no use here.
void ignoreCall(sqlite3_context* context, int, sqlite3_value**) { sqlite3_result_null(context); }

constexpr const char* triggerFunctions[] = {"NSCoreDataTriggerUpdateAffectedObjectValue",
    "NSCoreDataDATriggerInsertUpdatedAffectedObjectValue", "NSCoreDataDATriggerUpdatedAffectedObjectValue"};

int bound(sqlite3_stmt* statement, int index, const Value& value)
{
    const auto length = [](std::string_view text) { return static_cast<sqlite3_uint64>(text.size()); };
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
        return sqlite3_bind_int64(statement, index, *number);
    }
    if (const auto* real = std::get_if<double>(&value)) {
        return sqlite3_bind_double(statement, index, *real);
    }
    if (const auto* text = std::get_if<std::string_view>(&value)) {
        return sqlite3_bind_text64(statement, index, text->data(), length(*text), SQLITE_STATIC, SQLITE_UTF8);
    }
    if (const auto* blob = std::get_if<Blob>(&value)) {
        return sqlite3_bind_blob64(statement, index, blob->bytes.data(), length(blob->bytes), SQLITE_STATIC);
    }
    return sqlite3_bind_null(statement, index);
}

} // namespace

SampleDatabase::SampleDatabase(const DiskPath& file)
    : file_(file)
{
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    if (sqlite3_open_v2(file.c_str(), &db_, flags, nullptr) != SQLITE_OK) {
        const std::string reason = db_ != nullptr ? sqlite3_errmsg(db_) : "no memory";
        sqlite3_close(std::exchange(db_, nullptr));
        throw std::runtime_error(
            fmt::format("The database {} could not be made: {}.", file.string(), reason));
    }
    try {
        execute("PRAGMA page_size = 4096; PRAGMA auto_vacuum = INCREMENTAL; PRAGMA journal_mode = OFF;"
                "PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE; PRAGMA cache_size = -65536;"
                "PRAGMA temp_store = MEMORY; PRAGMA wal_autocheckpoint = 0;");
        for (const char* name : triggerFunctions) {
            if (sqlite3_create_function_v2(
                    db_, name, -1, SQLITE_UTF8, nullptr, ignoreCall, nullptr, nullptr, nullptr)
                != SQLITE_OK) {
                fail();
            }
        }
    } catch (...) {
        sqlite3_close(std::exchange(db_, nullptr));
        throw;
    }
}

SampleDatabase::~SampleDatabase() { sqlite3_close_v2(db_); }

void SampleDatabase::execute(const std::string& sql)
{
    if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail();
    }
}

void SampleDatabase::beginLog()
{
    // Only with normal locking does the log have its index in a "-shm" file, as a running Photos leaves it.
    execute("PRAGMA locking_mode = NORMAL; SELECT count(*) FROM sqlite_master; PRAGMA journal_mode = WAL;");
}

void SampleDatabase::close(bool keepLog)
{
    if (keepLog
        && sqlite3_db_config(db_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, static_cast<int*>(nullptr))
            != SQLITE_OK) {
        fail();
    }
    if (!keepLog) {
        execute("PRAGMA wal_checkpoint(TRUNCATE);");
    }
    if (sqlite3_close(db_) != SQLITE_OK) {
        fail();
    }
    db_ = nullptr;
}

void SampleDatabase::fail() const
{
    throw std::runtime_error(
        fmt::format("The database {} could not be written: {}.", file_.string(), sqlite3_errmsg(db_)));
}

RowInserter::RowInserter(SampleDatabase& database, const Layout& layout, std::string table)
    : database_(database)
    , layout_(layout)
    , table_(std::move(table))
{
}

RowInserter::~RowInserter() { sqlite3_finalize(statement_); }

void RowInserter::prepare(std::initializer_list<Field> row)
{
    isPrepared_ = true;
    std::string names;
    std::string places;
    std::size_t index = 0;
    for (const Field& field : row) {
        if (layout_.hasColumn(table_, field.column)) {
            used_.push_back(index);
            names += (names.empty() ? "" : ", ") + std::string(field.column);
            places += places.empty() ? "?" : ", ?";
        }
        ++index;
    }
    if (used_.empty()) {
        return;
    }
    // A trigger may have put the row into the R-tree already.
    const bool isVirtual = layout_.table(table_)->isVirtual;
    const std::string sql = fmt::format(
        "INSERT {}INTO {} ({}) VALUES ({})", isVirtual ? "OR REPLACE " : "", table_, names, places);
    if (sqlite3_prepare_v3(
            database_.handle(), sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement_, nullptr)
        != SQLITE_OK) {
        database_.fail();
    }
}

void RowInserter::insert(std::initializer_list<Field> row)
{
    if (!isPrepared_) {
        prepare(row);
    }
    if (statement_ == nullptr) {
        return;
    }
    for (std::size_t i = 0; i < used_.size(); ++i) {
        if (bound(statement_, static_cast<int>(i) + 1, (row.begin() + used_[i])->stored) != SQLITE_OK) {
            database_.fail();
        }
    }
    if (sqlite3_step(statement_) != SQLITE_DONE || sqlite3_reset(statement_) != SQLITE_OK) {
        database_.fail();
    }
}

} // namespace vantorel::sample
