#include "cli/StandIn.h"

#include "disk/Thread.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <initializer_list>
#include <optional>
#include <tuple>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

/// The two processes hold one end each of a pair of sockets. The child sends its status, one byte, where it
/// may not be able to end; each notices the other's end by the end of the stream.
namespace vantorel::cli {

namespace {

constexpr std::initializer_list<int> endingSignals{SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr int shortWait = 200; ///< Milliseconds in which a process whose threads do not hang has ended.

std::atomic<pid_t> child{0};
std::atomic<int> toParent{-1};

void handOn(int signal)
{
    const int error = errno;
    kill(child.load(), signal);
    errno = error;
}

/// What comes in from the child: its status, or none at the end of the stream or of the wait.
std::optional<int> receive(int socket, int atMost)
{
    while (true) {
        pollfd wanted{.fd = socket, .events = POLLIN, .revents = 0};
        const int ready = poll(&wanted, 1, atMost);
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        unsigned char status = 0;
        return ready == 1 && recv(socket, &status, 1, 0) == 1 ? std::optional<int>(status) : std::nullopt;
    }
}

int waitForChild()
{
    int status = 0;
    while (waitpid(child.load(), &status, 0) < 0 && errno == EINTR) { }
    if (!WIFSIGNALED(status)) {
        return WEXITSTATUS(status);
    }
    std::signal(WTERMSIG(status), SIG_DFL);
    std::ignore = raise(WTERMSIG(status));
    return 128 + WTERMSIG(status);
}

int standIn(int socket)
{
    const auto announced = receive(socket, -1);
    if (!announced) {
        return waitForChild();
    }
    receive(socket, shortWait);
    int status = 0;
    std::ignore = waitpid(child.load(), &status, WNOHANG); // one that hangs is left behind
    _exit(*announced);
}

/// Ends this process when the one that stands in for it is gone, as if it had been killed itself.
void endWithParent(int socket)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before); // signals are not for that thread
    constexpr std::size_t smallStack = 262'144;
    std::ignore = startDetachedThread(smallStack, [socket] {
        char byte = 0;
        while (recv(socket, &byte, 1, 0) < 0 && errno == EINTR) { }
        _exit(128 + SIGKILL);
    }); // without it, only that is lost
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace

int runStandingIn(const std::function<int()>& program)
{
    std::array<int, 2> sockets{};
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, sockets.data()) != 0) {
        return program();
    }
    for (const int socket : sockets) {
        fcntl(socket, F_SETFD, FD_CLOEXEC);
    }
    sigset_t handedOn;
    sigset_t before;
    sigemptyset(&handedOn);
    for (const int signal : endingSignals) {
        sigaddset(&handedOn, signal);
    }
    pthread_sigmask(SIG_BLOCK, &handedOn, &before); // until both know what to do with them
    child = fork();
    if (child > 0) {
        struct sigaction action{};
        action.sa_handler = handOn;
        for (const int signal : endingSignals) {
            struct sigaction current{};
            sigaction(signal, nullptr, &current);
            if (signal != SIGHUP || current.sa_handler != SIG_IGN) { // "nohup"
                sigaction(signal, &action, nullptr);
            }
        }
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (child > 0) {
        close(sockets[1]);
        return standIn(sockets[0]);
    }
    if (child == 0) {
        close(sockets[0]);
        toParent = sockets[1];
        endWithParent(sockets[1]);
    }
    return program(); // in this process where there is no other
}

void leaveAtOnce(int status)
{
    // What a hanging process keeps open would keep the reader of its output waiting.
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        close(stream);
    }
    if (const int socket = toParent.load(); socket >= 0) {
        const auto byte = static_cast<unsigned char>(status);
        std::ignore = write(socket, &byte, 1); // without a reader, SIGPIPE is ignored
    }
    _exit(status);
}

} // namespace vantorel::cli
