#pragma once

#include "app/ModelView.h"

class QLabel;
class QLineEdit;
class QModelIndex;
class QStackedWidget;

namespace vantorel {

class AlbumsView;
class ElidedLabel;
class ItemBrowser;
class PictureService;

/// The album tree, and the items of the selected album or of the whole library.
class AlbumsTab final : public ModelView {
public:
    AlbumsTab(AppModel& app, PictureService& pictures, QWidget* parent = nullptr);

protected:
    void refresh() override;

private:
    QWidget* leftSide();
    void showAlbum(const QModelIndex& index);

    QStackedWidget* whole_;
    QLineEdit* filter_;
    AlbumsView* tree_;
    QLabel* noAlbums_;
    QStackedWidget* right_;
    QLabel* hint_;
    ElidedLabel* title_;
    QLabel* count_;
    ItemBrowser* items_;
    std::shared_ptr<const ScannedLibrary> shown_{};
};

} // namespace vantorel
