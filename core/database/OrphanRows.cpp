#include "database/OrphanRows.h"

#include "base/Text.h"
#include "database/OrphanTables.h"
#include "database/SQLiteReader.h"

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vantorel {

// What the recovery could not place lies in lost_and_found (rootpgno, pgno, nfield, id, c0, c1, ...): the
// number of fields, the row id, and the fields. rootpgno is the root of the b-tree where that is still known,
// else the page itself. So all rows of one (nfield, rootpgno) come from one b-tree, and what most of them say
// holds for all.
//
// Entries of indexes lie there too, often far more of them than rows: their id is NULL. A row of an entity
// table has NULL in c0 (its key is the row id), its entity's number in c1 and a small number in c2. A link
// row is two keys, and a third number where the members have an order. A row that was written before a later
// version added columns has fewer fields than its table has columns; the missing ones are the last.

namespace {

using Row = SalvagerDatabase::Row;

constexpr std::int64_t fieldsOfUniqueTables = 20; ///< With more fields, their number alone tells the table.

struct Group {
    std::int64_t fields = 0;
    std::int64_t root = 0;
    std::int64_t rows = 0;

    /// The rows of the group; index entries never.
    std::string condition() const
    {
        return "nfield = " + std::to_string(fields) + " AND rootpgno = " + std::to_string(root)
            + " AND id IS NOT NULL";
    }
};

class Rehoming {
public:
    explicit Rehoming(SalvagerDatabase& database)
        : database_(database)
    {
    }

    OrphanRows run()
    {
        constexpr auto hasOrphans =
            "SELECT 1 FROM sqlite_master WHERE type='table' AND name='lost_and_found'";
        if (must(database_.number(hasOrphans)) == 0) {
            return {};
        }
        dropTriggers();
        const auto fieldCount = orphanFields();
        if (fieldCount == 0) {
            return {};
        }
        must(database_.run("BEGIN"));
        must(database_.run(
            "CREATE INDEX IF NOT EXISTS lost_and_found_groups ON lost_and_found (nfield, rootpgno)"
            " WHERE id IS NOT NULL"));
        const auto all = must(database_.number("SELECT count(*) FROM lost_and_found WHERE id IS NOT NULL"));
        const OrphanTables tables(database_);
        if (tables.hasEntityTable()) {
            const auto groups = readGroups(fieldCount);
            // Links are told by the rows that their keys name, so those come first.
            std::vector<Group> others;
            for (const auto& group : groups) {
                if (!placeEntityRows(group, tables)) {
                    others.push_back(group);
                }
            }
            for (const auto& group : others) {
                placeLinks(group, tables);
            }
        }
        must(database_.run("COMMIT"));
        result_.unassigned = all - matched_;
        return result_;
    }

private:
    template <typename T>
    static T must(SalvagerDatabase::Result<T> result)
    {
        return OrphanTables::must(std::move(result));
    }

    /// Moving rows fires nothing, and Photos' triggers call functions that only Photos has.
    void dropTriggers()
    {
        std::vector<std::string> names;
        must(database_.run("SELECT name FROM sqlite_master WHERE type='trigger'", [&names](const Row& row) {
            names.push_back(row.text(0));
            return true;
        }));
        for (const auto& name : names) {
            must(database_.run("DROP TRIGGER IF EXISTS " + quotedIdentifier(name)));
        }
    }

    /// How many fields the table of orphans keeps; 0 where it is another table of that name.
    std::int64_t orphanFields()
    {
        std::set<std::string> names;
        must(database_.run("PRAGMA table_info(lost_and_found)", [&names](const Row& row) {
            names.insert(lowerAscii(row.text(1)));
            return true;
        }));
        if (!names.contains("rootpgno") || !names.contains("nfield") || !names.contains("id")) {
            return 0;
        }
        std::int64_t count = 0;
        while (names.contains("c" + std::to_string(count))) {
            ++count;
        }
        return count;
    }

    std::vector<Group> readGroups(std::int64_t fieldCount)
    {
        std::vector<Group> groups;
        must(database_.run("SELECT nfield, rootpgno, count(*) FROM lost_and_found WHERE id IS NOT NULL"
                           " GROUP BY nfield, rootpgno",
            [&](const Row& row) {
                if (row.isInteger(0) && row.isInteger(1) && row.integer(0) <= fieldCount) {
                    groups.push_back({row.integer(0), row.integer(1), row.integer(2)});
                }
                return true;
            }));
        return groups;
    }

    bool placeEntityRows(const Group& group, const OrphanTables& tables)
    {
        if (group.fields < 3) {
            return false;
        }
        const auto condition = group.condition() + " AND id > 0 AND c0 IS NULL AND typeof(c1) = 'integer'";
        std::vector<std::int64_t> entities;
        must(database_.run("SELECT DISTINCT c1 FROM lost_and_found WHERE " + condition, [&](const Row& row) {
            entities.push_back(row.integer(0));
            return true;
        }));
        // Of several entities (one may be damage) those of each table are tried together.
        std::map<const OrphanTables::Table*, std::vector<std::string>> numbers;
        for (const auto entity : entities) {
            if (const auto* table = tables.ofEntity(entity)) {
                numbers[table].push_back(std::to_string(entity));
            }
        }
        for (const auto& [table, ofTable] : numbers) {
            if (place(group, *table, condition + " AND c1 IN (" + joined(ofTable, ", ") + ")")) {
                return true;
            }
        }
        if (!numbers.empty() || tables.knowsEntities() || group.fields <= fieldsOfUniqueTables) {
            return false;
        }
        const auto* table = tables.onlyOneWithColumns(static_cast<std::size_t>(group.fields));
        return table != nullptr && place(group, *table, condition);
    }

    void placeLinks(const Group& group, const OrphanTables& tables)
    {
        const OrphanTables::Link* found = nullptr;
        for (const auto& link : tables.emptyLinks()) {
            if (static_cast<std::int64_t>(link.table->columns.size()) == group.fields
                && keysFit(group, link)) {
                if (found != nullptr) {
                    return; // it could be either
                }
                found = &link;
            }
        }
        if (found != nullptr) {
            place(group, *found->table, group.condition() + " AND c0 IS NOT NULL AND c1 IS NOT NULL");
        }
    }

    /// Whether nearly all rows of the group name rows that are there, on both sides. Some keys may be those
    /// of lost rows.
    bool keysFit(const Group& group, const OrphanTables::Link& link)
    {
        for (const auto& [column, owner] :
            {std::pair(link.left, link.leftOwner), std::pair(link.right, link.rightOwner)}) {
            const auto field = "c" + std::to_string(column);
            const auto fitting = must(database_.number("SELECT count(*) FROM lost_and_found AS o WHERE "
                + group.condition() + " AND typeof(" + field + ") = 'integer' AND EXISTS (SELECT 1 FROM "
                + quotedIdentifier(owner->name) + " WHERE Z_PK = o." + field + ")"));
            if (fitting * 10 < group.rows * 9) {
                return false;
            }
        }
        return true;
    }

    /// Copies the rows that meet the condition and whose values fit the columns, if these are most of the
    /// group.
    bool place(const Group& group, const OrphanTables::Table& table, std::string condition)
    {
        const auto count = static_cast<std::size_t>(group.fields);
        if (table.columns.size() < count) {
            return false;
        }
        std::vector<std::string> names;
        std::vector<std::string> values;
        for (std::size_t i = 0; i < count; ++i) {
            const auto field = "c" + std::to_string(i);
            const auto& column = table.columns[i];
            names.push_back(quotedIdentifier(column.name));
            values.push_back(i == 0 ? "coalesce(c0, id)" : field);
            if (const auto accepted = column.acceptedTypes(); !accepted.empty()) {
                condition.append(" AND typeof(").append(field).append(") IN (").append(accepted).append(")");
            }
        }
        const auto fitting = must(database_.number("SELECT count(*) FROM lost_and_found WHERE " + condition));
        if (fitting * 2 <= group.rows) {
            return false;
        }
        result_.rehomed += must(
            database_.run("INSERT OR IGNORE INTO " + quotedIdentifier(table.name) + " (" + joined(names, ", ")
                + ") SELECT " + joined(values, ", ") + " FROM lost_and_found WHERE " + condition));
        matched_ += fitting;
        return true;
    }

    SalvagerDatabase& database_;
    OrphanRows result_{};
    std::int64_t matched_ = 0;
};

} // namespace

SalvagerDatabase::Result<OrphanRows> rehomeOrphans(SalvagerDatabase& database)
{
    try {
        return Rehoming(database).run();
    } catch (const OrphanTables::Stopped& stopped) {
        return std::unexpected(stopped.trouble);
    }
}

} // namespace vantorel
