#include "app/AlbumsView.h"

#include "app/ModelView.h"
#include "app/Theme.h"
#include "base/Text.h"

#include <algorithm>
#include <utility>

#include <QtGui/qevent.h>
#include <QtGui/qpainter.h>
#include <QtWidgets/qapplication.h>
#include <QtWidgets/qheaderview.h>
#include <QtWidgets/qstyleditemdelegate.h>

namespace vantorel {

namespace {

constexpr AlbumTreeModel::Id root = 0;
constexpr int padding = 5; ///< Above and beneath the lines of a row.
constexpr int gap = 6;     ///< Between symbol, title and number.

QString count(std::int64_t number) { return shown(grouped(number)); }

QString withoutOriginal(std::int64_t number) { return count(number) + " without original"; }

/// Composed characters, so that what is typed is found in names that an old disk keeps decomposed.
QString comparable(const QString& text) { return text.normalized(QString::NormalizationForm_C); }

const char* symbolOf(const AlbumTreeModel::Row& row)
{
    if (row.withoutOriginal > 0) {
        return "exclamationmark.triangle.fill";
    }
    return row.kind == AlbumTreeModel::Kind::folder ? "folder" : "photo.on.rectangle";
}

class AlbumDelegate final : public QStyledItemDelegate {
public:
    AlbumDelegate(const AlbumTreeModel& albums, QObject* parent)
        : QStyledItemDelegate(parent)
        , albums_(albums)
    {
    }

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        const int line = std::max(28, option.fontMetrics.height() + 2 * padding);
        return {0, albums_.rowAt(index).withoutOriginal > 0 ? line + quietMetrics(option).height() : line};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        auto ground = option;
        initStyleOption(&ground, index);
        ground.text.clear();
        ground.icon = {};
        const auto* style = ground.widget ? ground.widget->style() : QApplication::style();
        style->drawControl(QStyle::CE_ItemViewItem, &ground, painter, ground.widget);

        const auto row = albums_.rowAt(index);
        const bool isSelected = (option.state & QStyle::State_Selected) != 0;
        const auto text = option.palette.color(isSelected ? QPalette::HighlightedText : QPalette::Text);
        const auto quiet = isSelected ? text : theme::quietColour(option.palette);
        const int lines =
            option.fontMetrics.height() + (row.withoutOriginal > 0 ? quietMetrics(option).height() : 0);
        QRect line(option.rect.x() + gap / 2, option.rect.y() + (option.rect.height() - lines) / 2,
            option.rect.width() - gap - gap / 2, option.fontMetrics.height());
        const int side = line.height();
        const auto mark = row.withoutOriginal > 0 && !isSelected
            ? theme::colour(theme::Meaning::attention, option.palette)
            : text;
        painter->save();
        painter->drawPixmap(
            line.topLeft(), theme::symbol(symbolOf(row), side, mark, painter->device()->devicePixelRatioF()));
        line.setLeft(line.left() + side + gap);
        const auto number = count(row.count);
        const int numberWidth = option.fontMetrics.horizontalAdvance(number);
        const QRect title = line.adjusted(0, 0, -numberWidth - gap, 0);
        painter->setFont(option.font);
        painter->setPen(quiet);
        painter->drawText(line, static_cast<int>(Qt::AlignRight | Qt::AlignVCenter), number);
        painter->setPen(text);
        painter->drawText(title, static_cast<int>(Qt::AlignLeft | Qt::AlignVCenter),
            option.fontMetrics.elidedText(index.data().toString(), Qt::ElideMiddle, title.width()));
        if (row.withoutOriginal > 0) {
            const QRect second(line.left(), line.bottom() + 1, line.width(), quietMetrics(option).height());
            painter->setFont(theme::font(theme::TextStyle::quiet, option.font));
            painter->setPen(quiet);
            painter->drawText(second, static_cast<int>(Qt::AlignLeft | Qt::AlignVCenter),
                quietMetrics(option).elidedText(
                    withoutOriginal(row.withoutOriginal), Qt::ElideRight, second.width()));
        }
        painter->restore();
    }

private:
    static QFontMetrics quietMetrics(const QStyleOptionViewItem& option)
    {
        return QFontMetrics(theme::font(theme::TextStyle::quiet, option.font));
    }

    const AlbumTreeModel& albums_;
};

} // namespace

QString itemCounts(const AlbumTreeModel::Row& row)
{
    const QString items = count(row.count) + (row.count == 1 ? " item" : " items");
    return row.withoutOriginal > 0 ? items + " · " + withoutOriginal(row.withoutOriginal) : items;
}

void AlbumTreeModel::show(std::shared_ptr<const ScannedLibrary> library)
{
    beginResetModel();
    library_ = std::move(library);
    entries_.assign(2, {});
    const auto add = [this](const std::vector<AlbumNode>& nodes, Id parent) {
        for (const auto& node : nodes) {
            entries_.push_back({.node = &node, .parent = parent});
        }
    };
    add(library_->albums, root);
    for (Id id = 2; id < entries_.size(); ++id) {
        add(entries_[id].node->children, id);
    }
    arrange("");
    endResetModel();
}

void AlbumTreeModel::setFilter(const QString& part)
{
    beginResetModel();
    arrange(comparable(part));
    endResetModel();
}

void AlbumTreeModel::arrange(const QString& filter)
{
    for (Id id = 1; id < entries_.size(); ++id) {
        auto& entry = entries_[id];
        entry.isShown = filter.isEmpty() || (entry.parent != root && entries_[entry.parent].isShown)
            || comparable(titleOf(entry)).contains(filter, Qt::CaseInsensitive);
    }
    // Folders stand before what is in them, so what they hold is known when their turn comes.
    for (Id id = entries_.size(); id-- > 1;) {
        entries_[entries_[id].parent].isShown |= entries_[id].isShown;
    }
    shown_.clear();
    for (auto& entry : entries_) {
        entry.shown = 0;
    }
    for (Id id = 1; id < entries_.size(); ++id) {
        if (auto& entry = entries_[id]; entry.isShown) {
            auto& parent = entries_[entry.parent];
            if (parent.shown == 0) {
                parent.firstShown = shown_.size();
            }
            entry.row = parent.shown++;
            shown_.push_back(id);
        }
    }
}

QString AlbumTreeModel::titleOf(const Entry& entry) const
{
    return entry.node ? displayed(entry.node->title) : QString("All photos and videos");
}

AlbumTreeModel::Row AlbumTreeModel::rowAt(const QModelIndex& index) const
{
    const auto& entry = entryOf(index);
    if (entry.node) {
        return {.kind = entry.node->isFolder ? Kind::folder : Kind::album,
            .album = entry.node->album,
            .count = entry.node->count,
            .withoutOriginal = entry.node->withoutOriginal};
    }
    return {.kind = Kind::everything,
        .count = std::ssize(library_->result->snapshot.assets),
        .withoutOriginal = library_->overview.withoutOriginal};
}

QModelIndex AlbumTreeModel::indexOf(Id id) const
{
    return id > root && id < entries_.size() && entries_[id].isShown ? createIndex(entries_[id].row, 0, id)
                                                                     : QModelIndex();
}

std::vector<AlbumTreeModel::Id> AlbumTreeModel::openable() const
{
    std::vector<Id> ids;
    for (const auto id : shown_) {
        if (entries_[id].shown > 0) {
            ids.push_back(id);
        }
    }
    return ids;
}

QModelIndex AlbumTreeModel::index(int row, int column, const QModelIndex& parent) const
{
    if (column != 0 || row < 0 || row >= rowCount(parent)) {
        return {};
    }
    const auto& above = parent.isValid() ? entryOf(parent) : entries_[root];
    return createIndex(row, 0, shown_[above.firstShown + static_cast<std::size_t>(row)]);
}

QModelIndex AlbumTreeModel::parent(const QModelIndex& index) const
{
    return index.isValid() ? indexOf(entryOf(index).parent) : QModelIndex();
}

int AlbumTreeModel::rowCount(const QModelIndex& parent) const
{
    if (entries_.empty()) {
        return 0;
    }
    return parent.isValid() ? entryOf(parent).shown : entries_[root].shown;
}

int AlbumTreeModel::columnCount(const QModelIndex&) const { return 1; }

Qt::ItemFlags AlbumTreeModel::flags(const QModelIndex& index) const
{
    if (!index.isValid()) {
        return Qt::NoItemFlags;
    }
    constexpr auto usual = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    return entryOf(index).shown > 0 ? usual : usual | Qt::ItemNeverHasChildren;
}

QVariant AlbumTreeModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid()) {
        return {};
    }
    const auto title = titleOf(entryOf(index));
    switch (role) {
    case Qt::DisplayRole:
        return title;
    case Qt::ToolTipRole:
        return plainToolTip(title + '\n' + itemCounts(rowAt(index)));
    case Qt::AccessibleTextRole:
        return QString(title + ", " + itemCounts(rowAt(index)).replace(" ·", ","));
    default:
        return {};
    }
}

QVariant AlbumTreeModel::headerData(int, Qt::Orientation orientation, int role) const
{
    return orientation == Qt::Horizontal && role == Qt::DisplayRole ? QVariant("Albums") : QVariant();
}

AlbumsView::AlbumsView(QWidget* parent)
    : QTreeView(parent)
    , albums_(new AlbumTreeModel(this))
{
    setModel(albums_);
    setItemDelegate(new AlbumDelegate(*albums_, this));
    setHeaderHidden(true);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setAccessibleName("Albums");
    // For a screen reader, which otherwise takes the place of a row in its folder for its place in the tree.
    setSelectionBehavior(QAbstractItemView::SelectItems);
    connect(selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        const auto chosen = chosenIndex();
        chosen_ = chosen.isValid() ? std::optional(albums_->idOf(chosen)) : std::nullopt;
        if (chosen.isValid()) { // a screen reader selects without going there
            selectionModel()->setCurrentIndex(chosen, QItemSelectionModel::NoUpdate);
        }
        Q_EMIT chosenChanged(chosen);
    });
}

QModelIndex AlbumsView::chosenIndex() const
{
    const auto selected = selectionModel()->selectedIndexes();
    return selected.isEmpty() ? QModelIndex() : selected.front();
}

void AlbumsView::show(std::shared_ptr<const ScannedLibrary> library)
{
    constexpr int fewRows = 20; // those of folders at the top are open at once
    isFiltered_ = false;
    chosen_.reset();
    albums_->show(std::move(library));
    if (albums_->rowCount() <= fewRows) {
        expandToDepth(0);
    }
}

void AlbumsView::setFilter(const QString& part)
{
    if (!isFiltered_) {
        open_.clear();
        for (const auto id : albums_->openable()) {
            if (isExpanded(albums_->indexOf(id))) {
                open_.push_back(id);
            }
        }
    }
    isFiltered_ = !part.isEmpty();
    albums_->setFilter(part);
    if (isFiltered_) {
        expandAll();
    } else {
        for (const auto id : open_) {
            expand(albums_->indexOf(id));
        }
    }
    const auto again = chosen_ ? albums_->indexOf(*chosen_) : QModelIndex();
    if (again.isValid()) {
        setCurrentIndex(again);
    }
}

/// Whoever comes with the keyboard begins with the first row, which is then also seen.
void AlbumsView::focusInEvent(QFocusEvent* event)
{
    const bool isNowhere = !currentIndex().isValid();
    QTreeView::focusInEvent(event);
    if (isNowhere && currentIndex().isValid() && event->reason() != Qt::MouseFocusReason) {
        selectionModel()->select(currentIndex(), QItemSelectionModel::ClearAndSelect);
    }
}

int AlbumsView::heightOfRows() const
{
    int height = 2 * frameWidth();
    for (int row = 0; row < albums_->rowCount(); ++row) {
        height += indexRowSizeHint(albums_->index(row, 0));
    }
    return height;
}

} // namespace vantorel
