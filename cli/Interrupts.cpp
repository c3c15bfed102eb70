#include "cli/Interrupts.h"

#include "cli/StandIn.h"
#include "disk/Thread.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <initializer_list>

namespace vantorel::cli {

namespace {

std::atomic<int> received{0};

/// A signal to all processes of a terminal or group comes here, and once more from the process that stands in
/// for this one: nobody presses Ctrl-C twice within this time.
constexpr std::chrono::milliseconds sameSignal(100);

sigset_t stopSignals()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&set, signal);
    }
    // "nohup" makes it ignored. A script's background job has SIGINT ignored too, but may be stopped by it.
    struct sigaction hangUp{};
    if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler == SIG_IGN) {
        sigdelset(&set, SIGHUP);
    }
    return set;
}

} // namespace

void watchInterrupts(SharedCancelToken cancel)
{
    // A reader of our output that went away is a write error, not a reason to die in the middle of an export.
    std::signal(SIGPIPE, SIG_IGN);
    const sigset_t set = stopSignals();
    if (pthread_sigmask(SIG_BLOCK, &set, nullptr) != 0) {
        return;
    }
    constexpr std::size_t smallStack = 262'144;
    const bool started = startDetachedThread(smallStack, [cancel = std::move(cancel), set] {
        std::chrono::steady_clock::time_point first;
        while (true) {
            int signal = 0;
            if (sigwait(&set, &signal) != 0) {
                continue;
            }
            const auto now = std::chrono::steady_clock::now();
            if (received.exchange(signal) == 0) {
                first = now;
                cancel->cancel();
            } else if (now - first > sameSignal) {
                leaveAtOnce(128 + signal);
            }
        }
    });
    if (!started) { // then the signals do what they always did
        pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    }
}

int interruptingSignal() { return received.load(); }

} // namespace vantorel::cli
