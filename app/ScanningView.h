#pragma once

#include "app/ModelView.h"

class QLabel;
class QPushButton;

namespace vantorel {

class ElidedLabel;
class SymbolLabel;
class ThinBar;

/// A running scan: what it does, how far it is, its stages to check off, and what a silent disk means.
class ScanningView final : public ModelView {
public:
    ScanningView(AppModel& app, QWidget* parent = nullptr);

protected:
    void refresh() override;
    void showEvent(QShowEvent* event) override;

private:
    struct StageRow {
        SymbolLabel* symbol;
        QLabel* text;
    };
    void showStages();

    ElidedLabel* title_;
    QLabel* detail_;
    ThinBar* bar_;
    QLabel* counts_;
    QLabel* left_;
    std::vector<StageRow> stages_{};
    QLabel* notice_;
    QPushButton* stop_;
};

} // namespace vantorel
