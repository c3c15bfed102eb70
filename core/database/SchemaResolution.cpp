#include "database/SchemaResolution.h"

#include "base/BinaryPlist.h"
#include "base/Text.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <span>
#include <string_view>
#include <utility>

// A Photos database is a Core Data store. Z_PRIMARYKEY has one row for each entity; only a topmost entity
// (Z_SUPER 0) has a table, named "Z" and the entity's name in capitals, and it holds the rows of all entities
// below it: the rows of "Album" are in ZGENERICALBUM, those of "Asset" up to macOS 10.15 in ZGENERICASSET.
// Z_MAX, the highest row id ever given out, is kept on topmost entities only.
//
// Many-to-many links have tables of their own, whose names and columns carry entity numbers that change from
// version to version: Z_<n>ALBUMS beside Z_<n>ASSETS (with Z_FOK_<n>ASSETS for the order), and
// Z_<n>ASSETATTRIBUTES beside Z_<n>KEYWORDS. Many other link tables have names that only look alike
// (Z_3KEYASSETS, Z_26ALBUMLISTS, Z_3CURATEDASSETS), so column names are compared whole.

namespace vantorel {

namespace {

using Feature = SchemaSummary::Feature;
using Columns = ResolvedSchema::Columns;

constexpr std::size_t mostEntities = 10'000;     ///< Real libraries have fewer than a hundred.
constexpr std::int64_t mostPlistBytes = 4 << 20; ///< Real ones have about 5,000.
constexpr std::array requiredAssetColumns{"z_pk", "zuuid", "zfilename", "zdirectory", "zdatecreated"};

bool hasAll(const Columns& columns, std::initializer_list<const char*> names)
{
    return std::ranges::all_of(names, [&columns](const char* name) { return columns.contains(name); });
}

/// The digits of a name that is, as a whole, `prefix`, digits and `suffix` (all lower case).
std::optional<std::string> digitsBetween(
    const std::string& name, std::string_view prefix, std::string_view suffix)
{
    if (name.size() <= prefix.size() + suffix.size() || !name.starts_with(prefix)
        || !name.ends_with(suffix)) {
        return std::nullopt;
    }
    std::string digits = name.substr(prefix.size(), name.size() - prefix.size() - suffix.size());
    const bool allDigits = std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; });
    return allDigits ? std::optional(std::move(digits)) : std::nullopt;
}

/// The digits of the one column Z_<digits><suffix>; none where there is no such column or several.
std::optional<std::string> onlyLinkColumn(const Columns& columns, std::string_view suffix)
{
    std::optional<std::string> found;
    for (const std::string& column : columns) {
        if (auto digits = digitsBetween(column, "z_", suffix)) {
            if (found) {
                return std::nullopt;
            }
            found = std::move(digits);
        }
    }
    return found;
}

class Resolver {
public:
    Resolver(SQLiteReader& reader, SchemaChecks checks)
        : reader_(reader)
        , checks_(checks)
    {
    }

    ResolvedSchema resolve()
    {
        listTables();
        readEntities();
        resolveAssets();
        resolveAttributes();
        resolveAlbums();
        resolveKeywords();
        resolvePeople();
        resolveFiles();
        markMissing(!schema_.assetColumns.contains("zfavorite"), Feature::favourites);
        markMissing(!schema_.assetColumns.contains("zhidden"), Feature::hidden);
        summarise();
        checkAssetValues();
        return std::move(schema_);
    }

private:
    struct Table {
        std::string name;
        Columns columns;
    };

    /// Ordinary tables by lower-case name. Virtual ones are left out, and with them the R-tree of places:
    /// where its nodes are damaged, even asking for its columns fails.
    void listTables()
    {
        std::set<std::string> left;
        reader_.forEachRow(
            "SELECT name FROM sqlite_master WHERE type = 'table' AND coalesce(rootpage, 0) = 0", {},
            [&left](const SQLiteRow& row) { left.insert(row.string("name").value_or("")); });
        reader_.forEachRow(
            "SELECT name FROM sqlite_master WHERE type = 'table'", {}, [&](const SQLiteRow& row) {
                const std::string name = row.string("name").value_or("");
                const std::string key = lowerAscii(name);
                const bool unusable = name.empty() || name.find('\0') != std::string::npos;
                if (!unusable && !left.contains(name) && !key.starts_with("sqlite_")
                    && !key.starts_with("z_rt_")) {
                    tables_.try_emplace(key, name);
                }
            });
    }

    void readEntities()
    {
        const auto keys = table("z_primarykey");
        if (!keys || !hasAll(keys->columns, {"z_ent", "z_name", "z_super", "z_max"})) {
            throw SchemaError("no Core Data table Z_PRIMARYKEY");
        }
        reader_.forEachRow(
            "SELECT Z_ENT, Z_NAME, Z_SUPER, Z_MAX FROM Z_PRIMARYKEY", {}, [this](const SQLiteRow& row) {
                const auto ent = row.int64("Z_ENT");
                auto name = row.string("Z_NAME");
                if (!ent || !name || entities_.size() >= mostEntities) {
                    return;
                }
                CoreDataEntity entity{.ent = *ent,
                    .name = *name,
                    .superEnt = row.int64("Z_SUPER").value_or(0),
                    .maxID = row.int64("Z_MAX").value_or(0)};
                byNumber_.try_emplace(*ent, *name);
                entities_.try_emplace(std::move(*name), std::move(entity));
            });
        for (const auto& [name, entity] : entities_) {
            if (entity.superEnt != 0) {
                continue;
            }
            if (const auto found = tables_.find("z" + lowerAscii(name)); found != tables_.end()) {
                schema_.highestIDs.try_emplace(found->second, entity.maxID);
            }
        }
    }

    std::optional<Table> table(const std::string& lowerName)
    {
        const auto found = tables_.find(lowerName);
        if (found == tables_.end()) {
            return std::nullopt;
        }
        return Table{.name = found->second, .columns = reader_.columns(found->second)};
    }

    /// The table of an entity; none when the key table does not lead to one that is there.
    std::optional<Table> tableOfEntity(const std::string& name)
    {
        auto entity = entities_.find(name);
        for (std::size_t steps = 0; entity != entities_.end(); ++steps) {
            if (entity->second.superEnt == 0) {
                return table("z" + lowerAscii(entity->second.name));
            }
            const auto above = byNumber_.find(entity->second.superEnt);
            if (above == byNumber_.end() || steps > entities_.size()) { // a lost row, or a circle
                return std::nullopt;
            }
            entity = entities_.find(above->second);
        }
        return std::nullopt;
    }

    /// The table of the first of the entities that has one; where the key table is damaged, by its name. None
    /// when it lacks one of the columns without which it is of no use.
    std::optional<Table> usableTable(std::span<const char* const> entities,
        std::span<const char* const> lowerNames, std::initializer_list<const char*> needed)
    {
        std::optional<Table> found;
        for (std::size_t i = 0; i < entities.size() && !found; ++i) {
            found = tableOfEntity(entities[i]);
        }
        for (std::size_t i = 0; i < lowerNames.size() && !found; ++i) {
            found = table(lowerNames[i]);
        }
        return found && hasAll(found->columns, needed) ? found : std::nullopt;
    }

    std::optional<Table> usableTable(
        const char* entity, const char* lowerName, std::initializer_list<const char*> needed)
    {
        return usableTable(std::span(&entity, 1), std::span(&lowerName, 1), needed);
    }

    void markMissing(bool missing, Feature feature)
    {
        if (missing) {
            missing_.insert(feature);
        }
    }

    void resolveAssets()
    {
        constexpr std::array entities{"Asset", "GenericAsset"};
        constexpr std::array names{"zasset", "zgenericasset"};
        auto found = usableTable(entities, names, {});
        if (!found) {
            throw SchemaError("no photo table");
        }
        for (const char* column : requiredAssetColumns) {
            if (!found->columns.contains(column)) {
                throw SchemaError("the photo table has no " + std::string(column) + " column");
            }
        }
        schema_.assetTable = std::move(found->name);
        schema_.assetColumns = std::move(found->columns);
    }

    void resolveAttributes()
    {
        if (auto found =
                usableTable("AdditionalAssetAttributes", "zadditionalassetattributes", {"z_pk", "zasset"})) {
            schema_.attributesTable = std::move(found->name);
            schema_.attributesColumns = std::move(found->columns);
        }
        if (auto found = usableTable("AssetDescription", "zassetdescription", {"z_pk", "zlongdescription"})) {
            schema_.descriptionTable = std::move(found->name);
            schema_.descriptionColumns = std::move(found->columns);
        }
        const bool linked = schema_.descriptionColumns.contains("zassetattributes")
            || schema_.attributesColumns.contains("zassetdescription");
        markMissing(!schema_.attributesTable || !schema_.descriptionTable || !linked, Feature::captions);
    }

    /// The one table with these two link columns; several are as good as none, since nothing tells which one
    /// is meant.
    std::optional<ResolvedSchema::Join> link(std::string_view leftSuffix, std::string_view rightSuffix)
    {
        std::optional<ResolvedSchema::Join> join;
        for (const auto& [key, name] : tables_) {
            const Columns& columns = reader_.columns(name);
            const auto left = onlyLinkColumn(columns, leftSuffix);
            const auto right = onlyLinkColumn(columns, rightSuffix);
            if (!left || !right) {
                continue;
            }
            if (join) {
                return std::nullopt;
            }
            join = ResolvedSchema::Join{.table = name,
                .left = upperAscii("z_" + *left + std::string(leftSuffix)),
                .right = upperAscii("z_" + *right + std::string(rightSuffix))};
            const std::string order = "z_fok_" + *right + std::string(rightSuffix);
            if (columns.contains(order)) {
                join->order = upperAscii(order);
            }
        }
        return join;
    }

    void resolveAlbums()
    {
        schema_.albumJoin = link("albums", "assets");
        if (!schema_.albumJoin && checks_ == SchemaChecks::strict) {
            throw SchemaError("no table links albums to photos");
        }
        constexpr std::array entities{"Album", "GenericAlbum"};
        constexpr std::array names{"zgenericalbum"};
        if (auto found = usableTable(entities, names, {"z_pk", "zkind", "ztitle"})) {
            schema_.albumTable = std::move(found->name);
            schema_.albumColumns = std::move(found->columns);
        } else if (checks_ == SchemaChecks::strict) {
            throw SchemaError("the album table is not as expected");
        }
        markMissing(!schema_.albumTable || !schema_.albumJoin, Feature::albums);
        markMissing(!schema_.albumColumns.contains("zparentfolder"), Feature::folders);
    }

    void resolveKeywords()
    {
        if (auto found = usableTable("Keyword", "zkeyword", {"z_pk", "ztitle"})) {
            schema_.keywordTable = std::move(found->name);
        }
        schema_.keywordJoin = link("assetattributes", "keywords");
        markMissing(
            !schema_.keywordTable || !schema_.keywordJoin || !schema_.attributesTable, Feature::keywords);
    }

    void resolvePeople()
    {
        if (auto found = usableTable("Person", "zperson", {"z_pk"});
            found && (found->columns.contains("zfullname") || found->columns.contains("zdisplayname"))) {
            schema_.personTable = std::move(found->name);
            schema_.personColumns = std::move(found->columns);
        }
        if (auto found = usableTable("DetectedFace", "zdetectedface", {"z_pk"})) {
            // Newer versions tie a body and a face in a video to assets and persons as well, by further
            // columns; the picture of the person's face is what People shows.
            const auto firstOf = [&found](
                                     const char* newer, const char* older) -> std::optional<std::string> {
                for (const char* name : {newer, older}) {
                    if (found->columns.contains(lowerAscii(name))) {
                        return name;
                    }
                }
                return std::nullopt;
            };
            schema_.faceAssetColumn = firstOf("ZASSETFORFACE", "ZASSET");
            schema_.facePersonColumn = firstOf("ZPERSONFORFACE", "ZPERSON");
            schema_.faceTable = std::move(found->name);
        }
        markMissing(!schema_.personTable || !schema_.faceTable || !schema_.faceAssetColumn
                || !schema_.facePersonColumn,
            Feature::people);
    }

    /// What tells where originals lie. None of it is a feature of its own: without it the disk decides.
    void resolveFiles()
    {
        if (auto found = usableTable("InternalResource", "zinternalresource",
                {"z_pk", "zasset", "zdatastoresubtype", "zlocalavailability"})) {
            schema_.resourceTable = std::move(found->name);
            schema_.resourceColumns = std::move(found->columns);
        }
        if (auto found = usableTable("CloudMaster", "zcloudmaster", {"z_pk", "zcloudlocalstate"})) {
            schema_.cloudMasterTable = std::move(found->name);
        }
        if (auto found =
                usableTable("FileSystemBookmark", "zfilesystembookmark", {"z_pk", "zpathrelativetovolume"})) {
            schema_.bookmarkTable = std::move(found->name);
            schema_.bookmarkColumns = std::move(found->columns);
        }
        if (auto found = usableTable("FileSystemVolume", "zfilesystemvolume", {"z_pk", "zname"})) {
            schema_.volumeTable = std::move(found->name);
        }
    }

    /// The list lies partly on a page of its own, which can be lost alone: that means no version, and the
    /// damage itself is found by those who read the tables.
    std::optional<std::int64_t> modelVersion()
    {
        const auto metadata = table("z_metadata");
        if (!metadata || !metadata->columns.contains("z_plist")) {
            return std::nullopt;
        }
        std::optional<std::int64_t> version;
        try {
            if (reader_.count("SELECT length(Z_PLIST) AS n FROM Z_METADATA LIMIT 1") > mostPlistBytes) {
                return std::nullopt;
            }
            reader_.forEachRow("SELECT Z_PLIST FROM Z_METADATA LIMIT 1", {}, [&](const SQLiteRow& row) {
                const auto bytes = row.data("Z_PLIST");
                const auto list = bytes ? BinaryPlist::open(*bytes) : std::nullopt;
                if (list) {
                    const auto value = list->value(list->top(), "PLModelVersion");
                    version = value ? list->integer(*value) : std::nullopt;
                }
            });
        } catch (const SQLiteReaderError& error) {
            if (error.code() != SQLITE_CORRUPT) {
                throw;
            }
        }
        return version;
    }

    void summarise()
    {
        schema_.summary = summaryOfModel(modelVersion());
        schema_.summary.assetTable = schema_.assetTable;
        schema_.summary.unavailable.assign(missing_.begin(), missing_.end());
        if (auto note = untestedVersionNote(schema_.summary)) {
            schema_.notes.push_back(std::move(*note));
        }
    }

    /// Whether the columns hold what their names say. Single odd rows are the reader's business; a table most
    /// of whose rows are odd is some other table. One without rows has nothing that speaks against it.
    void checkAssetValues()
    {
        // So many tell; a library of a million photos is not read twice for it.
        constexpr std::string_view enough = " LIMIT 10000";
        std::int64_t rows = 0;
        std::int64_t fitting = 0;
        std::optional<std::array<int, 3>> at;
        const auto look = [&](const SQLiteRow& row) {
            if (!at) {
                at = {row.position("ZUUID"), row.position("ZDATECREATED"), row.position("ZFILENAME")};
            }
            const auto [uuid, date, name] = *at;
            const int dateType = row.typeAt(date);
            const bool fits = row.typeAt(uuid) == SQLITE_TEXT && row.typeAt(name) == SQLITE_TEXT
                && (dateType == SQLITE_INTEGER || dateType == SQLITE_FLOAT || dateType == SQLITE_NULL)
                && isUuid(row.stringAt(uuid).value_or(""));
            ++rows;
            fitting += fits ? 1 : 0;
        };
        try {
            reader_.forEachRow("SELECT ZUUID, ZDATECREATED, ZFILENAME FROM "
                    + quotedIdentifier(schema_.assetTable) + std::string(enough),
                {}, look);
        } catch (const SQLiteReaderError& error) {
            // A bad page is damage and found as such when the table is read; the rows before it tell enough.
            if (error.code() != SQLITE_CORRUPT) {
                throw;
            }
        }
        if (fitting * 2 < rows) {
            throw SchemaError("the photo table does not hold the values its columns promise");
        }
    }

    SQLiteReader& reader_;
    SchemaChecks checks_;
    std::map<std::string, std::string> tables_; ///< Lower-case name to the name as stored.
    std::map<std::string, CoreDataEntity> entities_;
    std::map<std::int64_t, std::string> byNumber_;
    std::set<Feature> missing_; ///< In the order of the enumeration.
    ResolvedSchema schema_;
};

} // namespace

ResolvedSchema resolveSchema(SQLiteReader& reader, SchemaChecks checks)
{
    return Resolver(reader, checks).resolve();
}

} // namespace vantorel
