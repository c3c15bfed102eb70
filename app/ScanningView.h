#pragma once

#include "app/ModelView.h"

#include <array>

class QLabel;
class QProgressBar;
class QPushButton;

namespace vantorel {

class ElidedLabel;

/// A running scan: its stages, counts, and what a silent disk means.
class ScanningView final : public ModelView {
public:
    ScanningView(AppModel& app, QWidget* parent = nullptr);

protected:
    void refresh() override;

private:
    ElidedLabel* title_;
    QLabel* stage_;
    QLabel* detail_;
    QProgressBar* bar_;
    QLabel* counts_;
    QLabel* notice_;
    QPushButton* stop_;
};

} // namespace vantorel
