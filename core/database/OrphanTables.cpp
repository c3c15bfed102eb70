#include "database/OrphanTables.h"

#include "base/Text.h"
#include "database/SQLiteReader.h"

#include <algorithm>
#include <array>
#include <optional>

namespace vantorel {

namespace {

using Row = SalvagerDatabase::Row;

constexpr int mostGenerations = 64; ///< Of entities above one; damage may have made a circle.

struct Entity {
    std::string name{};
    std::int64_t super = 0;
};

/// The position of the column whose name is "z_", digits and the suffix as a whole.
std::optional<std::size_t> keyColumn(const OrphanTables::Table& table, std::string_view suffix)
{
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        const auto name = lowerAscii(table.columns[i].name);
        if (name.size() <= 2 + suffix.size() || !name.starts_with("z_") || !name.ends_with(suffix)) {
            continue;
        }
        const auto digits = std::string_view(name).substr(2, name.size() - 2 - suffix.size());
        if (std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; })) {
            return i;
        }
    }
    return std::nullopt;
}

} // namespace

std::string_view OrphanTables::Column::acceptedTypes() const
{
    const auto type = lowerAscii(declaredType);
    if (type == "integer") {
        return "'integer','null'";
    }
    constexpr std::array<std::string_view, 5> numbers{"float", "timestamp", "decimal", "double", "real"};
    if (std::ranges::find(numbers, type) != numbers.end()) {
        return "'real','integer','null'";
    }
    if (type.starts_with("varchar") || type == "text" || type == "blob") {
        return "'blob','text','null'";
    }
    return {};
}

bool OrphanTables::Table::isOfEntity() const
{
    return columns.size() >= 3 && lowerAscii(columns[0].name) == "z_pk"
        && lowerAscii(columns[1].name) == "z_ent" && lowerAscii(columns[2].name) == "z_opt";
}

OrphanTables::OrphanTables(SalvagerDatabase& database)
{
    readTables(database);
    readEntities(database);
    readLinks(database);
}

const OrphanTables::Table* OrphanTables::find(std::string_view lowerName) const
{
    const auto found = tables_.find(std::string(lowerName));
    return found == tables_.end() ? nullptr : &found->second;
}

/// Without virtual tables and the parts of the R-tree: where its nodes are damaged, even asking for its
/// columns fails.
void OrphanTables::readTables(SalvagerDatabase& database)
{
    must(database.run("SELECT name FROM sqlite_master WHERE type='table' AND name NOT LIKE 'sqlite_%'"
                      " AND name != 'lost_and_found' AND sql NOT LIKE 'CREATE VIRTUAL %'",
        [this](const Row& row) {
            const auto name = row.text(0);
            const auto lower = lowerAscii(name);
            if (!lower.starts_with("z_rt_")) {
                tables_[lower].name = name;
            }
            return true;
        }));
    for (auto& [lower, table] : tables_) {
        must(
            database.run("PRAGMA table_info(" + quotedIdentifier(table.name) + ")", [&table](const Row& row) {
                table.columns.push_back({.name = row.text(1), .declaredType = row.text(2)});
                return true;
            }));
    }
}

void OrphanTables::readEntities(SalvagerDatabase& database)
{
    std::map<std::int64_t, Entity> entities;
    if (const auto* keys = find("z_primarykey")) {
        const auto has = [keys](std::string_view name) {
            return std::ranges::any_of(
                keys->columns, [name](const auto& column) { return lowerAscii(column.name) == name; });
        };
        if (has("z_ent") && has("z_name") && has("z_super")) {
            must(database.run("SELECT Z_ENT, Z_NAME, Z_SUPER FROM Z_PRIMARYKEY", [&entities](const Row& row) {
                entities[row.integer(0)] = {.name = row.text(1), .super = row.integer(2)};
                return true;
            }));
        }
    }
    knowsEntities_ = !entities.empty();
    for (const auto& [number, entity] : entities) {
        const Entity* top = &entity;
        for (int i = 0; i < mostGenerations && top->super != 0 && entities.contains(top->super); ++i) {
            top = &entities.at(top->super);
        }
        const auto name = lowerAscii(top->name);
        const Table* table = find("z" + name);
        table = table == nullptr ? find("a" + name) : table; // those of the change history
        if (table != nullptr && table->isOfEntity()) {
            byEntity_[number] = table;
        }
    }
    // Where the table of entities is lost, the rows that are left tell as much; a number in two tables tells
    // nothing.
    std::map<std::int64_t, const Table*> seen;
    for (const auto& [lower, table] : tables_) {
        if (!table.isOfEntity()) {
            continue;
        }
        must(database.run("SELECT DISTINCT Z_ENT FROM " + quotedIdentifier(table.name), [&](const Row& row) {
            if (row.isInteger(0)) {
                const auto [known, isNew] = seen.emplace(row.integer(0), &table);
                if (!isNew) {
                    known->second = nullptr;
                }
            }
            return true;
        }));
    }
    for (const auto& [number, table] : seen) {
        if (table != nullptr) {
            byEntity_.emplace(number, table);
        }
    }
}

/// A link table is filled only where nothing of it came out: other link tables have rows of the same form,
/// and theirs must not be mixed into one that is whole.
void OrphanTables::readLinks(SalvagerDatabase& database)
{
    const Table* assets = find("zasset");
    assets = assets == nullptr ? find("zgenericasset") : assets;
    addLink(database, "albums", "assets", find("zgenericalbum"), assets);
    addLink(database, "assetattributes", "keywords", find("zadditionalassetattributes"), find("zkeyword"));
}

void OrphanTables::addLink(SalvagerDatabase& database, std::string_view leftSuffix,
    std::string_view rightSuffix, const Table* leftOwner, const Table* rightOwner)
{
    const auto isUsable = [](const Table* owner) { return owner != nullptr && owner->isOfEntity(); };
    if (!isUsable(leftOwner) || !isUsable(rightOwner)) {
        return;
    }
    std::vector<Link> found;
    for (const auto& [lower, table] : tables_) {
        const auto left = keyColumn(table, leftSuffix);
        const auto right = keyColumn(table, rightSuffix);
        if (left && right) {
            found.push_back({&table, *left, *right, leftOwner, rightOwner});
        }
    }
    if (found.size() == 1
        && must(database.number(
               "SELECT count(*) FROM (SELECT 1 FROM " + quotedIdentifier(found[0].table->name) + " LIMIT 1)"))
            == 0) {
        emptyLinks_.push_back(found[0]);
    }
}

const OrphanTables::Table* OrphanTables::ofEntity(std::int64_t number) const
{
    const auto found = byEntity_.find(number);
    return found == byEntity_.end() ? nullptr : found->second;
}

const OrphanTables::Table* OrphanTables::onlyOneWithColumns(std::size_t count) const
{
    const Table* only = nullptr;
    for (const auto& [lower, table] : tables_) {
        if (table.isOfEntity() && table.columns.size() == count) {
            if (only != nullptr) {
                return nullptr;
            }
            only = &table;
        }
    }
    return only;
}

} // namespace vantorel
