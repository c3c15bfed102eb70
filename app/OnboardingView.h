#pragma once

#include "app/ModelView.h"

class QLabel;
class QPushButton;
class QStackedWidget;

namespace vantorel {

/// The first run: what the program does, and the access that it needs.
class OnboardingView final : public ModelView {
public:
    /// Whether the system has to be told to let the program read protected places.
    enum class Access { asked, notNeeded };

    OnboardingView(AppModel& app, Access access, QWidget* parent = nullptr);

protected:
    void refresh() override;

private:
    QWidget* welcome();
    QWidget* access();
    void showAccess();

    QStackedWidget* steps_;
    QLabel* statusSymbol_ = nullptr;
    QLabel* status_ = nullptr;
    QPushButton* settings_ = nullptr;
    QPushButton* goOn_ = nullptr;
};

} // namespace vantorel
