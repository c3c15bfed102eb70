#pragma once

#include "app/ModelView.h"

class QLabel;
class QPushButton;
class QStackedWidget;

namespace vantorel {

/// The first run: what the program does, and the access that it needs.
class OnboardingView final : public ModelView {
public:
    OnboardingView(AppModel& app, QWidget* parent = nullptr);

protected:
    void refresh() override;

private:
    QWidget* welcome();
    QWidget* access();

    QStackedWidget* steps_;
    QLabel* statusSymbol_ = nullptr;
    QLabel* status_ = nullptr;
    QPushButton* goOn_ = nullptr;
};

} // namespace vantorel
