#include "app/Program.h"

#include "app/Arguments.h"
#include "app/EndingSignals.h"
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

#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include <QtWidgets/qapplication.h>
#include <QtWidgets/qmessagebox.h>

#include <unistd.h>

namespace vantorel {

namespace {

using namespace std::chrono_literals;

constexpr int wrongUsage = 2;
constexpr int nothingStarted = 3;

QString qText(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

/// What Qt had to say of the display before it gave up.
QString& displayTrouble()
{
    static QString text;
    return text;
}

/// Where Qt finds no display that answers, it explains that to programmers and aborts.
void onStartMessage(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtFatalMsg) {
        const auto reason = displayTrouble().isEmpty() ? text : displayTrouble();
        const int status = answerNoDisplay(reason.trimmed().toStdString());
        std::fflush(nullptr);
        _exit(status);
    }
    displayTrouble() = displayTrouble().isEmpty() ? text : displayTrouble();
}

int runWindows(const CoreServices& services, const std::optional<DiskPath>& library)
{
    const auto timers = std::make_shared<ContinuousTimers>(services.clock);
    const auto desktop = systemDesktop();
    const auto settings = std::make_shared<QtSettings>(std::make_unique<QSettings>());
    AppModel model(realEnvironment(services),
        {
            .core = realCoreWork(services),
            .start = startOnThread,
            .timers = timers,
            .settings = settings,
            .desktop = desktop,
        });
    MainWindow window(model, timers, settings->native(), *desktop);
    desktop->setWindow(&window);
    const EndingSignals endingSignals([&window] { window.quitFlow().endSoon(); });

    const auto mailbox = std::make_shared<Mailbox>(&model);
    const auto volumes = watchVolumeChanges(services.calls, [box = std::weak_ptr(mailbox), &model] {
        if (const auto open = box.lock()) {
            open->post([&model] { model.volumesChanged(); });
        }
    });
    QObject::connect(
        qApp, &QGuiApplication::applicationStateChanged, &model, [&](Qt::ApplicationState state) {
            if (state == Qt::ApplicationActive) {
                model.applicationBecameActive();
            }
        });
    window.show();
    if (library) {
        window.openGiven(*library);
    }
    const int status = QApplication::exec();
    window.hide();
    mailbox->close();
    return status;
}

/// Work that was cancelled with the model ends within moments, unless a disk hangs; then the private copies
/// are removed by whoever lets go of them last.
void awaitBackgroundWork(const Clock& clock)
{
    constexpr auto moment = 20ms;
    for (auto waited = 0ms; detachedThreadsAlive() > 0 && waited < 1s; waited += moment) {
        clock.sleepFor(moment);
    }
}

} // namespace

int runApplication(int argc, char** argv)
{
    auto* const usual = qInstallMessageHandler(onStartMessage);
    QApplication application(argc, argv);
    qInstallMessageHandler(usual);
    QApplication::setApplicationName("Vantorel");
    QApplication::setOrganizationName("Vantorel");
    QApplication::setOrganizationDomain("vantorel.example");
    QApplication::setApplicationVersion(qText(product::version()));
    theme::apply(application);
    QApplication::setWindowIcon(QIcon(":/icons/vantorel.svg"));
    QApplication::setQuitOnLastWindowClosed(false);
    const auto library = libraryOf(argc, argv); // Qt took its own options from it
    if (!library) {
        std::fprintf(stderr, "%s See vantorel-app --help.\n", library.error().c_str());
        return wrongUsage;
    }

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
        return nothingStarted;
    }
    services.temporary = *std::move(place);
    std::ignore =
        startOnThread([place = services.temporary] { place->sweepStaleTemporaryFiles(); }); // else next time

    const int status = runWindows(services, *library);
    awaitBackgroundWork(*services.clock);
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
