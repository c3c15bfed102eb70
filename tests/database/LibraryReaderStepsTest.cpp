#include "ReaderFixture.h"
#include "database/DatabaseSteps.h"
#include "support/ManualClock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

namespace vantorel {

namespace {

using testing::StartsWith;
using End = DatabaseSteps::End;
using Kind = SQLiteReaderError::Kind;

constexpr const char* endless =
    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT max(i) FROM n";

/// A clock on which a second passes with every look at it.
class HurriedClock final : public Clock {
public:
    std::chrono::nanoseconds uptime() const override { return std::chrono::seconds(++looks_); }
    std::chrono::nanoseconds continuous() const override { return beneath_->continuous(); }
    std::chrono::system_clock::time_point wall() const override { return beneath_->wall(); }
    bool acquire(Signal& signal, std::chrono::nanoseconds atMost) const override
    {
        return beneath_->acquire(signal, atMost);
    }
    void sleepFor(std::chrono::nanoseconds duration) const override { beneath_->sleepFor(duration); }

private:
    std::shared_ptr<const Clock> beneath_ = systemClock();
    mutable std::atomic<std::int64_t> looks_ = 0;
};

class LibraryReaderSteps : public testing::Test {
protected:
    LibraryReaderSteps() { library.close(); }

    DatabaseSteps steps(std::shared_ptr<const Clock> clock, SharedCancelToken cancel = nullptr,
        ScanProgressCallback progress = {})
    {
        DatabaseSteps made({.calls = realSystemCalls(),
            .clock = std::move(clock),
            .cancel = std::move(cancel),
            .progress = std::make_shared<ReadProgress>(std::move(progress)),
            .file = library.database()});
        EXPECT_EQ(made.open(), End::whole);
        return made;
    }

    ReaderFixture library;
};

TEST_F(LibraryReaderSteps, tellTroubleOfTheDatabaseFromTroubleOfThisComputer)
{
    struct Row {
        SQLiteReaderError error;
        std::string thrown; ///< Empty: the step's result is "damaged".
    };
    const std::string unreadable =
        "copyFailed: The library's database could not be copied: this Mac could not read the private copy (";
    const std::vector<Row> rows{
        {{Kind::stepFailed, "malformed", {}, 11}, ""},
        {{Kind::openFailed, "file is not a database", {}, 26}, ""},
        {{Kind::prepareFailed, "no such column", "SELECT", 1}, ""},
        {{Kind::stepFailed, "disk I/O error", {}, 10}, unreadable},
        {{Kind::openFailed, "unable to open", {}, 14}, unreadable},
        {{Kind::stepFailed, "out of memory", {}, 7}, unreadable},
        {{Kind::fileNotFound, "gone"}, unreadable},
        {SQLiteReaderError::timedOut(Seconds{120}), "readTookTooLong: Reading \"Captions\" took longer"},
    };
    DatabaseSteps made = steps(systemClock());
    for (const Row& row : rows) {
        End end = End::whole;
        const std::string thrown = errorOf([&] {
            end = made.run("Captions", 0, [error = row.error](const DatabaseSteps::Worker&) { throw error; });
        });
        if (row.thrown.empty()) {
            EXPECT_EQ(end, End::damaged) << row.error.description();
        } else {
            EXPECT_THAT(thrown, StartsWith(row.thrown));
        }
    }
}

TEST_F(LibraryReaderSteps, endAQueryThatTakesTooLong)
{
    DatabaseSteps made = steps(std::make_shared<HurriedClock>());
    EXPECT_THAT(errorOf([&] {
        std::ignore = made.run("Captions", 0, [](const DatabaseSteps::Worker& worker) {
            worker.reader.forEachRow(endless, {}, [](const SQLiteRow&) { });
        });
    }),
        StartsWith("readTookTooLong: Reading \"Captions\" took longer"));
}

TEST_F(LibraryReaderSteps, endWithinAQueryWhenTheUserStops)
{
    const auto cancel = std::make_shared<CancelToken>();
    DatabaseSteps made = steps(systemClock(), cancel);
    EXPECT_EQ(errorOf([&] {
        std::ignore = made.run("Captions", 0, [cancel](const DatabaseSteps::Worker& worker) {
            cancel->cancel();
            worker.reader.forEachRow(endless, {}, [](const SQLiteRow&) { });
        });
    }),
        "cancelled: ");
}

TEST_F(LibraryReaderSteps, judgeWorkBesideThemLikeAStep)
{
    const auto cancel = std::make_shared<CancelToken>();
    DatabaseSteps made = steps(systemClock(), cancel);
    made.beginBeside([](SQLiteReader&) { throw SQLiteReaderError(Kind::stepFailed, "malformed", {}, 11); });
    EXPECT_EQ(made.run("Captions", 0, [](const DatabaseSteps::Worker&) { }), End::whole);
    EXPECT_EQ(made.endBeside("Captions"), End::damaged);

    Signal began;
    made.beginBeside([&began](SQLiteReader& reader) {
        began.release();
        reader.forEachRow(endless, {}, [](const SQLiteRow&) { });
    });
    ASSERT_TRUE(systemClock()->acquire(began, std::chrono::minutes(1)));
    cancel->cancel();
    EXPECT_EQ(errorOf([&] { std::ignore = made.endBeside("Captions"); }), "cancelled: ");
}

TEST_F(LibraryReaderSteps, giveUpASilentDiskAndDropWhatComesLate)
{
    const auto clock = std::make_shared<ManualClock>();
    std::vector<bool> waiting;
    DatabaseSteps made =
        steps(clock, nullptr, [&](const ScanProgress& report) { waiting.push_back(report.waitingForDisk); });
    EXPECT_EQ(errorOf([&] {
        std::ignore = made.run("Captions", 0, [clock](const DatabaseSteps::Worker&) { clock->hang(); });
    }),
        "databaseNotAnswering: The disk did not answer when the library's database was read.");
    EXPECT_THAT(waiting, testing::ElementsAre(false, true, false));
}

TEST_F(LibraryReaderSteps, sayNothingMoreOnceTheProgressIsClosed)
{
    int told = 0;
    ReadProgress progress([&](const ScanProgress&) { ++told; });
    progress.begin(ScanStage::readingDatabase, 10);
    progress.advance(5, 10);
    progress.advance(3, 10); // never back, so nothing new
    EXPECT_EQ(told, 2);
    progress.close();
    progress.advance(9, 10);
    EXPECT_EQ(told, 2);
}

} // namespace

} // namespace vantorel
