#include "disk/Guarded.h"

#include "disk/Thread.h"
#include "support/ManualClock.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <array>
#include <atomic>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace vantorel {
namespace {

using namespace std::chrono_literals;

class GuardedRun : public testing::Test {
protected:
    std::string at(const std::string& what) const
    {
        return fmt::format("{:.2f} {}", Seconds(clock_->uptime() - begin_).count(), what);
    }

    Patience patience(Seconds limit)
    {
        return {.stallLimit = limit,
            .onSilence = [this](bool shown) { told_.push_back(at(shown ? "show" : "hide")); }};
    }

    /// Runs work that hands its heartbeat out, and notes when and how the run ended.
    template <typename Work>
    void run(const Patience& patience, Work work)
    {
        const auto result = guardedRun(clock_, patience,
            [work, out = heartbeat_, clock = clock_](const std::shared_ptr<Heartbeat>& heartbeat) {
                *out = heartbeat;
                work(*clock, *heartbeat);
                return Unit{};
            });
        told_.push_back(at(result.isStalled() ? "stalled" : "finished"));
        EXPECT_EQ((*heartbeat_)->gaveUp(), result.isStalled());
    }

    std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
    std::chrono::nanoseconds begin_ = clock_->uptime();
    std::shared_ptr<std::shared_ptr<Heartbeat>> heartbeat_ = std::make_shared<std::shared_ptr<Heartbeat>>();
    std::vector<std::string> told_;
};

struct SilenceCase {
    std::string name;
    std::vector<Seconds> pauses; ///< The work sleeps and then beats, one after the other.
    bool hangsThen = false;
    Seconds limit{30};
    std::vector<std::string> told;
};

class Silence : public GuardedRun, public testing::WithParamInterface<SilenceCase> { };

TEST_P(Silence, isToldAndEndsInTime)
{
    run(patience(GetParam().limit),
        [pauses = GetParam().pauses, hangs = GetParam().hangsThen](
            const ManualClock& clock, Heartbeat& heartbeat) {
            for (const auto pause : pauses) {
                clock.sleepFor(std::chrono::duration_cast<std::chrono::nanoseconds>(pause));
                heartbeat.beat();
            }
            if (hangs) {
                clock.hang();
            }
        });
    EXPECT_EQ(told_, GetParam().told);
}

INSTANTIATE_TEST_SUITE_P(Guarded, Silence,
    testing::Values(SilenceCase{.name = "endsAtOnce", .pauses = {}, .told = {"0.00 finished"}},
        SilenceCase{.name = "tenSecondsOfThirty",
            .pauses = {10s},
            .told = {"8.05 show", "10.00 hide", "10.00 finished"}},
        SilenceCase{.name = "exactlyTheNotice", .pauses = {8s}, .told = {"8.00 finished"}},
        SilenceCase{.name = "beatsEverySecondForAMinute",
            .pauses = std::vector<Seconds>(60, 1s),
            .limit = 20s,
            .told = {"60.00 finished"}},
        SilenceCase{.name = "answersTwiceAfterTheNotice",
            .pauses = {9s, 2s, 15s},
            .limit = 20s,
            .told = {"8.05 show", "9.00 hide", "19.05 show", "26.00 hide", "26.00 finished"}},
        SilenceCase{.name = "neverAnswers",
            .pauses = {},
            .hangsThen = true,
            .limit = 20s,
            .told = {"8.05 show", "20.05 hide", "20.05 stalled"}},
        SilenceCase{.name = "stopsAnsweringLater",
            .pauses = {5s, 5s},
            .hangsThen = true,
            .limit = 20s,
            .told = {"18.05 show", "30.05 hide", "30.05 stalled"}},
        SilenceCase{.name = "givenUpBeforeTheNotice",
            .pauses = {},
            .hangsThen = true,
            .limit = 5s,
            .told = {"5.05 stalled"}}),
    [](const auto& row) { return row.param.name; });

struct CancelCase {
    std::string name;
    Seconds workEnds{0};
    Seconds computerSleepsAfterCancel{0};
    std::string told;
};

class AfterCancel : public GuardedRun, public testing::WithParamInterface<CancelCase> { };

TEST_P(AfterCancel, workHasTwoSecondsToEnd)
{
    const auto token = std::make_shared<CancelToken>();
    auto waits = patience(30s);
    waits.keepGoing = [&, grace = keepGoingWithGrace(clock_, token)] {
        if (!token->isCancelled() && clock_->uptime() - begin_ >= 5s) {
            token->cancel();
            const bool first = grace();
            clock_->computerSleeps(
                std::chrono::duration_cast<std::chrono::nanoseconds>(GetParam().computerSleepsAfterCancel));
            return first;
        }
        return grace();
    };
    run(waits, [end = GetParam().workEnds](const ManualClock& clock, Heartbeat&) {
        clock.sleepFor(std::chrono::duration_cast<std::chrono::nanoseconds>(end));
    });
    EXPECT_EQ(told_, std::vector{GetParam().told});
}

INSTANTIATE_TEST_SUITE_P(Guarded, AfterCancel,
    testing::Values(CancelCase{.name = "endsWithin", .workEnds = 6.9s, .told = "6.90 finished"},
        CancelCase{.name = "endsTooLate", .workEnds = 7.9s, .told = "7.00 stalled"},
        CancelCase{.name = "sleepOfTheComputerCounts",
            .workEnds = 6.9s,
            .computerSleepsAfterCancel = 3s,
            .told = "5.05 stalled"}),
    [](const auto& row) { return row.param.name; });

TEST_F(GuardedRun, sleepOfTheComputerIsNoSilence)
{
    auto waits = patience(30s);
    waits.keepGoing = [this] {
        clock_->computerSleeps(1h);
        return true;
    };
    run(waits, [](const ManualClock& clock, Heartbeat&) { clock.sleepFor(5s); });
    EXPECT_EQ(told_, std::vector<std::string>{"5.00 finished"});
}

TEST_F(GuardedRun, resultOfTheVeryLastMomentCounts)
{
    ASSERT_TRUE(startDetachedThread(workerStackBytes, [clock = clock_] { clock->hang(); }));
    Signal done;
    Heartbeat heartbeat(clock_);
    auto waits = patience(30s);
    waits.keepGoing = [&] {
        done.release();
        return false;
    };
    EXPECT_TRUE(detail::waitGuarded(*clock_, waits, done, heartbeat));
    EXPECT_TRUE(heartbeat.gaveUp());
}

TEST_F(GuardedRun, lateResultIsDropped)
{
    const auto dropped = std::make_shared<std::atomic<bool>>(false);
    struct Result {
        std::shared_ptr<std::atomic<bool>> dropped;
        Result(std::shared_ptr<std::atomic<bool>> where)
            : dropped(std::move(where))
        {
        }
        Result(Result&&) = default;
        ~Result()
        {
            if (dropped) {
                *dropped = true;
            }
        }
    };
    const auto result =
        guardedRun(clock_, {.stallLimit = 20s}, [clock = clock_, dropped](const auto& /*beat*/) {
            clock->hang();
            return Result(dropped);
        });
    EXPECT_TRUE(result.isStalled());
    EXPECT_TRUE(anyThreadAbandoned());
    clock_->endHangs();
    ManualClock::waitForThreads();
    EXPECT_TRUE(*dropped);
}

TEST_F(GuardedRun, whatTheWorkThrowsIsThrown)
{
    EXPECT_THROW(std::ignore = guardedRun(clock_, {},
                     [](const auto& /*beat*/) -> Unit { throw std::runtime_error("no such table"); }),
        std::runtime_error);
}

TEST_F(GuardedRun, workIsGivenUpWhenItsCallerThrows)
{
    auto waits = patience(30s);
    waits.keepGoing = []() -> bool { throw std::runtime_error("stopped"); };
    EXPECT_THROW(run(waits, [](const ManualClock& clock, Heartbeat&) { clock.hang(); }), std::runtime_error);
    EXPECT_TRUE((*heartbeat_)->gaveUp());
}

TEST_F(GuardedRun, holdsNothingAfterItFinished)
{
    const auto held = std::make_shared<int>(7);
    const auto result = guardedRun(clock_, {}, [held](const auto& /*beat*/) { return *held; });
    EXPECT_EQ(result.value(), 7);
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(GuardedRun, workHasAStackOfFourMebibytes)
{
    const auto result = guardedRun(clock_, {}, [](const auto& /*beat*/) {
        std::array<volatile char, 3 * 1'048'576> deep;
        for (std::size_t i = 0; i < deep.size(); i += 1024) {
            deep[i] = 1;
        }
        return deep[0] + deep[deep.size() - 1024];
    });
    EXPECT_EQ(result.value(), 2);
}

TEST_F(GuardedRun, workBesideAHangCostsNoTime)
{
    EXPECT_TRUE(guardedRun(clock_, {.stallLimit = 5s}, [clock = clock_](const auto& /*beat*/) {
        clock->hang();
        return Unit{};
    }).isStalled());
    const auto before = clock_->uptime();
    for (int i = 0; i < 20; ++i) {
        EXPECT_FALSE(guardedRun(clock_, {.stallLimit = 0s}, [](const auto& /*beat*/) {
            std::atomic<int> busy{0};
            while (++busy < 100'000) { }
            return Unit{};
        }).isStalled());
    }
    EXPECT_EQ(clock_->uptime(), before);
}

TEST_F(GuardedRun, takesAThreadThatIsDoneButNeverOneThatHangs)
{
    const auto hanging = std::make_shared<std::atomic<std::thread::id>>();
    EXPECT_TRUE(guardedRun(clock_, {.stallLimit = 5s}, [clock = clock_, hanging](const auto& /*beat*/) {
        *hanging = std::this_thread::get_id();
        clock->hang();
        return Unit{};
    }).isStalled());
    constexpr std::size_t runs = 200;
    std::set<std::thread::id> used;
    for (std::size_t i = 0; i < runs; ++i) {
        used.insert(
            guardedRun(clock_, {}, [](const auto& /*beat*/) { return std::this_thread::get_id(); }).value());
    }
    EXPECT_FALSE(used.contains(*hanging));
    EXPECT_LT(used.size(), runs / 2);
}

TEST(SystemClock, takesASignalOfAnotherThread)
{
    const auto clock = systemClock();
    const auto signal = std::make_shared<Signal>();
    EXPECT_FALSE(clock->acquire(*signal, 0s));
    ASSERT_TRUE(startDetachedThread(workerStackBytes, [signal] { signal->release(); }));
    EXPECT_TRUE(clock->acquire(*signal, std::chrono::nanoseconds::max()));
    EXPECT_FALSE(signal->tryAcquire());
    const auto uptime = clock->uptime();
    EXPECT_LE(uptime, clock->continuous()); // which counts sleep too
}

} // namespace
} // namespace vantorel
