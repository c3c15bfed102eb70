#include "app/AcknowledgementsWindow.h"
#include "app/Announcer.h"
#include "app/Arguments.h"
#include "app/EndingSignals.h"
#include "app/LibraryRow.h"
#include "app/MainWindow.h"
#include "app/OnboardingView.h"
#include "app/QtDesktop.h"
#include "app/SessionEnd.h"
#include "support/TemporaryFolder.h"
#include "tests/app/AppFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include <QtCore/qmimedata.h>
#include <QtCore/qsettings.h>
#include <QtCore/qtimer.h>
#include <QtCore/qurl.h>
#include <QtGui/qaccessible.h>
#include <QtGui/qaction.h>
#include <QtGui/qevent.h>
#include <QtGui/qscreen.h>
#include <QtTest/QTest>
#include <QtWidgets/qapplication.h>
#include <QtWidgets/qcheckbox.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qmessagebox.h>
#include <QtWidgets/qplaintextedit.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qstackedwidget.h>

namespace vantorel {
namespace {

class TestUpdates final : public Updates {
public:
    void checkNow() override { ++checks; }
    bool checksAutomatically() const override { return isAutomatic; }
    void setChecksAutomatically(bool automatic) override { isAutomatic = automatic; }

    int checks = 0;
    bool isAutomatic = true;
};

/// The frame of the windows over the model with its substitutes.
class Shell : public AppFixture {
protected:
    Shell()
    {
        // An earlier test ended the application: a loop of its own makes others possible again.
        QTimer::singleShot(0, [] { QCoreApplication::exit(); });
        QApplication::exec();
    }

    MainWindow& open(AppModel& app)
    {
        window.reset();
        window = std::make_unique<MainWindow>(app, timers, ini, *desktop);
        window->show();
        settle();
        return *window;
    }
    MainWindow& openExporting()
    {
        auto& shown = open(readyModel());
        readyToStart().startExport();
        return shown;
    }
    AppModel& readyToStart() { return *ready; }
    AppModel& readyModel()
    {
        ready = &AppFixture::readyModel();
        return *ready;
    }
    static void settle()
    {
        for (int i = 0; i < 3; ++i) { // a refresh, what it adds, and what that shows
            QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            QApplication::processEvents();
        }
    }
    template <typename Widget>
    Widget* visible(const QString& text = {})
    {
        for (auto* found : window->findChildren<Widget*>()) {
            if (found->isVisible() && (text.isEmpty() || found->property("text").toString() == text)) {
                return found;
            }
        }
        return nullptr;
    }
    static QWidget* nextByTab(const QWidget* from)
    {
        auto* next = from->nextInFocusChain();
        while ((next->focusPolicy() & Qt::TabFocus) == 0 || !next->isVisible()) {
            next = next->nextInFocusChain();
        }
        return next;
    }
    void answer(const QString& text)
    {
        auto* button = visible<QPushButton>(text);
        ASSERT_NE(button, nullptr) << text.toStdString();
        button->click();
        settle();
    }
    QAction* command(const QString& text)
    {
        for (auto* found : window->findChildren<QAction*>()) {
            if (found->text().remove('&') == text) {
                return found;
            }
        }
        return nullptr;
    }
    /// With VANTOREL_SCREENSHOTS=FOLDER in the environment: a picture of what stands there now.
    static void picture(QWidget* shown, const char* name)
    {
        if (const char* place = std::getenv("VANTOREL_SCREENSHOTS"); place && shown) {
            settle();
            EXPECT_TRUE(shown->grab().save(QString::fromUtf8(place) + "/" + name + ".png"));
        }
    }
    void drop(const QString& path)
    {
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile(path)});
        QDragEnterEvent enter({9, 9}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(window.get(), &enter);
        if (enter.isAccepted()) {
            QDropEvent event({9, 9}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(window.get(), &event);
        }
        workers->runAll();
        settle();
    }

    TemporaryFolder folder{};
    QSettings ini{QString::fromStdString((folder / "shell.ini").native()), QSettings::IniFormat};
    AppModel* ready = nullptr;
    std::unique_ptr<MainWindow> window{};
};

TEST_F(Shell, whereProgramsOutliveTheirWindowClosingItOnlyHidesIt)
{
    desktop->windowClosed = Desktop::WindowClosed::leavesProgramRunning;
    auto& shown = openExporting();
    shown.close();
    settle();
    EXPECT_FALSE(shown.isVisible());
    EXPECT_FALSE(ready->isStoppingExport());
    desktop->requests.reopen();
    EXPECT_TRUE(shown.isVisible());

    shown.close();
    desktop->requests.quit({});
    settle();
    EXPECT_NE(visible<QMessageBox>(), nullptr) << "the question belongs to a window that is seen";
    picture(visible<QMessageBox>(), "quit-question");
    EXPECT_TRUE(shown.isVisible());
}

TEST_F(Shell, aLogOutAsksAndHearsTheAnswer)
{
    openExporting();
    std::vector<bool> ends;
    desktop->requests.quit([&](bool answer) { ends.push_back(answer); });
    desktop->requests.quit([&](bool answer) { ends.push_back(answer); });
    settle();
    answer("Keep Running");
    EXPECT_THAT(ends, testing::ElementsAre(false, false)) << "one question, everybody who asked is told";
    EXPECT_FALSE(ready->isStoppingExport());

    ready->closeExport();
    desktop->requests.quit([&](bool answer) { ends.push_back(answer); });
    settle();
    answer("Stop and Quit");
    EXPECT_NE(visible<QPushButton>("Stopping…"), nullptr);
    EXPECT_EQ(ends.size(), 2U) << "not before the export has ended";
    workers->runAll();
    EXPECT_THAT(ends, testing::ElementsAre(false, false, true));
}

TEST_F(Shell, aSessionThatEndsWaitsForTheUser)
{
    struct Session {
        bool mayAsk = true;
        int cancels = 0;
        int releases = 0;
    };
    const auto ask = [&](Session& session) {
        answerSessionEnd(desktop->requests,
            {.allowsInteraction = [&] { return session.mayAsk; },
                .cancel = [&] { ++session.cancels; },
                .release = [&] { ++session.releases; }});
    };
    openExporting();
    Session kept;
    QTimer::singleShot(0, [&] { answer("Keep Running"); });
    ask(kept);
    EXPECT_EQ(kept.cancels, 1);
    EXPECT_EQ(kept.releases, 1);

    Session unasked{.mayAsk = false};
    QTimer::singleShot(0, [&] {
        EXPECT_EQ(visible<QMessageBox>(), nullptr);
        EXPECT_TRUE(ready->isStoppingExport());
        workers->runAll();
    });
    ask(unasked);
    EXPECT_EQ(unasked.cancels, 0);
    Session idle;
    ask(idle);
    EXPECT_EQ(idle.cancels + idle.releases, 0) << "nothing is being saved";
}

TEST_F(Shell, offersUpdatesOnlyWhereThereAreSome)
{
    TestUpdates updates;
    open(model());
    EXPECT_EQ(command("Check for Updates…"), nullptr);
    EXPECT_EQ(command("Settings…"), nullptr);

    window.reset();
    desktop->updater = &updates;
    open(model());
    command("Check for Updates…")->trigger();
    EXPECT_EQ(updates.checks, 1);
    command("Settings…")->trigger();
    settle();
    auto* automatic = visible<QCheckBox>("Check for updates automatically");
    ASSERT_NE(automatic, nullptr);
    EXPECT_TRUE(automatic->isChecked());
    picture(automatic->window(), "settings");
    automatic->click();
    EXPECT_FALSE(updates.isAutomatic);
    updates.isAutomatic = true;
    QEvent activated(QEvent::ActivationChange);
    QApplication::sendEvent(automatic->window(), &activated);
    EXPECT_TRUE(automatic->isChecked()) << "the updater was told otherwise meanwhile";
}

TEST_F(Shell, commandsAndTheirKeysFollowTheScreen)
{
    auto& app = scannedModel();
    auto& shown = open(app);
    QApplication::setActiveWindow(&shown);
    const auto press = [&](Qt::Key key, Qt::KeyboardModifiers with = Qt::ControlModifier) {
        QTest::keyClick(&shown, key, with);
        settle();
    };
    ASSERT_EQ(app.screen(), Screen::results);
    press(Qt::Key_3);
    EXPECT_EQ(app.tab(), ResultTab::notSaved);
    press(Qt::Key_E);
    EXPECT_TRUE(app.showExport());
    press(Qt::Key_1);
    EXPECT_EQ(app.tab(), ResultTab::notSaved) << "what lies behind the sheet takes no key";
    app.closeExport();
    press(Qt::Key_Escape, Qt::NoModifier);
    EXPECT_EQ(app.screen(), Screen::sources);
    press(Qt::Key_E);
    EXPECT_FALSE(app.showExport());
    press(Qt::Key_O);
    EXPECT_EQ(desktop->panels.size(), 1U);
    press(Qt::Key_R);
    EXPECT_TRUE(app.isFinding());
    workers->runAll();
    app.showResults();
    press(Qt::Key_R, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(app.screen(), Screen::scanning);
    press(Qt::Key_O);
    EXPECT_EQ(desktop->panels.size(), 1U);
    press(Qt::Key_Escape, Qt::NoModifier);
    EXPECT_TRUE(app.isStoppingScan());
}

TEST_F(Shell, scansADroppedLibraryAndRefusesOtherThings)
{
    auto& app = scannedModel();
    open(app);
    refusal = "";
    drop("/disk/Old.photoslibrary/database/Photos.sqlite");
    EXPECT_EQ(app.screen(), Screen::results);
    EXPECT_NE(visible<QLabel>(
                  "\"Photos.sqlite\" is not a Photos library: it has no database and no originals folder."),
        nullptr);
    picture(window.get(), "dropped-file");
    answer("Dismiss");
    refusal = "none";
    drop("/disk/Other.photoslibrary");
    EXPECT_EQ(app.scannedLibrary()->name, "Other");
    window.reset();
    settings->setFlag(settingsKeys::onboardingDone, false);
    auto& fresh = freshModel();
    open(fresh);
    drop("/disk/Early.photoslibrary");
    EXPECT_EQ(fresh.screen(), Screen::onboarding);
}

class GivingDesktop final : public QtDesktop {
public:
    WindowClosed whenWindowIsClosed() const override { return WindowClosed::leavesProgramRunning; }
};

TEST_F(Shell, opensALibraryThatIsGivenToTheRunningProgram)
{
    GivingDesktop given;
    const auto give = [&](const QString& path) {
        QFileOpenEvent event(path);
        QApplication::sendEvent(qApp, &event);
        workers->runAll();
        settle();
    };
    settings->setFlag(settingsKeys::onboardingDone, false);
    auto& app = freshModel();
    open(app);
    given.listen(desktop->requests);
    give("/disk/Early.photoslibrary");
    EXPECT_EQ(app.screen(), Screen::onboarding) << "the first run comes first";
    app.finishOnboarding();
    workers->runAll();
    EXPECT_EQ(app.scannedLibrary()->name, "Early");

    window->close();
    give("/disk/Other.photoslibrary");
    EXPECT_EQ(app.scannedLibrary()->name, "Other");
    EXPECT_TRUE(window->isVisible());
    app.openExport();
    settle();
    give("/disk/Third.photoslibrary");
    EXPECT_EQ(app.scannedLibrary()->name, "Other") << "what lies behind the sheet stays as it is";
    EXPECT_TRUE(app.showExport());

    app.setExportDestination("/there");
    workers->runAll();
    app.startExport();
    app.closeExport();
    settle();
    desktop->requests.quit({});
    settle();
    ASSERT_NE(visible<QMessageBox>(), nullptr);
    QFileOpenEvent event("/disk/Third.photoslibrary");
    QApplication::sendEvent(qApp, &event);
    EXPECT_EQ(app.screen(), Screen::results) << "the question is answered first";
    answer("Keep Running");
    QApplication::sendEvent(qApp, &event);
    workers->run(workers->waiting() - 1); // the look at it; the export still runs
    EXPECT_EQ(app.screen(), Screen::scanning);
    EXPECT_TRUE(app.isExporting());
    EXPECT_FALSE(app.isStoppingExport());
    refusal = "";
    give("/disk/Notes.txt");
    EXPECT_EQ(app.scanError(),
        "\"Notes.txt\" is not a Photos library: it has no database and no originals folder.");
    EXPECT_EQ(app.scannedLibrary()->name, "Third");
}

TEST_F(Shell, comesBackWhereItWasIfThereIsAScreen)
{
    auto& app = model();
    open(app).setGeometry(40, 50, 900, 600);
    window->close();
    open(app);
    EXPECT_EQ(window->size(), QSize(900, 600));
    window->setGeometry(90'000, 90'000, 900, 600);
    window->close();
    open(app);
    EXPECT_TRUE(QApplication::primaryScreen()->geometry().intersects(window->frameGeometry()));
}

TEST_F(Shell, theFirstRunAsksForAccessWhereTheSystemGuardsIt)
{
    access = false;
    auto& app = freshModel();
    OnboardingView view(app, OnboardingView::Access::asked);
    view.resize(860, 560);
    view.show();
    settle();
    const auto button = [&](const QString& text) {
        const auto all = view.findChildren<QPushButton*>();
        const auto found = std::ranges::find_if(
            all, [&](const QPushButton* one) { return one->isVisible() && one->text() == text; });
        return found == all.end() ? nullptr : *found;
    };
    const auto shows = [&](const QString& text) {
        const auto all = view.findChildren<QLabel*>();
        return std::ranges::any_of(
            all, [&](const QLabel* label) { return label->isVisible() && label->text().startsWith(text); });
    };
    ASSERT_NE(button("Continue"), nullptr);
    button("Continue")->click();
    settle();
    EXPECT_TRUE(settings->flag(settingsKeys::seenWelcome));
    EXPECT_TRUE(shows("1. Click Open System Settings."));
    EXPECT_TRUE(shows("Full Disk Access is off."));
    EXPECT_EQ(view.focusWidget(), button("Open System Settings"));
    picture(&view, "onboarding-access");
    access = true;
    app.applicationBecameActive();
    settle();
    EXPECT_TRUE(shows("Full Disk Access is on."));
    ASSERT_NE(button("Continue"), nullptr);
    button("Continue")->click();
    EXPECT_EQ(app.screen(), Screen::sources);

    OnboardingView again(app, OnboardingView::Access::asked);
    EXPECT_EQ(again.findChild<QStackedWidget*>()->currentIndex(), 1) << "the welcome was read";
}

TEST_F(Shell, showsWhatHelpsBeneathEachSentence)
{
    auto& app = freshModel();
    settings->setFlag(settingsKeys::onboardingDone, true);
    scanError = ReadError::accessDenied();
    app.finishOnboarding();
    app.scan(library("Locked"));
    workers->runAll();
    auto& shown = open(app);
    EXPECT_NE(visible<QLabel>("It is Locked that refuses."), nullptr);
    auto* row = visible<LibraryRow>();
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(shown.focusWidget(), row) << "the keyboard begins with the first library";
    EXPECT_EQ(nextByTab(row), row->button());
    EXPECT_EQ(nextByTab(row->button())->property("text").toString(), "Choose a Library…");
    picture(&shown, "refused");
    scanError.reset();
    QTest::keyClick(row, Qt::Key_Return);
    workers->runAll();
    EXPECT_EQ(app.screen(), Screen::results);
}

TEST_F(Shell, saysWhenTheAcknowledgementsAreMissing)
{
    const AcknowledgementsWindow missing(nullptr, QString::fromStdString((folder / "none.txt").native()));
    EXPECT_EQ(missing.findChild<QPlainTextEdit*>()->toPlainText(),
        "The acknowledgements file is missing from this copy of Vantorel.");
    AcknowledgementsWindow whole(nullptr);
    picture(&whole, "acknowledgements");
    EXPECT_TRUE(whole.findChild<QPlainTextEdit*>()->toPlainText().contains("SQLite"));
}

/// What comes into view, as a screen reader sees it.
class Reader final : public QObject {
public:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        const auto* seen =
            event->type() == QEvent::Show ? QAccessible::queryAccessibleInterface(watched) : nullptr;
        if (seen && seen->role() == QAccessible::Notification) {
            spoken.push_back(seen->text(QAccessible::Name).toStdString());
        }
        return false;
    }

    std::vector<std::string> spoken{};
};

TEST_F(Shell, announcementsAreNotificationsThatComeIntoView)
{
    if (QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)) {
        GTEST_SKIP() << "Qt has an event for them";
    }
    open(model());
    Reader reader;
    qApp->installEventFilter(&reader);
    Announcer announcer;
    announcer.announce(window.get(), "Scan finished.");
    announcer.announce(window.get(), "Scan finished.");
    EXPECT_THAT(reader.spoken, testing::ElementsAre("Scan finished.", "Scan finished."));
}

TEST(CommandLine, namesOneLibraryOrSaysWhyNot)
{
    using Library = decltype(libraryOf(0, nullptr));
    const auto here = std::filesystem::current_path();
    struct Row {
        std::vector<const char*> given;
        Library expected;
    };
    for (const auto& [given, expected] : {
             Row{{}, std::nullopt},
             Row{{"a/../Old.photoslibrary"}, here / "Old.photoslibrary"},
             Row{{"/disk/\xff\x01.photoslibrary"}, DiskPath("/disk/\xff\x01.photoslibrary")},
             Row{{"--", "-x"}, here / "-x"},
             Row{{"--nonsense"}, std::unexpected("There is no option \"--nonsense\".")},
             Row{{"one", "two"}, std::unexpected("One library at a time can be opened.")},
             Row{{""}, std::unexpected("The library's name is empty.")},
         }) {
        auto arguments = given;
        arguments.insert(arguments.begin(), "vantorel-app");
        EXPECT_TRUE(libraryOf(static_cast<int>(arguments.size()), arguments.data()) == expected)
            << (given.empty() ? "nothing" : given.front());
    }
}

TEST_F(Shell, endingSignalsComeAsCalls)
{
    int received = 0;
    std::signal(SIGHUP, SIG_IGN);
    {
        const EndingSignals signals([&] { ++received; });
        for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGPIPE}) {
            raise(signal);
            settle();
        }
    }
    EXPECT_EQ(received, 2) << "a SIGHUP that was ignored stays so";
    EXPECT_EQ(std::signal(SIGHUP, SIG_DFL), SIG_IGN);
    EXPECT_EQ(std::signal(SIGTERM, SIG_DFL), SIG_DFL);
}

} // namespace
} // namespace vantorel
