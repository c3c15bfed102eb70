#pragma once

#include <sqlite3.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>

namespace vantorel {

/// Writes small databases with SQLite itself. What goes wrong here is the test's fault and throws.
class DatabaseBuilder {
public:
    enum class Journal { rollback, log };

    /// Opens the file, or makes it. With a log, closing keeps the log beside the database, as a program that
    /// was ended or copied from leaves it.
    explicit DatabaseBuilder(const std::filesystem::path& file, Journal journal = Journal::rollback)
    {
        check(sqlite3_open(file.c_str(), &db_));
        sqlite3_db_config(db_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, static_cast<int*>(nullptr));
        sqlite3_db_config(db_, SQLITE_DBCONFIG_DEFENSIVE, 0, static_cast<int*>(nullptr));
        run("PRAGMA synchronous = OFF"); // a test has no power to lose
        if (journal == Journal::log) {
            run("PRAGMA journal_mode = WAL; PRAGMA wal_autocheckpoint = 0");
        }
    }
    ~DatabaseBuilder() { sqlite3_close(db_); }
    DatabaseBuilder(const DatabaseBuilder&) = delete;
    DatabaseBuilder& operator=(const DatabaseBuilder&) = delete;

    DatabaseBuilder& run(const std::string& sql)
    {
        check(sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr));
        return *this;
    }
    /// Runs with one BLOB bound to ?1.
    DatabaseBuilder& runWithBlob(const std::string& sql, const std::string& bytes)
    {
        sqlite3_stmt* statement = nullptr;
        check(sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr));
        sqlite3_bind_blob64(statement, 1, bytes.data(), bytes.size(), SQLITE_TRANSIENT);
        sqlite3_step(statement);
        check(sqlite3_finalize(statement));
        return *this;
    }

private:
    void check(int code)
    {
        if (code != SQLITE_OK) {
            throw std::runtime_error(sqlite3_errmsg(db_));
        }
    }

    sqlite3* db_ = nullptr;
};

} // namespace vantorel
