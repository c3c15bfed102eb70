#pragma once

#include "disk/CancelToken.h"
#include "disk/SystemCalls.h"

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace vantorel {

/// The rebuilt database while it is filled: the one place where this program writes to a database. What it is
/// filled from is hostile, so the connection can reach no other file, runs no trigger and no view, and what
/// comes as text may only make tables and indexes and insert values. One thread at a time.
class SalvagerDatabase {
public:
    enum class Trouble { cancelled, noSpace, broken };
    enum class Opening { fresh, existing }; ///< Fresh: nothing is at the path.
    template <typename T>
    using Result = std::expected<T, Trouble>;

    static Result<std::unique_ptr<SalvagerDatabase>> open(
        const DiskPath& file, Opening opening, SharedCancelToken cancel);
    ~SalvagerDatabase();
    SalvagerDatabase(const SalvagerDatabase&) = delete;
    SalvagerDatabase& operator=(const SalvagerDatabase&) = delete;

    /// One statement from elsewhere. Whether it was carried out: what is not allowed or does not work is let
    /// fail, as long as the database itself is well.
    Result<bool> runForeign(std::string_view sql);

    /// A row of a query, by position.
    class Row {
    public:
        explicit Row(sqlite3_stmt* statement)
            : statement_(statement)
        {
        }
        std::int64_t integer(int column) const; ///< NULL is 0.
        bool isInteger(int column) const;
        std::string text(int column) const; ///< NULL is "".

    private:
        sqlite3_stmt* statement_;
    };
    /// This program's own statement; a row handler that answers false ends it. The number of rows changed.
    Result<std::int64_t> run(const std::string& sql, const std::function<bool(const Row&)>& handler = {});
    /// The integer in the first column of the first row; 0 without one.
    Result<std::int64_t> number(const std::string& sql);

private:
    SalvagerDatabase() = default;
    Result<void> setUp();
    Trouble troubleOf(int code) const;
    static int authorize(void* self, int action, const char* first, const char* second, const char* database,
        const char* trigger);

    sqlite3* db_ = nullptr;
    bool isForeign_ = false; ///< The statement being prepared comes from elsewhere.
    SharedCancelToken cancel_{};
};

} // namespace vantorel
