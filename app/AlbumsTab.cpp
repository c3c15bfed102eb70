#include "app/AlbumsTab.h"

#include "app/AlbumsView.h"
#include "app/ElidedLabel.h"
#include "app/ItemBrowser.h"
#include "app/Theme.h"

#include <QtGui/qshortcut.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qlineedit.h>
#include <QtWidgets/qsplitter.h>
#include <QtWidgets/qstackedwidget.h>

namespace vantorel {

using theme::TextStyle;

namespace {

constexpr const char* noAlbums = "This library has no albums of its own, or none could be read.";
constexpr const char* nothingSelected =
    "Select an album to see its photos and what is really on this disk for each one.";

QLabel* hint(const QString& content)
{
    auto* label = theme::text(content, TextStyle::quiet);
    label->setAlignment(Qt::AlignCenter);
    label->setMargin(theme::margin);
    return label;
}

} // namespace

AlbumsTab::AlbumsTab(AppModel& app, PictureService& pictures, QWidget* parent)
    : ModelView(app, parent)
{
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 12, 0, 0);
    whole_ = new QStackedWidget;
    outer->addWidget(whole_);
    whole_->addWidget(hint(noAlbums));
    auto* splitter = new QSplitter;
    splitter->setChildrenCollapsible(false);
    whole_->addWidget(splitter);

    splitter->addWidget(leftSide());
    right_ = new QStackedWidget;
    hint_ = hint(nothingSelected);
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

    connect(filter_, &QLineEdit::textChanged, tree_, &AlbumsView::setFilter);
    connect(tree_, &AlbumsView::chosenChanged, this, &AlbumsTab::showAlbum);
    connect(new QShortcut(QKeySequence::Find, this), &QShortcut::activated, filter_,
        [this] { filter_->setFocus(); });
    watch(app_.scanned);
}

QWidget* AlbumsTab::leftSide()
{
    auto* left = new QWidget;
    auto* layout = new QVBoxLayout(left);
    layout->setContentsMargins(0, 0, 8, 0);
    filter_ = new QLineEdit;
    filter_->setPlaceholderText("Filter albums");
    filter_->setClearButtonEnabled(true);
    filter_->setAccessibleName("Filter albums");
    tree_ = new AlbumsView;
    noAlbums_ = theme::text(noAlbums, TextStyle::quiet);
    noAlbums_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    noAlbums_->setContentsMargins(4, 8, 0, 0);
    layout->addWidget(filter_);
    layout->addWidget(tree_, 1);
    layout->addWidget(noAlbums_, 1);
    return left;
}

void AlbumsTab::refresh()
{
    const auto scanned = app_.scanned();
    if (!scanned || shown_ == scanned) {
        return;
    }
    shown_ = scanned;
    const bool hasAlbums = !scanned->albums.empty();
    filter_->clear();
    tree_->show(scanned);
    // Nothing to choose from: what there is, is shown at once.
    whole_->setCurrentIndex(hasAlbums || !scanned->byDate.empty() ? 1 : 0);
    filter_->setVisible(hasAlbums);
    noAlbums_->setVisible(!hasAlbums);
    tree_->setMaximumHeight(hasAlbums ? QWIDGETSIZE_MAX : tree_->heightOfRows());
    showAlbum({});
    if (!hasAlbums) {
        tree_->setCurrentIndex(tree_->albums().index(0, 0));
    }
}

void AlbumsTab::showAlbum(const QModelIndex& index)
{
    using Kind = AlbumTreeModel::Kind;
    const bool isChosen = index.isValid() && shown_;
    const auto row = isChosen ? tree_->albums().rowAt(index) : AlbumTreeModel::Row();
    if (!isChosen || row.kind == Kind::folder) {
        hint_->setText(isChosen ? "Open it and choose an album inside." : nothingSelected);
        right_->setCurrentIndex(0);
        return;
    }
    ItemTableModel::Rows rows;
    if (row.kind == Kind::everything) {
        rows = shown_->byDate;
    } else {
        const auto& album = shown_->result->snapshot.albums[row.album];
        rows.reserve(album.assetPKs.size());
        for (const auto pk : album.assetPKs) {
            if (const auto position = shown_->positions.find(pk); position != shown_->positions.end()) {
                rows.push_back(position->second);
            }
        }
    }
    title_->setText(index.data().toString());
    count_->setText(itemCounts(row));
    items_->show(shown_, std::move(rows));
    right_->setCurrentIndex(1);
}

} // namespace vantorel
