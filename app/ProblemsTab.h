#pragma once

#include "app/ModelView.h"

class QButtonGroup;
class QStackedWidget;

namespace vantorel {

class FlowLayout;
class ItemBrowser;
class PictureService;

/// The items without a usable original, by what is wrong with them.
class ProblemsTab final : public ModelView {
public:
    ProblemsTab(AppModel& app, PictureService& pictures, QWidget* parent = nullptr);

protected:
    void refresh() override;

private:
    void fillFilter();
    void addChip(int kind, const QString& name, std::int64_t count);
    void showItems();

    QStackedWidget* stack_;
    FlowLayout* chips_;
    QButtonGroup* filter_; ///< The classes as ids, `allKinds` for all of them.
    ItemBrowser* items_;
    std::shared_ptr<const ScannedLibrary> shown_{};
};

} // namespace vantorel
