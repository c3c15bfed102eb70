#include "app/PictureGrid.h"

#include "app/ItemPainting.h"
#include "app/ItemTable.h"
#include "app/ModelView.h"
#include "app/SpokenGrid.h"
#include "app/VisiblePictures.h"

#include <algorithm>
#include <cmath>

#include <QtCore/qcoreevent.h>
#include <QtGui/qpainter.h>
#include <QtWidgets/qscrollbar.h>
#include <QtWidgets/qstyle.h>
#include <QtWidgets/qstyleditemdelegate.h>

namespace vantorel {

namespace {

constexpr int gap = 8;     ///< Between a picture and the edge of its cell.
constexpr int lineGap = 4; ///< Between a picture and its line.

class TileDelegate final : public QStyledItemDelegate {
public:
    TileDelegate(const ItemTableModel& items, PictureService& pictures, const PictureGrid& grid)
        : items_(items)
        , pictures_(pictures)
        , grid_(grid)
    {
    }

    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const override
    {
        return grid_.gridSize();
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        const int tile = grid_.tile();
        const auto& asset = items_.assetAt(index.row());
        const ItemPainting painting{
            .painter = *painter, .palette = option.palette, .ratio = painter->device()->devicePixelRatioF()};
        const QRect area(
            option.rect.x() + (option.rect.width() - tile) / 2, option.rect.y() + gap, tile, tile);
        const QRect line(option.rect.x() + 4, area.bottom() + 1 + lineGap, option.rect.width() - 8,
            option.fontMetrics.height());
        const bool isSelected = (option.state & QStyle::State_Selected) != 0;
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        if (isSelected) {
            auto colour = option.palette.color(QPalette::Highlight);
            painter->setPen(Qt::NoPen);
            colour.setAlphaF(0.30F);
            painter->setBrush(colour);
            painter->drawRoundedRect(QRect(option.rect).adjusted(2, 2, -2, -2), 8, 8);
        }
        if ((option.state & QStyle::State_HasFocus) != 0) {
            painter->setBrush(Qt::NoBrush);
            painter->setPen(QPen(option.palette.color(QPalette::Highlight), 2));
            painter->drawRoundedRect(QRect(option.rect).adjusted(3, 3, -3, -3), 7, 7);
        }
        painter->restore();
        painting.tile(area,
            pictures_.picture(
                items_.positionAt(index.row()), static_cast<int>(std::lround(tile * painting.ratio))),
            asset, items_.entryAt(index.row()));
        painter->setPen(option.palette.color(QPalette::Text));
        painter->setFont(option.font);
        painter->drawText(line, static_cast<int>(Qt::AlignHCenter | Qt::AlignVCenter),
            option.fontMetrics.elidedText(itemTitle(asset), Qt::ElideRight, line.width()));
    }

private:
    const ItemTableModel& items_;
    PictureService& pictures_;
    const PictureGrid& grid_;
};

} // namespace

PictureGrid::PictureGrid(ItemTableModel& items, PictureService& pictures, QWidget* parent)
    : QListView(parent)
    , items_(items)
{
    speakGridsAsLists();
    setModel(&items);
    setModelColumn(ItemTableModel::picture);
    // The list mode wraps as the icon mode does, and keeps one number for each item instead of a tree of
    // rectangles.
    setViewMode(QListView::ListMode);
    setFlow(QListView::LeftToRight);
    setWrapping(true);
    setResizeMode(QListView::Adjust);
    setMovement(QListView::Static);
    setUniformItemSizes(true);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // Else the width that is left, and with it the number of columns, would depend on the bar itself.
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setFrameShape(QFrame::NoFrame);
    setAccessibleName("Items");
    auto* delegate = new TileDelegate(items, pictures, *this);
    delegate->setParent(this);
    setItemDelegate(delegate);
    auto own = font();
    own.setPointSizeF(own.pointSizeF() * 0.92);
    setFont(own);
    visible_ = std::make_unique<VisiblePictures>(*this, items, pictures, [this] { return tile_; });
    fitColumns();
}

PictureGrid::~PictureGrid() = default;

void PictureGrid::setTile(int side)
{
    if (side == tile_) {
        return;
    }
    const auto middle = indexAt(viewport()->rect().center() - QPoint(0, gap));
    tile_ = side;
    fitColumns();
    if (middle.isValid()) {
        scrollTo(middle, QAbstractItemView::PositionAtCenter);
    }
    visible_->lookSoon();
}

void PictureGrid::fitColumns()
{
    const int width = viewport()->width() - 1; // a line that is filled to its last pixel wraps
    const int columns = std::max(1, width / (tile_ + 2 * gap));
    const QSize cell(std::max(tile_ + 2 * gap, width / columns),
        gap + tile_ + lineGap + QFontMetrics(font()).height() + gap);
    if (cell != gridSize()) {
        setGridSize(cell);
        verticalScrollBar()->setSingleStep(cell.height() / 3);
    }
}

void PictureGrid::resizeEvent(QResizeEvent* event)
{
    fitColumns();
    QListView::resizeEvent(event);
}

QRegion PictureGrid::visualRegionForSelection(const QItemSelection& selection) const
{
    // Qt would ask for the place of each of a hundred thousand items.
    constexpr int fewRows = 200;
    int rows = 0;
    for (const auto& range : selection) {
        rows += range.height();
    }
    return rows > fewRows ? QRegion(viewport()->rect()) : QListView::visualRegionForSelection(selection);
}

void PictureGrid::changeEvent(QEvent* event)
{
    QListView::changeEvent(event);
    if (event->type() == QEvent::FontChange && visible_) {
        fitColumns();
    }
}

} // namespace vantorel
