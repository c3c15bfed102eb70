#pragma once

#include "sample/SampleLibrary.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel::sample {

/// The tables of one generation's store, after the changes that were asked for.
class Layout {
public:
    struct Entity {
        std::string name{};
        std::int64_t number = 0;
        std::int64_t parent = 0; ///< Entity number; 0: topmost.
        std::string table{};     ///< Of the topmost entity above it.
    };
    struct Column {
        std::string name{};
        std::string type{};
        bool isIndexed = false;
    };
    struct Table {
        std::string name{};
        std::vector<Column> columns{}; ///< In the order of the definition, the key included.
        std::string key{};      ///< One column, which stands first, or a link table's pair "A, B", or none.
        bool isVirtual = false; ///< The R-tree.
    };
    struct Link {
        std::string table{};
        std::string left{};
        std::string right{};
        std::string order{}; ///< Empty: the link has none.
    };

    Layout(int generation, const LayoutChanges& changes);

    int generation() const { return generation_; }
    /// Nothing of the generation's tables and columns was left out.
    bool isComplete() const { return changes_.withoutTables.empty() && changes_.withoutColumns.empty(); }
    const std::vector<Entity>& entities() const { return entities_; }
    const std::vector<Table>& tables() const { return tables_; }
    /// None (nullptr) where the layout lacks the table.
    const Table* table(std::string_view name) const;
    bool hasColumn(std::string_view tableName, std::string_view column) const;
    /// 0 where this generation has no such entity.
    std::int64_t number(std::string_view entity) const;
    /// The table of an entity ("Album": "ZGENERICALBUM"); empty where this generation has no such entity.
    std::string tableOf(std::string_view entity) const;
    /// "GenericAsset" where the asset table bears that name.
    std::string_view assetBase() const { return generation_ == 5 ? "GenericAsset" : "Asset"; }
    std::string assetTable() const { return tableOf(assetBase()); }
    /// The R-tree of places, a virtual table.
    std::string placesTable() const { return "Z_RT_" + std::string(assetBase()) + "_boundedByRect"; }
    /// A link table by the entity that it is numbered after and the rest of its name ("Album", "ASSETS").
    Link link(std::string_view owner, std::string_view suffix) const;

private:
    void numberEntities();
    void addEntityTables(std::string_view text);
    void addLinkTables();
    void addPlacesTable();
    void addSystemTables();
    void add(Table table);
    std::string withNumbers(std::string_view text) const;

    int generation_;
    LayoutChanges changes_;
    std::vector<Entity> entities_;
    std::vector<Table> tables_;
    std::map<std::string, std::size_t, std::less<>> tableIndex_;
    std::map<std::string, Link, std::less<>> links_; ///< By owner and suffix.
};

} // namespace vantorel::sample
