#include "app/SettingsWindow.h"

#include "app/Theme.h"
#include "app/model/Desktop.h"

#include <QtCore/qcoreevent.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qcheckbox.h>
#include <QtWidgets/qlabel.h>

namespace vantorel {

SettingsWindow::SettingsWindow(Updates& updates, QWidget* parent)
    : QDialog(parent)
    , updates_(updates)
    , automatic_(new QCheckBox("Check for updates automatically"))
{
    setObjectName("settings");
    setWindowTitle("Settings");
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(theme::margin, theme::margin, theme::margin, theme::margin);
    layout->setSpacing(8);
    auto* explanation = theme::text("An update check only downloads a small file from Vantorel's web site. "
                                    "Nothing about your photos leaves "
                                    "this Mac.",
        theme::TextStyle::quiet);
    explanation->setMinimumWidth(fontMetrics().averageCharWidth() * 60);
    automatic_->setAccessibleDescription(explanation->text());
    layout->addWidget(automatic_);
    layout->addWidget(explanation);
    layout->addStretch();
    // Not when it is clicked: a screen reader toggles it.
    connect(automatic_, &QCheckBox::toggled, this, [this](bool checks) {
        updates_.setChecksAutomatically(checks);
        refresh();
    });
    refresh();
}

void SettingsWindow::changeEvent(QEvent* event)
{
    QDialog::changeEvent(event);
    if (event->type() == QEvent::ActivationChange) {
        refresh();
    }
}

void SettingsWindow::refresh()
{
    const QSignalBlocker silent(automatic_);
    automatic_->setChecked(updates_.checksAutomatically());
}

} // namespace vantorel
