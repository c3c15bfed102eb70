#pragma once

#include "app/pictures/PictureService.h"

#include <QtCore/qrect.h>
#include <QtGui/qicon.h>
#include <QtGui/qpalette.h>

class QPainter;

namespace vantorel {

/// Side of the picture in a row of a table.
inline int smallPictureSide(int rowHeight) { return rowHeight - 4; }

/// How items look wherever their picture is shown: the picture, or a placeholder of symbol and word.
struct ItemPainting {
    QPainter& painter;
    const QPalette& palette;
    qreal ratio = 1; ///< Device pixels.

    /// Fitted into the area, never enlarged beyond it; with the marks of its kind and state in the corners.
    void tile(const QRect& area, const PictureService::Picture& picture, const Asset& asset,
        const OriginalEntry& entry) const;
    /// The middle of the picture as a square.
    void small(const QRect& area, const PictureService::Picture& picture, const Asset& asset) const;
    /// Whole; a small one is enlarged a little, so that a person can be told from a tree. Returns where it
    /// is.
    QRect whole(const QRect& area, const PictureService::Picture& picture, const Asset& asset,
        const OriginalEntry& entry) const;

private:
    void placeholder(const QRect& area, const Asset& asset, const QString& word) const;
    void rounded(const QRect& target, const QImage& image, const QRectF& source, qreal radius) const;
    void mark(const QRect& corner, const QString& symbol, const QColor& colour) const;
};

/// The class of an item in lists: something is missing of it also where only a paired file is.
OriginalClass markedClass(const OriginalEntry& entry);
/// A symbol of its own colour in a list, which takes the colour of the text where its row is selected.
QIcon markIcon(const QString& name, const QColor& colour, const QPalette& palette);
/// In one or two words why there is no picture.
QString placeholderWord(const Asset& asset, const OriginalEntry& entry);

} // namespace vantorel
