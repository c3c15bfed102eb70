#include "database/WriteAheadLog.h"

#include "database/DatabaseBuilder.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <string_view>
#include <vector>

namespace vantorel {

std::ostream& operator<<(std::ostream& out, const WriteAheadLogCheck& check)
{
    return out << "state " << static_cast<int>(check.state) << ", good " << check.goodFrames << ", committed "
               << check.committedFrames;
}

namespace {

using State = WriteAheadLogCheck::State;
constexpr std::size_t headerBytes = 32;
constexpr std::size_t frameBytes = 24 + 512;

class WriteAheadLogTest : public testing::Test {
protected:
    /// Runs each text as a transaction of its own on a database with pages of 512 bytes and gives its log.
    std::string logAfter(const std::vector<std::string>& transactions)
    {
        std::filesystem::remove(folder / "a.sqlite");
        std::filesystem::remove(folder / "a.sqlite-wal");
        DatabaseBuilder(folder / "a.sqlite").run("PRAGMA page_size = 512; CREATE TABLE t(a, b)");
        DatabaseBuilder database(folder / "a.sqlite", DatabaseBuilder::Journal::log);
        database.run("PRAGMA cache_size = 5");
        for (const std::string& sql : transactions) {
            database.run(sql);
        }
        return folder.read("a.sqlite-wal");
    }

    CallResult<WriteAheadLogCheck> check(const std::string& log)
    {
        folder.write("log", log);
        const auto root = Root::open(realSystemCalls(), folder.path());
        return checkWriteAheadLog(**root, "log");
    }

    TemporaryFolder folder;
};

/// Two frames, then one, then three: the rows are long enough for pages of their own.
const std::vector<std::string> threeCommits{
    "INSERT INTO t VALUES (1, zeroblob(700))",
    "UPDATE t SET a = 2",
    "INSERT INTO t VALUES (3, zeroblob(1300))",
};

std::vector<std::size_t> commits(std::string_view log)
{
    std::vector<std::size_t> frames;
    for (std::size_t i = 0; headerBytes + (i + 1) * frameBytes <= log.size(); ++i) {
        if (log.substr(headerBytes + i * frameBytes + 4, 4) != std::string_view("\0\0\0\0", 4)) {
            frames.push_back(i + 1);
        }
    }
    return frames;
}

TEST_F(WriteAheadLogTest, tellsAbsentFromWhole)
{
    const std::string log = logAfter(threeCommits);
    const auto frames = static_cast<std::int64_t>((log.size() - headerBytes) / frameBytes);
    ASSERT_EQ(commits(log).size(), 3U);
    ASSERT_EQ(commits(log).back(), static_cast<std::size_t>(frames));
    EXPECT_EQ(check(log), (WriteAheadLogCheck{State::whole, frames, frames}));
    EXPECT_EQ(check(""), (WriteAheadLogCheck{State::absent, 0, 0}));
    EXPECT_EQ(check(log.substr(0, headerBytes)), (WriteAheadLogCheck{State::whole, 0, 0}));

    const auto root = Root::open(realSystemCalls(), folder.path());
    EXPECT_EQ(checkWriteAheadLog(**root, "none"), (WriteAheadLogCheck{State::absent, 0, 0}));
    folder.makeFolder("folder");
    folder.makeLink("link", folder / "log");
    EXPECT_EQ(checkWriteAheadLog(**root, "folder"), std::unexpected(EINVAL));
    EXPECT_EQ(checkWriteAheadLog(**root, "link"), std::unexpected(ELOOP));
}

TEST_F(WriteAheadLogTest, noticesADamagedByteInEveryPlace)
{
    const std::string log = logAfter(threeCommits);
    const auto ends = commits(log);
    const auto flipped = [&log](std::size_t at) {
        std::string damaged = log;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
        return damaged;
    };
    for (std::size_t at = 0; at < headerBytes; ++at) {
        EXPECT_EQ(check(flipped(at)), (WriteAheadLogCheck{State::damaged, 0, 0})) << "header byte " << at;
    }
    // In a frame: page number, commit size, salts, sums, the page's first and last bytes.
    for (std::size_t frame = 0; frame < ends.back(); ++frame) {
        std::int64_t committed = 0;
        for (const std::size_t end : ends) {
            committed = end <= frame ? static_cast<std::int64_t>(end) : committed;
        }
        for (const std::size_t inside : {0U, 3U, 4U, 7U, 8U, 11U, 12U, 15U, 16U, 23U, 24U, 300U, 535U}) {
            // Other salts behind the last commit are those of an earlier round; nothing speaks against it.
            const bool isLast = frame + 1 == ends.back();
            const State state = isLast && inside >= 8 && inside < 16 ? State::whole : State::damaged;
            EXPECT_EQ(check(flipped(headerBytes + frame * frameBytes + inside)),
                (WriteAheadLogCheck{state, static_cast<std::int64_t>(frame), committed}))
                << "frame " << frame << " byte " << inside;
        }
    }
}

TEST_F(WriteAheadLogTest, noticesACutAtEveryByteOfAFrame)
{
    const std::string log = logAfter(threeCommits);
    const auto ends = commits(log);
    const auto frames = static_cast<std::int64_t>(ends.back());
    const auto before = static_cast<std::int64_t>(ends[1]);
    for (std::size_t cut = 1; cut < frameBytes; ++cut) {
        ASSERT_EQ(
            check(log.substr(0, log.size() - cut)), (WriteAheadLogCheck{State::damaged, frames - 1, before}))
            << cut;
    }
    for (std::size_t length = 1; length < headerBytes; ++length) {
        ASSERT_EQ(check(log.substr(0, length)), (WriteAheadLogCheck{State::damaged, 0, 0})) << length;
    }
    // A log that ends right behind an earlier commit cannot be told from a shorter one.
    EXPECT_EQ(check(log.substr(0, headerBytes + ends[1] * frameBytes)),
        (WriteAheadLogCheck{State::whole, before, before}));
    // Bytes that were lost in the middle.
    EXPECT_EQ(check(std::string(log).replace(headerBytes + frameBytes, frameBytes, frameBytes, '\0'))->state,
        State::damaged);
}

TEST_F(WriteAheadLogTest, endsAtFramesOfAnEarlierRound)
{
    std::vector<std::string> twoRounds(threeCommits);
    twoRounds.insert(twoRounds.end(), {"PRAGMA wal_checkpoint(RESTART)", "UPDATE t SET a = 5 WHERE a = 3"});
    const std::string log = logAfter(twoRounds);
    const auto expected = check(log);
    ASSERT_TRUE(expected.has_value());
    EXPECT_EQ(expected->state, State::whole);
    EXPECT_GT(expected->goodFrames, 0);
    EXPECT_EQ(expected->goodFrames, expected->committedFrames);
    ASSERT_GT(log.size(), headerBytes + static_cast<std::size_t>(expected->goodFrames + 1) * frameBytes);
    // A limit on the log's size cuts where it pleases; what is cut belongs to the earlier round.
    for (std::size_t cut = 1; cut < frameBytes; ++cut) {
        ASSERT_EQ(check(log.substr(0, log.size() - cut)), expected) << cut;
    }
}

TEST_F(WriteAheadLogTest, takesNoChangeThatWasTakenBackForDamage)
{
    std::vector<std::string> transactions(threeCommits);
    // More than the cache holds, so its frames reach the log before it is taken back; the next commit is
    // written over the first of them.
    transactions.insert(transactions.end(),
        {"BEGIN; WITH RECURSIVE c(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM c LIMIT 50) "
         "INSERT INTO t SELECT n, zeroblob(400) FROM c; ROLLBACK",
            "UPDATE t SET a = 9 WHERE a = 3"});
    const std::string log = logAfter(transactions);
    const auto found = check(log);
    ASSERT_TRUE(found.has_value());
    ASSERT_GT(log.size(), headerBytes + static_cast<std::size_t>(found->goodFrames + 5) * frameBytes);
    EXPECT_EQ(found->state, State::whole);
    EXPECT_EQ(found->goodFrames, found->committedFrames);
    EXPECT_GT(found->goodFrames, check(logAfter(threeCommits))->goodFrames);
}

/// The same log as a machine of the other byte order would have written it.
std::string withBigEndianSums(std::string log)
{
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    const auto word = [&log](std::size_t at) {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            value = value * 256 + static_cast<unsigned char>(log[at + i]);
        }
        return value;
    };
    const auto sum = [&](std::size_t from, std::size_t to) {
        for (std::size_t at = from; at < to; at += 8) {
            first += word(at) + second;
            second += word(at + 4) + first;
        }
    };
    const auto put = [&](std::size_t at) {
        for (std::size_t i = 0; i < 4; ++i) {
            log[at + i] = static_cast<char>(first >> (24 - 8 * i));
            log[at + 4 + i] = static_cast<char>(second >> (24 - 8 * i));
        }
    };
    log[3] = '\x83';
    sum(0, 24);
    put(24);
    for (std::size_t at = headerBytes; at < log.size(); at += frameBytes) {
        sum(at, at + 8);
        sum(at + 24, at + frameBytes);
        put(at + 16);
    }
    return log;
}

TEST_F(WriteAheadLogTest, readsSumsInEitherByteOrder)
{
    const std::string log = logAfter(threeCommits);
    const std::string other = withBigEndianSums(log);
    ASSERT_NE(other, log);
    EXPECT_EQ(check(other), check(log));
    EXPECT_EQ(check(std::string(other).replace(3, 1, "\x82"))->state, State::damaged);
}

TEST_F(WriteAheadLogTest, walksALogLongerThanItsBuffer)
{
    const std::string log =
        logAfter({"WITH RECURSIVE c(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM c LIMIT 3000) "
                  "INSERT INTO t SELECT n, zeroblob(900) FROM c"});
    const auto frames = static_cast<std::int64_t>((log.size() - headerBytes) / frameBytes);
    ASSERT_GT(log.size(), std::size_t{3} << 20U);
    EXPECT_EQ(check(log), (WriteAheadLogCheck{State::whole, frames, frames}));
    EXPECT_EQ(check(log.substr(0, log.size() - 1)), (WriteAheadLogCheck{State::damaged, frames - 1, 0}));
}

} // namespace
} // namespace vantorel
