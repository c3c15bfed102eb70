#include "database/SQLiteReader.h"

#include "base/Text.h"

#include <sqlite3.h>

#include <cmath>

namespace vantorel {

namespace {

/// The bytes of the current value after SQLite turned it into the form asked for. The pointer comes first:
/// asking for the length before could convert the value once more and invalidate it.
std::string bytesOf(sqlite3_stmt* statement, int position, const void* bytes)
{
    const int size = sqlite3_column_bytes(statement, position);
    if (bytes == nullptr || size <= 0) {
        return {};
    }
    return {static_cast<const char*>(bytes), static_cast<std::size_t>(size)};
}

} // namespace

int SQLiteRow::position(std::string_view name) const
{
    const auto found = index_->find(lowerAscii(name));
    return found == index_->end() ? -1 : found->second;
}

int SQLiteRow::typeAt(int position) const
{
    return position < 0 ? SQLITE_NULL : sqlite3_column_type(statement_, position);
}

std::optional<std::int64_t> SQLiteRow::int64At(int position) const
{
    if (typeAt(position) == SQLITE_NULL) {
        return std::nullopt;
    }
    return sqlite3_column_int64(statement_, position);
}

std::optional<double> SQLiteRow::realAt(int position) const
{
    if (typeAt(position) == SQLITE_NULL) {
        return std::nullopt;
    }
    return sqlite3_column_double(statement_, position);
}

std::optional<std::string> SQLiteRow::stringAt(int position) const
{
    switch (typeAt(position)) {
    case SQLITE_NULL:
        return std::nullopt;
    case SQLITE_BLOB: {
        std::string bytes = bytesOf(statement_, position, sqlite3_column_blob(statement_, position));
        if (!isValidUtf8(bytes)) {
            return std::nullopt;
        }
        return bytes;
    }
    default: {
        const unsigned char* text = sqlite3_column_text(statement_, position);
        if (text == nullptr) { // no memory for the conversion
            return std::nullopt;
        }
        std::string bytes = bytesOf(statement_, position, text);
        if (isValidUtf8(bytes)) {
            return bytes;
        }
        return repairedUtf8(bytes);
    }
    }
}

std::optional<std::string> SQLiteRow::dataAt(int position) const
{
    if (typeAt(position) == SQLITE_NULL) {
        return std::nullopt;
    }
    return bytesOf(statement_, position, sqlite3_column_blob(statement_, position));
}

int SQLiteRow::type(std::string_view name) const { return typeAt(position(name)); }

bool SQLiteRow::isNull(std::string_view name) const { return type(name) == SQLITE_NULL; }

std::optional<std::int64_t> SQLiteRow::int64(std::string_view name) const { return int64At(position(name)); }

std::optional<double> SQLiteRow::real(std::string_view name) const { return realAt(position(name)); }

bool SQLiteRow::boolean(std::string_view name) const { return int64(name).value_or(0) != 0; }

std::optional<std::string> SQLiteRow::string(std::string_view name) const { return stringAt(position(name)); }

std::optional<std::string> SQLiteRow::data(std::string_view name) const { return dataAt(position(name)); }

std::optional<double> boundedAmount(std::optional<double> value, double most)
{
    if (!value || !std::isfinite(*value) || *value < 0 || *value > most) {
        return std::nullopt;
    }
    return value;
}

std::string quotedIdentifier(std::string_view name)
{
    std::string quoted = "\"";
    for (const char c : name) {
        if (c == '"') {
            quoted += '"';
        }
        quoted += c;
    }
    quoted += '"';
    return quoted;
}

} // namespace vantorel
