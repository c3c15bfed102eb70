#pragma once

#include <memory>

#include <QtWidgets/qlistview.h>

namespace vantorel {

class ItemTableModel;
class PictureService;
class VisiblePictures;

/// Items as pictures, each with one line beneath.
class PictureGrid final : public QListView {
    Q_OBJECT

public:
    PictureGrid(ItemTableModel& items, PictureService& pictures, QWidget* parent = nullptr);
    ~PictureGrid() override;

    /// Side of a picture in logical pixels. The item in the middle of the view stays there.
    void setTile(int side);
    int tile() const { return tile_; }

protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    QRegion visualRegionForSelection(const QItemSelection& selection) const override;

private:
    void fitColumns();

    ItemTableModel& items_;
    std::unique_ptr<VisiblePictures> visible_;
    int tile_ = 160;
};

} // namespace vantorel
