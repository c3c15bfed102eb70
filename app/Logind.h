#pragma once

#include "app/model/Desktop.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <QtCore/qobject.h>
#include <QtDBus/qdbusconnection.h>

namespace vantorel {

/// The login manager of Linux (org.freedesktop.login1 on the system bus): it tells that the computer is about
/// to shut down or to sleep, and waits a while for programs that asked for it (5 seconds, as it is usually
/// set up). Where there is no bus or no such service, nothing is told and nothing held up. Main thread; waits
/// for nobody.
class Logind final : public QObject {
    Q_OBJECT

public:
    struct Told {
        std::function<void()> shutdownComes{};
        /// `reached` lets the computer go to sleep.
        std::function<void(std::function<void()> reached)> sleepComes{};
    };
    Logind(const QDBusConnection& bus, Told told);
    ~Logind() override;

    /// Shutting down and sleeping wait for the returned assertion. Before a sleep it is let go for a moment,
    /// and taken again afterwards.
    Desktop::Assertion delay(const std::string& reason);

private Q_SLOTS:
    void prepareForShutdown(bool comes);
    void prepareForSleep(bool comes);

private:
    struct Delay;
    void take(const std::shared_ptr<Delay>& delay);

    QDBusConnection bus_;
    Told told_;
    std::vector<std::weak_ptr<Delay>> delays_{};
    bool sleeps_ = false;
};

} // namespace vantorel
