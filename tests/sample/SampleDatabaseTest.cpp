#include "SampleFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

namespace vantorel::sample {

namespace {

using Log = DatabaseQuestions::Log;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Gt;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

/// What tells one generation's layout from another's.
struct GenerationRow {
    int generation;
    std::string assetTable;
    std::string albumLink; ///< Its columns, as in the definition.
    std::string keywordLink;
    std::string entities; ///< Album, Asset, Folder, InternalResource, Keyword, Person.
    std::string editColumn;
    std::string faceAssetColumn;
};

void PrintTo(const GenerationRow& row, std::ostream* out) { *out << "generation " << row.generation; }

const GenerationRow generations[] = {
    {5, "ZGENERICASSET", "Z_26ASSETS: Z_26ALBUMS Z_34ASSETS Z_FOK_34ASSETS",
        "Z_1KEYWORDS: Z_1ASSETATTRIBUTES Z_37KEYWORDS", "26 35 32 36 37 45", "ZHASADJUSTMENTS", "ZASSET"},
    {6, "ZASSET", "Z_26ASSETS: Z_26ALBUMS Z_3ASSETS Z_FOK_3ASSETS",
        "Z_1KEYWORDS: Z_1ASSETATTRIBUTES Z_36KEYWORDS", "26 3 32 35 36 44", "ZHASADJUSTMENTS", "ZASSET"},
    {7, "ZASSET", "Z_27ASSETS: Z_27ALBUMS Z_3ASSETS Z_FOK_3ASSETS",
        "Z_1KEYWORDS: Z_1ASSETATTRIBUTES Z_38KEYWORDS", "27 3 34 37 38 45", "ZHASADJUSTMENTS", "ZASSET"},
    {8, "ZASSET", "Z_28ASSETS: Z_28ALBUMS Z_3ASSETS Z_FOK_3ASSETS",
        "Z_1KEYWORDS: Z_1ASSETATTRIBUTES Z_40KEYWORDS", "28 3 36 39 40 47", "ZHASADJUSTMENTS", "ZASSET"},
    {9, "ZASSET", "Z_29ASSETS: Z_29ALBUMS Z_3ASSETS Z_FOK_3ASSETS",
        "Z_1KEYWORDS: Z_1ASSETATTRIBUTES Z_41KEYWORDS", "29 3 37 40 41 48", "ZHASADJUSTMENTS",
        "ZASSETFORFACE"},
    {10, "ZASSET", "Z_30ASSETS: Z_30ALBUMS Z_3ASSETS Z_FOK_3ASSETS",
        "Z_1KEYWORDS: Z_1ASSETATTRIBUTES Z_47KEYWORDS", "30 3 38 46 47 54", "ZADJUSTMENTSSTATE",
        "ZASSETFORFACE"},
    {11, "ZASSET", "Z_33ASSETS: Z_33ALBUMS Z_3ASSETS Z_FOK_3ASSETS",
        "Z_1KEYWORDS: Z_1ASSETATTRIBUTES Z_52KEYWORDS", "33 3 41 51 52 59", "ZADJUSTMENTSSTATE",
        "ZASSETFORFACE"},
    {12, "ZASSET", "Z_33ASSETS: Z_33ALBUMS Z_3ASSETS Z_FOK_3ASSETS",
        "Z_1KEYWORDS: Z_1ASSETATTRIBUTES Z_52KEYWORDS", "33 3 41 51 52 59", "ZADJUSTMENTSSTATE",
        "ZASSETFORFACE"},
};

class GenerationTest : public testing::TestWithParam<GenerationRow> { };

std::string tableAndColumns(const DatabaseQuestions& database, const std::string& table)
{
    return database.one(
        "SELECT '" + table + ": ' || group_concat(name, ' ') FROM pragma_table_info('" + table + "')");
}

std::string nameBeforeColon(const std::string& text) { return text.substr(0, text.find(':')); }

TEST_P(GenerationTest, hasItsTablesAndEntityNumbers)
{
    const GenerationRow& row = GetParam();
    const SampleFixture sample({.generation = row.generation});
    const DatabaseQuestions database(sample, Log::used);

    EXPECT_EQ(tableAndColumns(database, nameBeforeColon(row.albumLink)), row.albumLink);
    EXPECT_EQ(tableAndColumns(database, nameBeforeColon(row.keywordLink)), row.keywordLink);
    EXPECT_EQ(
        database.one("SELECT group_concat(Z_ENT, ' ') FROM (SELECT Z_ENT FROM Z_PRIMARYKEY WHERE Z_NAME IN "
                     "('Album','Asset','Folder','InternalResource','Keyword','Person') ORDER BY Z_NAME)"),
        row.entities);
    EXPECT_EQ(database.one("SELECT name FROM sqlite_master WHERE name IN ('ZASSET', 'ZGENERICASSET')"),
        row.assetTable);
    EXPECT_EQ(database.one("SELECT name FROM pragma_table_info('" + row.assetTable
                  + "') WHERE name IN ('ZHASADJUSTMENTS', 'ZADJUSTMENTSSTATE')"),
        row.editColumn);
    EXPECT_EQ(database.one("SELECT name FROM pragma_table_info('ZDETECTEDFACE') WHERE name IN ('ZASSET', "
                           "'ZASSETFORFACE')"),
        row.faceAssetColumn);
    EXPECT_EQ(database.one("SELECT count(*) FROM " + row.assetTable), "60");
    // Tables that a looser look would take for the link of albums and photos.
    EXPECT_THAT(database.rows("SELECT name FROM sqlite_master WHERE type = 'table' AND name GLOB 'Z_[0-9]*'"),
        AllOf(SizeIs(Gt(11)), Contains(HasSubstr("ALBUMLISTS")),
            Contains(HasSubstr("MEMORIESBEINGCURATEDASSETS")),
            Contains(HasSubstr("SUGGESTIONSBEINGKEYASSETS"))));
    EXPECT_NE(database.one("SELECT count(*) FROM sqlite_master WHERE type = 'trigger'"), "0");
    EXPECT_NE(
        database.one("SELECT count(*) FROM sqlite_master WHERE type = 'index' AND sql LIKE '% WHERE %'"),
        "0");
}

TEST_P(GenerationTest, isWholeWithAndWithoutItsLog)
{
    const GenerationRow& row = GetParam();
    const SampleFixture sample({.generation = row.generation});
    const std::string log = sample.folder.read("Sample.photoslibrary/database/Photos.sqlite-wal");
    ASSERT_EQ(log.substr(0, 4), "\x37\x7f\x06\x82");
    const DatabaseQuestions with(sample, Log::used);
    const DatabaseQuestions without(sample, Log::leftOut);
    for (const DatabaseQuestions* database : {&with, &without}) {
        EXPECT_EQ(database->one("PRAGMA quick_check"), "ok");
        EXPECT_EQ(database->one("PRAGMA page_size"), "4096");
        EXPECT_EQ(database->one("PRAGMA auto_vacuum"), "2");
    }
    const std::string count = "SELECT count(*) FROM " + row.assetTable;
    EXPECT_EQ(with.one(count), "60");
    EXPECT_EQ(without.one(count), "54");
    for (const char* sql : {"SELECT hex(Z_PLIST) FROM Z_METADATA",
             "SELECT group_concat(ZTITLE) FROM ZGENERICALBUM WHERE ZKIND = 2"}) {
        EXPECT_NE(with.one(sql), without.one(sql)) << sql;
    }
}

TEST_P(GenerationTest, hasLinksThatAllLeadSomewhere)
{
    const GenerationRow& row = GetParam();
    const SampleFixture sample({.generation = row.generation});
    const DatabaseQuestions database(sample, Log::used);
    const std::string links = nameBeforeColon(row.albumLink);
    const std::string album = links.substr(0, links.size() - 6) + "ALBUMS";
    const std::string asset = row.generation == 5 ? "Z_34ASSETS" : "Z_3ASSETS";
    for (const std::string& sql :
        {
            "SELECT * FROM " + links + " WHERE " + asset + " NOT IN (SELECT Z_PK FROM " + row.assetTable
                + ")",
            "SELECT * FROM " + links + " WHERE " + album + " NOT IN (SELECT Z_PK FROM ZGENERICALBUM)",
            "SELECT * FROM ZADDITIONALASSETATTRIBUTES WHERE ZASSET NOT IN (SELECT Z_PK FROM " + row.assetTable
                + ")",
            "SELECT * FROM " + row.assetTable
                + " a WHERE NOT EXISTS (SELECT 1 FROM ZADDITIONALASSETATTRIBUTES b WHERE b.Z_PK = "
                  "a.ZADDITIONALATTRIBUTES AND b.ZASSET = a.Z_PK)",
            std::string("SELECT * FROM ZFILESYSTEMBOOKMARK b WHERE NOT EXISTS (SELECT 1 FROM "
                        "ZINTERNALRESOURCE r WHERE "
                        "r.ZFILESYSTEMBOOKMARK = b.Z_PK AND r.Z_PK = b.ZRESOURCE)"),
            std::string("SELECT * FROM ZGENERICALBUM WHERE ZPARENTFOLDER NOT IN (SELECT Z_PK FROM "
                        "ZGENERICALBUM WHERE "
                        "ZKIND IN (3998, 3999, 4000))"),
            std::string(
                "SELECT * FROM ZGENERICALBUM WHERE ZPARENTFOLDER IS NOT NULL AND Z_FOK_PARENTFOLDER IS NULL"),
            std::string("SELECT * FROM Z_PRIMARYKEY WHERE Z_NAME = 'Person' AND Z_MAX < (SELECT max(Z_PK) "
                        "FROM ZPERSON)"),
        }) {
        EXPECT_THAT(database.rows(sql), IsEmpty()) << sql;
    }
}

INSTANTIATE_TEST_SUITE_P(All, GenerationTest, testing::ValuesIn(generations),
    [](const auto& row) { return "of" + std::to_string(row.param.generation); });

TEST(SampleLayoutChanges, moveEntityNumbersAndColumnsAndLeaveOutWhatIsAskedFor)
{
    const LayoutChanges changes{.entityNumberShift = 100,
        .reverseColumns = true,
        .withoutTables = {"ZKEYWORD"},
        .withoutColumns = {{"ZASSET", {"ZFAVORITE", "ZTRASHEDSTATE"}}},
        .modelVersion = 16320};
    const SampleFixture sample({.generation = 8, .changes = changes});
    const DatabaseQuestions database(sample, Log::used);
    EXPECT_EQ(database.one("PRAGMA quick_check"), "ok");
    EXPECT_EQ(
        tableAndColumns(database, "Z_128ASSETS"), "Z_128ASSETS: Z_FOK_103ASSETS Z_103ASSETS Z_128ALBUMS");
    EXPECT_EQ(database.one("SELECT Z_ENT FROM Z_PRIMARYKEY WHERE Z_NAME = 'Asset'"), "103");
    EXPECT_EQ(database.one("SELECT DISTINCT Z_ENT FROM ZASSET"), "103");
    EXPECT_EQ(tableAndColumns(database, "ZFILESYSTEMVOLUME"),
        "ZFILESYSTEMVOLUME: Z_PK ZVOLUMEUUIDSTRING ZUUID ZNAME Z_OPT Z_ENT");
    const auto names =
        database.rows("SELECT name FROM sqlite_master UNION SELECT name FROM pragma_table_info('ZASSET')");
    EXPECT_THAT(names, AllOf(Not(Contains("ZKEYWORD")), Not(Contains("ZFAVORITE")), Contains("ZHIDDEN")));
    const DatabaseQuestions without(sample, Log::leftOut);
    EXPECT_EQ(database.one("SELECT hex(Z_PLIST) FROM Z_METADATA"),
        without.one("SELECT hex(Z_PLIST) FROM Z_METADATA"))
        << "A model number that was asked for is in the log and before it.";
}

TEST(SampleDatabase, withoutLogIsOneFile)
{
    const SampleFixture sample({.withLog = false});
    EXPECT_FALSE(sample.folder.has("Sample.photoslibrary/database/Photos.sqlite-wal"));
    EXPECT_FALSE(sample.folder.has("Sample.photoslibrary/database/Photos.sqlite-shm"));
    EXPECT_EQ(sample.folder.read("Sample.photoslibrary/database/Photos.sqlite").substr(18, 2), "\2\2")
        << "Photos' databases are in log mode, also without a log.";
    EXPECT_EQ(DatabaseQuestions(sample, Log::leftOut).one("SELECT count(*) FROM ZASSET"), "60");
}

TEST(SampleDatabase, insertsFailForWhoLacksPhotosFunctions)
{
    const SampleFixture sample({.generation = 11});
    const DatabaseQuestions database(sample, Log::used);
    EXPECT_THAT(database.rows("INSERT INTO ZASSET (Z_PK) VALUES (100000)"),
        ElementsAre(HasSubstr("no such function")));
}

} // namespace

} // namespace vantorel::sample
