#include "database/BothEnds.h"

#include <sqlite3.h>

#include <exception>

namespace vantorel {

namespace {

/// A row that shows that the way through the table leads somewhere else.
struct OutOfOrder : std::exception { };
/// The place that was reached from the other side.
struct Reached : std::exception { };

bool isBadPlace(const SQLiteReaderError& error)
{
    return error.kind() == SQLiteReaderError::Kind::stepFailed && !error.isTimeout()
        && (error.code() == SQLITE_CORRUPT || error.code() == SQLITE_IOERR || error.code() == SQLITE_NOTADB);
}

/// Reads until the end or a bad place; its code, or none at the end.
template <typename Handler>
std::optional<int> readUntilBadPlace(SQLiteReader& reader, const std::string& sql, const Handler& handler)
{
    try {
        reader.forEachRow(sql, {}, handler);
        return std::nullopt;
    } catch (const SQLiteReaderError& error) {
        if (!isBadPlace(error)) {
            throw;
        }
        return error.code();
    } catch (const OutOfOrder&) {
        return SQLITE_CORRUPT;
    }
}

std::int64_t keyOf(const SQLiteRow& row, const std::string& column)
{
    const auto key = row.int64(column);
    if (!key) {
        throw OutOfOrder();
    }
    return *key;
}

} // namespace

std::optional<LostStretch> forEachRowFromBothEnds(SQLiteReader& reader, const std::string& sqlAscending,
    const std::string& sqlDescending, const std::string& keyColumn, const SQLiteReader::RowHandler& handler)
{
    LostStretch lost;
    const auto failure = readUntilBadPlace(reader, sqlAscending, [&](const SQLiteRow& row) {
        const auto key = keyOf(row, keyColumn);
        if (lost.after && key <= *lost.after) {
            throw OutOfOrder();
        }
        lost.after = key;
        handler(row);
    });
    if (!failure) {
        return std::nullopt;
    }
    lost.code = *failure;
    try {
        readUntilBadPlace(reader, sqlDescending, [&](const SQLiteRow& row) {
            const auto key = keyOf(row, keyColumn);
            if (lost.after && key <= *lost.after) {
                throw Reached();
            }
            if (lost.before && key >= *lost.before) {
                throw OutOfOrder();
            }
            lost.before = key;
            handler(row);
        });
    } catch (const Reached&) {
        // A failure upwards that the way downwards does not meet: between the two nothing more is known.
    }
    return lost;
}

} // namespace vantorel
