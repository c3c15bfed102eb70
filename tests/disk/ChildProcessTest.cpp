#include "disk/ChildProcess.h"

#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantorel {
namespace {

using Failure = ChildProcessRunner::Failure;
using Request = ChildProcessRunner::Request;

/// Time runs a hundred times as fast: timeouts of real children without the wait.
class HurriedClock final : public Clock {
public:
    std::chrono::nanoseconds uptime() const override { return 100 * real_->uptime(); }
    std::chrono::nanoseconds continuous() const override { return 100 * real_->continuous(); }
    std::chrono::system_clock::time_point wall() const override { return real_->wall(); }
    bool acquire(Signal& signal, std::chrono::nanoseconds atMost) const override
    {
        return real_->acquire(signal, atMost / 100);
    }
    void sleepFor(std::chrono::nanoseconds duration) const override { real_->sleepFor(duration / 100); }

private:
    std::shared_ptr<const Clock> real_ = systemClock();
};

class ChildProcess : public testing::Test {
protected:
    /// The whole outcome in a line; with it, no child and no descriptor may be left.
    std::string outcome(const Request& request)
    {
        const auto before = openDescriptors();
        const auto ended = runner_->run(request);
        EXPECT_EQ(openDescriptors(), before);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
        EXPECT_EQ(errno, ECHILD);
        if (!ended) {
            constexpr std::array names{"not started", "timed out", "cancelled", "too much output"};
            return names.at(static_cast<std::size_t>(ended.error()));
        }
        return std::to_string(ended->exitStatus) + ": " + ended->output;
    }

    static Request shell(const std::string& script, Seconds timeout = Seconds(3600))
    {
        return {.program = "/bin/sh",
            .arguments = {"-c", script, "name", "one two", "$HOME"},
            .timeout = timeout};
    }

    std::shared_ptr<const ChildProcessRunner> runner_ = realChildProcesses(std::make_shared<HurriedClock>());
};

struct OutcomeCase {
    std::string name;
    std::string script;
    std::string outcome;
};

class Outcome : public ChildProcess, public testing::WithParamInterface<OutcomeCase> { };

TEST_P(Outcome, isToldWithAllOutput)
{
    ASSERT_EQ(setenv("LC_ALL", "de_DE.UTF-8", 1), 0);
    EXPECT_EQ(outcome(shell(GetParam().script)), GetParam().outcome);
    unsetenv("LC_ALL");
}

INSTANTIATE_TEST_SUITE_P(ChildProcess, Outcome,
    testing::Values(OutcomeCase{"done", "echo hello", "0: hello\n"},
        OutcomeCase{"ownStatus", "printf partly; exit 7", "7: partly"},
        OutcomeCase{"argumentsAreNotExpanded", "printf '%s|' \"$@\"", "0: one two|$HOME|"},
        OutcomeCase{"inputIsEmpty", "cat; echo end", "0: end\n"},
        OutcomeCase{"errorsAreNotOutput", "echo no >&2; echo yes", "0: yes\n"},
        OutcomeCase{"plainLocale", "echo $LC_ALL", "0: C\n"},
        OutcomeCase{"endedByASignal", "kill -KILL $$", "137: "},
        OutcomeCase{"brokenPipeEndsAChild", "kill -PIPE $$; echo lives", "141: "},
        OutcomeCase{"outputClosedEarly", "exec >&-; sleep 0.05; exit 3", "3: "},
        OutcomeCase{"moreThanAPipeHolds",
            "i=0; while [ $i -lt 3000 ]; do printf %0100d 0; i=$((i+1)); done | tr 0 x",
            "0: " + std::string(300'000, 'x')},
        OutcomeCase{"doesNotWaitForWhatItLeftRunning", "sleep 5 & echo left", "0: left\n"}),
    [](const auto& row) { return row.param.name; });

TEST_F(ChildProcess, saysWhenThereWasNothingToStart)
{
    const TemporaryFolder folder;
    for (const auto& program :
        std::vector<std::string>{"", "sh", "/no/such/program", "/tmp", folder.write("a", "b")}) {
        EXPECT_EQ(outcome({.program = program}), "not started") << program;
    }
    EXPECT_EQ(outcome({.program = "/bin/echo", .arguments = {std::string("a\0b", 3)}}), "not started");
}

TEST_F(ChildProcess, isEndedAfterItsTime)
{
    EXPECT_EQ(outcome(shell("sleep 600", Seconds(10))), "timed out");
    EXPECT_EQ(outcome(shell("while :; do echo on; done", Seconds(10))), "timed out");
}

TEST_F(ChildProcess, isKilledWithAllThatItStartedWhenItDoesNotListen)
{
    const TemporaryFolder folder;
    const std::string pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int reading = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reading, 0);
    EXPECT_EQ(outcome(shell("trap '' TERM; exec 3>" + pipe
                      + "; (echo up >&3; while :; do sleep 0.01; done) & while :; do sleep 0.01; done",
                  Seconds(30))),
        "timed out");
    // The end of what they wrote comes when none of them is left; else this waits for ever.
    fcntl(reading, F_SETFL, 0);
    std::array<char, 8> text{};
    EXPECT_EQ(read(reading, text.data(), text.size()), 3);
    EXPECT_EQ(read(reading, text.data(), text.size()), 0);
    close(reading);
}

TEST_F(ChildProcess, isEndedWhenItIsCancelled)
{
    auto request = shell("echo begun; sleep 600");
    request.cancel = std::make_shared<CancelToken>();
    request.onOutput = [&](std::string_view) {
        request.cancel->cancel();
        return true;
    };
    EXPECT_EQ(outcome(request), "cancelled");
}

TEST_F(ChildProcess, isEndedWhenItsOutputIsNotWanted)
{
    auto request = shell("echo first; sleep 0.05; while :; do echo on; done");
    std::string seen;
    request.onOutput = [&](std::string_view text) {
        seen += text;
        return seen.size() < 10;
    };
    EXPECT_EQ(outcome(request), "143: ");
    EXPECT_TRUE(seen.starts_with("first\non"));
}

TEST_F(ChildProcess, isEndedWhenTheConsumerThrows)
{
    auto request = shell("echo first; sleep 600");
    request.onOutput = [](std::string_view) -> bool { throw std::runtime_error("no room"); };
    EXPECT_THROW(outcome(request), std::runtime_error);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(ChildProcess, mayCollectNoMoreThanItsBound)
{
    auto request = shell("printf %01000d 0");
    request.mostOutputBytes = 1000;
    EXPECT_EQ(outcome(request), "0: " + std::string(1000, '0'));
    request.mostOutputBytes = 999;
    EXPECT_EQ(outcome(request), "too much output");
}

} // namespace
} // namespace vantorel
