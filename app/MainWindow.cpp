#include "app/MainWindow.h"

#include "app/ExportSheet.h"
#include "app/OnboardingView.h"
#include "app/ResultsView.h"
#include "app/ScanningView.h"
#include "app/SourcesView.h"
#include "app/Theme.h"
#include "base/Product.h"

#include <QtCore/qfile.h>
#include <QtCore/qmimedata.h>
#include <QtCore/qsettings.h>
#include <QtCore/qurl.h>
#include <QtGui/qaction.h>
#include <QtGui/qdesktopservices.h>
#include <QtGui/qevent.h>
#include <QtWidgets/qapplication.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qdialog.h>
#include <QtWidgets/qmenubar.h>
#include <QtWidgets/qmessagebox.h>
#include <QtWidgets/qplaintextedit.h>
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

MainWindow::MainWindow(AppModel& app, std::shared_ptr<MainTimers> timers, QSettings& settings)
    : app_(app)
    , settings_(settings)
    , quit_(app, std::move(timers), *this)
    , screens_(new QStackedWidget)
{
    setWindowTitle("Vantorel");
    setMinimumSize(leastSize);
    resize(firstSize);
    restoreGeometry(settings_.value(geometryKey).toByteArray());
    setAcceptDrops(true);
    screens_->addWidget(new OnboardingView(app));
    screens_->addWidget(new SourcesView(app));
    screens_->addWidget(new ScanningView(app));
    screens_->addWidget(new ResultsView(app));
    setCentralWidget(screens_);
    sheet_ = new ExportSheet(app, this);
    sheet_->hide();
    addMenus();
    notifiers_.push_back(app_.screen.onChange([this] { showScreen(); }));
    notifiers_.push_back(app_.showExport.onChange([this] { showScreen(); }));
    showScreen();
}

void MainWindow::addMenus()
{
    auto* file = menuBar()->addMenu("&File");
    auto* again = file->addAction("Look for Libraries Again", this, [this] { app_.lookForLibraries(); });
    again->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_R));
    auto* quit = file->addAction("Quit Vantorel", this, [this] { quit_.quit(); });
    quit->setShortcut(QKeySequence::Quit);
    quit->setMenuRole(QAction::QuitRole);
    auto* help = menuBar()->addMenu("&Help");
    help->addAction("Vantorel Help", this, [] { QDesktopServices::openUrl(QUrl(shown(product::helpPage))); });
    help->addAction("Acknowledgements", this, [this] { showAcknowledgements(); });
}

void MainWindow::showScreen()
{
    screens_->setCurrentIndex(static_cast<int>(app_.screen()));
    const bool showsSheet = app_.showExport() && app_.screen() == Screen::results;
    if (showsSheet != sheet_->isVisibleTo(this)) {
        // What lies behind the sheet takes no key and no click.
        screens_->setEnabled(!showsSheet);
        sheet_->setGeometry(rect());
        sheet_->setVisible(showsSheet);
        if (showsSheet) {
            sheet_->raise();
            sheet_->setFocus();
        }
    }
}

void MainWindow::resizeEvent(QResizeEvent* event)
{
    QMainWindow::resizeEvent(event);
    sheet_->setGeometry(rect());
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    settings_.setValue(geometryKey, saveGeometry());
    // Without a Dock nobody could bring the window back, so closing it is quitting.
    event->ignore();
    quit_.quit();
}

void MainWindow::askWhetherToQuit(std::function<void(Answer)> answered)
{
    auto* box = new QMessageBox(this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setIcon(QMessageBox::Warning);
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
    bool any = false;
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

void MainWindow::showAcknowledgements()
{
    auto* window = new QDialog(this);
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->setWindowTitle("Acknowledgements");
    window->resize(640, 520);
    auto* layout = new QVBoxLayout(window);
    auto* text = new QPlainTextEdit;
    text->setReadOnly(true);
    QFile file(":/acknowledgements.txt");
    text->setPlainText(file.open(QIODevice::ReadOnly)
            ? QString::fromUtf8(file.readAll())
            : QString("The acknowledgements file is missing from this copy of Vantorel."));
    layout->addWidget(text);
    window->show();
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
        app_.openLibrary(*folder);
        event->acceptProposedAction();
    }
}

} // namespace vantorel
