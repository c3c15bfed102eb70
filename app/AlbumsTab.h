#pragma once

#include "app/ModelView.h"

class QLabel;
class QLineEdit;
class QModelIndex;
class QSortFilterProxyModel;
class QStackedWidget;
class QStandardItemModel;
class QTreeView;

namespace vantorel {

class ElidedLabel;
class ItemBrowser;
class PictureService;

/// The album tree, and the items of the selected album.
class AlbumsTab final : public ModelView {
public:
    AlbumsTab(AppModel& app, PictureService& pictures, QWidget* parent = nullptr);

protected:
    void refresh() override;

private:
    void showAlbum(const QModelIndex& index);

    QStackedWidget* whole_;
    QStandardItemModel* albums_;
    QSortFilterProxyModel* filtered_;
    QLineEdit* filter_;
    QTreeView* tree_;
    QStackedWidget* right_;
    QLabel* hint_;
    ElidedLabel* title_;
    QLabel* count_;
    ItemBrowser* items_;
    std::shared_ptr<const ScannedLibrary> shown_{};
};

} // namespace vantorel
