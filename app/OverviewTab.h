#pragma once

#include "app/ModelView.h"

class QGridLayout;
class QHBoxLayout;
class QLabel;
class QVBoxLayout;

namespace vantorel {

class FlowLayout;
class OriginalsBar;
class YearsChart;

/// The scan in numbers, what its notes say, and what else may help.
class OverviewTab final : public ModelView {
public:
    OverviewTab(AppModel& app, QWidget* parent = nullptr);

protected:
    void refresh() override;

private:
    void showNumbers(const LibraryOverview& overview);
    void showLegend(const LibraryOverview& overview);
    void showRows(const LibraryOverview& overview);
    void showNotes(std::size_t most);

    QHBoxLayout* numbers_;
    OriginalsBar* bar_;
    FlowLayout* legend_;
    YearsChart* years_;
    QLabel* yearsTitle_;
    QGridLayout* rows_;
    QVBoxLayout* notes_;
    QLabel* adviceTitle_;
    QLabel* advice_;
    std::shared_ptr<const ScannedLibrary> shown_{};
};

} // namespace vantorel
