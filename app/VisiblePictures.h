#pragma once

#include "app/pictures/PictureService.h"

#include <functional>

#include <QtCore/qobject.h>
#include <QtCore/qpointer.h>
#include <QtCore/qtimer.h>

class QAbstractItemView;

namespace vantorel {

class ItemTableModel;

/// Keeps the picture service told of what a list of items shows: the rows on the screen first, then a page
/// behind and half a page before them. Nothing while the list is hidden. Paints rows whose picture came.
class VisiblePictures final : public QObject {
    Q_OBJECT

public:
    /// `side` gives the logical size of a picture.
    VisiblePictures(
        QAbstractItemView& view, ItemTableModel& items, PictureService& pictures, std::function<int()> side);
    ~VisiblePictures() override;

    bool eventFilter(QObject* watched, QEvent* event) override;
    /// The pictures are shown in another size from now on.
    void lookSoon();

private:
    struct Range {
        int first = 0;
        int end = 0;
    };

    Range shown() const;
    void look();
    void paint(std::size_t asset);

    QAbstractItemView& view_;
    ItemTableModel& items_;
    QPointer<PictureService> pictures_;
    std::function<int()> side_;
    QTimer soon_{};
};

} // namespace vantorel
