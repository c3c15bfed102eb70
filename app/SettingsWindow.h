#pragma once

#include <QtWidgets/qdialog.h>

class QCheckBox;

namespace vantorel {

class Updates;

/// The one setting that the program has: whether it looks for newer versions by itself. There is no window
/// where there are no updates.
class SettingsWindow final : public QDialog {
public:
    /// `updates` outlives the window.
    SettingsWindow(Updates& updates, QWidget* parent);

protected:
    /// The updater can be told otherwise elsewhere; what it says holds whenever somebody looks.
    void changeEvent(QEvent* event) override;

private:
    void refresh();

    Updates& updates_;
    QCheckBox* automatic_;
};

} // namespace vantorel
