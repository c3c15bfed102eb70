#include "app/ItemTable.h"

#include "app/Charts.h"
#include "app/ModelView.h"
#include "app/Theme.h"
#include "app/model/RealServices.h"
#include "base/Date.h"

#include <algorithm>
#include <string>
#include <utility>

#include <QtWidgets/qapplication.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qheaderview.h>
#include <QtWidgets/qtableview.h>

namespace vantorel {

namespace {

/// "2024-05-03 12:17", at the place where it was taken as far as that is known.
std::string dateText(const Asset& asset)
{
    const auto text =
        asset.dateCreated ? sidecarDate(*asset.dateCreated, asset.timeZoneOffset) : std::nullopt;
    if (!text) {
        return "";
    }
    return text->substr(0, 10) + " " + text->substr(11, 5);
}

using Rows = ItemTableModel::Rows;

Rows sorted(const ScannedLibrary& library, Rows rows, int column, Qt::SortOrder order)
{
    const auto& assets = library.result->snapshot.assets;
    const auto by = [&](auto key) {
        std::ranges::stable_sort(rows, [&](std::size_t a, std::size_t b) {
            return order == Qt::AscendingOrder ? key(assets[a]) < key(assets[b])
                                               : key(assets[b]) < key(assets[a]);
        });
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
        break;
    }
    return rows;
}

} // namespace

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
    rows_ = std::move(rows);
    endResetModel();
    if (sortedBy_ >= 0) {
        sort(sortedBy_, order_);
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

QString ItemTableModel::textAt(int row, int column) const
{
    const auto& asset = assetAt(row);
    switch (column) {
    case name:
        return displayed(shownName(asset));
    case date:
        return shown(dateText(asset));
    case status:
        return shown(statusText(entryOf(*library_->result, asset.pk)));
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
    case Qt::ToolTipRole:
        return textAt(index.row(), index.column());
    case Qt::DecorationRole: {
        if (index.column() != status) {
            return {};
        }
        const auto kind = originalClass(entryOf(*library_->result, assetAt(index.row()).pk));
        const int size = QFontMetrics(QApplication::font()).height();
        return theme::symbol(symbolOf(kind), size, theme::colour(meaningOf(kind), QApplication::palette()),
            qApp->devicePixelRatio());
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
    static const QStringList titles{"Name", "Date", "On this disk"};
    return titles.value(section);
}

void ItemTableModel::sort(int column, Qt::SortOrder order)
{
    sortedBy_ = column;
    order_ = order;
    if (!library_ || column < 0) {
        return;
    }
    const auto generation = ++generation_;
    auto task = [this, box = std::weak_ptr(mailbox_), library = library_, rows = rows_, column, order,
                    generation] {
        auto result = std::make_shared<Rows>(sorted(*library, rows, column, order));
        if (const auto mailbox = box.lock()) {
            mailbox->post([this, result, generation] {
                if (generation == generation_) {
                    Q_EMIT layoutAboutToBeChanged();
                    rows_ = std::move(*result);
                    Q_EMIT layoutChanged();
                }
            });
        }
    };
    std::ignore = startOnThread(std::move(task)); // without a thread the order stays as it is
}

QString ItemTableModel::asText() const
{
    QString text;
    for (int row = 0; row < rowCount(); ++row) {
        text += textAt(row, name) + '\t' + textAt(row, date) + '\t' + textAt(row, status) + '\n';
    }
    return text;
}

ItemTable::ItemTable(QWidget* parent)
    : QWidget(parent)
    , model_(new ItemTableModel(this))
    , table_(new QTableView)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(table_);
    table_->setModel(model_);
    table_->setSortingEnabled(false);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setWordWrap(false);
    table_->setShowGrid(false);
    table_->setAlternatingRowColors(true);
    table_->setTextElideMode(Qt::ElideMiddle);
    table_->setFrameShape(QFrame::NoFrame);
    table_->setTabKeyNavigation(false);
    table_->verticalHeader()->hide();
    table_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table_->verticalHeader()->setDefaultSectionSize(std::max(28, fontMetrics().height() + 10));
    auto* header = table_->horizontalHeader();
    header->setHighlightSections(false);
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(true);
    header->setSortIndicator(-1, Qt::AscendingOrder);
    header->setStretchLastSection(true);
    header->resizeSection(ItemTableModel::name, fontMetrics().averageCharWidth() * 34);
    header->resizeSection(ItemTableModel::date, fontMetrics().averageCharWidth() * 20);
    connect(header, &QHeaderView::sortIndicatorChanged, model_,
        [this](int column, Qt::SortOrder order) { model_->sort(column, order); });
    table_->setAccessibleName("Items");
}

void ItemTable::show(std::shared_ptr<const ScannedLibrary> library, ItemTableModel::Rows rows)
{
    model_->show(std::move(library), std::move(rows));
    table_->scrollToTop();
}

} // namespace vantorel
