#include "app/EndingSignals.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <tuple>
#include <utility>

#include <QtCore/qsocketnotifier.h>

#include <fcntl.h>
#include <unistd.h>

namespace vantorel {

namespace {

constexpr std::initializer_list<int> endingSignals{SIGINT, SIGTERM, SIGHUP};

/// The handler may only write; the main thread reads. Stays open: a handler may be running at any time.
std::array<int, 2> wake{-1, -1};

void onSignal(int)
{
    const int kept = errno;
    const char byte = 1;
    std::ignore = write(wake[1], &byte, 1); // a full pipe wakes the reader as well
    errno = kept;
}

bool isIgnored(int signal)
{
    struct sigaction current{};
    return sigaction(signal, nullptr, &current) == 0 && current.sa_handler == SIG_IGN;
}

void handle(int signal, void (*handler)(int))
{
    struct sigaction action{};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
}

bool openWake()
{
    if (wake[0] < 0 && pipe(wake.data()) != 0) {
        wake = {-1, -1};
        return false;
    }
    for (const int end : wake) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
        fcntl(end, F_SETFL, O_NONBLOCK);
    }
    return true;
}

} // namespace

EndingSignals::EndingSignals(std::function<void()> received)
{
    handle(SIGPIPE, SIG_IGN);
    if (!openWake()) {
        return; // then they do what they always did
    }
    notifier_ = std::make_unique<QSocketNotifier>(wake[0], QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, [received = std::move(received)] {
        std::array<char, 64> bytes{};
        while (read(wake[0], bytes.data(), bytes.size()) > 0) { }
        received();
    });
    for (const int signal : endingSignals) {
        if (signal != SIGHUP || !isIgnored(signal)) {
            handle(signal, onSignal);
        }
    }
}

EndingSignals::~EndingSignals()
{
    for (const int signal : notifier_ ? endingSignals : std::initializer_list<int>{}) {
        if (!isIgnored(signal)) {
            handle(signal, SIG_DFL);
        }
    }
}

} // namespace vantorel
