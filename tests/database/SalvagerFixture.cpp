#include "SalvagerFixture.h"

#include "base/Clock.h"
#include "database/SQLiteReader.h"
#include "database/SalvagerTool.h"
#include "disk/ChildProcess.h"

#include <sqlite3.h>

#include <stdexcept>

namespace vantorel {

namespace {

/// The first `columns` columns of a query; -1 for all.
std::optional<std::vector<std::vector<std::string>>> query(const DiskPath& database, const std::string& sql)
{
    sqlite3* db = nullptr;
    sqlite3_stmt* statement = nullptr;
    std::vector<std::vector<std::string>> rows;
    int code = sqlite3_open_v2(database.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    if (code == SQLITE_OK) {
        code = sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr);
    }
    while (code == SQLITE_OK || code == SQLITE_ROW) {
        code = sqlite3_step(statement);
        if (code == SQLITE_ROW) {
            auto& row = rows.emplace_back();
            for (int i = 0; i < sqlite3_column_count(statement); ++i) {
                const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
                row.emplace_back(text == nullptr ? "NULL" : text);
            }
        }
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return code == SQLITE_DONE ? std::optional(std::move(rows)) : std::nullopt;
}

} // namespace

std::optional<DiskPath> recoveringTool()
{
    const TemporaryFolder folder;
    const auto calls = realSystemCalls();
    const auto found = findSalvagerTool(*realChildProcesses(systemClock()), calls,
        {DiskPath(VANTOREL_BUILD_TOOLS) / "vantorel-sqlite3", "/usr/bin/sqlite3"}, folder.path(), {});
    return found ? std::optional(*found) : std::nullopt;
}

std::optional<std::multiset<std::string>> rowsOf(const DiskPath& database, const std::string& table)
{
    const auto columns = query(database, "PRAGMA table_info(" + quotedIdentifier(table) + ")");
    if (!columns || columns->empty()) {
        return std::nullopt;
    }
    std::string list;
    for (const auto& column : *columns) {
        list += (list.empty() ? "quote(" : " || ',' || quote(") + quotedIdentifier(column.at(1)) + ")";
    }
    const auto rows = query(database, "SELECT " + list + " FROM " + quotedIdentifier(table));
    if (!rows) {
        return std::nullopt;
    }
    std::multiset<std::string> result;
    for (const auto& row : *rows) {
        result.insert(row.at(0));
    }
    return result;
}

std::vector<std::string> valuesOf(const DiskPath& database, const std::string& sql)
{
    const auto rows = query(database, sql);
    if (!rows) {
        throw std::runtime_error("cannot run: " + sql);
    }
    std::vector<std::string> values;
    for (const auto& row : *rows) {
        values.push_back(row.at(0));
    }
    return values;
}

} // namespace vantorel
