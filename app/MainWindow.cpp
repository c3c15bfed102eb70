#include "app/MainWindow.h"

#include "app/AcknowledgementsWindow.h"
#include "app/ExportSheet.h"
#include "app/OnboardingView.h"
#include "app/ResultsView.h"
#include "app/ScanningView.h"
#include "app/SettingsWindow.h"
#include "app/SourcesView.h"
#include "app/Theme.h"
#include "app/model/FullDiskAccess.h"
#include "base/Product.h"

#include <array>
#include <utility>

#include <QtCore/qfile.h>
#include <QtCore/qmimedata.h>
#include <QtCore/qsettings.h>
#include <QtCore/qurl.h>
#include <QtGui/qaction.h>
#include <QtGui/qdesktopservices.h>
#include <QtGui/qevent.h>
#include <QtGui/qshortcut.h>
#include <QtWidgets/qabstractbutton.h>
#include <QtWidgets/qapplication.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qlineedit.h>
#include <QtWidgets/qmenubar.h>
#include <QtWidgets/qmessagebox.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qstackedwidget.h>

namespace vantorel {

namespace {

constexpr QSize firstSize{1120, 740};
constexpr QSize leastSize{860, 560};
constexpr const char* geometryKey = "window/geometry";

std::optional<DiskPath> droppedFolder(const QMimeData& data)
{
    if (data.urls().size() != 1 || !data.urls().front().isLocalFile()) {
        return std::nullopt;
    }
    return DiskPath(QFile::encodeName(data.urls().front().toLocalFile()).toStdString());
}

} // namespace

MainWindow::MainWindow(
    AppModel& app, std::shared_ptr<MainTimers> timers, QSettings& settings, Desktop& desktop)
    : app_(app)
    , settings_(settings)
    , desktop_(desktop)
    , quit_(app, std::move(timers), *this)
    , error_(new WarningLine(""))
    , screens_(new QStackedWidget)
{
    setObjectName("main");
    setWindowTitle("Vantorel");
    setMinimumSize(leastSize);
    resize(firstSize);
    restoreGeometry(settings_.value(geometryKey).toByteArray()); // only onto a screen that is there
    setAcceptDrops(true);
    screens_->addWidget(new OnboardingView(
        app, systemGuardsPrivacy() ? OnboardingView::Access::asked : OnboardingView::Access::notNeeded));
    screens_->addWidget(new SourcesView(app));
    screens_->addWidget(new ScanningView(app));
    screens_->addWidget(new ResultsView(app));
    error_->layout()->setContentsMargins(theme::margin, 12, theme::margin, 0);
    error_->addButton("Dismiss", [this] { error_->hide(); });
    auto* centre = new QWidget;
    auto* layout = new QVBoxLayout(centre);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(error_);
    layout->addWidget(screens_, 1);
    setCentralWidget(centre);
    sheet_ = new ExportSheet(app, this);
    sheet_->hide();
    addMenus();
    connect(new QShortcut(QKeySequence(Qt::Key_F10), this), &QShortcut::activated, this,
        [this] { menuBar()->setActiveAction(menuBar()->actions().front()); });
    listen();
    notifiers_.push_back(app_.screen.onChange([this] { showScreen(); }));
    notifiers_.push_back(app_.showExport.onChange([this] { showScreen(); }));
    notifiers_.push_back(app_.scanError.onChange([this] { showError(); }));
    showScreen();
    focusScreen();
}

MainWindow::~MainWindow() { desktop_.listen({}); }

void MainWindow::listen()
{
    desktop_.listen({
        .quit = [this](std::function<void(bool)> answered) { quit_.quit(std::move(answered)); },
        .isSaving = [this] { return app_.isExporting(); },
        .endSoon = [this] { quit_.endSoon(); },
        .sleepComes = [this](std::function<void()> reached) { quit_.beforeSleep(std::move(reached)); },
        .reopen = [this] { bringToFront(); },
        .open =
            [this](const DiskPath& folder) {
                bringToFront();
                openGiven(folder);
            },
    });
}

QAction* MainWindow::addCommand(
    QMenu* menu, const QString& title, const QKeySequence& keys, std::function<void()> act)
{
    auto* command = menu->addAction(title, this, [act = std::move(act)] { act(); });
    command->setShortcut(keys);
    return command;
}

void MainWindow::addMenus()
{
    auto* file = menuBar()->addMenu("&File");
    choose_ = addCommand(file, "&Choose a Library…", QKeySequence::Open, [this] { app_.chooseLibrary(); });
    look_ = addCommand(
        file, "&Look for Libraries Again", Qt::CTRL | Qt::Key_R, [this] { app_.lookForLibraries(); });
    file->addSeparator();
    auto* view = menuBar()->addMenu("&View");
    addResultCommands(file, view);
    file->addSeparator();
    if (desktop_.updates()) {
        auto* check = addCommand(file, "Check for &Updates…", {}, [this] { desktop_.updates()->checkNow(); });
        check->setMenuRole(QAction::ApplicationSpecificRole);
        auto* settings =
            addCommand(file, "Se&ttings…", QKeySequence::Preferences, [this] { showSettings(); });
        settings->setMenuRole(QAction::PreferencesRole);
    }
    if (desktop_.whenWindowIsClosed() == Desktop::WindowClosed::leavesProgramRunning) {
        addCommand(file, "Close &Window", QKeySequence::Close, [this] { close(); });
    }
    auto* quit = addCommand(file, "&Quit Vantorel", Qt::CTRL | Qt::Key_Q, [this] { quit_.quit(); });
    quit->setMenuRole(QAction::QuitRole);
    auto* help = menuBar()->addMenu("&Help");
    addCommand(help, "Vantorel &Help", QKeySequence::HelpContents,
        [] { QDesktopServices::openUrl(QUrl(shown(product::helpPage))); });
    addCommand(help, "&Acknowledgements", {}, [this] { showAcknowledgements(); });
}

void MainWindow::addResultCommands(QMenu* file, QMenu* view)
{
    static constexpr std::array tabs{"&Overview", "&Albums", "&Missing or Limited", "&Compare"};
    ofResults_.push_back(addCommand(file, "&Scan Again", Qt::CTRL | Qt::SHIFT | Qt::Key_R, [this] {
        if (const auto library = app_.scannedLibrary()) {
            app_.scan(*library);
        }
    }));
    ofResults_.push_back(addCommand(file, "&Export…", Qt::CTRL | Qt::Key_E, [this] { app_.openExport(); }));
    for (std::size_t i = 0; i < tabs.size(); ++i) {
        const auto key = static_cast<Qt::Key>(Qt::Key_1 + i);
        ofResults_.push_back(
            addCommand(view, tabs[i], Qt::CTRL | key, [this, i] { app_.setTab(static_cast<ResultTab>(i)); }));
    }
    view->addSeparator();
    auto* back = addCommand(view, "&Back to Libraries", {}, [this] { goBack(); });
    back->setShortcuts({Qt::CTRL | Qt::Key_BracketLeft, Qt::Key_Escape});
    ofResults_.push_back(back);
}

void MainWindow::goBack()
{
    // Escape in a filter empties it first.
    if (auto* field = qobject_cast<QLineEdit*>(focusWidget()); field && !field->text().isEmpty()) {
        field->clear();
    } else {
        app_.showSources();
    }
}

void MainWindow::showScreen()
{
    const auto screen = app_.screen();
    const bool isOther = screens_->currentIndex() != static_cast<int>(screen);
    screens_->setCurrentIndex(static_cast<int>(screen));
    const bool showsSheet = app_.showExport() && screen == Screen::results;
    const bool isFree = screen != Screen::onboarding && !showsSheet;
    choose_->setEnabled(isFree && screen != Screen::scanning);
    look_->setEnabled(isFree && screen != Screen::scanning);
    for (auto* command : ofResults_) {
        command->setEnabled(isFree && screen == Screen::results);
    }
    showError();
    if (showsSheet != sheet_->isVisibleTo(this)) {
        if (showsSheet) {
            beforeSheet_ = focusWidget();
        }
        // What lies behind the sheet takes no key and no click.
        screens_->setEnabled(!showsSheet);
        sheet_->setGeometry(rect());
        sheet_->setVisible(showsSheet);
        if (showsSheet) {
            sheet_->raise();
            sheet_->setFocus();
        } else if (beforeSheet_) {
            beforeSheet_->setFocus();
        }
    }
    if (isOther) {
        focusScreen();
    }
    if (given_ && screen != Screen::onboarding) {
        app_.openLibrary(*std::exchange(given_, std::nullopt));
    }
}

/// The keyboard begins with the first library of a list, or else with the main thing of a screen. The other
/// screens see to it themselves.
void MainWindow::focusScreen()
{
    if (app_.screen() != Screen::onboarding && app_.screen() != Screen::sources) {
        return;
    }
    auto* view = screens_->currentWidget();
    QWidget* first = view->focusProxy();
    for (auto* button : view->findChildren<QPushButton*>("primary")) {
        first = !first && button->isVisibleTo(view) ? button : first;
    }
    if (first) {
        first->setFocus();
    }
}

/// The list of libraries says itself what was wrong; elsewhere it is about a folder that was dropped or
/// chosen there, or named when the program was started.
void MainWindow::showError()
{
    error_->setTextOrHide(
        app_.screen() != Screen::sources ? app_.scanError() : std::nullopt, app_.scanAdvice());
}

/// Return presses the button that has the focus, as it does in dialogs; by itself Qt has it press default
/// buttons alone.
void MainWindow::keyPressEvent(QKeyEvent* event)
{
    auto* button = qobject_cast<QAbstractButton*>(focusWidget());
    if (button && (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)) {
        button->click();
    } else {
        QMainWindow::keyPressEvent(event);
    }
}

void MainWindow::resizeEvent(QResizeEvent* event)
{
    QMainWindow::resizeEvent(event);
    sheet_->setGeometry(rect());
}

void MainWindow::bringToFront()
{
    if (isMinimized()) {
        showNormal();
    }
    show();
    raise();
    activateWindow();
}

void MainWindow::openGiven(const DiskPath& folder)
{
    if (app_.screen() == Screen::onboarding) {
        given_ = folder;
    } else if (app_.showExport() || QApplication::activeModalWidget()) {
        QApplication::beep();
    } else {
        app_.openLibrary(folder);
    }
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    settings_.setValue(geometryKey, saveGeometry());
    if (desktop_.whenWindowIsClosed() == Desktop::WindowClosed::endsProgram) {
        event->ignore();
        quit_.quit();
    }
}

void MainWindow::askWhetherToQuit(std::function<void(Answer)> answered)
{
    bringToFront(); // the question belongs to a window that is seen
    auto* box = new QMessageBox(this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setIconPixmap(theme::symbol("exclamationmark.triangle.fill", 40,
        theme::colour(theme::Meaning::attention, palette()), devicePixelRatioF()));
    // Qt's own names of the two texts; without them they are as everywhere else.
    box->setStyleSheet("QLabel#qt_msgbox_label { font-weight: 600; }"
                       "QLabel#qt_msgbox_informativelabel { min-width: "
        + QString::number(fontMetrics().averageCharWidth() * 60) + "px; }");
    box->setWindowTitle("Vantorel");
    box->setText("Stop the export and quit?");
    box->setInformativeText(
        "What is saved so far stays in its folder, marked as not finished. Run the export again and "
        "choose the place you chose before, not the \"(incomplete)\" folder. It continues where it "
        "stopped.");
    auto* keep = box->addButton("Keep Running", QMessageBox::RejectRole);
    auto* stop = box->addButton("Stop and Quit", QMessageBox::DestructiveRole);
    box->setDefaultButton(keep);
    box->setEscapeButton(keep);
    connect(box, &QMessageBox::finished, this, [box, stop, answered = std::move(answered)] {
        answered(box->clickedButton() == stop ? Answer::stopAndQuit : Answer::keepRunning);
    });
    box->open();
}

bool MainWindow::closeAttachedSheets()
{
    bool any = desktop_.closePanels();
    for (auto* dialog : findChildren<QDialog*>()) {
        if (dialog->isVisible()) {
            dialog->reject();
            any = any || dialog->isVisible();
        }
    }
    return any;
}

void MainWindow::terminate()
{
    settings_.setValue(geometryKey, saveGeometry());
    if (quit_.mayTerminate()) {
        QCoreApplication::exit(0);
    }
}

void MainWindow::showSettings()
{
    if (!settingsWindow_) {
        settingsWindow_ = new SettingsWindow(*desktop_.updates(), this);
        settingsWindow_->setAttribute(Qt::WA_DeleteOnClose);
    }
    settingsWindow_->show();
    settingsWindow_->raise();
    settingsWindow_->activateWindow();
}

void MainWindow::showAcknowledgements()
{
    if (!acknowledgements_) {
        acknowledgements_ = new AcknowledgementsWindow(this);
        acknowledgements_->setAttribute(Qt::WA_DeleteOnClose);
    }
    acknowledgements_->show();
    acknowledgements_->raise();
    acknowledgements_->activateWindow();
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (droppedFolder(*event->mimeData()) && app_.screen() != Screen::onboarding && !app_.showExport()) {
        event->acceptProposedAction();
    }
}

void MainWindow::dropEvent(QDropEvent* event)
{
    if (const auto folder = droppedFolder(*event->mimeData())) {
        openGiven(*folder);
        event->acceptProposedAction();
    }
}

} // namespace vantorel
