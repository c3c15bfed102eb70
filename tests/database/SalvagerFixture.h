#pragma once

#include "disk/SystemCalls.h"
#include "support/TemporaryFolder.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vantorel {

/// A tool on this machine whose `.recover` works, if there is one; scripts/build-sqlite-tool makes it.
std::optional<DiskPath> recoveringTool();

/// Every row of a table as SQL literals; none where the table cannot be read.
std::optional<std::multiset<std::string>> rowsOf(const DiskPath& database, const std::string& table);
/// The first column of a query, as text.
std::vector<std::string> valuesOf(const DiskPath& database, const std::string& sql);
/// Root pages of all tables and indexes.
std::map<std::string, std::int64_t> rootPages(const DiskPath& database);

/// A database file as bytes, to be damaged.
struct Pages {
    static constexpr std::size_t size = 4096;

    std::string bytes{};

    std::size_t count() const { return bytes.size() / size; }
    /// Counted from 1, as SQLite does.
    void zero(std::int64_t page)
    {
        bytes.replace(static_cast<std::size_t>(page - 1) * size, size, size, '\0');
    }
    void swap(std::size_t one, std::size_t other);
    /// Whether the b-tree of a table goes on below this page.
    bool isInterior(std::int64_t page) const
    {
        return bytes.at(static_cast<std::size_t>(page - 1) * size) == '\x05';
    }
};

} // namespace vantorel
