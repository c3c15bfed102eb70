#include "SalvagerFixture.h"
#include "database/OrphanRows.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>

namespace vantorel {
namespace {

using Rows = std::multiset<std::string>;

/// A rebuilt database as the tool leaves one: definitions, some rows, and the table of orphans.
class SalvagerOrphans : public testing::Test {
protected:
    SalvagerOrphans()
    {
        run("CREATE TABLE Z_PRIMARYKEY(Z_ENT INTEGER PRIMARY KEY, Z_NAME VARCHAR, Z_SUPER INTEGER, Z_MAX "
            "INTEGER)");
        run("INSERT INTO Z_PRIMARYKEY VALUES (3,'Asset',0,9), (1,'AdditionalAssetAttributes',0,9),"
            " (30,'GenericAlbum',0,9), (31,'Album',30,0), (32,'ProjectAlbum',31,0), (40,'Keyword',0,9),"
            " (16001,'CHANGE',0,9), (77,'One',78,0), (78,'Other',77,0)");
        run("CREATE TABLE ZASSET(Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER, ZUUID VARCHAR,"
            " ZDATECREATED TIMESTAMP, ZLATITUDE FLOAT, ZPLACE BLOB)");
        run("CREATE TABLE ZADDITIONALASSETATTRIBUTES(Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER,"
            " ZASSET INTEGER)");
        run("CREATE TABLE ZGENERICALBUM(Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER, ZTITLE "
            "VARCHAR)");
        run("CREATE TABLE ZKEYWORD(Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER, ZTITLE VARCHAR)");
        run("CREATE TABLE ACHANGE(Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER, ZWHAT INTEGER)");
        run("CREATE TABLE Z_31ASSETS(Z_31ALBUMS INTEGER, Z_3ASSETS INTEGER, Z_FOK_3ASSETS INTEGER,"
            " PRIMARY KEY(Z_31ALBUMS, Z_3ASSETS))");
        run("CREATE TABLE Z_1KEYWORDS(Z_1ASSETATTRIBUTES INTEGER, Z_40KEYWORDS INTEGER,"
            " PRIMARY KEY(Z_1ASSETATTRIBUTES, Z_40KEYWORDS))");
        run("CREATE TABLE Z_3MEMORIES(Z_3CURATEDASSETS INTEGER, Z_50MEMORIES INTEGER)");
        run("CREATE TABLE lost_and_found(rootpgno INTEGER, pgno INTEGER, nfield INTEGER, id INTEGER, c0, c1, "
            "c2, c3,"
            " c4, c5, c6)");
    }

    void run(const std::string& sql) { ASSERT_TRUE(database_->run(sql)) << sql; }
    /// Values: rootpgno, nfield, id, c0, ...
    void orphan(const std::string& group, const std::string& id, const std::string& fields)
    {
        std::string padded = fields;
        for (auto count = std::count(fields.begin(), fields.end(), ',') + 1; count < 7; ++count) {
            padded += ",NULL";
        }
        run("INSERT INTO lost_and_found VALUES(" + group + ", 9, "
            + std::to_string(std::count(fields.begin(), fields.end(), ',') + 1) + ", " + id + ", " + padded
            + ")");
    }
    OrphanRows rehome() { return rehomeOrphans(*database_).value_or(OrphanRows{-1, -1}); }
    Rows rows(const std::string& table)
    {
        database_.reset(); // it holds the file for itself
        auto found = rowsOf(file_, table);
        database_ = SalvagerDatabase::open(file_, SalvagerDatabase::Opening::existing, {}).value();
        return found.value_or(Rows{"unreadable"});
    }

    TemporaryFolder folder_;
    DiskPath file_ = folder_ / "recovered.sqlite";
    std::unique_ptr<SalvagerDatabase> database_ =
        SalvagerDatabase::open(file_, SalvagerDatabase::Opening::fresh, {}).value();
};

TEST_F(SalvagerOrphans, goToTheTableOfTheirEntity)
{
    run("INSERT INTO ZASSET(Z_PK, Z_ENT, ZUUID) VALUES (7, 3, 'kept')");
    orphan("5", "4", "NULL, 3, 1, 'A', 7.5, NULL, X'01'");
    orphan("5", "7", "NULL, 3, 1, 'overwrites', 1, 2, NULL"); // its key is taken
    orphan("6", "8", "NULL, 3, NULL, 'B', 12");               // written before two columns were added
    orphan("8", "2", "NULL, 31, 1, 'album'");                 // by its topmost entity
    orphan("8", "3", "NULL, 32, 1, 'project'");
    orphan("9", "2", "NULL, 40, 1, 'keyword'"); // as many fields as an album
    orphan("10", "6", "NULL, 16001, 1, 4");     // a table whose name begins with another letter
    EXPECT_EQ(rehome(), (OrphanRows{.rehomed = 6, .unassigned = 0}));
    EXPECT_EQ(rows("ZASSET"),
        (Rows{"7,3,NULL,'kept',NULL,NULL,NULL", "4,3,1,'A',7.5,NULL,X'01'", "8,3,NULL,'B',12,NULL,NULL"}));
    EXPECT_EQ(rows("ZGENERICALBUM"), (Rows{"2,31,1,'album'", "3,32,1,'project'"}));
    EXPECT_EQ(rows("ZKEYWORD"), (Rows{"2,40,1,'keyword'"}));
    EXPECT_EQ(rows("ACHANGE"), (Rows{"6,16001,1,4"}));
}

TEST_F(SalvagerOrphans, stayUnassignedWhereTheyFitNowhere)
{
    orphan("5", "4", "NULL, 3, 1, 12, 7, 7, NULL");     // a number where text belongs
    orphan("6", "4", "NULL, 3, 1, 'A', 'monday', 7");   // text where a date belongs
    orphan("7", "4", "NULL, 99, 1, 'A'");               // no such entity
    orphan("8", "4", "NULL, 77, 1, 'A'");               // entities in a circle
    orphan("9", "4", "NULL, 40, 1, 'A', 1");            // more fields than its table
    orphan("10", "4", "NULL, 3");                       // too few to be told
    orphan("11", "4", "'text', 3, 1");                  // no key
    orphan("12", "-4", "NULL, 3, 1, 'A'");              // no row id of Core Data's
    orphan("13", "4", "NULL, 'x', 1, 'A', 1, 2, NULL"); // no entity
    orphan("14", "NULL", "NULL, 3, 1, 'A'");            // of an index: not counted
    EXPECT_EQ(rehome(), (OrphanRows{.rehomed = 0, .unassigned = 9}));
    EXPECT_EQ(rows("ZASSET"), Rows{});
    EXPECT_EQ(rows("ZKEYWORD"), Rows{});
}

TEST_F(SalvagerOrphans, areToldByMostOfTheirPage)
{
    for (int i = 1; i <= 5; ++i) {
        orphan("5", std::to_string(i), "NULL, 31, 1, 'a'");
    }
    orphan("5", "6", "NULL, 40, 1, 'damage'"); // the entity of another table
    orphan("5", "7", "NULL, 31, 1, 12");       // a value of another kind
    orphan("6", "8", "NULL, 31, 1, 'a'");      // one of each: it could be either
    orphan("6", "9", "NULL, 40, 1, 'a'");
    EXPECT_EQ(rehome(), (OrphanRows{.rehomed = 5, .unassigned = 4}));
    EXPECT_EQ(rows("ZGENERICALBUM").size(), 5);
    EXPECT_EQ(rows("ZKEYWORD"), Rows{});
}

TEST_F(SalvagerOrphans, areToldByTheRowsThatAreLeftWithoutTheTableOfEntities)
{
    run("DELETE FROM Z_PRIMARYKEY");
    run("INSERT INTO ZKEYWORD VALUES (1, 40, 1, 'there')");
    orphan("5", "2", "NULL, 40, 1, 'back'");
    orphan("6", "2", "NULL, 30, 1, 'album'"); // nothing is left that knows 30
    EXPECT_EQ(rehome(), (OrphanRows{.rehomed = 1, .unassigned = 1}));
    EXPECT_EQ(rows("ZKEYWORD"), (Rows{"1,40,1,'there'", "2,40,1,'back'"}));
}

TEST_F(SalvagerOrphans, areToldByManyColumnsWhereNothingElseIsLeft)
{
    std::string columns = "Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER";
    std::string nulls;
    for (int i = 3; i < 21; ++i) {
        columns += ", ZC" + std::to_string(i) + " INTEGER";
        nulls += ",NULL";
    }
    for (int i = 7; i < 21; ++i) {
        run("ALTER TABLE lost_and_found ADD COLUMN c" + std::to_string(i));
    }
    run("DROP TABLE ZASSET");
    run("CREATE TABLE ZASSET(" + columns + ")");
    run("DELETE FROM Z_PRIMARYKEY");
    run("INSERT INTO lost_and_found(rootpgno, nfield, id, c1, c2) VALUES (5, 21, 4, 3, 1), (6, 20, 5, 3, 1)");
    EXPECT_EQ(rehome(), (OrphanRows{.rehomed = 1, .unassigned = 1}));
    EXPECT_EQ(rows("ZASSET"), Rows{"4,3,1" + nulls});
}

class SalvagerOrphanLinks : public SalvagerOrphans {
protected:
    SalvagerOrphanLinks()
    {
        for (int i = 1; i <= 20; ++i) {
            run("INSERT INTO ZASSET(Z_PK, Z_ENT) VALUES (" + std::to_string(i + 100) + ", 3)");
            run("INSERT INTO ZADDITIONALASSETATTRIBUTES(Z_PK, Z_ENT) VALUES (" + std::to_string(i + 200)
                + ", 1)");
        }
        run("INSERT INTO ZGENERICALBUM(Z_PK, Z_ENT) VALUES (1, 31), (2, 31)");
        run("INSERT INTO ZKEYWORD(Z_PK, Z_ENT) VALUES (1, 40), (2, 40)");
    }
    /// `count` links of owner 1, of which the last `dangling` name nobody.
    void links(const std::string& group, int count, int dangling, int firstMember, const std::string& third)
    {
        for (int i = 0; i < count; ++i) {
            const int member = i < count - dangling ? firstMember + i : 900 + i;
            const auto key = std::to_string(member);
            orphan(group, std::to_string(i + 1), third.empty() ? key + ", 1" : "1, " + key + ", " + third);
        }
    }
};

TEST_F(SalvagerOrphanLinks, fillATableThatCameOutEmpty)
{
    links("5", 10, 1, 101, "1024"); // one names a photo that is lost
    links("6", 10, 0, 201, "");
    orphan("6", "NULL", "201, 1, 7"); // of the index
    EXPECT_EQ(rehome(), (OrphanRows{.rehomed = 20, .unassigned = 0}));
    EXPECT_EQ(rows("Z_31ASSETS").size(), 10);
    EXPECT_TRUE(rows("Z_31ASSETS").contains("1,101,1024"));
    EXPECT_TRUE(rows("Z_1KEYWORDS").contains("210,1"));
    EXPECT_EQ(rows("Z_3MEMORIES"), Rows{});
}

TEST_F(SalvagerOrphanLinks, areLeftWhereTheirKeysNameOtherThings)
{
    links("5", 10, 2, 101, "1024");
    links("6", 10, 0, 101, ""); // memories of photos, not keywords
    EXPECT_EQ(rehome(), (OrphanRows{.rehomed = 0, .unassigned = 20}));
}

TEST_F(SalvagerOrphanLinks, areNeverMixedIntoATableThatHasRows)
{
    run("INSERT INTO Z_31ASSETS VALUES (2, 101, 1024)");
    links("5", 10, 0, 101, "1024");
    EXPECT_EQ(rehome(), (OrphanRows{.rehomed = 0, .unassigned = 10}));
    EXPECT_EQ(rows("Z_31ASSETS"), Rows{"2,101,1024"});
}

TEST_F(SalvagerOrphanLinks, areToldByRowsThatWereThemselvesPutBack)
{
    run("DELETE FROM ZGENERICALBUM");
    orphan("9", "1", "NULL, 31, 1, 'a'");
    links("5", 10, 0, 101, "1024");
    EXPECT_EQ(rehome(), (OrphanRows{.rehomed = 11, .unassigned = 0}));
}

TEST_F(SalvagerOrphans, arePutBackPastTriggersWithHostileNames)
{
    run("CREATE TRIGGER \"a\"\"; DROP TABLE ZASSET; --\" AFTER INSERT ON ZASSET BEGIN SELECT "
        "onlyPhotosHasThis(); END");
    run("CREATE TABLE \"Z_1\"\"X\"(\"Z_1ALBUMS\" INTEGER, \"a\"\"b\" INTEGER)");
    orphan("5", "4", "NULL, 3, 1, 'A', 7.5, NULL, NULL");
    EXPECT_EQ(rehome(), (OrphanRows{.rehomed = 1, .unassigned = 0}));
    EXPECT_EQ(rows("ZASSET").size(), 1);
}

TEST_F(SalvagerOrphans, areNoneWithoutTheirTableOrInOneThatIsAnother)
{
    run("DROP TABLE lost_and_found");
    EXPECT_EQ(rehome(), OrphanRows{});
    run("CREATE TABLE lost_and_found(name)");
    run("INSERT INTO lost_and_found VALUES ('umbrella')");
    EXPECT_EQ(rehome(), OrphanRows{});
}

} // namespace
} // namespace vantorel
