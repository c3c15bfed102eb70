#include "database/SQLiteReader.h"

#include "database/DatabaseBuilder.h"
#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <thread>
#include <tuple>

namespace vantorel {
namespace {

using Kind = SQLiteReaderError::Kind;
using Journal = DatabaseBuilder::Journal;

/// Runs long enough that the progress handler looks in many times.
const std::string longQuery = "WITH RECURSIVE c(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM c) "
                              "SELECT count(*) AS n FROM c WHERE n < 0";

class SQLiteReaderTest : public testing::Test {
protected:
    std::unique_ptr<SQLiteReader> open(const DiskPath& file, std::function<bool()> stopCheck = {})
    {
        return std::make_unique<SQLiteReader>(realSystemCalls(), clock, file, std::move(stopCheck));
    }
    std::unique_ptr<SQLiteReader> openWith(const std::string& sql)
    {
        DatabaseBuilder(folder / "test.sqlite").run(sql);
        return open(folder / "test.sqlite");
    }

    /// The failure of an action: its kind, whole text and SQLite's code.
    using Failure = std::tuple<Kind, std::string, int>;
    static std::optional<Failure> failureOf(const std::function<void()>& action)
    {
        try {
            action();
        } catch (const SQLiteReaderError& error) {
            return Failure(error.kind(), error.description(), error.code());
        }
        return std::nullopt;
    }

    TemporaryFolder folder;
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    const Failure closed{Kind::openFailed, "Could not open database: closed", 0};
};

TEST_F(SQLiteReaderTest, readsALogModeDatabaseWithAndWithoutItsLogAndChangesNoByte)
{
    // A name in which every character has a meaning in a URL, and one is no UTF-8.
    const std::string name = "Ph otos%41?mode=rw#\xff.sqlite";
    {
        DatabaseBuilder first(folder / name, Journal::log);
        first.run("CREATE TABLE t(a); INSERT INTO t VALUES (1), (2); PRAGMA wal_checkpoint(TRUNCATE)");
        first.run("INSERT INTO t VALUES (3)");
    }
    struct Row {
        const char* what;
        std::function<void()> prepare;
        std::int64_t rows;
    };
    const std::vector<Row> rows{
        {"the log as it was left", [] {}, 3},
        {"an empty log", [&] { folder.write(name + "-wal", ""); }, 2},
        {"no log", [&] { std::filesystem::remove(folder / (name + "-wal")); }, 2},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        std::filesystem::remove(folder / (name + "-shm"));
        row.prepare();
        auto before = folder.tree();
        {
            const auto reader = open(folder / name);
            EXPECT_EQ(reader->count("SELECT count(*) AS N FROM t"), row.rows);
            EXPECT_FALSE(reader->fileChangedUnderneath());
            EXPECT_EQ(std::get<Kind>(*failureOf([&] { reader->count("INSERT INTO t VALUES (9)"); })),
                Kind::stepFailed);
        }
        auto after = folder.tree();
        after.erase(name + "-shm"); // the log's index, made anew at every opening
        EXPECT_EQ(after, before);
    }
}

TEST_F(SQLiteReaderTest, opensARelativePathThatLooksLikeSomethingElse)
{
    const auto here = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    DatabaseBuilder(folder / "file:a.sqlite", Journal::log).run("CREATE TABLE t(a)");
    DatabaseBuilder(folder / "file:b.sqlite").run("CREATE TABLE t(a)");
    EXPECT_NO_THROW(open("file:a.sqlite"));
    std::filesystem::remove(folder / "file:a.sqlite-wal");
    EXPECT_NO_THROW(open("file:a.sqlite"));
    EXPECT_NO_THROW(open("file:b.sqlite"));
    EXPECT_EQ(std::get<Kind>(*failureOf([&] { open(":memory:"); })), Kind::fileNotFound);
    std::filesystem::current_path(here);
}

TEST_F(SQLiteReaderTest, refusesWhatIsNoDatabaseFile)
{
    DatabaseBuilder(folder / "real.sqlite").run("CREATE TABLE t(a)");
    const std::string real = folder.read("real.sqlite");
    const auto path = [this](const char* name) { return (folder / name).native(); };
    folder.makeLink("link.sqlite", folder / "real.sqlite");
    folder.makeFolder("folder.sqlite");
    folder.write("text.sqlite", "Dear reader, this is a letter and no database. " + std::string(600, '.'));
    folder.write("half.sqlite", real.substr(0, 100));
    folder.write("header.sqlite", "SQLite format 3" + std::string(1, '\0') + std::string(600, '\x01'));
    const std::vector<std::tuple<std::string, Failure>> rows{
        {path("none.sqlite"), {Kind::fileNotFound, "Database not found: " + path("none.sqlite"), 0}},
        {path("real.sqlite/x"), {Kind::fileNotFound, "Database not found: " + path("real.sqlite/x"), 0}},
        {path("link.sqlite"),
            {Kind::openFailed, "Could not open database: " + path("link.sqlite") + " is not a regular file",
                0}},
        {path("folder.sqlite"),
            {Kind::openFailed, "Could not open database: " + path("folder.sqlite") + " is not a regular file",
                0}},
        {path("text.sqlite"),
            {Kind::openFailed, "Could not open database: file is not a database", SQLITE_NOTADB}},
        {path("header.sqlite"),
            {Kind::openFailed, "Could not open database: file is not a database", SQLITE_NOTADB}},
    };
    for (const auto& [file, failure] : rows) {
        EXPECT_EQ(failureOf([&] { open(file); }), failure) << file;
    }
    EXPECT_EQ(std::get<Kind>(failureOf([&] { open(folder / "half.sqlite"); }).value()), Kind::openFailed);
    EXPECT_EQ(
        std::get<Kind>(failureOf([&] { open(path("real.sqlite") + std::string(1, '\0') + "x"); }).value()),
        Kind::fileNotFound);
    folder.write("empty.sqlite", "");
    EXPECT_EQ(open(folder / "empty.sqlite")->count("SELECT count(*) AS n FROM sqlite_master"), 0);
}

TEST_F(SQLiteReaderTest, convertsValuesAsTheyAreAskedFor)
{
    const auto reader = openWith("CREATE TABLE t(k, v); INSERT INTO t VALUES"
                                 "('integer', -7), ('real', 2.5), ('text', 'Gr\xc3\xbc\xc3\x9f'),"
                                 "('repaired', CAST(x'41ff42' AS TEXT)), ('number', '12 apples'),"
                                 "('blob', CAST('blob' AS BLOB)), ('bad blob', x'ff'), ('empty blob', x''),"
                                 "('empty text', ''), ('zero', 0), ('null', NULL)");
    using Int = std::optional<std::int64_t>;
    using Real = std::optional<double>;
    using Text = std::optional<std::string>;
    struct Values {
        int type;
        bool isNull;
        Int integer;
        Real real;
        bool boolean;
        Text string;
        Text data;
        bool operator==(const Values&) const = default;
    };
    const std::map<std::string, Values> expected{
        {"integer", {1, false, -7, -7.0, true, "-7", "-7"}},
        {"real", {2, false, 2, 2.5, true, "2.5", "2.5"}},
        {"text", {3, false, 0, 0.0, false, "Gr\xc3\xbc\xc3\x9f", "Gr\xc3\xbc\xc3\x9f"}},
        {"repaired",
            {3, false, 0, 0.0, false,
                "A\xef\xbf\xbd"
                "B",
                "A\xff"
                "B"}},
        {"number", {3, false, 12, 12.0, true, "12 apples", "12 apples"}},
        {"blob", {4, false, 0, 0.0, false, "blob", "blob"}},
        {"bad blob", {4, false, 0, 0.0, false, std::nullopt, "\xff"}},
        {"empty blob", {4, false, 0, 0.0, false, "", ""}},
        {"empty text", {3, false, 0, 0.0, false, "", ""}},
        {"zero", {1, false, 0, 0.0, false, "0", "0"}},
        {"null", {5, true, Int(), Real(), false, Text(), Text()}},
    };
    std::map<std::string, Values> byName;
    std::map<std::string, Values> byPosition;
    reader->forEachRow("SELECT k, v AS Wert FROM t", {}, [&](const SQLiteRow& row) {
        // In this order, so that no conversion falsifies a later one.
        byName[*row.string("K")] = {row.type("WERT"), row.isNull("wert"), row.int64("wert"), row.real("wert"),
            row.boolean("wert"), row.string("Wert"), row.data("wert")};
        const int at = row.position("wert");
        byPosition[*row.stringAt(0)] = {row.typeAt(at), row.typeAt(at) == SQLITE_NULL, row.int64At(at),
            row.realAt(at), row.int64At(at).value_or(0) != 0, row.stringAt(at), row.dataAt(at)};
        const Values missing{5, true, Int(), Real(), false, Text(), Text()};
        EXPECT_EQ((Values{row.type("x"), row.isNull("x"), row.int64("x"), row.real("x"), row.boolean("x"),
                      row.string("x"), row.data("x")}),
            missing);
        EXPECT_EQ(row.stringAt(row.position("x")), Text());
    });
    EXPECT_TRUE(byName == expected);
    EXPECT_TRUE(byPosition == expected);
}

TEST_F(SQLiteReaderTest, bindsValuesByTypeAndTakesTheFirstOfEqualNames)
{
    const auto reader = openWith("CREATE TABLE t(a)");
    const auto types = reader->rows("SELECT typeof(?1) || typeof(?2) || typeof(?3) || typeof(?4) AS types, "
                                    "?3 AS Z_PK, 2 AS z_pk",
        {std::int64_t{5}, 0.5, "text", std::monostate{}},
        [](const SQLiteRow& row) { return *row.string("types") + " " + *row.string("Z_PK"); });
    EXPECT_EQ(types, std::vector<std::string>{"integerrealtextnull text"});
    EXPECT_EQ(reader->count("SELECT 7 AS n UNION ALL SELECT 8"), 7);
    EXPECT_EQ(reader->count("SELECT NULL AS N"), 0);
    EXPECT_EQ(reader->count("SELECT a AS n FROM t"), 0);
    EXPECT_EQ(failureOf([&] { reader->count("SELECT other"); }),
        Failure(Kind::prepareFailed, "SQL error no such column: other in: SELECT other", SQLITE_ERROR));
    EXPECT_EQ(std::get<Kind>(failureOf([&] { reader->count("", {}); }).value()), Kind::prepareFailed);
    EXPECT_EQ(
        std::get<Kind>(failureOf([&] { reader->count("SELECT 1", {0.5}); }).value()), Kind::prepareFailed);
}

TEST_F(SQLiteReaderTest, selectsNullForAColumnThatIsNotThere)
{
    const auto reader = openWith("CREATE TABLE \"odd \"\"name\"(Z_PK INTEGER PRIMARY KEY, Zkind)");
    const std::string table = "odd \"name";
    EXPECT_EQ(reader->columns("ODD \"NAME"), (std::set<std::string>{"z_pk", "zkind"}));
    EXPECT_EQ(reader->columns("none"), std::set<std::string>{});
    EXPECT_EQ(reader->selectColumn("ZKIND", "a", table), "a.ZKIND AS ZKIND");
    EXPECT_EQ(reader->selectColumn("ZKIND", "a", table, "K"), "a.ZKIND AS K");
    EXPECT_EQ(reader->selectColumn("ZNEW", "a", table, "K"), "NULL AS K");
    EXPECT_EQ(reader->selectColumn("ZNEW", "a", table), "NULL AS ZNEW");
}

TEST_F(SQLiteReaderTest, stopsAQueryThatTakesTooLong)
{
    const auto reader = openWith("CREATE TABLE t(a); INSERT INTO t VALUES (1), (2), (3)");
    reader->setStopCheck([this] {
        clock->advance(std::chrono::seconds(50));
        return false;
    });
    const auto tooLong = [](const std::string& seconds) {
        return Failure(Kind::stepFailed,
            "SQL step failed: the query took longer than " + seconds + " seconds and was stopped",
            SQLITE_INTERRUPT);
    };
    EXPECT_EQ(failureOf([&] { reader->count(longQuery); }), tooLong("120"));
    reader->setTimeout(Seconds(7.9));
    EXPECT_EQ(failureOf([&] { reader->count(longQuery); }), tooLong("7"));
    reader->setTimeout(Seconds(std::numeric_limits<double>::quiet_NaN()));
    EXPECT_EQ(failureOf([&] { reader->count(longQuery); }), tooLong("0"));
    reader->setTimeout(Seconds(1e300));
    EXPECT_EQ(reader->count("SELECT count(*) AS n FROM t"), 3);

    // A query inside a handler has its own time, and its end is not the outer one's.
    reader->setTimeout(Seconds(120));
    int rows = 0;
    reader->forEachRow("SELECT a FROM t", {}, [&](const SQLiteRow&) {
        ++rows;
        EXPECT_EQ(failureOf([&] { reader->count(longQuery); }), tooLong("120"));
    });
    EXPECT_EQ(rows, 3);
}

TEST_F(SQLiteReaderTest, stopsWhenAskedTo)
{
    bool stop = false;
    std::string schema;
    for (int i = 0; i < 3'000; ++i) {
        schema += "CREATE TABLE t" + std::to_string(i) + "(a);";
    }
    DatabaseBuilder(folder / "many.sqlite").run("BEGIN; " + schema + " COMMIT");
    EXPECT_THROW(open(folder / "many.sqlite", [] { return true; }), SQLiteCancelled);
    const auto hopeless = [this] {
        clock->advance(std::chrono::hours(1));
        return false;
    };
    EXPECT_EQ(failureOf([&] { open(folder / "many.sqlite", hopeless); }),
        Failure(Kind::openFailed, "Could not open database: interrupted", SQLITE_INTERRUPT));

    const auto reader = open(folder / "many.sqlite", [&stop] { return stop; });
    stop = true;
    EXPECT_THROW(reader->count(longQuery), SQLiteCancelled);
    int rows = 0;
    EXPECT_THROW(reader->forEachRow("SELECT name FROM sqlite_master", {}, [&](const SQLiteRow&) { ++rows; }),
        SQLiteCancelled);
    EXPECT_LE(rows, 2'000);
    // What the check throws comes out as it is, not through SQLite.
    reader->setStopCheck([]() -> bool { throw std::domain_error("from the check"); });
    EXPECT_THROW(reader->count(longQuery), std::domain_error);
    reader->setStopCheck({});
    EXPECT_THROW(reader->forEachRow(
                     "SELECT 1", {}, [](const SQLiteRow&) { throw std::domain_error("from the handler"); }),
        std::domain_error);
    EXPECT_EQ(reader->count("SELECT count(*) AS n FROM sqlite_master"), 3'000);
}

TEST_F(SQLiteReaderTest, closesForGoodAlsoWhileAQueryRuns)
{
    const auto reader = openWith("CREATE TABLE t(a)");
    reader->close();
    reader->close();
    EXPECT_EQ(failureOf([&] { reader->count("SELECT 1 AS n"); }), closed);

    const auto inside = open(folder / "test.sqlite");
    EXPECT_EQ(failureOf([&] {
        inside->forEachRow("SELECT 1 UNION ALL SELECT 2", {}, [&](const SQLiteRow&) { inside->close(); });
    }),
        closed);

    const auto elsewhere = open(folder / "test.sqlite");
    std::optional<std::thread> closer;
    elsewhere->setStopCheck([&] { // runs inside the query
        if (!closer) {
            closer.emplace([&] { elsewhere->close(); });
        }
        return false;
    });
    EXPECT_EQ(failureOf([&] { elsewhere->count(longQuery); }), closed);
    closer->join();
    EXPECT_EQ(failureOf([&] { elsewhere->columns("t"); }), closed);
}

TEST_F(SQLiteReaderTest, runsNothingThatAHostileDatabaseBrings)
{
    const std::string longComment = "/*" + std::string(1'500'000, '*') + "*/";
    const auto reader =
        openWith("CREATE TABLE t(a, b AS (zeroblob(1000000000)), c DEFAULT (random()));"
                 "INSERT INTO t(a) VALUES (1);"
                 "CREATE VIEW v AS SELECT a FROM t;"
                 "CREATE VIEW loop AS WITH RECURSIVE x(n) AS (SELECT 1 UNION ALL SELECT n + 1 "
                 "FROM x) SELECT n FROM x;"
                 "CREATE TRIGGER tr AFTER INSERT ON t BEGIN DELETE FROM t; END;"
                 "CREATE TABLE big(a "
            + longComment + ", z)");
    EXPECT_EQ(reader->columns("big"), (std::set<std::string>{"a", "z"})); // read before the strict limits
    EXPECT_EQ(reader->columns("t"), (std::set<std::string>{"a", "c"}));   // none that is computed
    EXPECT_EQ(reader->count("SELECT count(*) AS n FROM t"), 1);
    for (const std::string sql : {"SELECT count(*) AS n FROM v", "SELECT n FROM loop", "DELETE FROM t",
             "ATTACH 'other.sqlite' AS other",
             "PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = ''", "SELECT b FROM t"}) {
        if (sql.starts_with("PRAGMA")) { // only the first statement of a text is run at all
            reader->count(sql);
            EXPECT_EQ(reader->count("SELECT count(*) AS n FROM sqlite_master WHERE sql = ''"), 0);
        } else {
            EXPECT_TRUE(failureOf([&] { reader->count(sql); })) << sql;
        }
    }
    EXPECT_EQ(std::get<Kind>(failureOf([&] { reader->count("SELECT 1 " + longComment); }).value()),
        Kind::prepareFailed);

    // A schema that cannot be parsed is an answer of its own, not a crash.
    DatabaseBuilder(folder / "odd.sqlite")
        .run(
            "CREATE TABLE t(a); PRAGMA writable_schema = ON;"
            "UPDATE sqlite_master SET sql = 'CREATE TABLE t(a DEFAULT ' || replace(hex(zeroblob(2000)), '0', "
            "'(') || ')'");
    EXPECT_EQ(std::get<int>(failureOf([&] { open(folder / "odd.sqlite"); }).value()), SQLITE_CORRUPT);
}

TEST_F(SQLiteReaderTest, noticesThatTheFileOrItsLogChanged)
{
    const auto reader = openWith("CREATE TABLE t(a)");
    EXPECT_FALSE(reader->fileChangedUnderneath());
    folder.write("test.sqlite-wal", "x");
    EXPECT_TRUE(reader->fileChangedUnderneath());
    std::filesystem::remove(folder / "test.sqlite-wal");
    EXPECT_FALSE(reader->fileChangedUnderneath());
    folder.write("test.sqlite", folder.read("test.sqlite") + "x");
    EXPECT_TRUE(reader->fileChangedUnderneath());
}

TEST(BoundedAmount, isFiniteAndWithinItsLimits)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double good : {0.0, 0.5, 10.0}) {
        EXPECT_EQ(boundedAmount(good, 10), good);
    }
    for (const double bad : {-0.1, 10.1, infinity, -infinity, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(boundedAmount(bad, 10), std::nullopt);
    }
    EXPECT_EQ(boundedAmount(std::nullopt, 10), std::nullopt);
}

} // namespace
} // namespace vantorel
