#pragma once

#include "app/LibraryRow.h"
#include "app/ModelView.h"

class QLabel;
class QProgressBar;
class QPushButton;
class QVBoxLayout;

namespace vantorel {

/// The libraries that were found, and the ways to find more.
class SourcesView final : public ModelView {
public:
    SourcesView(AppModel& app, QWidget* parent = nullptr);

protected:
    void refresh() override;
    void showEvent(QShowEvent* event) override;

private:
    void listLibraries();
    void chooseFocus();
    void addBackupsHeading();
    void addIssues();

    QProgressBar* busy_;
    WarningLine* access_;
    WarningLine* error_;
    QWidget* looking_;
    QWidget* nothing_;
    QVBoxLayout* rows_;
    QPushButton* choose_;
    QPushButton* again_;
    QPushButton* results_;
    std::shared_ptr<const FindResult> listed_{};
};

} // namespace vantorel
