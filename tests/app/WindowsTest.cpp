#include "app/ExportSheet.h"
#include "app/LibraryRow.h"
#include "app/MainWindow.h"
#include "app/PictureGrid.h"
#include "app/Theme.h"
#include "app/model/RealServices.h"
#include "base/Clock.h"
#include "tests/app/AppFixture.h"
#include "tests/sample/SampleFixture.h"
#include "tests/support/ManualClock.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include <QtCore/qsettings.h>
#include <QtGui/qaccessible.h>
#include <QtGui/qclipboard.h>
#include <QtTest/QTest>
#include <QtWidgets/qabstractbutton.h>
#include <QtWidgets/qapplication.h>
#include <QtWidgets/qcheckbox.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qmessagebox.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qscrollarea.h>
#include <QtWidgets/qtableview.h>
#include <QtWidgets/qtoolbutton.h>
#include <QtWidgets/qtreeview.h>

namespace vantorel {
namespace {

/// The real windows over the real core and a sample library, without a display. Work, time and panels are the
/// test's.
///
/// With VANTOREL_SCREENSHOTS=FOLDER in the environment every screen that a test passes is saved there as a
/// picture, with VANTOREL_SMALL at the least size.
class Windows : public testing::Test {
protected:
    Windows()
        : sample(sample::WriteOptions{}, 120)
        , destination(folder.makeFolder("Saved"))
    {
        services.calls = realSystemCalls();
        services.clock = systemClock();
        services.children = realChildProcesses(services.clock);
        services.temporary = TemporaryFiles::create(services.calls, folder.makeFolder("tmp")).value();
        settings->setFlag(settingsKeys::onboardingDone, true);
    }

    void open()
    {

        auto environment = realEnvironment(services);
        environment.finder.find = [this](const SharedCancelToken&) {
            return FindResult{.libraries = libraries};
        };
        libraries = {*environment.finder.inspect(sample.library())};
        libraries.push_back({.url = "/Volumes/Time/2024-05-03/Photos Library.photoslibrary",
            .name = "Photos Library",
            .origin = FoundLibrary::Origin::timeMachine,
            .format = LibraryFormat::noDatabase,
            .databaseExcludedFromBackups = true,
            .hasJournals = true});
        model = std::make_unique<AppModel>(std::move(environment),
            AppServices{
                .core = realCoreWork(services),
                .start =
                    [workers = std::weak_ptr(workers)](std::function<void()> work) {
                        const auto open = workers.lock(); // what waits there may hold this in turn
                        return open && open->start(std::move(work));
                    },
                .timers = timers,
                .settings = settings,
                .desktop = desktop,
            });
        window = std::make_unique<MainWindow>(*model, timers, ini, *desktop);
        if (std::getenv("VANTOREL_SMALL")) {
            window->resize(window->minimumSize());
        }
        window->show();
        settle();
    }

    /// Lets all work end and every view be refreshed.
    void settle()
    {
        for (int i = 0; i < 3; ++i) {
            workers->runAll();
            QApplication::processEvents();
            ManualClock::waitForThreads(); // pictures are read on threads of their own
        }
        QApplication::processEvents();
    }

    /// Lets the views be refreshed; the work waits.
    static void settleViews()
    {
        for (int i = 0; i < 3; ++i) {
            QApplication::processEvents();
        }
    }

    template <typename Widget = QAbstractButton>
    Widget* button(const QString& text)
    {
        for (auto* found : window->findChildren<Widget*>()) {
            if (found->isVisible() && found->text() == text) {
                return found;
            }
        }
        return nullptr;
    }
    void click(const QString& text)
    {
        auto* found = button(text);
        ASSERT_NE(found, nullptr) << text.toStdString();
        ASSERT_TRUE(found->isEnabled()) << text.toStdString();
        found->click();
        QApplication::processEvents();
    }
    void pressReturnOn(const QString& text)
    {
        auto* found = button(text);
        ASSERT_NE(found, nullptr) << text.toStdString();
        found->setFocus();
        QTest::keyClick(found, Qt::Key_Return);
        QApplication::processEvents();
    }
    bool shows(const QString& part)
    {
        const auto labels = window->findChildren<QLabel*>();
        return std::ranges::any_of(
            labels, [&](const QLabel* label) { return label->isVisible() && label->text().contains(part); });
    }
    template <typename View>
    View* visible()
    {
        for (auto* view : window->findChildren<View*>()) {
            if (view->isVisible()) {
                return view;
            }
        }
        return nullptr;
    }
    /// What is called so, as a screen reader finds it that wants to do this with it.
    static QAccessibleInterface* spoken(QAccessibleInterface* in, const QString& name, const QString& action)
    {
        if (in->state().invisible) {
            return nullptr;
        }
        auto* actions = in->actionInterface();
        if (actions && actions->actionNames().contains(action)
            && in->text(QAccessible::Name).startsWith(name)) {
            return in;
        }
        for (int i = 0; i < in->childCount(); ++i) {
            if (auto* found = in->child(i) ? spoken(in->child(i), name, action) : nullptr) {
                return found;
            }
        }
        return nullptr;
    }
    /// A screen reader finds a name on everything that takes the focus.
    void expectNames(const char* screen)
    {
        for (auto* widget : window->findChildren<QWidget*>()) {
            if (!widget->isVisible() || !widget->isEnabled() || (widget->focusPolicy() & Qt::TabFocus) == 0
                || qobject_cast<QScrollArea*>(widget) != nullptr) {
                continue;
            }
            auto* spoken = QAccessible::queryAccessibleInterface(widget);
            EXPECT_TRUE(spoken != nullptr && !spoken->text(QAccessible::Name).isEmpty())
                << screen << ": a " << widget->metaObject()->className() << " without a name";
        }
    }
    /// A screen reader may ask for what has just gone away.
    void expectNoSuchChildren()
    {
        for (QWidget* widget : std::initializer_list<QWidget*>{window.get(), visible<QScrollArea>()}) {
            if (widget) {
                EXPECT_EQ(QAccessible::queryAccessibleInterface(widget)->child(1'000), nullptr);
            }
        }
    }
    /// Where there is too little room, a window scrolls; no line of a text is cut off.
    void expectWholeTexts(const char* screen)
    {
        for (auto* label : window->findChildren<QLabel*>()) {
            if (label->isVisible() && label->hasHeightForWidth() && !label->text().isEmpty()) {
                EXPECT_GE(label->height(), label->heightForWidth(label->width()))
                    << screen << ": " << label->text().toStdString();
            }
        }
    }
    void picture(const char* name)
    {
        settleViews();
        expectNames(name);
        expectNoSuchChildren();
        expectWholeTexts(name);
        if (const char* place = std::getenv("VANTOREL_SCREENSHOTS")) {
            EXPECT_TRUE(window->grab().save(QString::fromUtf8(place) + "/" + name + ".png"));
        }
    }

    TemporaryFolder folder{};
    sample::SampleFixture sample;
    DiskPath destination;
    CoreServices services{};
    std::shared_ptr<TestTimers> timers = std::make_shared<TestTimers>();
    std::shared_ptr<TestWorkers> workers = std::make_shared<TestWorkers>();
    std::shared_ptr<TestSettings> settings = std::make_shared<TestSettings>();
    std::shared_ptr<TestDesktop> desktop = std::make_shared<TestDesktop>();
    QSettings ini{QString::fromStdString((folder / "windows.ini").native()), QSettings::IniFormat};
    std::vector<FoundLibrary> libraries{};
    std::unique_ptr<AppModel> model{};
    std::unique_ptr<MainWindow> window{};
};

TEST_F(Windows, leadFromTheFirstRunToTheLibraries)
{
    settings->setFlag(settingsKeys::onboardingDone, false);
    open();
    EXPECT_TRUE(shows("See and save what is in a Photos library"));
    picture("onboarding");
    click("Continue");
    settle();
    EXPECT_EQ(model->screen(), Screen::sources);
    EXPECT_TRUE(shows("Choose a library to scan"));
    EXPECT_TRUE(shows("In Time Machine backups"));
    EXPECT_TRUE(shows("No database here, as is normal for a Time Machine backup."));
    picture("sources");

    libraries.clear();
    click("Look Again");
    settle();
    EXPECT_TRUE(shows("No library found"));
    picture("nothing-found");
    desktop->answer = folder.makeFolder("Holiday");
    click("Choose a Library…");
    settle();
    EXPECT_TRUE(shows("\"Holiday\" is not a Photos library: it has no database and no originals folder."));
}

TEST_F(Windows, keepARowThatIsClickedWhileASearchEnds)
{
    open();
    auto* scan = button<QPushButton>("Scan");
    auto* row = qobject_cast<LibraryRow*>(scan->parentWidget());
    const auto find = [&](const std::string& name) {
        libraries.insert(libraries.begin(), {.url = "/media/a/" + name, .name = name});
        model->lookForLibraries();
        settle();
    };
    row->setFocus();
    find("Attic");
    EXPECT_TRUE(row->hasFocus());
    QTest::keyClick(row, Qt::Key_Up);
    auto* above = qobject_cast<LibraryRow*>(window->focusWidget());
    ASSERT_NE(above, nullptr);
    EXPECT_EQ(above->library().name, "Attic");
    EXPECT_EQ(above->button()->nextInFocusChain(), row) << "the tabulator key goes as the rows stand";
    QTest::mousePress(scan, Qt::LeftButton);
    find("Basement");
    QTest::mouseRelease(scan, Qt::LeftButton);
    EXPECT_EQ(model->screen(), Screen::scanning);
}

TEST_F(Windows, leaveAScanWhoseDiskDoesNotAnswer)
{
    open();
    click("Scan");
    EXPECT_TRUE(shows("Copying the database"));
    click("Stop");
    settleViews();
    EXPECT_FALSE(button("Stopping…")->isEnabled());
    timers->pass(Seconds(2.9));
    settleViews();
    EXPECT_FALSE(shows("Stopping waits for the disk to answer."));
    timers->pass(Seconds(0.2));
    settleViews();
    EXPECT_TRUE(shows("Stopping waits for the disk to answer."));
    picture("slow-stop");
    timers->pass(Seconds(12));
    settleViews();
    EXPECT_TRUE(shows("Choose a library to scan"));
    settle();
    EXPECT_EQ(model->screen(), Screen::sources) << "what came late is dropped";
}

TEST_F(Windows, compareWithAnotherLibrary)
{
    const sample::SampleFixture today({}, 100);
    open();
    click("Scan");
    settle();
    desktop->answer = today.library();
    model->setTab(ResultTab::compare);
    settle();
    click("Choose Another Library…");
    workers->run(); // the look at what was chosen
    settleViews();
    click("Stop");
    settle();
    EXPECT_FALSE(shows("Compared with"));
    click("Choose Another Library…");
    settle();
    ASSERT_NE(model->comparison(), nullptr);
    EXPECT_TRUE(shows("Compared with Sample"));
    EXPECT_TRUE(shows(QString::number(model->comparison()->missingAssetPKs.size())));
    picture("compared");
    // The first list is open, the others are folded, and each says how long it is.
    const auto heads = window->findChildren<QToolButton*>();
    int lists = 0;
    for (auto* head : heads) {
        if (head->isVisible() && head->text().contains("that differ")) {
            EXPECT_FALSE(head->isChecked());
            head->click();
            ++lists;
        }
    }
    EXPECT_GT(lists, 0);
    click("Copy List");
    settle();
    EXPECT_EQ(QGuiApplication::clipboard()->text().count('\n') + 1,
        std::ssize(model->comparison()->missingAssetPKs));
}

TEST_F(Windows, scanShowExportStopAndContinue)
{
    open();
    click("Scan");
    EXPECT_TRUE(shows("Copying the library's database to a private place."));
    picture("scanning");
    settle();
    ASSERT_EQ(model->screen(), Screen::results);
    EXPECT_TRUE(shows("Items per year"));
    picture("overview");

    model->setTab(ResultTab::albums);
    settle();
    EXPECT_TRUE(shows("Select an album to see its photos and what is really on this disk for each one."));
    auto* tree = visible<QTreeView>();
    ASSERT_NE(tree, nullptr);
    tree->expandAll();
    for (auto index = tree->indexAt({4, 4}); index.isValid() && !visible<PictureGrid>();
        index = tree->indexBelow(index)) {
        tree->setCurrentIndex(index);
    }
    ASSERT_NE(visible<PictureGrid>(), nullptr) << "no album was found";
    EXPECT_GT(visible<PictureGrid>()->model()->rowCount(), 0);
    settle();
    picture("albums");
    model->setTab(ResultTab::notSaved);
    settle();
    EXPECT_EQ(visible<QTableView>()->model()->rowCount(),
        static_cast<int>(model->scanned()->overview.limitedAssets.size()));
    picture("missing");
    model->setTab(ResultTab::compare);
    settle();
    picture("compare");

    desktop->answer = destination;
    pressReturnOn("Export…");
    settle();
    EXPECT_TRUE(shows("A photo in two albums is copied twice."));
    EXPECT_FALSE(button("Export")->isEnabled()) << "no folder was chosen";
    pressReturnOn("Choose Folder…");
    settle();
    EXPECT_TRUE(shows(" free on that disk."));
    const auto before = model->exportPlan();
    click("Recently Deleted");
    click("Export");
    EXPECT_FALSE(model->isExporting()) << "the plan is not that of the choices";
    EXPECT_TRUE(shows("Working out what this export holds…"));
    EXPECT_FALSE(button("Export")->isEnabled());
    settle();
    EXPECT_NE(model->exportPlan()->id, before->id);
    workers->noThreads = true;
    click("Recently Deleted");
    settle();
    EXPECT_TRUE(shows("The system has no memory or thread left for this.")) << "not working for ever";
    workers->noThreads = false;
    click("Recently Deleted");
    settle();
    picture("export");

    click("Export");
    click("Stop");
    settleViews();
    EXPECT_TRUE(shows("Stopping keeps what is saved."));
    EXPECT_FALSE(button("Stopping…")->isEnabled());
    picture("stopping");
    settle();
    EXPECT_TRUE(shows("not saved yet") || shows("Export not finished"));
    click("Export Again");
    settle();
    if (model->resumesUnfinished()) {
        EXPECT_TRUE(shows("Continues the unfinished export in"));
        click("Continue Export");
    } else {
        click("Export");
    }
    picture("saving");
    settle();
    ASSERT_TRUE(model->exportOutcome()->isFinished()) << message(*model->exportOutcome());
    EXPECT_TRUE(shows("Export finished"));
    EXPECT_TRUE(model->outcomeFolderIsThere());
    picture("finished");
    click("Done");
    EXPECT_FALSE(model->showExport());
    EXPECT_EQ(window->focusWidget(), button("Export…"))
        << "the keyboard is where it was before the sheet came";
}

/// On the way over the screens everything that can be switched is switched.
TEST_F(Windows, doWhatAScreenReaderAsksFor)
{
    open();
    const auto press = QAccessibleActionInterface::pressAction();
    const auto toggle = QAccessibleActionInterface::toggleAction();
    const auto state = [&] {
        return std::tuple(model->screen(), model->tab(), model->itemsLook(), model->limitedFilter(),
            model->exportOptions(), model->showExport(), visible<PictureGrid>());
    };
    const auto changes = [&](QAccessibleInterface* what, const QString& action) {
        const auto before = state();
        what->actionInterface()->doAction(action);
        return QTest::qWaitFor([&] { // a button is seen going down before it does it
            settle();
            return state() != before;
        });
    };
    struct Row {
        QString name;
        QString action;
        int switches;
    };
    for (const auto& [name, action, switches] :
        {Row{"Sample", press, 0}, Row{"Albums", press, 0}, Row{"All photos and videos", toggle, 2},
            Row{"Missing or Limited", press, 8}, Row{"Export…", press, 5}}) {
        auto* found = spoken(QAccessible::queryAccessibleInterface(window.get()), name, action);
        ASSERT_NE(found, nullptr) << name.toStdString();
        EXPECT_TRUE(changes(found, action)) << name.toStdString();
        int switched = 0;
        for (auto* button : window->findChildren<QAbstractButton*>()) {
            const bool staysOn = button->group() && button->isChecked();
            if (button->isCheckable() && button->isVisible() && button->isEnabled() && !staysOn) {
                auto* known = QAccessible::queryAccessibleInterface(button);
                EXPECT_TRUE(changes(known, toggle)) << known->text(QAccessible::Name).toStdString();
                ++switched;
            }
        }
        EXPECT_EQ(switched, switches) << name.toStdString();
    }
}

TEST_F(Windows, askBeforeTheyCloseDuringAnExport)
{
    open();
    click("Scan");
    settle();
    model->setExportDestination(destination);
    settle();
    model->startExport();
    window->close();
    QApplication::processEvents();
    auto* question = visible<QMessageBox>();
    ASSERT_NE(question, nullptr);
    EXPECT_EQ(question->text(), "Stop the export and quit?");
    EXPECT_EQ(question->defaultButton()->text(), "Keep Running");
    question->defaultButton()->click();
    QApplication::processEvents();
    EXPECT_FALSE(model->isStoppingExport());
    EXPECT_TRUE(window->isVisible());

    window->close();
    QApplication::processEvents();
    click("Stop and Quit");
    EXPECT_TRUE(model->isStoppingExport());
}

} // namespace
} // namespace vantorel

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (!std::getenv("QT_QPA_PLATFORM")) {
        setenv("QT_QPA_PLATFORM", "offscreen", 1); // no other thread yet
    }
    QApplication application(argc, argv);
    vantorel::theme::apply(application);
    return RUN_ALL_TESTS();
}
