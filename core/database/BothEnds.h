#pragma once

#include "database/SQLiteReader.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vantorel {

/// What a bad place in a table keeps from being read: the rows whose keys lie between the two, each
/// exclusive.
struct LostStretch {
    std::optional<std::int64_t> after{};  ///< The last key read upwards; none where not even the first was.
    std::optional<std::int64_t> before{}; ///< The last key read downwards; none where not even the last was.
    int code = 0;                         ///< SQLite's primary result code of the first failure.

    bool operator==(const LostStretch&) const = default;
};

/// Reads a table that may have a bad page: upwards until a read fails, then downwards from its end to the
/// same place, so that only what lies on the page is lost. Every row comes once: first ascending, then, after
/// a failure, descending. None where nothing is lost.
///
/// Both queries give the same rows, ordered by the integer column `keyColumn` of the result, in which no key
/// comes twice; a key that breaks the order is damage too. What has nothing to do with damage (the user's
/// stop, the time limit, a query that cannot be prepared, the handler's own) is thrown.
std::optional<LostStretch> forEachRowFromBothEnds(SQLiteReader& reader, const std::string& sqlAscending,
    const std::string& sqlDescending, const std::string& keyColumn, const SQLiteReader::RowHandler& handler);

} // namespace vantorel
