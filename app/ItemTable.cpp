#include "app/ItemTable.h"

#include "app/Charts.h"
#include "app/ItemPainting.h"
#include "app/ModelView.h"
#include "app/Theme.h"
#include "app/VisiblePictures.h"
#include "app/model/RealServices.h"
#include "base/Date.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <unordered_map>
#include <utility>

#include <QtGui/qpainter.h>
#include <QtWidgets/qapplication.h>
#include <QtWidgets/qheaderview.h>
#include <QtWidgets/qstyleditemdelegate.h>

namespace vantorel {

namespace {

using Rows = ItemTableModel::Rows;

Rows sorted(const ScannedLibrary& library, Rows rows, int column, Qt::SortOrder order)
{
    const auto& assets = library.result->snapshot.assets;
    const auto by = [&](auto key) { // put together once for each item, not for each comparison
        std::vector<std::pair<decltype(key(assets.front())), std::size_t>> keyed;
        keyed.reserve(rows.size());
        for (const auto row : rows) {
            keyed.emplace_back(key(assets[row]), row);
        }
        std::ranges::stable_sort(keyed, [&](const auto& a, const auto& b) {
            return order == Qt::AscendingOrder ? a.first < b.first : b.first < a.first;
        });
        std::ranges::transform(keyed, rows.begin(), [](const auto& pair) { return pair.second; });
    };
    switch (column) {
    case ItemTableModel::name:
        by([](const Asset& asset) { return shownName(asset); });
        break;
    case ItemTableModel::date:
        by([](const Asset& asset) { return asset.dateCreated; });
        break;
    case ItemTableModel::status:
        by([&](const Asset& asset) { return statusText(entryOf(*library.result, asset.pk)); });
        break;
    default:
        if (order == Qt::DescendingOrder) {
            std::ranges::reverse(rows);
        }
        break;
    }
    return rows;
}

QString itemLine(const ScannedLibrary& library, std::size_t position)
{
    const auto& asset = library.result->snapshot.assets[position];
    return displayed(shownName(asset)) + '\t' + itemDateText(asset) + '\t'
        + shown(statusText(entryOf(*library.result, asset.pk)));
}

/// The small square in front of a row.
class SmallPictureDelegate final : public QStyledItemDelegate {
public:
    SmallPictureDelegate(const ItemTableModel& items, PictureService& pictures, QObject* parent)
        : QStyledItemDelegate(parent)
        , items_(items)
        , pictures_(pictures)
    {
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        auto empty = option;
        initStyleOption(&empty, index);
        empty.text.clear();
        empty.icon = {};
        const auto* style = empty.widget ? empty.widget->style() : QApplication::style();
        style->drawControl(QStyle::CE_ItemViewItem, &empty, painter, empty.widget);
        const int side = smallPictureSide(option.rect.height());
        const QRect area(option.rect.x() + (option.rect.width() - side) / 2,
            option.rect.y() + (option.rect.height() - side) / 2, side, side);
        const ItemPainting painting{
            .painter = *painter, .palette = option.palette, .ratio = painter->device()->devicePixelRatioF()};
        const auto asset = items_.positionAt(index.row());
        const auto picture = pictures_.picture(asset, static_cast<int>(std::lround(side * painting.ratio)));
        painting.small(area, picture, items_.assetAt(index.row()));
    }

private:
    const ItemTableModel& items_;
    PictureService& pictures_;
};

} // namespace

QString itemDateText(const Asset& asset)
{
    const auto text =
        asset.dateCreated ? sidecarDate(*asset.dateCreated, asset.timeZoneOffset) : std::nullopt;
    return text ? shown(text->substr(0, 10) + " " + text->substr(11, 5)) : QString();
}

QString itemTitle(const Asset& asset)
{
    if (asset.title && !asset.title->empty()) {
        return displayed(*asset.title);
    }
    if (asset.caption && !asset.caption->empty()) {
        return displayed(asset.caption->substr(0, asset.caption->find('\n')));
    }
    return displayed(shownName(asset));
}

ItemTableModel::ItemTableModel(QObject* parent)
    : QAbstractTableModel(parent)
    , mailbox_(std::make_shared<Mailbox>(this))
{
}

ItemTableModel::~ItemTableModel() { mailbox_->close(); }

void ItemTableModel::show(std::shared_ptr<const ScannedLibrary> library, Rows rows)
{
    beginResetModel();
    ++generation_;
    library_ = std::move(library);
    given_ = std::move(rows);
    rows_ = given_;
    endResetModel();
    setLoading(false);
    if (sortedBy_ > picture || order_ != Qt::AscendingOrder) {
        sort(sortedBy_, order_);
    }
}

void ItemTableModel::setLoading(bool loading)
{
    if (std::exchange(loading_, loading) != loading) {
        Q_EMIT loadingChanged();
    }
}

int ItemTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int ItemTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columnCount_;
}

const Asset& ItemTableModel::assetAt(int row) const
{
    return library_->result->snapshot.assets[rows_[static_cast<std::size_t>(row)]];
}

const OriginalEntry& ItemTableModel::entryAt(int row) const
{
    return entryOf(*library_->result, assetAt(row).pk);
}

QString ItemTableModel::textAt(int row, int column) const
{
    const auto& asset = assetAt(row);
    switch (column) {
    case picture:
        return itemTitle(asset);
    case name:
        return displayed(shownName(asset));
    case date:
        return itemDateText(asset);
    case status:
        return shown(statusText(entryAt(row)));
    default:
        return {};
    }
}

QVariant ItemTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount()) {
        return {};
    }
    switch (role) {
    case Qt::DisplayRole:
        return textAt(index.row(), index.column());
    case Qt::ToolTipRole: {
        if (index.column() != picture) {
            return plainToolTip(textAt(index.row(), index.column()));
        }
        QStringList lines{textAt(index.row(), name), textAt(index.row(), date)};
        const auto& caption = assetAt(index.row()).caption;
        lines << (caption ? displayedText(*caption) : QString()) << textAt(index.row(), status);
        lines.removeAll(QString());
        return plainToolTip(lines.join('\n'));
    }
    case Qt::AccessibleTextRole:
        return index.column() == picture
            ? itemLine(*library_, positionAt(index.row())).split('\t', Qt::SkipEmptyParts).join(", ")
            : textAt(index.row(), index.column());
    case Qt::DecorationRole: {
        if (index.column() != status) {
            return {};
        }
        const auto kind = markedClass(entryAt(index.row()));
        const auto palette = QApplication::palette();
        return markIcon(symbolOf(kind), theme::colour(meaningOf(kind), palette), palette);
    }
    default:
        return {};
    }
}

QVariant ItemTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
        return {};
    }
    static const QStringList titles{"", "Name", "Date", "On this disk"};
    return titles.value(section);
}

void ItemTableModel::sort(int column, Qt::SortOrder order)
{
    sortedBy_ = column;
    order_ = order;
    if (!library_) {
        return;
    }
    const auto generation = ++generation_;
    auto task = [this, box = std::weak_ptr(mailbox_), library = library_,
                    rows = column <= picture ? given_ : rows_, column, order, generation] {
        auto result = std::make_shared<Rows>(sorted(*library, rows, column, order));
        if (const auto mailbox = box.lock()) {
            mailbox->post([this, result, generation] {
                if (generation == generation_) {
                    applyOrder(std::move(*result));
                }
            });
        }
    };
    setLoading(startOnThread(std::move(task))); // without a thread the order stays as it is
}

void ItemTableModel::applyOrder(Rows rows)
{
    Q_EMIT aboutToBeSorted();
    Q_EMIT layoutAboutToBeChanged({}, VerticalSortHint);
    // What is selected stays selected, wherever it went.
    const auto before = persistentIndexList();
    if (!before.empty()) {
        std::unordered_map<std::size_t, int> places;
        places.reserve(rows.size());
        for (std::size_t i = 0; i < rows.size(); ++i) {
            places.emplace(rows[i], static_cast<int>(i));
        }
        QModelIndexList after;
        after.reserve(before.size());
        for (const auto& old : before) {
            after.push_back(index(places.at(positionAt(old.row())), old.column()));
        }
        changePersistentIndexList(before, after);
    }
    rows_ = std::move(rows);
    Q_EMIT layoutChanged({}, VerticalSortHint);
    setLoading(false);
}

void ItemTableModel::withText(Rows items, std::function<void(const QString&)> use)
{
    auto task = [box = std::weak_ptr(mailbox_), library = library_, items = std::move(items),
                    use = std::move(use)] {
        QString text;
        for (const auto position : items) {
            text += itemLine(*library, position) + '\n';
        }
        if (const auto mailbox = box.lock()) {
            mailbox->post([use, text] { use(text); });
        }
    };
    std::ignore = startOnThread(std::move(task)); // without a thread nothing is copied
}

ItemTable::ItemTable(ItemTableModel& items, PictureService& pictures, QWidget* parent)
    : QTableView(parent)
{
    setModel(&items);
    setSortingEnabled(false);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setWordWrap(false);
    setShowGrid(false);
    setAlternatingRowColors(true);
    setTextElideMode(Qt::ElideMiddle);
    setFrameShape(QFrame::NoFrame);
    setTabKeyNavigation(false);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    const int rowHeight = std::max(28, fontMetrics().height() + 10);
    verticalHeader()->setDefaultSectionSize(rowHeight);
    auto* header = horizontalHeader();
    header->setHighlightSections(false);
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(true);
    header->setSortIndicator(ItemTableModel::usualOrder, Qt::AscendingOrder);
    header->setStretchLastSection(true);
    header->setMinimumSectionSize(rowHeight + 8);
    header->setSectionResizeMode(ItemTableModel::picture, QHeaderView::Fixed);
    header->resizeSection(ItemTableModel::picture, rowHeight + 8);
    header->resizeSection(ItemTableModel::name, fontMetrics().averageCharWidth() * 26);
    header->resizeSection(ItemTableModel::date, fontMetrics().averageCharWidth() * 20);
    connect(header, &QHeaderView::sortIndicatorChanged, &items,
        [&items](int column, Qt::SortOrder order) { items.sort(column, order); });
    setItemDelegateForColumn(ItemTableModel::picture, new SmallPictureDelegate(items, pictures, this));
    setAccessibleName("Items");
    visible_ = std::make_unique<VisiblePictures>(
        *this, items, pictures, [rowHeight] { return smallPictureSide(rowHeight); });
}

ItemTable::~ItemTable() = default;

} // namespace vantorel
