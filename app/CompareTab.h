#pragma once

#include "app/FoldedList.h"
#include "app/ModelView.h"

class QLabel;
class QPushButton;
class QVBoxLayout;

namespace vantorel {

class ThinBar;

/// What this library has that another one has not, or has differently.
class CompareTab final : public ModelView {
public:
    CompareTab(AppModel& app, QWidget* parent = nullptr);

protected:
    void refresh() override;

private:
    QWidget* running();
    void showOthers();
    void showComparison();
    void addLists();
    void addList(const QString& title, std::size_t count, FoldedList::Lines lines);

    WarningLine* access_;
    WarningLine* error_;
    QWidget* choice_; ///< The other libraries; put away while a result is shown.
    QLabel* none_;
    QVBoxLayout* others_;
    QWidget* progress_;
    QLabel* stage_ = nullptr;
    ThinBar* bar_ = nullptr;
    QLabel* counts_ = nullptr;
    QLabel* notice_ = nullptr;
    QPushButton* again_;
    QVBoxLayout* result_;
    bool choosesAgain_ = false;
    bool anyListOpen_ = false;
    std::shared_ptr<const FindResult> found_{};
    std::optional<FoundLibrary> scannedLibrary_{};
    std::shared_ptr<const LibraryComparison> comparison_{};
};

} // namespace vantorel
