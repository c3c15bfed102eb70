#include "app/QtDesktop.h"

#include "app/Announcer.h"

#include <QtCore/qfile.h>
#include <QtGui/qevent.h>
#include <QtGui/qguiapplication.h>
#include <QtWidgets/qfiledialog.h>

namespace vantorel {

QtDesktop::QtDesktop()
    : announcer_(std::make_unique<Announcer>())
{
    qApp->installEventFilter(this);
}

QtDesktop::~QtDesktop() = default;

void QtDesktop::setWindow(QWidget* window) { window_ = window; }

void QtDesktop::choose(const Panel& panel, std::function<void(std::optional<DiskPath>)> chosen)
{
    auto* dialog = new QFileDialog(window_, QString::fromStdString(panel.message));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    dialog->setLabelText(QFileDialog::Accept, QString::fromStdString(panel.prompt));
    QObject::connect(
        dialog, &QFileDialog::finished, dialog, [dialog, chosen = std::move(chosen)](int result) {
            const auto files = dialog->selectedFiles();
            chosen(result == QDialog::Accepted && !files.isEmpty()
                    ? std::optional(DiskPath(QFile::encodeName(files.front()).toStdString()))
                    : std::nullopt);
        });
    panel_ = dialog;
    dialog->open();
}

bool QtDesktop::closePanels()
{
    if (panel_ && panel_->isVisible()) {
        panel_->close();
    }
    return panel_ && panel_->isVisible();
}

Desktop::Assertion QtDesktop::beginActivity(const std::string&) { return std::make_shared<int>(0); }

Desktop::Assertion QtDesktop::preventSuddenTermination() { return std::make_shared<int>(0); }

bool QtDesktop::eventFilter(QObject* watched, QEvent* event)
{
    // A library that was given to the running program, in the Finder or on the Dock.
    if (event->type() == QEvent::FileOpen && watched == qApp && requests_.open) {
        const auto file = static_cast<QFileOpenEvent*>(event)->file();
        if (!file.isEmpty()) { // an address of the network is nothing to scan
            requests_.open(DiskPath(QFile::encodeName(file).toStdString()));
        }
        return true;
    }
    return QObject::eventFilter(watched, event);
}

void QtDesktop::announce(const std::string& text)
{
    announcer_->announce(window_, QString::fromStdString(text));
}

} // namespace vantorel
