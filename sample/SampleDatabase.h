#pragma once

#include "sample/Layout.h"

#include "disk/SystemCalls.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace vantorel::sample {

struct Blob {
    std::string_view bytes{};
};

/// A value for one column. Texts and blobs are copied while the row is inserted.
using Value = std::variant<std::monostate, std::int64_t, double, std::string_view, Blob>;

inline Value value(bool yes) { return std::int64_t{yes ? 1 : 0}; }
inline Value value(std::int64_t number) { return number; }
inline Value value(int number) { return std::int64_t{number}; }
inline Value value(std::size_t number) { return static_cast<std::int64_t>(number); }
inline Value value(double number) { return number; }
inline Value value(std::string_view text) { return text; }
inline Value value(const std::string& text) { return std::string_view(text); }
inline Value value(const char* text) { return std::string_view(text); }
inline Value value(Blob blob) { return blob; }
inline Value value(std::nullopt_t) { return std::monostate{}; }
inline Value value(Value given) { return given; }
template <typename T>
Value value(const std::optional<T>& optional)
{
    return optional ? value(*optional) : Value{};
}
/// A key that is 0 where there is no row.
inline Value key(std::int64_t number) { return number == 0 ? Value{} : Value{number}; }

/// The database of a sample library while it is written. Failures are std::runtime_error with a sentence.
class SampleDatabase {
public:
    /// A new file, quick to fill: nothing of it is safe before `close`.
    explicit SampleDatabase(const DiskPath& file);
    SampleDatabase(const SampleDatabase&) = delete;
    SampleDatabase& operator=(const SampleDatabase&) = delete;
    ~SampleDatabase();

    void execute(const std::string& sql);
    /// From here on changes go to the log.
    void beginLog();
    /// The log stays beside the database; else it is merged and removed.
    void close(bool keepLog);
    sqlite3* handle() const { return db_; }
    [[noreturn]] void fail() const;

private:
    DiskPath file_;
    sqlite3* db_ = nullptr;
};

/// One column of a row. The value refers to what it was made from: for the length of the call.
struct Field {
    template <typename T>
    Field(std::string_view name, const T& content)
        : column(name)
        , stored(value(content))
    {
    }

    std::string_view column;
    Value stored;
};

/// Inserts rows into one table, always with the same columns in the same order. Columns that the layout lacks
/// are left out, and without the table nothing is inserted, so that what fills the tables is the same for
/// every layout.
class RowInserter {
public:
    RowInserter(SampleDatabase& database, const Layout& layout, std::string table);
    RowInserter(const RowInserter&) = delete;
    RowInserter& operator=(const RowInserter&) = delete;
    ~RowInserter();

    void insert(std::initializer_list<Field> row);

private:
    void prepare(std::initializer_list<Field> row);

    SampleDatabase& database_;
    const Layout& layout_;
    std::string table_;
    std::vector<std::size_t> used_; ///< Indexes of the fields that the table has.
    bool isPrepared_ = false;
    sqlite3_stmt* statement_ = nullptr;
};

} // namespace vantorel::sample
