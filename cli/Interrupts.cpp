#include "cli/Interrupts.h"

#include "disk/Thread.h"

#include <atomic>
#include <csignal>
#include <initializer_list>

#include <unistd.h>

namespace vantorel::cli {

namespace {

std::atomic<int> received{0};

sigset_t stopSignals()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&set, signal);
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
        while (true) {
            int signal = 0;
            if (sigwait(&set, &signal) != 0) {
                continue;
            }
            if (received.exchange(signal) != 0) {
                _exit(128 + signal);
            }
            cancel->cancel();
        }
    });
    if (!started) { // then the signals do what they always did
        pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    }
}

int interruptingSignal() { return received.load(); }

} // namespace vantorel::cli
