#pragma once

#include "database/SalvagerDatabase.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantorel {

/// The tables of a rebuilt database as rows are put back into them: columns from the definitions that came
/// out, never from a list of versions. Taken before anything is put back.
class OrphanTables {
public:
    struct Column {
        std::string name{};
        std::string declaredType{};

        /// The storage classes that the column takes, as an SQL list; empty for a type that Core Data does
        /// not use.
        std::string_view acceptedTypes() const;
    };
    struct Table {
        std::string name{};
        std::vector<Column> columns{};

        bool isOfEntity() const; ///< Begins with Z_PK, Z_ENT, Z_OPT.
    };
    /// A link table that came out empty: positions of the two keys among its columns, and the tables of the
    /// rows that they name.
    struct Link {
        const Table* table = nullptr;
        std::size_t left = 0;
        std::size_t right = 0;
        const Table* leftOwner = nullptr;
        const Table* rightOwner = nullptr;
    };
    /// The database gave out while rows were put back; never leaves this part of the module.
    struct Stopped : std::exception {
        explicit Stopped(SalvagerDatabase::Trouble what)
            : trouble(what)
        {
        }
        SalvagerDatabase::Trouble trouble;
    };
    template <typename T>
    static T must(SalvagerDatabase::Result<T> result)
    {
        if (!result) {
            throw Stopped(result.error());
        }
        return *std::move(result);
    }

    /// Throws `Stopped`.
    explicit OrphanTables(SalvagerDatabase& database);
    OrphanTables(const OrphanTables&) = delete;
    OrphanTables& operator=(const OrphanTables&) = delete;

    bool hasEntityTable() const { return find("z_primarykey") != nullptr; }
    /// The table of entities itself came out with rows.
    bool knowsEntities() const { return knowsEntities_; }
    /// The table that the rows of an entity lie in, by the table of entities, else by the rows that are left.
    const Table* ofEntity(std::int64_t number) const;
    /// The one entity table with exactly so many columns, if there is only one.
    const Table* onlyOneWithColumns(std::size_t count) const;
    const std::vector<Link>& emptyLinks() const { return emptyLinks_; }

private:
    const Table* find(std::string_view lowerName) const;
    void readTables(SalvagerDatabase& database);
    void readEntities(SalvagerDatabase& database);
    void readLinks(SalvagerDatabase& database);
    void addLink(SalvagerDatabase& database, std::string_view leftSuffix, std::string_view rightSuffix,
        const Table* leftOwner, const Table* rightOwner);

    std::map<std::string, Table> tables_{}; ///< By lower-case name.
    std::map<std::int64_t, const Table*> byEntity_{};
    bool knowsEntities_ = false;
    std::vector<Link> emptyLinks_{};
};

} // namespace vantorel
