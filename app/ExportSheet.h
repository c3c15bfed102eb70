#pragma once

#include "app/ModelView.h"

class QBoxLayout;
class QCheckBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QVBoxLayout;

namespace vantorel {

class ElidedLabel;

/// What to export and where to, the running export, and its outcome. Lies over the results while the model
/// says so.
class ExportSheet final : public ModelView {
public:
    ExportSheet(AppModel& app, QWidget* parent);

protected:
    void refresh() override;
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    struct Choice {
        bool ExportOptions::* field;
        QCheckBox* box;
        QWidget* row;
    };

    QWidget* choices();
    QWidget* progress();
    QWidget* outcome();
    void addChoice(
        QBoxLayout& layout, const QString& label, const QString& explanation, bool ExportOptions::* field);
    void refreshChoices();
    void refreshProgress();
    void refreshOutcome();

    QWidget* card_;
    QStackedWidget* pages_;

    std::vector<Choice> choices_{};
    QLabel* summary_ = nullptr;
    ElidedLabel* folder_ = nullptr;
    QLabel* volume_ = nullptr;
    QLabel* space_ = nullptr;
    WarningLine* warning_ = nullptr;
    WarningLine* fat_ = nullptr;
    QLabel* unfinished_ = nullptr;
    QPushButton* start_ = nullptr;

    QLabel* items_ = nullptr;
    QLabel* bytes_ = nullptr;
    QProgressBar* bar_ = nullptr;
    ElidedLabel* name_ = nullptr;
    QLabel* resumed_ = nullptr;
    QLabel* skipped_ = nullptr;
    QLabel* notice_ = nullptr;
    QPushButton* stop_ = nullptr;

    QLabel* outcomeSymbol_ = nullptr;
    QLabel* outcomeTitle_ = nullptr;
    QLabel* outcomeMessage_ = nullptr;
    QLabel* eject_ = nullptr;
    QVBoxLayout* outcomeNotes_ = nullptr;
    QPushButton* showFolder_ = nullptr;
    QPushButton* showReport_ = nullptr;
    QPushButton* again_ = nullptr;
    std::shared_ptr<const ExportOutcome> shownOutcome_{};
};

} // namespace vantorel
