#include "app/QtDesktop.h"

#include <QtCore/qfile.h>
#include <QtGui/qaccessible.h>
#include <QtWidgets/qfiledialog.h>

namespace vantorel {

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
    dialog->open();
}

Desktop::Assertion QtDesktop::beginActivity(const std::string&) { return std::make_shared<int>(0); }

Desktop::Assertion QtDesktop::preventSuddenTermination() { return std::make_shared<int>(0); }

void QtDesktop::announce(const std::string& text)
{
    // Before Qt 6.8 there is no event for it; a changed description of the window is what screen readers
    // speak.
    if (window_) {
        window_->setAccessibleDescription(QString::fromStdString(text));
        QAccessibleEvent event(window_, QAccessible::Alert);
        QAccessible::updateAccessibility(&event);
    }
}

} // namespace vantorel
