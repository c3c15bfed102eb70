#include "sample/DatabaseWriter.h"

#include "sample/PlistWriter.h"
#include "sample/Random.h"

#include "base/Text.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <utility>

namespace vantorel::sample {

namespace {

enum Purpose : std::uint64_t { modelHashes = 401, modelCache = 402, logSalts = 403 };

constexpr std::size_t mostItemsInLog = 200;
constexpr std::size_t mostChangesInLog = 5;

/// The whole update of a library to the next model can lie in its log.
struct UpdatedModel {
    std::int64_t present;
    std::int64_t earlier;
};
constexpr std::array<UpdatedModel, 8> updatedModels{{{13703, 13537}, {14208, 14104}, {15502, 15323},
    {16502, 16320}, {17600, 17401}, {18600, 18508}, {19320, 19063}, {270'000'000, 19320}}};

std::string tableDefinition(const Layout::Table& table)
{
    if (table.isVirtual) {
        return fmt::format(
            "CREATE VIRTUAL TABLE {} USING RTREE (Z_PK INTEGER PRIMARY KEY, ZLATITUDE_MIN FLOAT, "
            "ZLATITUDE_MAX FLOAT, ZLONGITUDE_MIN FLOAT, ZLONGITUDE_MAX FLOAT);",
            table.name);
    }
    std::string columns;
    std::size_t keyColumns = 0;
    for (const Layout::Column& column : table.columns) {
        columns += fmt::format("{}{} {}{}", columns.empty() ? "" : ", ", column.name, column.type,
            column.name == table.key ? " PRIMARY KEY" : "");
        const bool isKey = table.key.starts_with(column.name + ",") || table.key.ends_with(" " + column.name);
        keyColumns += isKey ? 1 : 0;
    }
    if (keyColumns == 2) {
        columns += fmt::format(", PRIMARY KEY ({})", table.key);
    }
    return fmt::format("CREATE TABLE {} ( {} );", table.name, columns);
}

void createTables(SampleDatabase& database, const Layout& layout)
{
    for (const Layout::Table& table : layout.tables()) {
        if (!table.columns.empty()) {
            database.execute(tableDefinition(table));
        }
    }
}

/// As Core Data keeps it: some 4 KB of hashes of the model, and among them the number that tells the version.
std::string metadata(const LibraryContent& content, std::int64_t model)
{
    PlistValue::Dictionary hashes;
    Random random(mixedSeed(content.options.seed, modelHashes));
    for (const Layout::Entity& entity : content.layout.entities()) {
        if (entity.number < 16000) {
            hashes.emplace_back(entity.name, PlistValue::Data{drawnBytes(random, 32)});
        }
    }
    return binaryPlist(PlistValue::Dictionary{{"NSStoreModelVersionHashes", std::move(hashes)},
        {"NSStoreModelVersionHashesVersion", 3}, {"NSStoreType", "SQLite"},
        {"NSStoreModelVersionIdentifiers", PlistValue::Array{""}}, {"NSPersistenceFrameworkVersion", 1251},
        {"_NSAutoVacuumLevel", "2"}, {"PLModelVersion", model}, {"PLLegacyMigrationState", 2}});
}

std::string escaped(std::string_view text)
{
    std::string out;
    for (const char c : text) {
        out += c == '\'' ? std::string("''") : std::string(1, c);
    }
    return out;
}

/// While it lives SQLite's random numbers come from a seed, in this whole process.
class SeededSQLite {
public:
    explicit SeededSQLite(int seed)
    {
        sqlite3_initialize();
        sqlite3_test_control(SQLITE_TESTCTRL_PRNG_SEED, seed, static_cast<sqlite3*>(nullptr));
    }
    SeededSQLite(const SeededSQLite&) = delete;
    SeededSQLite& operator=(const SeededSQLite&) = delete;
    ~SeededSQLite() { sqlite3_test_control(SQLITE_TESTCTRL_PRNG_SEED, 0, static_cast<sqlite3*>(nullptr)); }
};

class LibraryDatabase {
public:
    LibraryDatabase(const LibraryContent& content, const DiskPath& file)
        : content_(content)
        , database_(file)
    {
    }

    void write();

private:
    void writeSystemRows();
    void updateHighestKeys();
    /// Photos' earlier state of some rows, and the present one, which is in the log.
    enum class State { earlier, present };
    void setChangingRows(State state);
    void setColumn(
        const std::string& table, std::int64_t pk, const std::string& column, const std::string& sql);
    std::int64_t modelNumber() const
    {
        return content_.options.changes.modelVersion.value_or(modelVersion(content_.options.generation));
    }

    const LibraryContent& content_;
    SampleDatabase database_;
};

void LibraryDatabase::write()
{
    const std::size_t count = content_.plan.items.size();
    const std::size_t inLog =
        content_.options.withLog ? std::min(std::max<std::size_t>(count / 10, 1), mostItemsInLog) : 0;
    const std::size_t before = count - std::min(inLog, count);
    database_.execute("BEGIN;");
    createTables(database_, content_.layout);
    insertCollections(database_, content_);
    {
        ItemTables items(database_, content_);
        items.insert(0, before);
        insertMemberships(database_, content_, 0, before);
        writeSystemRows();
        if (content_.options.withLog) {
            setChangingRows(State::earlier);
        }
        createIndexes(database_, content_.layout);
        createTriggers(database_, content_.layout);
        updateHighestKeys();
        database_.execute("COMMIT;");
        database_.beginLog();
        if (content_.options.withLog) {
            database_.execute("BEGIN;");
            items.insert(before, count);
            insertMemberships(database_, content_, before, count);
            updateHighestKeys();
            database_.execute("COMMIT;");
            setChangingRows(State::present);
        }
    }
    database_.close(content_.options.withLog);
}

void LibraryDatabase::writeSystemRows()
{
    const Layout& layout = content_.layout;
    RowInserter entities(database_, layout, "Z_PRIMARYKEY");
    for (const Layout::Entity& entity : layout.entities()) {
        entities.insert(
            {{"Z_ENT", entity.number}, {"Z_NAME", entity.name}, {"Z_SUPER", entity.parent}, {"Z_MAX", 0}});
    }
    RowInserter store(database_, layout, "Z_METADATA");
    const std::string list = metadata(content_, modelNumber());
    store.insert({{"Z_VERSION", 1}, {"Z_UUID", content_.rows.storeUuid}, {"Z_PLIST", Blob{list}}});
    RowInserter cache(database_, layout, "Z_MODELCACHE");
    Random random(mixedSeed(content_.options.seed, modelCache));
    const std::string model = drawnBytes(random, 20'000);
    cache.insert({{"Z_CONTENT", Blob{model}}});
}

void LibraryDatabase::updateHighestKeys()
{
    if (!content_.layout.hasColumn("Z_PRIMARYKEY", "Z_MAX")) {
        return;
    }
    for (const Layout::Entity& entity : content_.layout.entities()) {
        // Keys of people who are gone are not given out again.
        const int gone = entity.name == "Person" ? 2 : 0;
        if (entity.parent == 0 && content_.layout.hasColumn(entity.table, "Z_PK")) {
            database_.execute(fmt::format("UPDATE Z_PRIMARYKEY SET Z_MAX = (SELECT coalesce(max(Z_PK) + {}, "
                                          "0) FROM {}) WHERE Z_ENT = {};",
                gone, entity.table, entity.number));
        }
    }
}

void LibraryDatabase::setColumn(
    const std::string& table, std::int64_t pk, const std::string& column, const std::string& sql)
{
    if (content_.layout.hasColumn(table, column) && content_.layout.hasColumn(table, "Z_PK")) {
        database_.execute(fmt::format("UPDATE {} SET {} = {} WHERE Z_PK = {};", table, column, sql, pk));
    }
}

void LibraryDatabase::setChangingRows(State state)
{
    const bool isPresent = state == State::present;
    const std::size_t count = std::min(mostChangesInLog, content_.plan.items.size());
    for (std::size_t i = 0; i < count; ++i) {
        setColumn(content_.layout.assetTable(), content_.rows.items[i].pk, "ZFAVORITE",
            content_.plan.items[i].isFavorite == isPresent ? "1" : "0");
    }
    const auto album = std::ranges::find(content_.rows.albums, 2, &AlbumRow::kind);
    if (album != content_.rows.albums.end()) {
        const std::string title = isPresent ? album->title.value_or("") : "Untitled Album";
        setColumn(content_.layout.tableOf("GenericAlbum"), album->pk, "ZTITLE",
            fmt::format("'{}'", escaped(title)));
    }
    if (content_.layout.hasColumn("Z_METADATA", "Z_PLIST")) {
        const std::int64_t present = modelNumber();
        const auto* older = std::ranges::find(updatedModels, present, &UpdatedModel::present);
        const bool hasOlder = older != updatedModels.end();
        database_.execute(fmt::format("UPDATE Z_METADATA SET Z_PLIST = x'{}';",
            hex(metadata(content_, isPresent || !hasOlder ? present : older->earlier))));
    }
}

} // namespace

void writeDatabase(const LibraryContent& content, const DiskPath& file)
{
    // The log's salts are random numbers of SQLite's; with a seed they repeat.
    const auto salt = static_cast<int>(mixedSeed(content.options.seed, logSalts) & 0x3fffffffU) | 1;
    const SeededSQLite seeded(salt);
    LibraryDatabase(content, file).write();
}

} // namespace vantorel::sample
