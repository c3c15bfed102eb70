#include "hostile/HostileFixture.h"

#include "cli/RunProgram.h"

#include <fmt/format.h>

#include <fstream>
#include <iterator>

namespace vantorel {
namespace {

using Place = HostilePlace;

HostileCase changed(const char* name, const std::string& sql, int saved = Place::photos)
{
    return {name,
        [sql](const Place& place) {
            place.run(sql);
            return true;
        },
        saved};
}

/// What is as large as this may take memory for several copies of itself.
HostileCase large(const char* name, const std::string& sql)
{
    auto made = changed(name, sql);
    made.moreBytes = 1'000'000'000;
    return made;
}

HostileCase planned(HostileCase made)
{
    made.course = HostileCase::Course::planned;
    made.saved = 0;
    return made;
}

/// What SQLite's machine does in one step cannot be stopped, only left behind.
HostileCase endlessStep(const char* name, const std::string& sql, int saved)
{
    auto made = changed(name, sql, saved);
    made.stallLimit = "5";
    return made;
}

/// A table's rows behind another definition of it. SQLite itself would not let this be written.
std::string redefined(const std::string& table, const std::string& definition)
{
    return "PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = '" + definition + "' WHERE name = '"
        + table + "'; PRAGMA writable_schema = OFF;";
}

const std::string endless = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) ";
/// A tenth of it all where the sanitizer makes a minute of each second.
const std::string folderCount = isSanitized ? "10000" : "100000";
const std::string keywordCount = isSanitized ? "100000" : "1000000";
const std::string longText = isSanitized ? "printf('%.*c', 10000000, 'x')" : "printf('%.*c', 100000000, 'x')";
/// An expression, within a definition in quotation marks, that a matcher tries to fit in vain for years.
const std::string ages = "printf(''%.*c'', 10000, ''a'') LIKE ''%a%a%a%a%a%a%a%a%a%a%b''";
/// Photos in no album are saved, too, so that broken albums cost no photo.
const std::vector<HostileCase> cases{
    changed("locationsLeadOut",
        "UPDATE ZASSET SET ZDIRECTORY = '../../outside', ZFILENAME = 'secret.jpeg' WHERE Z_PK = 1;"
        "UPDATE ZASSET SET ZDIRECTORY = '/etc', ZFILENAME = 'passwd' WHERE Z_PK = 2;"
        "UPDATE ZASSET SET ZDIRECTORY = 'A/..', ZFILENAME = '../../outside/secret.jpeg' WHERE Z_PK = 3;"
        "UPDATE ZASSET SET ZFILENAME = 'a' || char(0) || '.jpeg' WHERE Z_PK = 4",
        2),
    changed("titlesAreWaysOut",
        "UPDATE ZGENERICALBUM SET ZTITLE = '../../../outside' WHERE ZTITLE = 'Trip';"
        "UPDATE ZGENERICALBUM SET ZTITLE = '..' WHERE ZTITLE = 'Folder';"
        "UPDATE ZADDITIONALASSETATTRIBUTES SET ZORIGINALFILENAME = '../../outside/secret.jpeg';"),
    changed("textsAreMadeForATerminal",
        "UPDATE ZGENERICALBUM SET ZTITLE = char(27) || ']0;pwned' || char(7, 10, 8238) || 'x';"
        "UPDATE ZADDITIONALASSETATTRIBUTES SET ZORIGINALFILENAME = char(27) || '[2J' || char(10) || '.JPG',"
        " ZTITLE = char(0, 1, 27, 65534);"
        "UPDATE ZASSET SET ZUUID = char(27) || '[31m' || Z_PK"),
    changed("textsAreNoText",
        "UPDATE ZGENERICALBUM SET ZTITLE = CAST(X'FFFE80C080EDA080' AS TEXT);"
        "UPDATE ZADDITIONALASSETATTRIBUTES SET ZORIGINALFILENAME = X'FF00FE', ZTITLE = CAST(X'C0AF' AS TEXT);"
        "UPDATE ZKEYWORD SET ZTITLE = zeroblob(100)"),
    changed("foldersAreInThemselves",
        "UPDATE ZGENERICALBUM SET ZPARENTFOLDER = Z_PK;" + endless
            + "INSERT INTO ZGENERICALBUM(Z_PK, Z_ENT, ZKIND, ZTITLE, ZPARENTFOLDER) SELECT 1000 + i, (SELECT "
              "Z_ENT FROM Z_PRIMARYKEY WHERE Z_NAME = 'Folder'), 4000, 'F' || i, 1000 + (i + 1) "
              "% 500 FROM n LIMIT 500"),
    changed("peopleAreMergedInACircle",
        "UPDATE ZPERSON SET ZMERGETARGETPERSON = Z_PK; INSERT INTO ZPERSON(Z_PK, ZFULLNAME, "
        "ZMERGETARGETPERSON) "
        "VALUES (901, 'a', 902), (902, 'b', 903), (903, 'c', 901)"),
    changed("entitiesDescendFromThemselves", "UPDATE Z_PRIMARYKEY SET Z_SUPER = Z_ENT", 0),
    changed("numbersAreTheLargest",
        "UPDATE ZADDITIONALASSETATTRIBUTES SET ZORIGINALFILESIZE = 9223372036854775807, ZTIMEZONEOFFSET = "
        "-9223372036854775807;"
        "UPDATE ZASSET SET ZDATECREATED = 9e307, ZLATITUDE = 9e999, ZLONGITUDE = -9e999, ZKIND = "
        "9223372036854775807 WHERE Z_PK < 4; UPDATE Z_PRIMARYKEY SET Z_MAX = 9223372036854775807"),
    changed("aTriggerWaits",
        "CREATE TRIGGER t AFTER INSERT ON ZASSET BEGIN DELETE FROM ZASSET; END;"
        "CREATE TRIGGER u AFTER UPDATE ON ZGENERICALBUM BEGIN DELETE FROM ZASSET; END"),
    changed("theAlbumsAreAViewWithoutEnd",
        "ALTER TABLE ZGENERICALBUM RENAME TO kept; CREATE VIEW ZGENERICALBUM(Z_PK, ZKIND, ZTITLE) AS "
            + endless + "SELECT i, 2, 'a' FROM n",
        0),
    changed("thePhotosAreAViewWithoutEnd",
        "ALTER TABLE ZASSET RENAME TO kept; CREATE VIEW ZASSET(Z_PK, ZUUID, ZDIRECTORY, ZFILENAME) AS "
            + endless + "SELECT i, i, 'A', i || '.jpeg' FROM n",
        0),
    changed("keywordsAreVirtual",
        "DROP TABLE ZKEYWORD; CREATE VIRTUAL TABLE ZKEYWORD USING fts5(Z_PK, ZTITLE); INSERT INTO ZKEYWORD "
        "VALUES (1, "
        "'sea')"),
    changed("aColumnIsComputedWithoutEnd",
        "DROP TABLE ZKEYWORD; CREATE TABLE ZKEYWORD(Z_PK INTEGER PRIMARY KEY, ZTITLE AS "
        "(zeroblob(900000000))); INSERT "
        "INTO ZKEYWORD(Z_PK) VALUES (1), (2), (3)"),
    changed("aColumnIsTheAnswerOfAProgram",
        redefined("ZKEYWORD",
            "CREATE TABLE ZKEYWORD(Z_PK INTEGER PRIMARY KEY, ZTITLE DEFAULT (load_extension(''/tmp/x'')) "
            "CHECK "
            "(writefile(''/tmp/vantorel-pwned'', ''x'')))"),
        0),
    changed("aDefinitionIsNestedWithoutEnd",
        "PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = 'CREATE TABLE ZKEYWORD(Z_PK, ZTITLE "
        "DEFAULT ' || "
        "replace(hex(zeroblob(100000)), '00', '(') || '1)' WHERE name = 'ZKEYWORD'; PRAGMA writable_schema = "
        "OFF",
        0),
    changed("aTableIsAlsoAnother",
        "PRAGMA writable_schema = ON; UPDATE sqlite_master SET rootpage = (SELECT rootpage FROM "
        "sqlite_master WHERE "
        "name = 'ZASSET') WHERE type = 'table' AND name <> 'Z_PRIMARYKEY'; PRAGMA writable_schema = OFF",
        0),
    large("aTitleIsAHundredMegabytesLong",
        "UPDATE ZADDITIONALASSETATTRIBUTES SET ZTITLE = " + longText + " WHERE Z_PK = 1"),
    large("anAlbumsTitleIsAHundredMegabytesLong",
        "UPDATE ZGENERICALBUM SET ZTITLE = " + longText + " WHERE ZTITLE = 'Trip'"),
    planned(large("foldersAreAHundredThousandDeep",
        endless
            + "INSERT INTO ZGENERICALBUM(Z_PK, Z_ENT, ZKIND, ZTITLE, ZPARENTFOLDER) SELECT 1000 + i, (SELECT "
              "Z_ENT FROM Z_PRIMARYKEY WHERE Z_NAME = 'Folder'), 4000, 'F' || i, 999 + i FROM n LIMIT "
            + folderCount
            + "; UPDATE ZGENERICALBUM SET ZPARENTFOLDER = (SELECT max(Z_PK) FROM ZGENERICALBUM) WHERE ZTITLE "
              "= "
              "'Trip'")),
    planned(large("aHundredThousandFoldersAreInACircle",
        endless
            + "INSERT INTO ZGENERICALBUM(Z_PK, Z_ENT, ZKIND, ZTITLE, ZPARENTFOLDER) SELECT 1000 + i, (SELECT "
              "Z_ENT FROM Z_PRIMARYKEY WHERE Z_NAME = 'Folder'), 4000, 'F', 1001 + i % "
            + folderCount + " FROM n LIMIT " + folderCount
            + "; UPDATE ZGENERICALBUM SET ZPARENTFOLDER = 1500 WHERE ZTITLE = 'Trip'")),
    large("aPhotoHasAMillionKeywords",
        endless + "INSERT INTO ZKEYWORD(Z_PK, ZTITLE) SELECT 1000 + i, 'keyword ' || i FROM n LIMIT "
            + keywordCount
            + "; INSERT INTO Z_1KEYWORDS(Z_1ASSETATTRIBUTES, Z_52KEYWORDS) SELECT 1, Z_PK FROM ZKEYWORD "
              "WHERE "
              "Z_PK > 1000"),
    large("aLongNameIsOnTenThousandFaces",
        "INSERT INTO ZPERSON(Z_PK, ZFULLNAME) VALUES (901, printf('%.*c', 1000000, 'n'));" + endless
            + "INSERT INTO ZDETECTEDFACE(Z_PK, ZASSETFORFACE, ZPERSONFORFACE) SELECT 1000 + i, 1, 901 FROM n "
              "LIMIT 10000"),
    endlessStep("aConditionIsCheckedWithoutEnd",
        redefined("ZKEYWORD",
            "CREATE TABLE ZKEYWORD(Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER, ZSHORTCUT "
            "VARCHAR, "
            "ZTITLE VARCHAR, ZUUID VARCHAR, CHECK ("
                + ages + "))"),
        Place::photos),
    endlessStep("aComputedColumnIsRequiredWithoutEnd",
        redefined("ZKEYWORD",
            "CREATE TABLE ZKEYWORD(Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER, ZSHORTCUT "
            "VARCHAR, "
            "ZTITLE VARCHAR, ZUUID VARCHAR, ZMORE AS ("
                + ages + ") NOT NULL)"),
        0),
    endlessStep("anIndexIsComputedWithoutEnd",
        "PRAGMA writable_schema = ON; INSERT INTO sqlite_master SELECT 'index', 'i', 'ZKEYWORD', rootpage, "
        "'CREATE INDEX i ON ZKEYWORD("
            + ages + ")' FROM sqlite_master WHERE type = 'index' LIMIT 1; PRAGMA writable_schema = OFF",
        0),
};

class HostileDatabases : public HostileLibraries { };

TEST_P(HostileDatabases, runNothingAndEndWithAResultOrASentence)
{
    const HostilePlace place;
    ASSERT_TRUE(GetParam().harm(place));
    expectToEndWell(place);
}

INSTANTIATE_TEST_SUITE_P(All, HostileDatabases, testing::ValuesIn(cases),
    [](const auto& row) { return std::string(row.param.name); });

/// A spreadsheet may take them for formulas. The report names files and texts as they are: a cell that was
/// changed would name a file that is not there.
TEST(FormulasInAReport, areLeftAsTheyAre)
{
    const HostilePlace place;
    place.run("UPDATE ZADDITIONALASSETATTRIBUTES SET ZORIGINALFILENAME = '=HYPERLINK(1).JPG', ZTITLE = '@x';"
              "UPDATE ZGENERICALBUM SET ZTITLE = '+SUM(1)' WHERE ZTITLE = 'Trip'");
    place.folder.makeFolder("out");
    ASSERT_EQ(runVantorel({"export", place.library, place.folder / "out"}).status, 0);
    const auto saved = place.folder / "out/Trip export";
    EXPECT_TRUE(std::filesystem::exists(saved / "Albums/+SUM(1)/=HYPERLINK(1).JPG"));
    std::ifstream stream(saved / "Vantorel report.csv", std::ios::binary);
    const std::string report{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_NE(report.find("original,Albums/+SUM(1)/=HYPERLINK(1).JPG,Albums/+SUM(1),=HYPERLINK(1).JPG,"),
        std::string::npos)
        << report;
    EXPECT_EQ(runVantorel({"verify", saved}).status, 0);
}

} // namespace
} // namespace vantorel
