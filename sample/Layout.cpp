#include "sample/Layout.h"

#include "sample/SchemaColumns.h"
#include "sample/SchemaEntities.h"

#include "base/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>
#include <utility>

namespace vantorel::sample {

namespace {

constexpr std::int64_t firstHistoryEntity = 16001;

/// "NAME@from-to" as the name, and whether the generation lies in the range.
std::pair<std::string_view, bool> inGeneration(std::string_view token, int generation)
{
    const auto at = token.find('@');
    if (at == std::string_view::npos) {
        return {token, true};
    }
    const std::string_view range = token.substr(at + 1);
    const auto dash = range.find('-');
    const auto from = parseInteger<int>(range.substr(0, dash));
    const auto to = parseInteger<int>(range.substr(dash + 1));
    return {token.substr(0, at), generation >= from.value_or(0) && generation <= to.value_or(99)};
}

std::string_view typeName(char letter)
{
    switch (letter) {
    case 's':
        return "VARCHAR";
    case 't':
        return "TIMESTAMP";
    case 'f':
        return "FLOAT";
    default:
        return "BLOB";
    }
}

} // namespace

Layout::Layout(int generation, const LayoutChanges& changes)
    : generation_(generation)
    , changes_(changes)
{
    numberEntities();
    addEntityTables(tablesAToF);
    addEntityTables(tablesGToZ);
    addLinkTables();
    addPlacesTable();
    addSystemTables();
}

void Layout::numberEntities()
{
    std::istringstream names{std::string(entityNames)};
    std::vector<std::size_t> above; // Indexes of the entities that the next one may stand below.
    std::string token;
    std::int64_t number = changes_.entityNumberShift;
    while (names >> token) {
        const auto [marked, isHere] = inGeneration(token, generation_);
        if (!isHere) {
            continue;
        }
        const std::size_t depth = marked.find_first_not_of('>');
        above.resize(std::min(above.size(), depth));
        Entity entity;
        entity.name = std::string(marked.substr(depth));
        entity.number = ++number;
        entity.parent = above.empty() ? 0 : entities_[above.back()].number;
        entity.table = "Z" + upperAscii(above.empty() ? entity.name : entities_[above.front()].name);
        above.push_back(entities_.size());
        entities_.push_back(std::move(entity));
    }
    number = firstHistoryEntity + changes_.entityNumberShift;
    for (const std::string_view name : historyEntities) {
        entities_.push_back(Entity{
            .name = std::string(name), .number = number++, .parent = 0, .table = "A" + std::string(name)});
    }
}

void Layout::addEntityTables(std::string_view text)
{
    std::istringstream tokens{std::string(text)};
    std::string token;
    Table table;
    while (tokens >> token) {
        if (token.ends_with(':')) {
            add(std::exchange(table, {}));
            const std::string entity = token.substr(0, token.size() - 1);
            // An entity that is another's child in this generation has no table of its own.
            const auto isTopmost = [&](const Entity& e) {
                return e.name == (entity == "Asset" ? assetBase() : std::string_view(entity))
                    && e.parent == 0;
            };
            const auto found = std::ranges::find_if(entities_, isTopmost);
            if (found != entities_.end()) {
                table.name = found->table;
                table.key = "Z_PK";
                table.columns = {{"Z_PK", "INTEGER"}, {"Z_ENT", "INTEGER"}, {"Z_OPT", "INTEGER"}};
            }
            continue;
        }
        const auto [marked, isHere] = inGeneration(token, generation_);
        if (!isHere || table.name.empty()) {
            continue;
        }
        Column column{.name = std::string(marked), .type = "INTEGER"};
        if (column.name.size() > 2 && column.name[1] == '.') {
            column.type = typeName(column.name[0]);
            column.name.erase(0, 2);
        }
        if (column.name.ends_with('!')) {
            column.isIndexed = true;
            column.name.pop_back();
        }
        column.name = withNumbers(column.name);
        table.columns.push_back(std::move(column));
    }
    add(std::move(table));
}

void Layout::addLinkTables()
{
    const auto numbered = [this](std::string_view entity) {
        return number(entity == "Asset" ? assetBase() : entity);
    };
    for (const LinkTable& plan : linkTables) {
        if (generation_ < plan.firstGeneration || generation_ > plan.lastGeneration) {
            continue;
        }
        Link link;
        link.table = fmt::format("Z_{}{}", numbered(plan.owner), plan.suffix);
        link.left = fmt::format("Z_{}{}", numbered(plan.left), plan.leftSuffix);
        link.right =
            plan.right.empty() ? "REFLEXIVE" : fmt::format("Z_{}{}", numbered(plan.right), plan.rightSuffix);
        if (plan.order == LinkTable::Order::left) {
            link.order = fmt::format("Z_FOK_{}{}", numbered(plan.left), plan.leftSuffix);
        } else if (plan.order == LinkTable::Order::right) {
            link.order = fmt::format("Z_FOK_{}{}", numbered(plan.right), plan.rightSuffix);
        }
        Table table{.name = link.table,
            .columns = {{link.left, "INTEGER"}, {link.right, "INTEGER"}},
            .key = link.left + ", " + link.right};
        if (!link.order.empty()) {
            table.columns.push_back({link.order, "INTEGER"});
        }
        add(std::move(table));
        links_.emplace(std::string(plan.owner) + " " + std::string(plan.suffix), std::move(link));
    }
}

void Layout::addPlacesTable()
{
    Table table{.name = placesTable(), .columns = {{"Z_PK", "INTEGER"}}, .key = "Z_PK", .isVirtual = true};
    for (const char* name : {"ZLATITUDE_MIN", "ZLATITUDE_MAX", "ZLONGITUDE_MIN", "ZLONGITUDE_MAX"}) {
        table.columns.push_back({name, "FLOAT"});
    }
    add(std::move(table));
}

void Layout::addSystemTables()
{
    add({.name = "Z_PRIMARYKEY",
        .columns = {{"Z_ENT", "INTEGER"}, {"Z_NAME", "VARCHAR"}, {"Z_SUPER", "INTEGER"},
            {"Z_MAX", "INTEGER"}},
        .key = "Z_ENT"});
    add({.name = "Z_METADATA",
        .columns = {{"Z_VERSION", "INTEGER"}, {"Z_UUID", "VARCHAR(255)"}, {"Z_PLIST", "BLOB"}},
        .key = "Z_VERSION"});
    add({.name = "Z_MODELCACHE", .columns = {{"Z_CONTENT", "BLOB"}}, .key = {}});
}

void Layout::add(Table table)
{
    if (table.name.empty() || changes_.withoutTables.contains(table.name)) {
        return;
    }
    if (const auto without = changes_.withoutColumns.find(table.name);
        without != changes_.withoutColumns.end()) {
        std::erase_if(
            table.columns, [&](const Column& column) { return without->second.contains(column.name); });
    }
    if (changes_.reverseColumns && !table.isVirtual) { // An R-tree's columns are pairs in a fixed order.
        const bool keyStandsFirst = !table.columns.empty() && table.columns.front().name == table.key;
        std::reverse(table.columns.begin() + (keyStandsFirst ? 1 : 0), table.columns.end());
    }
    tableIndex_.emplace(table.name, tables_.size());
    tables_.push_back(std::move(table));
}

std::string Layout::withNumbers(std::string_view text) const
{
    const auto open = text.find('{');
    const auto close = text.find('}');
    if (open == std::string_view::npos || close == std::string_view::npos) {
        return std::string(text);
    }
    std::string_view entity = text.substr(open + 1, close - open - 1);
    if (entity == "Asset") {
        entity = assetBase();
    }
    return fmt::format("{}{}{}", text.substr(0, open), number(entity), text.substr(close + 1));
}

const Layout::Table* Layout::table(std::string_view name) const
{
    const auto found = tableIndex_.find(name);
    return found == tableIndex_.end() ? nullptr : &tables_[found->second];
}

bool Layout::hasColumn(std::string_view tableName, std::string_view column) const
{
    const Table* found = table(tableName);
    return found != nullptr
        && std::ranges::any_of(found->columns, [&](const Column& c) { return c.name == column; });
}

std::int64_t Layout::number(std::string_view entity) const
{
    const auto found = std::ranges::find(entities_, entity, &Entity::name);
    return found == entities_.end() ? 0 : found->number;
}

std::string Layout::tableOf(std::string_view entity) const
{
    const auto found = std::ranges::find(entities_, entity, &Entity::name);
    return found == entities_.end() ? std::string{} : found->table;
}

Layout::Link Layout::link(std::string_view owner, std::string_view suffix) const
{
    const auto found = links_.find(std::string(owner) + " " + std::string(suffix));
    return found == links_.end() ? Link{} : found->second;
}

} // namespace vantorel::sample
