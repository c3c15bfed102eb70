#include "database/SalvagerDatabase.h"
#include "SalvagerFixture.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace vantorel {
namespace {

class SalvagerDatabaseTest : public testing::Test {
protected:
    SalvagerDatabaseTest()
        : database_(
              std::move(SalvagerDatabase::open(file_, SalvagerDatabase::Opening::fresh, cancel_).value()))
    {
        database_->run("CREATE TABLE t(a INTEGER PRIMARY KEY, b UNIQUE)").value();
        database_->run("INSERT INTO t VALUES (1, 'one')").value();
    }

    std::vector<std::string> definitions()
    {
        std::vector<std::string> names;
        database_->run("SELECT name FROM sqlite_master WHERE name NOT LIKE 'sqlite_%' ORDER BY name",
            [&names](const SalvagerDatabase::Row& row) {
                names.push_back(row.text(0));
                return true;
            });
        return names;
    }

    TemporaryFolder folder_;
    DiskPath file_ = folder_ / "recovered.sqlite";
    SharedCancelToken cancel_ = std::make_shared<CancelToken>();
    std::unique_ptr<SalvagerDatabase> database_;
};

TEST_F(SalvagerDatabaseTest, carriesOutWhatTheToolPrintsForRowsAndTables)
{
    for (const std::string& sql :
        std::vector<std::string>{"CREATE TABLE u(a INTEGER PRIMARY KEY, b VARCHAR, c BLOB, UNIQUE(b, c));",
            "CREATE TABLE w(a PRIMARY KEY) WITHOUT ROWID;", "CREATE INDEX i ON u(b) WHERE c IS NOT NULL;",
            "CREATE UNIQUE INDEX j ON u(c);", "CREATE TABLE lost_and_found(rootpgno INTEGER, c0, c1);",
            "INSERT OR IGNORE INTO 'u'(_rowid_, 'a', 'b', 'c') VALUES (7, 7, 'x', X'00FF');",
            "INSERT OR IGNORE INTO u(a, b) VALUES (8, replace(replace('a\\nb','\\n', char(10)),'\\r', "
            "char(13)));",
            "INSERT INTO w VALUES (CAST(X'41' AS TEXT));"}) {
        EXPECT_EQ(database_->runForeign(sql), true) << sql;
    }
    EXPECT_EQ(definitions(), (std::vector<std::string>{"i", "j", "lost_and_found", "t", "u", "w"}));
    EXPECT_EQ(database_->number("SELECT count(*) FROM u WHERE b = 'a' || char(10) || 'b'"), 1);
}

TEST_F(SalvagerDatabaseTest, letsEverythingElseFail)
{
    const auto other = (folder_ / "other.sqlite").native();
    const std::vector<std::string> refused{"ATTACH '" + other + "' AS other;", "PRAGMA writable_schema = on;",
        "PRAGMA journal_mode = WAL;", "PRAGMA temp_store_directory = '/';", "VACUUM INTO '" + other + "';",
        "SELECT 1;", "SELECT load_extension('x');", "UPDATE t SET b = 2;", "DELETE FROM t;", "DROP TABLE t;",
        "REPLACE INTO t SELECT * FROM t;", "ALTER TABLE t RENAME TO z;",
        "INSERT INTO t(b) SELECT name FROM sqlite_master;",
        "INSERT INTO t VALUES (5, (SELECT count(*) FROM t));",
        "INSERT INTO t VALUES (1, 2) ON CONFLICT DO UPDATE SET b = 3;",
        "INSERT INTO t VALUES (5, randomblob(1000000000));",
        "INSERT INTO t VALUES (5, readfile('/etc/passwd'));",
        std::string("INSERT INTO sqlite_schema VALUES('table','x','x',0,'CREATE VIRTUAL TABLE x USING y');"),
        "UPDATE sqlite_master SET sql = 'x';", "CREATE TABLE c AS SELECT * FROM t;",
        "CREATE TEMP TABLE c(a);", "CREATE VIRTUAL TABLE v USING rtree(a, b, c);",
        "CREATE VIEW v AS SELECT 1;", "CREATE TABLE c(a CHECK (randomblob(a) > 1));",
        "CREATE TRIGGER r AFTER INSERT ON t BEGIN DELETE FROM t; END;", "BEGIN;", "COMMIT;", "SAVEPOINT s;",
        "ANALYZE;", "nonsense;", ";"};
    for (const auto& sql : refused) {
        EXPECT_EQ(database_->runForeign(sql), false) << sql;
    }
    EXPECT_EQ(definitions(), std::vector<std::string>{"t"});
    EXPECT_EQ(database_->number("SELECT count(*) FROM t WHERE a = 1 AND b = 'one'"), 1);
    EXPECT_EQ(database_->number("SELECT count(*) FROM t"), 1);
    EXPECT_FALSE(folder_.has("other.sqlite"));
}

TEST_F(SalvagerDatabaseTest, firesNoTriggerThatIsInTheFile)
{
    database_->run("CREATE TRIGGER r AFTER INSERT ON t BEGIN DELETE FROM t; END").value();
    EXPECT_EQ(database_->runForeign("INSERT INTO t VALUES (2, 'two');"), true);
    EXPECT_EQ(database_->number("SELECT count(*) FROM t"), 2);
}

TEST_F(SalvagerDatabaseTest, isStoppedInTheMiddleOfAStatement)
{
    cancel_->cancel();
    EXPECT_EQ(database_->number("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n)"
                                " SELECT count(*) FROM n"),
        std::unexpected(SalvagerDatabase::Trouble::cancelled));
}

} // namespace
} // namespace vantorel
