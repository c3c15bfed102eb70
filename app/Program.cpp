#include "app/Program.h"

#include "app/MainWindow.h"
#include "app/QtDesktop.h"
#include "app/Theme.h"
#include "app/model/MainTimers.h"
#include "app/model/QtSettings.h"
#include "app/model/RealServices.h"
#include "base/Product.h"
#include "base/Text.h"
#include "discovery/volumes/VolumeChanges.h"
#include "disk/Guarded.h"
#include "disk/Thread.h"

#include <cstdio>
#include <tuple>

#include <QtCore/qfile.h>
#include <QtGui/qsessionmanager.h>
#include <QtWidgets/qapplication.h>
#include <QtWidgets/qmessagebox.h>

#include <unistd.h>

namespace vantorel {

namespace {

int runWindows(QApplication& application, const CoreServices& services)
{
    const auto timers = std::make_shared<ContinuousTimers>(services.clock);
    const auto desktop = std::make_shared<QtDesktop>();
    const auto settings = std::make_shared<QtSettings>(std::make_unique<QSettings>());
    AppModel model(realEnvironment(services),
        {
            .core = realCoreWork(services),
            .start = startOnThread,
            .timers = timers,
            .settings = settings,
            .desktop = desktop,
        });
    MainWindow window(model, timers, settings->native());
    desktop->setWindow(&window);

    const auto mailbox = std::make_shared<Mailbox>(&model);
    const auto volumes = watchVolumeChanges(services.calls, [box = std::weak_ptr(mailbox), &model] {
        if (const auto open = box.lock()) {
            open->post([&model] { model.volumesChanged(); });
        }
    });
    QObject::connect(
        &application, &QGuiApplication::applicationStateChanged, &model, [&](Qt::ApplicationState state) {
            if (state == Qt::ApplicationActive) {
                model.applicationBecameActive();
            }
        });
    QObject::connect(
        &application, &QGuiApplication::commitDataRequest, &model,
        [&](QSessionManager& session) {
            if (!window.quitFlow().mayTerminate()) {
                session.cancel();
            }
        },
        Qt::DirectConnection);
    window.show();
    if (const auto arguments = QCoreApplication::arguments(); arguments.size() > 1) {
        model.openLibrary(QFile::encodeName(arguments[1]).toStdString());
    }
    const int status = QApplication::exec();
    mailbox->close();
    return status;
}

} // namespace

int runApplication(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setApplicationName("Vantorel");
    QApplication::setOrganizationName("Vantorel");
    QApplication::setOrganizationDomain("vantorel.example");
    QApplication::setApplicationVersion(
        QString::fromUtf8(product::version().data(), static_cast<qsizetype>(product::version().size())));
    theme::apply(application);
    QApplication::setWindowIcon(QIcon(":/icons/vantorel.svg"));
    QApplication::setQuitOnLastWindowClosed(false);

    CoreServices services{
        .calls = realSystemCalls(),
        .clock = systemClock(),
        .children = nullptr,
        .temporary = nullptr,
    };
    services.children = realChildProcesses(services.clock);
    auto place = TemporaryFiles::create(services.calls);
    if (!place) {
        const auto sentence = "Vantorel could not make its folder for temporary files: "
            + errorText(place.error()) + ". Set TMPDIR to a folder with free space and try again.";
        QMessageBox::critical(nullptr, "Vantorel", QString::fromStdString(sentence));
        return 3;
    }
    services.temporary = *std::move(place);
    std::ignore =
        startOnThread([place = services.temporary] { place->sweepStaleTemporaryFiles(); }); // else next time

    const int status = runWindows(application, services);
    if (anyThreadAbandoned() || detachedThreadsAlive() > 0) {
        // A thread still works or hangs in a disk call: destruction must not race with it. What it keeps of
        // the private copies is swept at the next start.
        services = {};
        std::fflush(nullptr);
        _exit(status);
    }
    return status;
}

} // namespace vantorel
