#include "app/AlbumsTab.h"

#include "app/ElidedLabel.h"
#include "app/ItemBrowser.h"
#include "app/ItemPainting.h"
#include "app/Theme.h"
#include "base/Text.h"

#include <QtCore/qsortfilterproxymodel.h>
#include <QtGui/qshortcut.h>
#include <QtGui/qstandarditemmodel.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qheaderview.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qlineedit.h>
#include <QtWidgets/qsplitter.h>
#include <QtWidgets/qstackedwidget.h>
#include <QtWidgets/qtreeview.h>

namespace vantorel {

using theme::TextStyle;

namespace {

constexpr int albumRole = Qt::UserRole + 1; ///< The album's position in the snapshot.
constexpr int folderRole = Qt::UserRole + 2;
constexpr int countRole = Qt::UserRole + 3;

QLabel* hint(const QString& content)
{
    auto* label = theme::text(content, TextStyle::quiet);
    label->setAlignment(Qt::AlignCenter);
    label->setMargin(theme::margin);
    return label;
}

struct Icons {
    QIcon album{};
    QIcon folder{};
    QIcon lacking{};
    int rowHeight = 28;
};

/// "109 items · 12 without original"
QString countText(const AlbumNode& node, const char* unit)
{
    QString text = shown(grouped(node.count)) + unit;
    if (node.withoutOriginal > 0) {
        text += " · " + shown(grouped(node.withoutOriginal)) + " without original";
    }
    return text;
}

QStandardItem* itemOf(const AlbumNode& node, const Icons& icons, QStandardItem*& count)
{
    auto* item = new QStandardItem(displayed(node.title));
    item->setEditable(false);
    item->setToolTip(plainToolTip(displayed(node.title)));
    item->setData(static_cast<qulonglong>(node.album), albumRole);
    item->setData(node.isFolder, folderRole);
    item->setData(countText(node, " items"), countRole);
    item->setIcon(node.withoutOriginal > 0 ? icons.lacking : node.isFolder ? icons.folder : icons.album);
    item->setSizeHint(QSize(0, icons.rowHeight));
    count = new QStandardItem(countText(node, ""));
    count->setEditable(false);
    count->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
    for (const auto& child : node.children) {
        QStandardItem* childCount = nullptr;
        auto* childItem = itemOf(child, icons, childCount);
        item->appendRow({childItem, childCount});
    }
    return item;
}

} // namespace

AlbumsTab::AlbumsTab(AppModel& app, PictureService& pictures, QWidget* parent)
    : ModelView(app, parent)
{
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 12, 0, 0);
    whole_ = new QStackedWidget;
    outer->addWidget(whole_);
    whole_->addWidget(hint("This library has no albums of its own, or none could be read."));
    auto* splitter = new QSplitter;
    splitter->setChildrenCollapsible(false);
    whole_->addWidget(splitter);

    auto* left = new QWidget;
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(0, 0, 8, 0);
    filter_ = new QLineEdit;
    filter_->setPlaceholderText("Filter albums");
    filter_->setClearButtonEnabled(true);
    filter_->setAccessibleName("Filter albums");
    albums_ = new QStandardItemModel(this);
    filtered_ = new QSortFilterProxyModel(this);
    filtered_->setSourceModel(albums_);
    filtered_->setRecursiveFilteringEnabled(true);
    filtered_->setFilterCaseSensitivity(Qt::CaseInsensitive);
    tree_ = new QTreeView;
    tree_->setModel(filtered_);
    tree_->setUniformRowHeights(true);
    tree_->setHeaderHidden(true);
    tree_->setFrameShape(QFrame::NoFrame);
    tree_->setTextElideMode(Qt::ElideMiddle);
    tree_->setIconSize(QSize(fontMetrics().height(), fontMetrics().height()));
    tree_->setAccessibleName("Albums");
    leftLayout->addWidget(filter_);
    leftLayout->addWidget(tree_, 1);
    splitter->addWidget(left);

    right_ = new QStackedWidget;
    hint_ = hint("Select an album to see its photos and what is really on this disk for each one.");
    right_->addWidget(hint_);
    items_ = new ItemBrowser(app, pictures, ItemBrowser::Place::albums);
    items_->setContentsMargins(8, 0, 0, 0);
    auto* names = new QVBoxLayout;
    names->setSpacing(0);
    title_ = new ElidedLabel("", ElidedLabel::Kind::name);
    count_ = theme::text("", TextStyle::quiet);
    count_->setWordWrap(false);
    names->addWidget(title_);
    names->addWidget(count_);
    items_->head().addLayout(names, 1);
    right_->addWidget(items_);
    splitter->addWidget(right_);
    splitter->setSizes({330, 740});
    splitter->setStretchFactor(1, 1);

    connect(filter_, &QLineEdit::textChanged, this, [this](const QString& text) {
        filtered_->setFilterFixedString(text);
        if (!text.isEmpty()) {
            tree_->expandAll();
        }
    });
    connect(tree_->selectionModel(), &QItemSelectionModel::currentChanged, this,
        [this](const QModelIndex& current, const QModelIndex&) { showAlbum(current); });
    connect(new QShortcut(QKeySequence::Find, this), &QShortcut::activated, filter_,
        [this] { filter_->setFocus(); });
    watch(app_.scanned);
}

void AlbumsTab::refresh()
{
    const auto scanned = app_.scanned();
    if (!scanned || shown_ == scanned) {
        return;
    }
    shown_ = scanned;
    filter_->clear();
    // Filled while nobody looks: told of each of thousands of rows, the filter and the tree would sort it in.
    filtered_->setSourceModel(nullptr);
    albums_->clear();
    Icons icons{
        .album = theme::symbolIcon("photo.on.rectangle", palette()),
        .folder = theme::symbolIcon("folder", palette()),
        .rowHeight = std::max(28, fontMetrics().height() + 10),
    };
    icons.lacking = markIcon(
        "exclamationmark.triangle.fill", theme::colour(theme::Meaning::attention, palette()), palette());
    for (const auto& node : scanned->albums) {
        QStandardItem* count = nullptr;
        auto* item = itemOf(node, icons, count);
        albums_->appendRow({item, count});
    }
    filtered_->setSourceModel(albums_);
    whole_->setCurrentIndex(scanned->albums.empty() ? 0 : 1);
    if (!scanned->albums.empty()) {
        tree_->header()->setStretchLastSection(false);
        tree_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
        tree_->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
        if (albums_->rowCount() <= 20) {
            tree_->expandToDepth(0);
        }
    }
    showAlbum({});
}

void AlbumsTab::showAlbum(const QModelIndex& index)
{
    if (!index.isValid() || !shown_) {
        hint_->setText("Select an album to see its photos and what is really on this disk for each one.");
        right_->setCurrentIndex(0);
        return;
    }
    const auto first = index.siblingAtColumn(0);
    if (first.data(folderRole).toBool()) {
        hint_->setText("Open it and choose an album inside.");
        right_->setCurrentIndex(0);
        return;
    }
    const auto& album = shown_->result->snapshot.albums[first.data(albumRole).toULongLong()];
    ItemTableModel::Rows rows;
    rows.reserve(album.assetPKs.size());
    for (const auto pk : album.assetPKs) {
        if (const auto position = shown_->positions.find(pk); position != shown_->positions.end()) {
            rows.push_back(position->second);
        }
    }
    title_->setText(first.data().toString());
    count_->setText(first.data(countRole).toString());
    items_->show(shown_, std::move(rows));
    right_->setCurrentIndex(1);
}

} // namespace vantorel
