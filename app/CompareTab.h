#pragma once

#include "app/ModelView.h"

class QLabel;
class QProgressBar;
class QVBoxLayout;

namespace vantorel {

/// What this library has that another one has not.
class CompareTab final : public ModelView {
public:
    CompareTab(AppModel& app, QWidget* parent = nullptr);

protected:
    void refresh() override;

private:
    void showOthers();
    void showComparison();
    void addList(const QString& title, const QStringList& lines);

    WarningLine* access_;
    WarningLine* error_;
    QVBoxLayout* others_;
    QLabel* none_;
    QWidget* progress_;
    QLabel* stage_;
    QProgressBar* bar_;
    QLabel* notice_;
    QVBoxLayout* result_;
    std::shared_ptr<const FindResult> found_{};
    std::optional<FoundLibrary> scannedLibrary_{};
    std::shared_ptr<const LibraryComparison> comparison_{};
};

} // namespace vantorel
