#include "app/Logind.h"

#include <optional>
#include <utility>

#include <QtCore/qpointer.h>
#include <QtDBus/qdbusmessage.h>
#include <QtDBus/qdbuspendingcall.h>
#include <QtDBus/qdbuspendingreply.h>
#include <QtDBus/qdbusunixfiledescriptor.h>

namespace vantorel {

namespace {

constexpr const char* service = "org.freedesktop.login1";
constexpr const char* path = "/org/freedesktop/login1";
constexpr const char* manager = "org.freedesktop.login1.Manager";

} // namespace

/// The login manager holds the delay for as long as its descriptor is open.
struct Logind::Delay {
    QString reason;
    std::optional<QDBusUnixFileDescriptor> lock{};
};

Logind::Logind(const QDBusConnection& bus, Told told)
    : bus_(bus)
    , told_(std::move(told))
{
    if (bus_.isConnected()) {
        bus_.connect(service, path, manager, "PrepareForShutdown", this, SLOT(prepareForShutdown(bool)));
        bus_.connect(service, path, manager, "PrepareForSleep", this, SLOT(prepareForSleep(bool)));
    }
}

Logind::~Logind() = default;

Desktop::Assertion Logind::delay(const std::string& reason)
{
    auto delay = std::make_shared<Delay>(Delay{.reason = QString::fromStdString(reason)});
    std::erase_if(delays_, [](const auto& other) { return other.expired(); });
    delays_.push_back(delay);
    if (!sleeps_) {
        take(delay);
    }
    return delay;
}

void Logind::take(const std::shared_ptr<Delay>& delay)
{
    if (!bus_.isConnected()) {
        return;
    }
    auto call = QDBusMessage::createMethodCall(service, path, manager, "Inhibit");
    call << "sleep:shutdown" << "Vantorel" << delay->reason << "delay";
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call), this);
    connect(
        watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, wanted = std::weak_ptr(delay)] {
            watcher->deleteLater();
            const QDBusPendingReply<QDBusUnixFileDescriptor> reply = *watcher;
            const auto held = wanted.lock();
            // Without the service, or where it refuses, the computer just does not wait.
            if (held && !reply.isError() && !sleeps_) {
                held->lock = reply.value();
            }
        });
}

void Logind::prepareForShutdown(bool comes)
{
    // The delay ends with the work, or with the program.
    if (comes && told_.shutdownComes) {
        told_.shutdownComes();
    }
}

void Logind::prepareForSleep(bool comes)
{
    sleeps_ = comes;
    if (!comes) {
        for (const auto& weak : delays_) {
            if (const auto delay = weak.lock()) {
                take(delay);
            }
        }
        return;
    }
    auto reached = [self = QPointer(this)] {
        if (!self || !self->sleeps_) {
            return;
        }
        for (const auto& weak : self->delays_) {
            if (const auto delay = weak.lock()) {
                delay->lock.reset();
            }
        }
    };
    if (told_.sleepComes) {
        told_.sleepComes(std::move(reached));
    } else {
        reached();
    }
}

} // namespace vantorel
