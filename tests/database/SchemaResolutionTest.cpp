#include "database/SchemaResolution.h"

#include "database/DatabaseBuilder.h"
#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <tuple>

namespace vantorel {
namespace {

using Feature = SchemaSummary::Feature;
using Features = std::vector<Feature>;
using Join = ResolvedSchema::Join;

enum class Assets { current, generic };

/// Entity numbers as a library might have them.
struct Numbers {
    std::string album = "33";
    std::string asset = "3";
    std::string keyword = "52";
};

/// The tables that a library has, with the columns that are looked for, in either order of columns.
std::string libraryTables(const Numbers& numbers, Assets assets, bool reversed)
{
    const auto table = [reversed](const std::string& name, std::vector<std::string> columns) {
        if (reversed) {
            std::ranges::reverse(columns);
        }
        std::string sql = "CREATE TABLE " + name + "(";
        for (const std::string& column : columns) {
            sql += (sql.ends_with('(') ? "" : ", ") + column;
        }
        return sql + ");";
    };
    const std::string key = "Z_PK INTEGER PRIMARY KEY";
    const std::string album = numbers.album;
    const std::string asset = numbers.asset;
    const bool current = assets == Assets::current;
    std::string sql = table("Z_PRIMARYKEY", {"Z_ENT INTEGER", "Z_NAME", "Z_SUPER INTEGER", "Z_MAX INTEGER"})
        + table("Z_METADATA", {"Z_VERSION", "Z_UUID", "Z_PLIST BLOB"})
        + table(current ? "ZASSET" : "ZGENERICASSET",
            {key, "ZUUID", "ZDIRECTORY", "ZFILENAME", "ZDATECREATED", "ZFAVORITE", "ZHIDDEN"})
        + table("ZADDITIONALASSETATTRIBUTES", {key, "ZASSET", "ZASSETDESCRIPTION", "ZORIGINALFILENAME"})
        + table("ZASSETDESCRIPTION", {key, "ZASSETATTRIBUTES", "ZLONGDESCRIPTION"})
        + table("ZGENERICALBUM", {key, "ZKIND", "ZTITLE", "ZPARENTFOLDER"})
        + table("ZKEYWORD", {key, "ZTITLE"}) + table("ZPERSON", {key, "ZFULLNAME", "ZDISPLAYNAME"})
        + table("ZDETECTEDFACE",
            current ? std::vector<std::string>{key, "ZASSETFORFACE", "ZPERSONFORFACE", "ZASSETFORTORSO",
                          "ZPERSONFORTORSO"}
                    : std::vector<std::string>{key, "ZASSET", "Z34_ASSET", "ZPERSON"})
        + table("ZINTERNALRESOURCE", {key, "ZASSET", "ZDATASTORESUBTYPE", "ZLOCALAVAILABILITY"})
        + table("ZCLOUDMASTER", {key, "ZCLOUDLOCALSTATE"})
        + table("ZFILESYSTEMBOOKMARK", {key, "ZPATHRELATIVETOVOLUME"})
        + table("ZFILESYSTEMVOLUME", {key, "ZNAME"})
        + table("Z_" + album + "ASSETS",
            {"Z_" + album + "ALBUMS", "Z_" + asset + "ASSETS", "Z_FOK_" + asset + "ASSETS"})
        + table("Z_1KEYWORDS", {"Z_1ASSETATTRIBUTES", "Z_" + numbers.keyword + "KEYWORDS"});
    // What only looks like these links.
    sql += table("Z_7ALBUMLISTS", {"Z_7ALBUMS", "Z_2ALBUMLISTS", "Z_FOK_7ALBUMS"})
        + table("Z_7KEYASSETS", {"Z_7ALBUMSBEINGKEYASSETS", "Z_3KEYASSETS", "Z_FOK_3KEYASSETS"})
        + table("Z_3MEMORIESBEINGCURATEDASSETS", {"Z_3CURATEDASSETS", "Z_44MEMORIESBEINGCURATEDASSETS"})
        + table("Z_8KEYWORDLISTS", {"Z_8ATTRIBUTES", "Z_52KEYWORDS", "Z_1ASSETATTRIBUTESBEING"})
        + "CREATE VIRTUAL TABLE Z_RT_Asset_boundedByRect USING rtree(Z_PK, a, b, c, d);";

    sql += "INSERT INTO Z_PRIMARYKEY(Z_ENT, Z_NAME, Z_SUPER, Z_MAX) VALUES"
        + std::string(current ? "(" + asset + ", 'Asset', 0, 90)"
                              : "(" + asset + ", 'GenericAsset', 0, 90), (135, 'Asset', " + asset + ", 0)")
        + ", (1, 'AdditionalAssetAttributes', 0, 80), (106, 'AssetDescription', 0, 70),"
          "(132, 'GenericAlbum', 0, 60), ("
        + album + ", 'Album', 132, 0), (" + numbers.keyword
        + ", 'Keyword', 0, 50),"
          "(159, 'Person', 0, 40), (123, 'DetectedFace', 0, 30), (151, 'InternalResource', 0, 20),"
          "(115, 'CloudMaster', 0, 10), (130, 'FileSystemBookmark', 0, 5), (131, 'FileSystemVolume', 0, 4),"
          "(16001, 'CHANGE', 0, 3);";
    return sql;
}

std::string uuid(int number) { return "00000000-0000-4000-8000-" + std::to_string(100'000'000'000 + number); }

/// Everything that a resolution gives, in a form that can be compared.
auto everything(const ResolvedSchema& s)
{
    return std::tuple(
        std::tuple(s.assetTable, s.assetColumns, s.attributesTable, s.attributesColumns, s.descriptionTable,
            s.descriptionColumns, s.albumTable, s.albumColumns, s.albumJoin, s.keywordTable, s.keywordJoin),
        std::tuple(s.personTable, s.personColumns, s.faceTable, s.faceAssetColumn, s.facePersonColumn,
            s.resourceTable, s.resourceColumns, s.cloudMasterTable, s.bookmarkTable, s.bookmarkColumns,
            s.volumeTable, s.highestIDs, s.summary, s.notes));
}

class SchemaResolutionTest : public testing::Test {
protected:
    ResolvedSchema resolve(const std::string& changes, SchemaChecks checks = SchemaChecks::strict)
    {
        return resolveSQL(libraryTables({}, Assets::current, false) + changes, checks);
    }
    ResolvedSchema resolveSQL(const std::string& sql, SchemaChecks checks = SchemaChecks::strict)
    {
        const auto file = folder / (std::to_string(++files) + ".sqlite");
        DatabaseBuilder(file).run("BEGIN;" + sql + ";COMMIT");
        return resolveFile(file, checks);
    }
    ResolvedSchema resolveFile(const DiskPath& file, SchemaChecks checks = SchemaChecks::strict)
    {
        SQLiteReader reader(realSystemCalls(), std::make_shared<ManualClock>(), file);
        return resolveSchema(reader, checks);
    }
    /// The phrase of the check that failed, or "".
    std::string reason(const std::string& changes, SchemaChecks checks = SchemaChecks::strict)
    {
        try {
            resolve(changes, checks);
            return {};
        } catch (const SchemaError& error) {
            return error.reason();
        }
    }
    static std::string without(const std::string& table, const std::string& column)
    {
        return "ALTER TABLE " + table + " RENAME COLUMN " + column + " TO LOST_" + column + ";";
    }

    TemporaryFolder folder;
    int files = 0;
};

TEST_F(SchemaResolutionTest, findsEveryTableWhateverItsNumberAndItsColumnsOrder)
{
    const ResolvedSchema found = resolve("");
    ResolvedSchema expected;
    expected.assetTable = "ZASSET";
    expected.assetColumns = {
        "z_pk", "zuuid", "zdirectory", "zfilename", "zdatecreated", "zfavorite", "zhidden"};
    expected.attributesTable = "ZADDITIONALASSETATTRIBUTES";
    expected.attributesColumns = {"z_pk", "zasset", "zassetdescription", "zoriginalfilename"};
    expected.descriptionTable = "ZASSETDESCRIPTION";
    expected.descriptionColumns = {"z_pk", "zassetattributes", "zlongdescription"};
    expected.albumTable = "ZGENERICALBUM";
    expected.albumColumns = {"z_pk", "zkind", "ztitle", "zparentfolder"};
    expected.albumJoin = Join{"Z_33ASSETS", "Z_33ALBUMS", "Z_3ASSETS", "Z_FOK_3ASSETS"};
    expected.keywordTable = "ZKEYWORD";
    expected.keywordJoin = Join{"Z_1KEYWORDS", "Z_1ASSETATTRIBUTES", "Z_52KEYWORDS", std::nullopt};
    expected.personTable = "ZPERSON";
    expected.personColumns = {"z_pk", "zfullname", "zdisplayname"};
    expected.faceTable = "ZDETECTEDFACE";
    expected.faceAssetColumn = "ZASSETFORFACE";
    expected.facePersonColumn = "ZPERSONFORFACE";
    expected.resourceTable = "ZINTERNALRESOURCE";
    expected.resourceColumns = {"z_pk", "zasset", "zdatastoresubtype", "zlocalavailability"};
    expected.cloudMasterTable = "ZCLOUDMASTER";
    expected.bookmarkTable = "ZFILESYSTEMBOOKMARK";
    expected.bookmarkColumns = {"z_pk", "zpathrelativetovolume"};
    expected.volumeTable = "ZFILESYSTEMVOLUME";
    expected.highestIDs = {{"ZASSET", 90}, {"ZADDITIONALASSETATTRIBUTES", 80}, {"ZASSETDESCRIPTION", 70},
        {"ZGENERICALBUM", 60}, {"ZKEYWORD", 50}, {"ZPERSON", 40}, {"ZDETECTEDFACE", 30},
        {"ZINTERNALRESOURCE", 20}, {"ZCLOUDMASTER", 10}, {"ZFILESYSTEMBOOKMARK", 5},
        {"ZFILESYSTEMVOLUME", 4}};
    expected.summary = summaryOfModel(std::nullopt);
    expected.summary.assetTable = "ZASSET";
    expected.notes = {*untestedVersionNote(expected.summary)};
    EXPECT_TRUE(everything(found) == everything(expected));

    EXPECT_TRUE(everything(resolveSQL(libraryTables({}, Assets::current, true))) == everything(expected));

    expected.albumJoin = Join{"Z_987ASSETS", "Z_987ALBUMS", "Z_654ASSETS", "Z_FOK_654ASSETS"};
    expected.keywordJoin->right = "Z_321KEYWORDS";
    EXPECT_TRUE(everything(resolveSQL(libraryTables({"987", "654", "321"}, Assets::current, true)))
        == everything(expected));

    // Up to macOS 10.15 an asset is a kind of generic asset, and faces have other columns.
    expected.assetTable = "ZGENERICASSET";
    expected.summary.assetTable = "ZGENERICASSET";
    expected.highestIDs.erase("ZASSET");
    expected.highestIDs["ZGENERICASSET"] = 90;
    expected.faceAssetColumn = "ZASSET";
    expected.facePersonColumn = "ZPERSON";
    EXPECT_TRUE(everything(resolveSQL(libraryTables({"987", "654", "321"}, Assets::generic, false)))
        == everything(expected));
    EXPECT_EQ(resolveSQL(libraryTables({}, Assets::generic, false) + "DELETE FROM Z_PRIMARYKEY").assetTable,
        "ZGENERICASSET");
}

TEST_F(SchemaResolutionTest, fallsBackOnTableNamesWhereTheKeyTableIsDamaged)
{
    auto expected = resolve("");
    const auto sameTables = [&](const std::string& damage) {
        ResolvedSchema found = resolve(damage);
        expected.highestIDs = found.highestIDs;
        return everything(found) == everything(expected);
    };
    EXPECT_TRUE(sameTables("DELETE FROM Z_PRIMARYKEY;"));
    EXPECT_TRUE(sameTables("DELETE FROM Z_PRIMARYKEY WHERE Z_NAME = 'GenericAlbum';"));
    EXPECT_TRUE(sameTables("UPDATE Z_PRIMARYKEY SET Z_SUPER = Z_ENT;"));
    EXPECT_TRUE(sameTables("UPDATE Z_PRIMARYKEY SET Z_SUPER = 33 WHERE Z_NAME = 'GenericAlbum';"));
    EXPECT_TRUE(sameTables("UPDATE Z_PRIMARYKEY SET Z_NAME = 'x\";DROP TABLE ZASSET;--' || Z_ENT;"));
    EXPECT_TRUE(sameTables("UPDATE Z_PRIMARYKEY SET Z_ENT = NULL;"));
}

TEST_F(SchemaResolutionTest, namesTheCheckThatALayoutFails)
{
    const std::string fill = "INSERT INTO ZASSET(ZUUID, ZFILENAME, ZDATECREATED) VALUES ";
    const std::string good = "('" + uuid(1) + "', 'a.jpeg', 1.5)";
    const std::string noDate = "('" + uuid(2) + "', 'a.jpeg', NULL)";
    const std::string noValues = "the photo table does not hold the values its columns promise";
    const std::string noLink = "no table links albums to photos";
    const std::string oddAlbums = "the album table is not as expected";
    const std::vector<std::tuple<std::string, std::string, std::string>> rows{
        // the change, the reason when strict, the reason when lenient
        {"DROP TABLE Z_PRIMARYKEY;", "no Core Data table Z_PRIMARYKEY", "no Core Data table Z_PRIMARYKEY"},
        {"ALTER TABLE Z_PRIMARYKEY RENAME TO k; CREATE VIEW Z_PRIMARYKEY AS SELECT * FROM k;",
            "no Core Data table Z_PRIMARYKEY", "no Core Data table Z_PRIMARYKEY"},
        {without("Z_PRIMARYKEY", "Z_SUPER"), "no Core Data table Z_PRIMARYKEY",
            "no Core Data table Z_PRIMARYKEY"},
        {"DROP TABLE ZASSET;", "no photo table", "no photo table"},
        {"DROP TABLE ZASSET; CREATE VIRTUAL TABLE ZASSET USING rtree(Z_PK, a, b);", "no photo table",
            "no photo table"},
        {without("ZASSET", "Z_PK"), "the photo table has no z_pk column",
            "the photo table has no z_pk column"},
        {without("ZASSET", "ZUUID"), "the photo table has no zuuid column",
            "the photo table has no zuuid column"},
        {without("ZASSET", "ZFILENAME"), "the photo table has no zfilename column",
            "the photo table has no zfilename column"},
        {without("ZASSET", "ZDIRECTORY"), "the photo table has no zdirectory column",
            "the photo table has no zdirectory column"},
        {without("ZASSET", "ZDATECREATED"), "the photo table has no zdatecreated column",
            "the photo table has no zdatecreated column"},
        // A computed column is never looked at.
        {without("ZASSET", "ZDIRECTORY") + "ALTER TABLE ZASSET ADD COLUMN ZDIRECTORY AS (hex(zeroblob(9)));",
            "the photo table has no zdirectory column", "the photo table has no zdirectory column"},
        {"DROP TABLE Z_33ASSETS;", noLink, ""},
        {without("Z_33ASSETS", "Z_33ALBUMS"), noLink, ""},
        {"CREATE TABLE Z_4ASSETS(Z_4ALBUMS, Z_5ASSETS);", noLink, ""},
        {"ALTER TABLE Z_33ASSETS ADD COLUMN Z_4ASSETS;", noLink, ""},
        {"DROP TABLE ZGENERICALBUM;", oddAlbums, ""},
        {without("ZGENERICALBUM", "Z_PK"), oddAlbums, ""},
        {without("ZGENERICALBUM", "ZKIND"), oddAlbums, ""},
        {without("ZGENERICALBUM", "ZTITLE"), oddAlbums, ""},
        {fill + good + "," + noDate + ", ('" + uuid(3) + "', 'b.jpeg', 'yesterday');", "", ""},
        {fill + good + ", (NULL, 'a.jpeg', 1);", "", ""},
        {fill + good + ", ('no uuid', 'a.jpeg', 1), (x'00', 'a.jpeg', 1);", noValues, noValues},
        {fill + good + ", ('" + uuid(2) + "', NULL, 1), ('" + uuid(3) + "', 5, 1);", noValues, noValues},
        {fill + good + ", ('" + uuid(2) + "', 'a', 'x'), ('" + uuid(3) + "', 'b', x'00');", noValues,
            noValues},
    };
    for (const auto& [change, strict, lenient] : rows) {
        EXPECT_EQ(reason(change), strict) << change;
        EXPECT_EQ(reason(change, SchemaChecks::lenient), lenient) << change;
    }
}

TEST_F(SchemaResolutionTest, saysWhichDetailsALayoutCannotGive)
{
    using enum Feature;
    const std::vector<std::tuple<std::string, Features>> rows{
        {"", {}},
        {"DROP TABLE Z_33ASSETS;", {albums}},
        {"DROP TABLE ZGENERICALBUM;", {albums, folders}},
        {without("ZGENERICALBUM", "ZPARENTFOLDER"), {folders}},
        {"DROP TABLE ZADDITIONALASSETATTRIBUTES;", {captions, keywords}},
        {without("ZADDITIONALASSETATTRIBUTES", "ZASSET"), {captions, keywords}},
        {"DROP TABLE ZASSETDESCRIPTION;", {captions}},
        {without("ZASSETDESCRIPTION", "ZLONGDESCRIPTION"), {captions}},
        {without("ZASSETDESCRIPTION", "ZASSETATTRIBUTES"), {}},
        {without("ZASSETDESCRIPTION", "ZASSETATTRIBUTES")
                + without("ZADDITIONALASSETATTRIBUTES", "ZASSETDESCRIPTION"),
            {captions}},
        {without("ZKEYWORD", "ZTITLE"), {keywords}},
        {"DROP TABLE Z_1KEYWORDS;", {keywords}},
        {"CREATE TABLE Z_2KEYWORDS(Z_1ASSETATTRIBUTES, Z_2KEYWORDS);", {keywords}},
        {"DROP TABLE ZPERSON;", {people}},
        {without("ZPERSON", "ZFULLNAME"), {}},
        {without("ZPERSON", "ZFULLNAME") + without("ZPERSON", "ZDISPLAYNAME"), {people}},
        {"DROP TABLE ZDETECTEDFACE;", {people}},
        {without("ZDETECTEDFACE", "ZASSETFORFACE"), {people}}, // the torso's column is none of the face
        {without("ZDETECTEDFACE", "ZPERSONFORFACE"), {people}},
        {without("ZASSET", "ZHIDDEN") + without("ZASSET", "ZFAVORITE") + "DROP TABLE ZPERSON;",
            {people, favourites, hidden}},
        {"DROP TABLE ZINTERNALRESOURCE; DROP TABLE ZCLOUDMASTER; DROP TABLE ZFILESYSTEMBOOKMARK;"
         "DROP TABLE ZFILESYSTEMVOLUME;",
            {}},
    };
    for (const auto& [change, unavailable] : rows) {
        EXPECT_EQ(resolve(change, SchemaChecks::lenient).summary.unavailable, unavailable) << change;
    }
    const auto bare = resolve(without("ZINTERNALRESOURCE", "ZLOCALAVAILABILITY")
        + without("ZCLOUDMASTER", "ZCLOUDLOCALSTATE") + without("ZFILESYSTEMVOLUME", "ZNAME")
        + without("ZFILESYSTEMBOOKMARK", "ZPATHRELATIVETOVOLUME"));
    EXPECT_EQ(std::tuple(bare.resourceTable, bare.cloudMasterTable, bare.volumeTable, bare.bookmarkTable),
        std::tuple(std::nullopt, std::nullopt, std::nullopt, std::nullopt));
}

TEST_F(SchemaResolutionTest, livesWithHostileNames)
{
    EXPECT_EQ(reason("CREATE TABLE \"Z\"\"x; DROP TABLE ZASSET\"(\"Z_1\"\"ALBUMS\", \"\", \"Z_1ASSETS\");"
                     "CREATE TABLE \"\"(a); CREATE TABLE \"Z_ALBUMS\"(Z_ALBUMS, Z_ASSETS, Z_1xASSETS);"
                     "CREATE TABLE Z_RT_odd(Z_1ALBUMS, Z_1ASSETS);"),
        "");
    const auto odd = resolve("DROP TABLE Z_33ASSETS; CREATE TABLE \"my \"\"link\"(z_12albums, z_13assets);");
    EXPECT_EQ(odd.albumJoin, (Join{"my \"link", "Z_12ALBUMS", "Z_13ASSETS", std::nullopt}));
}

/// A property list of one key, the number in 4 bytes, and a text so long that it fills pages of its own.
std::string modelPlist(const std::string& key, std::uint32_t model, std::size_t filler)
{
    std::string list = "bplist00";
    const auto number = [&list](std::size_t value, int bytes) {
        for (int i = bytes - 1; i >= 0; --i) {
            list += static_cast<char>(value >> (8 * i));
        }
    };
    list += "\xd2\x01\x03\x02\x04"; // a dictionary of two: keys 1 and 3, values 2 and 4
    const std::size_t keyAt = list.size();
    list += static_cast<char>(0x50 + key.size());
    list += key;
    const std::size_t modelAt = list.size();
    list += '\x12';
    number(model, 4);
    const std::size_t otherAt = list.size();
    list += "\x51x";
    const std::size_t fillerAt = list.size();
    list += "\x5f\x12";
    number(filler, 4);
    list.append(filler, 'x');
    const std::size_t table = list.size();
    for (const std::size_t offset : {std::size_t{8}, keyAt, modelAt, otherAt, fillerAt}) {
        number(offset, 4);
    }
    list += std::string(6, '\0') + "\x04\x01";
    number(5, 8);
    number(0, 8);
    number(table, 8);
    return list;
}

TEST_F(SchemaResolutionTest, readsTheModelVersionWhereThereIsOne)
{
    const auto withPlist = [this](const std::string& bytes) {
        const auto file = folder / (std::to_string(++files) + ".sqlite");
        DatabaseBuilder(file)
            .run(libraryTables({}, Assets::current, false))
            .runWithBlob("INSERT INTO Z_METADATA(Z_VERSION, Z_PLIST) VALUES (1, ?1)", bytes);
        return file;
    };
    const auto versionOf = [this](const DiskPath& file) {
        const auto schema = resolveFile(file);
        return std::pair(schema.summary.modelVersion, schema.notes.size());
    };
    using Version = std::pair<std::optional<std::int64_t>, std::size_t>;
    const std::string whole = modelPlist("PLModelVersion", 19320, 10);
    EXPECT_EQ(versionOf(withPlist(whole)), Version(19320, 0));
    EXPECT_EQ(versionOf(withPlist(modelPlist("PLModelVersion", 20000, 10))), Version(20000, 1));
    EXPECT_EQ(versionOf(withPlist(modelPlist("OtherVersion", 19320, 10))), Version(std::nullopt, 1));
    EXPECT_EQ(versionOf(withPlist("")), Version(std::nullopt, 1));
    EXPECT_EQ(versionOf(withPlist(whole.substr(0, whole.size() - 9))), Version(std::nullopt, 1));
    EXPECT_EQ(resolve(without("Z_METADATA", "Z_PLIST")).summary.modelVersion, std::nullopt);
    EXPECT_EQ(resolve("DROP TABLE Z_METADATA;").summary.modelVersion, std::nullopt);

    // The pages of a long list can be lost alone; that costs the version and nothing else.
    const auto damaged = withPlist(modelPlist("PLModelVersion", 19320, 20'000));
    EXPECT_EQ(versionOf(damaged), Version(19320, 0));
    std::string bytes = folder.read(damaged.filename());
    const std::size_t page = bytes.find(std::string(4'000, 'x')) / 4'096 * 4'096;
    bytes.replace(page, 4, "\xff\xff\xff\xff");
    folder.write(damaged.filename(), bytes);
    EXPECT_EQ(versionOf(damaged), Version(std::nullopt, 1));
}

} // namespace
} // namespace vantorel
