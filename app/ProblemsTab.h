#pragma once

#include "app/ModelView.h"

class QComboBox;
class QStackedWidget;

namespace vantorel {

class ItemTable;

/// The items without a usable original, by what is wrong with them.
class ProblemsTab final : public ModelView {
public:
    ProblemsTab(AppModel& app, QWidget* parent = nullptr);

protected:
    void refresh() override;

private:
    void fillFilter();
    void showItems();

    QStackedWidget* stack_;
    QComboBox* filter_;
    ItemTable* items_;
    std::shared_ptr<const ScannedLibrary> shown_{};
};

} // namespace vantorel
