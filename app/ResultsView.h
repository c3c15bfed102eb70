#pragma once

#include "app/ModelView.h"

class QLabel;
class QPushButton;
class QTabWidget;

namespace vantorel {

class AlbumsTab;
class CompareTab;
class ElidedLabel;
class OverviewTab;
class ProblemsTab;

/// What a scan found: the header and the four tabs.
class ResultsView final : public ModelView {
public:
    ResultsView(AppModel& app, QWidget* parent = nullptr);

protected:
    void refresh() override;
    void showEvent(QShowEvent* event) override;

private:
    void focusTab();

    ElidedLabel* name_;
    QLabel* format_;
    WarningLine* warning_;
    QPushButton* export_;
    QTabWidget* tabs_;
    ResultTab shownTab_ = ResultTab::overview;
};

} // namespace vantorel
