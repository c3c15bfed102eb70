#include "database/BothEnds.h"
#include "DatabaseBuilder.h"
#include "sample/DatabasePages.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <stdexcept>
#include <vector>

namespace vantorel {
namespace {

using Pages = sample::DatabasePages;

/// A table of 400 rows, keys 2, 4, 6, ..., some ten to a page.
class BothEnds : public testing::Test {
protected:
    BothEnds()
    {
        DatabaseBuilder builder(file_);
        builder.run("CREATE TABLE t(pk INTEGER PRIMARY KEY, text VARCHAR)");
        builder.run("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 400)"
                    " INSERT INTO t SELECT 2 * i, printf('%.*c', 300, 'x') FROM n");
        for (int i = 1; i <= 400; ++i) {
            all_.push_back(2 * i);
        }
    }
    void damage(std::int64_t page)
    {
        Pages pages{folder_.read("t.sqlite")};
        ASSERT_EQ(pages.bytes[static_cast<std::size_t>(page - 1) * Pages::size], '\x0d') << "no leaf";
        pages.zero(page);
        folder_.write("t.sqlite", pages.bytes);
    }
    std::optional<LostStretch> read(const SQLiteReader::RowHandler& handler = {})
    {
        SQLiteReader reader(realSystemCalls(), systemClock(), file_);
        return forEachRowFromBothEnds(reader, "SELECT pk FROM t ORDER BY pk",
            "SELECT pk FROM t ORDER BY pk DESC", "pk", [&](const SQLiteRow& row) {
                keys_.push_back(row.int64("pk").value());
                if (handler) {
                    handler(row);
                }
            });
    }
    /// The rows but those within the stretch; the rest downwards.
    std::vector<std::int64_t> expected(const LostStretch& lost) const
    {
        std::vector<std::int64_t> keys;
        for (auto key = all_.begin(); key != all_.end() && lost.after && *key <= *lost.after; ++key) {
            keys.push_back(*key);
        }
        for (auto key = all_.rbegin(); key != all_.rend() && lost.before && *key >= *lost.before; ++key) {
            keys.push_back(*key);
        }
        return keys;
    }

    TemporaryFolder folder_;
    DiskPath file_ = folder_ / "t.sqlite";
    std::vector<std::int64_t> all_;
    std::vector<std::int64_t> keys_;
};

TEST_F(BothEnds, giveAWholeTableUpwardsAlone)
{
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_EQ(keys_, all_);
}

TEST_F(BothEnds, loseOnePageOnly)
{
    const auto count = static_cast<std::int64_t>(Pages{folder_.read("t.sqlite")}.count());
    ASSERT_GT(count, 20);
    const auto whole = folder_.read("t.sqlite");
    for (const auto page : {std::int64_t{3}, std::int64_t{4}, count / 2, count - 1, count}) {
        folder_.write("t.sqlite", whole);
        damage(page);
        keys_.clear();
        const auto lost = read();
        ASSERT_TRUE(lost) << page;
        EXPECT_EQ(lost->code, SQLITE_CORRUPT);
        EXPECT_EQ(keys_, expected(*lost)) << page;
        const auto missing = all_.size() - keys_.size();
        EXPECT_GT(missing, 0) << page;
        EXPECT_LT(missing, 15) << page;
        EXPECT_EQ(lost->after.has_value(), page != 3) << page;
        EXPECT_EQ(lost->before.has_value(), page != count) << page;
    }
}

TEST_F(BothEnds, doNotMeetBetweenTwoBadPages)
{
    damage(6);
    damage(20);
    const auto lost = read();
    ASSERT_TRUE(lost && lost->after && lost->before);
    EXPECT_EQ(keys_, expected(*lost));
    EXPECT_LT(*lost->after + 300, *lost->before);
}

TEST_F(BothEnds, takeAPageThatLeadsBackForDamage)
{
    Pages pages{folder_.read("t.sqlite")};
    pages.bytes.replace(19 * Pages::size, Pages::size, pages.bytes, 4 * Pages::size, Pages::size); // 5 as 20
    folder_.write("t.sqlite", pages.bytes);
    const auto lost = read();
    ASSERT_TRUE(lost && lost->after && lost->before);
    EXPECT_EQ(keys_, expected(*lost)); // none twice
    EXPECT_GT(keys_.size(), 370);
}

TEST_F(BothEnds, throwOnWhatIsNoDamage)
{
    EXPECT_THROW(
        read([](const SQLiteRow&) { throw std::out_of_range("the handler's own"); }), std::out_of_range);
    EXPECT_EQ(keys_.size(), 1);
    EXPECT_THROW(read([](const SQLiteRow&) { throw SQLiteCancelled(); }), SQLiteCancelled);
    SQLiteReader reader(realSystemCalls(), systemClock(), file_);
    EXPECT_THROW(
        forEachRowFromBothEnds(reader, "SELECT nothing FROM t", "SELECT 1", "pk", {}), SQLiteReaderError);
}

} // namespace
} // namespace vantorel
