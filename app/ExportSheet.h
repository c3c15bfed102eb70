#pragma once

#include "app/ModelView.h"

class QBoxLayout;
class QCheckBox;
class QLabel;
class QPushButton;
class QStackedWidget;
class QVBoxLayout;

namespace vantorel {

class ElidedLabel;
class SpaceBar;
class SymbolLabel;
class ThinBar;

/// What to export and where to, the running export, and its outcome. Lies over the results while the model
/// says so.
class ExportSheet final : public ModelView {
public:
    ExportSheet(AppModel& app, QWidget* parent);

protected:
    void refresh() override;
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    struct Choice {
        bool ExportOptions::* field;
        QCheckBox* box;
        QWidget* row;
    };

    enum Page { choosing, saving, ended };

    QWidget* choices();
    void addDestination(QBoxLayout& layout);
    QWidget* progress();
    QWidget* outcome();
    void addChoice(
        QBoxLayout& layout, const QString& label, const QString& explanation, bool ExportOptions::* field);
    void showPage(Page page);
    void refreshChoices();
    void refreshDestination();
    void refreshSummary();
    void showPlanning();
    void refreshProgress();
    void refreshOutcome();
    void showNotes(const std::vector<std::string>& notes);
    void open(const DiskPath& path);

    QWidget* card_;
    QStackedWidget* pages_;

    std::vector<Choice> choices_{};
    QPushButton* choose_ = nullptr;
    ElidedLabel* folder_ = nullptr;
    ElidedLabel* volume_ = nullptr;
    SpaceBar* room_ = nullptr;
    QLabel* space_ = nullptr;
    WarningLine* warning_ = nullptr;
    WarningLine* fat_ = nullptr;
    WarningLine* unfinished_ = nullptr;
    QLabel* summaryTitle_ = nullptr;
    QLabel* summary_ = nullptr;
    QTimer planningShows_{}; ///< Planning that is over at once shows nothing.
    QPushButton* start_ = nullptr;

    ElidedLabel* target_ = nullptr;
    QLabel* items_ = nullptr;
    QLabel* left_ = nullptr;
    QLabel* bytes_ = nullptr;
    QLabel* speed_ = nullptr;
    ThinBar* bar_ = nullptr;
    ElidedLabel* name_ = nullptr;
    QLabel* resumed_ = nullptr;
    WarningLine* skipped_ = nullptr;
    QLabel* notice_ = nullptr;
    QPushButton* stop_ = nullptr;

    SymbolLabel* outcomeSymbol_ = nullptr;
    QLabel* outcomeTitle_ = nullptr;
    QLabel* outcomeMessage_ = nullptr;
    QLabel* eject_ = nullptr;
    ElidedLabel* outcomeFolder_ = nullptr;
    WarningLine* cannotOpen_ = nullptr;
    QVBoxLayout* outcomeNotes_ = nullptr;
    QPushButton* showFolder_ = nullptr;
    QPushButton* showReport_ = nullptr;
    QPushButton* again_ = nullptr;
    QPushButton* done_ = nullptr;
    std::shared_ptr<const ExportOutcome> shownOutcome_{};
};

} // namespace vantorel
