#include "app/QtDesktop.h"
#include "app/SessionEnd.h"

#ifdef VANTOREL_HAS_DBUS
#include "app/Logind.h"
#endif

#include <utility>

#include <QtCore/qcoreevent.h>
#include <QtGui/qguiapplication.h>
#include <QtGui/qsessionmanager.h>

namespace vantorel {

namespace {

/// The session asks before it ends (X11; the session manager waits for the answer); the login manager tells
/// that the computer shuts down. Nothing slows a program down here or ends it suddenly.
class LinuxDesktop final : public QtDesktop {
public:
    LinuxDesktop()
    {
        connect(
            qApp, &QGuiApplication::commitDataRequest, this,
            [this](QSessionManager& session) {
                answerSessionEnd(requests(),
                    {
                        .allowsInteraction = [&session] { return session.allowsInteraction(); },
                        .cancel = [&session] { session.cancel(); },
                        .release = [&session] { session.release(); },
                    });
            },
            Qt::DirectConnection);
    }

    Assertion beginActivity(const std::string& reason) override
    {
#ifdef VANTOREL_HAS_DBUS
        return logind_.delay(reason);
#else
        return QtDesktop::beginActivity(reason);
#endif
    }

    /// Nobody could bring the window back without a Dock.
    WindowClosed whenWindowIsClosed() const override { return WindowClosed::endsProgram; }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        // The session has ended, and its answer was heard before.
        if (event->type() == QEvent::Quit && watched == qApp && requests().endSoon) {
            requests().endSoon();
            return true;
        }
        return QtDesktop::eventFilter(watched, event);
    }

private:
#ifdef VANTOREL_HAS_DBUS
    Logind logind_{QDBusConnection::systemBus(),
        {.shutdownComes =
                [this] {
                    if (requests().endSoon) {
                        requests().endSoon();
                    }
                },
            .sleepComes =
                [this](std::function<void()> reached) {
                    if (requests().sleepComes) {
                        requests().sleepComes(std::move(reached));
                    } else {
                        reached();
                    }
                },
        }};
#endif
};

} // namespace

std::shared_ptr<QtDesktop> systemDesktop() { return std::make_shared<LinuxDesktop>(); }

} // namespace vantorel
