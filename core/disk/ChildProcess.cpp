#include "disk/ChildProcess.h"

#include "disk/ChildProcessSystem.h"
#include "disk/Thread.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantorel {

namespace {

constexpr Seconds graceBeforeKill{2};
/// A killed process that is stuck in the kernel stays; it is waited for elsewhere after this time.
constexpr Seconds graceAfterKill{1};
constexpr int sliceMilliseconds = 50;
constexpr int longestPauseMilliseconds = 20;
constexpr int mostTurns = 16;

class PipeEnd {
public:
    explicit PipeEnd(int fd)
        : fd_(fd)
    {
    }
    PipeEnd(const PipeEnd&) = delete;
    PipeEnd& operator=(const PipeEnd&) = delete;
    ~PipeEnd() { close(); }

    int get() const { return fd_; }
    void close()
    {
        if (fd_ >= 0) {
            ::close(std::exchange(fd_, -1));
        }
    }

private:
    int fd_;
};

/// What posix_spawn is given; every step that fails makes it unusable.
class SpawnSettings {
public:
    explicit SpawnSettings(int output)
        : isUsable_(posix_spawn_file_actions_init(&actions_) == 0)
        , hasAttributes_(posix_spawnattr_init(&attributes_) == 0)
    {
        // The output first: its number may be one of the two that are opened.
        isUsable_ = isUsable_ && hasAttributes_
            && posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO) == 0
            && posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0) == 0
            && posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0) == 0
            && setSignals() && setGroup();
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;
    ~SpawnSettings()
    {
        posix_spawn_file_actions_destroy(&actions_);
        if (hasAttributes_) {
            posix_spawnattr_destroy(&attributes_);
        }
    }

    bool isUsable() const { return isUsable_; }
    const posix_spawn_file_actions_t* actions() const { return &actions_; }
    const posix_spawnattr_t* attributes() const { return &attributes_; }

private:
    /// The child begins with the signals as a program expects them, whatever this one ignores or blocks.
    bool setSignals()
    {
        sigset_t defaults;
        sigemptyset(&defaults);
        for (const int signal : {SIGPIPE, SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGCHLD}) {
            sigaddset(&defaults, signal);
        }
        sigset_t blocked;
        sigemptyset(&blocked);
        return posix_spawnattr_setsigdefault(&attributes_, &defaults) == 0
            && posix_spawnattr_setsigmask(&attributes_, &blocked) == 0;
    }

    /// A process group of its own: it can be ended with all that it started, and Ctrl-C in the terminal
    /// reaches this program alone, which then cancels.
    bool setGroup()
    {
        const int flags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP
            | ChildProcessSystem::closeOthersFlag();
        return posix_spawnattr_setpgroup(&attributes_, 0) == 0
            && posix_spawnattr_setflags(&attributes_, static_cast<short>(flags)) == 0;
    }

    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
    bool isUsable_ = false;
    bool hasAttributes_ = false;
};

std::vector<std::string> childEnvironment()
{
    std::vector<std::string> variables{"LC_ALL=C"};
    for (char** each = ChildProcessSystem::environment(); each != nullptr && *each != nullptr; ++each) {
        if (!std::string_view(*each).starts_with("LC_ALL=")) {
            variables.emplace_back(*each);
        }
    }
    return variables;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (auto& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// One started child until it was reaped. On the way out it is ended with all that it started.
class Child {
public:
    Child(const Clock& clock, pid_t pid)
        : clock_(clock)
        , pid_(pid)
    {
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child()
    {
        if (pid_ > 0) {
            terminate();
        }
    }

    /// Whether it has ended; it is not reaped yet, so that its number stays its own.
    bool hasEnded() const
    {
        siginfo_t info{};
        int result = 0;
        do {
            result = waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT);
        } while (result != 0 && errno == EINTR);
        return result != 0 || info.si_pid == pid_; // an error: this process keeps no account of its children
    }

    /// Exit status of a child that has ended, 128 + signal where one ended it.
    int reap()
    {
        constexpr int unknown = 255;
        int status = 0;
        pid_t result = 0;
        do {
            result = waitpid(pid_, &status, 0);
        } while (result < 0 && errno == EINTR);
        pid_ = -1;
        if (result < 0) {
            return unknown;
        }
        return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }

    bool waitForEnd(Seconds atMost) const
    {
        const auto begin = clock_.uptime();
        for (int pause = 1; !hasEnded(); pause = std::min(2 * pause, longestPauseMilliseconds)) {
            if (Seconds(clock_.uptime() - begin) > atMost) {
                return false;
            }
            poll(nullptr, 0, pause);
        }
        return true;
    }

    /// Asks it to end, then makes it. Returns the exit status.
    int terminate()
    {
        kill(-pid_, SIGTERM);
        std::ignore = waitForEnd(graceBeforeKill);
        kill(-pid_, SIGKILL); // also what it started and left behind
        if (waitForEnd(graceAfterKill)) {
            return reap();
        }
        const pid_t stuck = std::exchange(pid_, -1);
        std::ignore = startDetachedThread(workerStackBytes, [stuck] {
            while (waitpid(stuck, nullptr, 0) < 0 && errno == EINTR) { }
        });
        return 128 + SIGKILL;
    }

private:
    const Clock& clock_;
    pid_t pid_;
};

class Run {
public:
    using Request = ChildProcessRunner::Request;
    using Ended = ChildProcessRunner::Ended;
    using Failure = ChildProcessRunner::Failure;

    Run(const Clock& clock, const Request& request)
        : clock_(clock)
        , request_(request)
    {
    }

    std::expected<Ended, Failure> run()
    {
        std::array<int, 2> ends{-1, -1};
        if (!isStartable() || ChildProcessSystem::openPipe(ends) != 0) {
            return std::unexpected(Failure::notStarted);
        }
        PipeEnd output(ends[0]);
        PipeEnd input(ends[1]);
        fcntl(output.get(), F_SETFL, O_NONBLOCK);
        const auto pid = spawn(input.get());
        if (!pid) {
            return std::unexpected(Failure::notStarted);
        }
        input.close();
        Child child(clock_, *pid);
        const auto begin = clock_.uptime();
        while (true) {
            // Looked at before the output: what it wrote before its end is then all there.
            const bool hasEnded = child.hasEnded();
            const auto got = readAll(output);
            if (got == Got::refused) {
                return Ended{.exitStatus = child.terminate(), .output = {}};
            }
            if (got == Got::tooMuch) {
                child.terminate();
                return std::unexpected(Failure::tooMuchOutput);
            }
            if (hasEnded && got != Got::more) {
                return Ended{.exitStatus = child.reap(), .output = std::move(collected_)};
            }
            if (const auto failure = whyStop(begin)) {
                child.terminate();
                return std::unexpected(*failure);
            }
            wait(output, got);
        }
    }

private:
    enum class Got { allThereIs, more, end, tooMuch, refused };

    bool isStartable() const
    {
        const auto holdsNul = [](const std::string& text) { return text.contains('\0'); };
        return request_.program.starts_with('/') && !holdsNul(request_.program)
            && std::ranges::none_of(request_.arguments, holdsNul);
    }

    std::optional<pid_t> spawn(int output) const
    {
        const SpawnSettings settings(output);
        std::vector<std::string> words{request_.program};
        words.insert(words.end(), request_.arguments.begin(), request_.arguments.end());
        auto variables = childEnvironment();
        pid_t pid = -1;
        if (!settings.isUsable()
            || posix_spawn(&pid, request_.program.c_str(), settings.actions(), settings.attributes(),
                   pointersTo(words).data(), pointersTo(variables).data())
                != 0) {
            return std::nullopt;
        }
        return pid;
    }

    /// Takes what has been written so far, in bounded turns: a child that never stops writing is stopped all
    /// the same.
    Got readAll(const PipeEnd& output)
    {
        for (int turn = 0; turn < mostTurns; ++turn) {
            const auto got = ::read(output.get(), buffer_.data(), buffer_.size());
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got <= 0) {
                return got == 0 || errno != EAGAIN ? Got::end : Got::allThereIs;
            }
            const std::string_view text(buffer_.data(), static_cast<std::size_t>(got));
            if (request_.onOutput) {
                if (!request_.onOutput(text)) {
                    return Got::refused;
                }
            } else if (text.size() > request_.mostOutputBytes - collected_.size()) {
                return Got::tooMuch;
            } else {
                collected_ += text;
            }
        }
        return Got::more;
    }

    std::optional<Failure> whyStop(std::chrono::nanoseconds begin) const
    {
        if (isCancelled(request_.cancel)) {
            return Failure::cancelled;
        }
        if (Seconds(clock_.uptime() - begin) > request_.timeout) {
            return Failure::timedOut;
        }
        return std::nullopt;
    }

    /// Until there is output, or for a slice; for its end alone where it has closed its output.
    void wait(const PipeEnd& output, Got got)
    {
        if (got == Got::more) {
            return;
        }
        if (got == Got::end) {
            poll(nullptr, 0, pause_);
            pause_ = std::min(2 * pause_, longestPauseMilliseconds);
            return;
        }
        pollfd readable{.fd = output.get(), .events = POLLIN, .revents = 0};
        poll(&readable, 1, sliceMilliseconds);
    }

    const Clock& clock_;
    const Request& request_;
    std::array<char, 65'536> buffer_{};
    std::string collected_{};
    int pause_ = 1;
};

class RealChildProcesses final : public ChildProcessRunner {
public:
    explicit RealChildProcesses(std::shared_ptr<const Clock> clock)
        : clock_(std::move(clock))
    {
    }

    std::expected<Ended, Failure> run(const Request& request) const override
    {
        return Run(*clock_, request).run();
    }

private:
    std::shared_ptr<const Clock> clock_;
};

} // namespace

std::shared_ptr<const ChildProcessRunner> realChildProcesses(std::shared_ptr<const Clock> clock)
{
    return std::make_shared<RealChildProcesses>(std::move(clock));
}

} // namespace vantorel
