#include "app/ItemBrowser.h"

#include "app/LargePreview.h"
#include "app/PictureGrid.h"
#include "app/PreviewPane.h"
#include "app/Theme.h"
#include "app/pictures/PictureService.h"

#include <algorithm>
#include <utility>

#include <QtCore/qtimer.h>
#include <QtGui/qaction.h>
#include <QtGui/qactiongroup.h>
#include <QtGui/qclipboard.h>
#include <QtGui/qevent.h>
#include <QtGui/qguiapplication.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qbuttongroup.h>
#include <QtWidgets/qheaderview.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qmenu.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qslider.h>
#include <QtWidgets/qsplitter.h>
#include <QtWidgets/qstackedwidget.h>
#include <QtWidgets/qtoolbutton.h>

namespace vantorel {

namespace {

/// The order of the items, also for whoever has no mouse for the headings of the table: the grid has none.
QMenu* orderMenu(QHeaderView& header, QWidget* parent)
{
    auto* menu = new QMenu(parent);
    auto* columns = new QActionGroup(menu);
    for (const auto& [title, column] :
        {std::pair("Usual Order", ItemTableModel::usualOrder), std::pair("Name", ItemTableModel::name),
            std::pair("Date", ItemTableModel::date), std::pair("On This Disk", ItemTableModel::status)}) {
        auto* by = columns->addAction(menu->addAction(title));
        by->setCheckable(true);
        by->setData(static_cast<int>(column));
    }
    menu->addSeparator();
    auto* reversed = menu->addAction("Reversed");
    reversed->setCheckable(true);
    QObject::connect(menu, &QMenu::aboutToShow, menu, [&header, columns, reversed] {
        columns->actions().at(std::max(0, header.sortIndicatorSection()))->setChecked(true);
        reversed->setChecked(header.sortIndicatorOrder() == Qt::DescendingOrder);
    });
    QObject::connect(menu, &QMenu::triggered, menu, [&header, columns, reversed] {
        header.setSortIndicator(columns->checkedAction()->data().toInt(),
            reversed->isChecked() ? Qt::DescendingOrder : Qt::AscendingOrder);
    });
    return menu;
}

} // namespace

ItemBrowser::ItemBrowser(AppModel& app, PictureService& pictures, Place place, QWidget* parent)
    : ModelView(app, parent)
    , pictures_(pictures)
    , place_(place)
    , items_(new ItemTableModel(this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    auto* line = new QHBoxLayout;
    line->setSpacing(4);
    head_ = new QHBoxLayout;
    head_->setSpacing(8);
    line->addLayout(head_, 1);
    loading_ = theme::text("Listing items…", theme::TextStyle::quiet);
    loading_->setWordWrap(false);
    loading_->hide();
    line->addWidget(loading_);
    line->addSpacing(8);
    zoom_ = new QSlider(Qt::Horizontal);
    zoom_->setRange(ItemsLook::leastTile, ItemsLook::mostTile);
    zoom_->setSingleStep(16);
    zoom_->setPageStep(32);
    zoom_->setFixedWidth(96);
    zoom_->setToolTip("Size of the pictures");
    zoom_->setAccessibleName("Size of the pictures");
    line->addWidget(zoom_);
    auto* order = addButton("arrow.up.arrow.down", "Order");
    order->setPopupMode(QToolButton::InstantPopup);
    line->addWidget(order);
    line->addSpacing(4);
    asGrid_ = addSwitch("square.grid.2x2", "Show as Pictures");
    asTable_ = addSwitch("list.bullet", "Show as List");
    withPreview_ = addSwitch("sidebar.right", "Show Preview");
    auto* either = new QButtonGroup(this);
    either->addButton(asGrid_);
    either->addButton(asTable_);
    line->addWidget(asGrid_);
    line->addWidget(asTable_);
    line->addSpacing(4);
    line->addWidget(withPreview_);
    layout->addLayout(line);

    disk_ = new QWidget;
    auto* diskLine = new QHBoxLayout(disk_);
    diskLine->setContentsMargins(0, 0, 0, 0);
    diskText_ = theme::text("", theme::TextStyle::quiet);
    tryAgain_ = new QPushButton("Try Again");
    diskLine->addWidget(diskText_, 1);
    diskLine->addWidget(tryAgain_, 0, Qt::AlignTop);
    layout->addWidget(disk_);

    auto* splitter = new QSplitter;
    splitter->setChildrenCollapsible(false);
    views_ = new QStackedWidget;
    grid_ = new PictureGrid(*items_, pictures_);
    table_ = new ItemTable(*items_, pictures_);
    order->setMenu(orderMenu(*table_->horizontalHeader(), order));
    // One selection, whichever way it is looked at.
    auto* unused = grid_->selectionModel();
    grid_->setSelectionModel(table_->selectionModel());
    unused->deleteLater();
    views_->addWidget(grid_);
    views_->addWidget(table_);
    splitter->addWidget(views_);
    preview_ = new PreviewPane(pictures_);
    splitter->addWidget(preview_);
    splitter->setStretchFactor(0, 1);
    splitter->setSizes({560, 260});
    layout->addWidget(splitter, 1);

    for (auto* view : std::initializer_list<QAbstractItemView*>{grid_, table_}) {
        view->installEventFilter(this);
        connect(view, &QAbstractItemView::doubleClicked, this, [this] { openLarge(); });
    }
    connect(table_->selectionModel(), &QItemSelectionModel::currentChanged, this, [this] { showPreview(); });
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
        [this](const QItemSelection& selected) { followSelection(selected); });
    connect(items_, &QAbstractItemModel::modelReset, this, [this] { showPreview(); });
    connect(items_, &ItemTableModel::aboutToBeSorted, this, [this] { limitSelection(); });
    // A short wait is not worth a flicker.
    auto* wait = new QTimer(this);
    wait->setSingleShot(true);
    wait->setInterval(300);
    connect(wait, &QTimer::timeout, loading_, &QWidget::show);
    connect(items_, &ItemTableModel::loadingChanged, this, [this, wait] {
        loading_->hide();
        items_->isLoading() ? wait->start() : wait->stop();
    });
    // Not when they are clicked: a screen reader toggles them.
    connect(either, &QButtonGroup::buttonToggled, this, [this] { showGrid(asGrid_->isChecked()); });
    connect(withPreview_, &QToolButton::toggled, this, [this](bool shows) {
        auto look = app_.itemsLook();
        look.showsPreview = shows;
        app_.setItemsLook(look);
    });
    connect(zoom_, &QSlider::valueChanged, this, [this](int tile) {
        auto look = app_.itemsLook();
        look.tile = tile;
        app_.setItemsLook(look);
    });
    connect(tryAgain_, &QPushButton::clicked, this, [this] { pictures_.tryAgain(); });
    connect(&pictures_, &PictureService::diskChanged, this, [this] { showDisk(); });
    showDisk();
    watch(app_.itemsLook);
}

QToolButton* ItemBrowser::addButton(const char* symbol, const QString& title)
{
    auto* button = new QToolButton;
    button->setIcon(theme::symbolIcon(symbol, palette()));
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    button->setToolTip(title);
    button->setAccessibleName(title);
    return button;
}

QToolButton* ItemBrowser::addSwitch(const char* symbol, const QString& title)
{
    auto* button = addButton(symbol, title);
    button->setCheckable(true);
    return button;
}

void ItemBrowser::show(std::shared_ptr<const ScannedLibrary> library, ItemTableModel::Rows rows)
{
    if (items_->library() == library && items_->given() == rows) {
        return; // what is selected, and where one was, stays
    }
    items_->show(std::move(library), std::move(rows));
    grid_->scrollToTop();
    table_->scrollToTop();
}

void ItemBrowser::refresh()
{
    const auto look = app_.itemsLook();
    const bool isGrid = place_ == Place::albums ? look.albumsAsGrid : look.limitedAsGrid;
    asGrid_->setChecked(isGrid);
    asTable_->setChecked(!isGrid);
    withPreview_->setChecked(look.showsPreview);
    zoom_->setVisible(isGrid);
    zoom_->setValue(look.tile);
    grid_->setTile(look.tile);
    preview_->setVisible(look.showsPreview);
    auto& wanted = isGrid ? static_cast<QAbstractItemView&>(*grid_) : *table_;
    if (&current() != &wanted) {
        const bool hadFocus = current().hasFocus();
        // A grid knows the first column alone.
        const auto index = current().currentIndex().siblingAtColumn(ItemTableModel::picture);
        table_->selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
        views_->setCurrentWidget(&wanted);
        wanted.scrollTo(index, QAbstractItemView::PositionAtCenter);
        if (hadFocus) {
            wanted.setFocus();
        }
    }
}

void ItemBrowser::showGrid(bool isGrid)
{
    auto look = app_.itemsLook();
    (place_ == Place::albums ? look.albumsAsGrid : look.limitedAsGrid) = isGrid;
    app_.setItemsLook(look);
}

QAbstractItemView& ItemBrowser::current()
{
    return static_cast<QAbstractItemView&>(*views_->currentWidget());
}

void ItemBrowser::showPreview()
{
    const auto index = table_->currentIndex();
    if (index.isValid()) {
        preview_->show(items_->library(), items_->positionAt(index.row()));
    } else {
        preview_->clear();
    }
}

/// A screen reader selects without going there; what it selected is then what is looked at.
void ItemBrowser::followSelection(const QItemSelection& selected)
{
    auto* selection = table_->selectionModel();
    if (!selected.isEmpty() && !selection->isSelected(selection->currentIndex())) {
        selection->setCurrentIndex(selected.front().topLeft(), QItemSelectionModel::NoUpdate);
    }
}

void ItemBrowser::showDisk()
{
    const auto text = pictures_.diskText();
    disk_->setVisible(!text.empty());
    diskText_->setText(shown(text));
    tryAgain_->setVisible(
        pictures_.disk() == PictureService::Disk::silent || pictures_.disk() == PictureService::Disk::gone);
}

void ItemBrowser::openLarge()
{
    if (!large_) {
        large_ = new LargePreview(app_, pictures_, *items_, *window());
    }
    large_->open(current());
}

void ItemBrowser::hideEvent(QHideEvent* event)
{
    if (large_) {
        large_->closeIt(); // another screen has come
    }
    ModelView::hideEvent(event);
}

void ItemBrowser::copySelected()
{
    std::vector<int> rows;
    for (const auto& range : table_->selectionModel()->selection()) {
        for (int row = range.top(); row <= range.bottom(); ++row) {
            rows.push_back(row);
        }
    }
    std::ranges::sort(rows);
    rows.erase(std::ranges::unique(rows).begin(), rows.end());
    ItemTableModel::Rows items;
    for (const int row : rows) {
        items.push_back(items_->positionAt(row));
    }
    if (!items.empty()) {
        items_->withText(
            std::move(items), [](const QString& text) { QGuiApplication::clipboard()->setText(text); });
    }
}

/// A selection follows its items when they are sorted. One of thousands would be scattered into as many
/// pieces, which takes seconds; of such a one the current item alone stays selected. All stay all.
void ItemBrowser::limitSelection()
{
    constexpr int mostRows = 1000;
    auto* selection = table_->selectionModel();
    int rows = 0;
    for (const auto& range : selection->selection()) {
        rows += range.height();
    }
    if (rows > mostRows && rows < items_->rowCount()) {
        selection->select(
            table_->currentIndex(), QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    }
}

bool ItemBrowser::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Space || key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
            openLarge();
            return true;
        }
        if (key->matches(QKeySequence::Copy)) {
            copySelected();
            return true;
        }
    }
    return ModelView::eventFilter(watched, event);
}

} // namespace vantorel
