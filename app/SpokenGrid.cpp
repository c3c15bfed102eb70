#include "app/SpokenGrid.h"

#include "app/ItemTable.h"
#include "app/PictureGrid.h"

#include <array>
#include <unordered_map>

#include <QtCore/qpointer.h>
#include <QtWidgets/qaccessiblewidget.h>

namespace vantorel {

namespace {

/// One picture. It stands for its place in the list, whatever item is there at the moment.
class SpokenItem final : public QAccessibleInterface, public QAccessibleActionInterface {
public:
    SpokenItem(PictureGrid& grid, int row)
        : grid_(&grid)
        , row_(row)
    {
    }

    int row() const { return row_; }

    bool isValid() const override { return grid_ && index().isValid(); }
    QObject* object() const override { return nullptr; }
    QWindow* window() const override { return parent() ? parent()->window() : nullptr; }
    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(grid_); }
    QAccessibleInterface* child(int) const override { return nullptr; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessible::Role role() const override { return QAccessible::ListItem; }
    void setText(QAccessible::Text, const QString&) override { }

    QString text(QAccessible::Text what) const override
    {
        return isValid() && what == QAccessible::Name ? index().data(Qt::AccessibleTextRole).toString()
                                                      : QString();
    }

    QRect rect() const override
    {
        if (!isValid()) {
            return {};
        }
        const auto place = grid_->visualRect(index());
        return {grid_->viewport()->mapToGlobal(place.topLeft()), place.size()};
    }

    QAccessible::State state() const override
    {
        QAccessible::State state;
        if (!isValid()) {
            state.invalid = true;
            return state;
        }
        state.focusable = true;
        state.selectable = true;
        state.multiSelectable = true;
        state.disabled = !grid_->isEnabled();
        state.selected = grid_->selectionModel()->isSelected(index());
        state.focused = grid_->hasFocus() && grid_->currentIndex().row() == row_;
        state.invisible = !grid_->isVisible();
        state.offscreen = !grid_->viewport()->rect().intersects(grid_->visualRect(index()));
        return state;
    }

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this)
                                                    : nullptr;
    }

    QStringList actionNames() const override { return {pressAction(), setFocusAction()}; }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

    void doAction(const QString& name) override
    {
        if (!isValid()) {
            return;
        }
        grid_->setFocus();
        grid_->setCurrentIndex(index());
        if (name == pressAction()) {
            Q_EMIT grid_->doubleClicked(index());
        }
    }

private:
    QModelIndex index() const { return grid_->model()->index(row_, ItemTableModel::picture); }

    QPointer<PictureGrid> grid_;
    int row_;
};

class SpokenGrid final : public QAccessibleWidget {
public:
    explicit SpokenGrid(PictureGrid& grid)
        : QAccessibleWidget(&grid, QAccessible::List)
        , grid_(grid)
    {
        // What a reader remembers of an item does not hold for another one in its place.
        changes_[0] =
            QObject::connect(grid.model(), &QAbstractItemModel::modelReset, &grid, [this] { forgetItems(); });
        changes_[1] = QObject::connect(
            grid.model(), &QAbstractItemModel::layoutChanged, &grid, [this] { forgetItems(); });
    }
    SpokenGrid(const SpokenGrid&) = delete;
    SpokenGrid& operator=(const SpokenGrid&) = delete;
    ~SpokenGrid() override
    {
        for (const auto& change : changes_) {
            QObject::disconnect(change);
        }
        forgetItems();
    }

    int childCount() const override { return grid_.model()->rowCount(); }

    QAccessibleInterface* child(int row) const override
    {
        if (row < 0 || row >= childCount()) {
            return nullptr;
        }
        auto [known, isNew] = items_.try_emplace(row, QAccessible::Id{});
        if (isNew) {
            known->second = QAccessible::registerAccessibleInterface(new SpokenItem(grid_, row));
        }
        return QAccessible::accessibleInterface(known->second);
    }

    int indexOfChild(const QAccessibleInterface* child) const override
    {
        const auto* item = dynamic_cast<const SpokenItem*>(child);
        return item ? item->row() : -1;
    }

    QAccessibleInterface* childAt(int x, int y) const override
    {
        const auto index = grid_.indexAt(grid_.viewport()->mapFromGlobal(QPoint(x, y)));
        return index.isValid() ? child(index.row()) : nullptr;
    }

    QAccessibleInterface* focusChild() const override
    {
        return grid_.hasFocus() ? child(grid_.currentIndex().row()) : nullptr;
    }

private:
    void forgetItems()
    {
        for (const auto& [row, id] : items_) {
            QAccessible::deleteAccessibleInterface(id);
        }
        items_.clear();
    }

    PictureGrid& grid_;
    std::array<QMetaObject::Connection, 2> changes_{};
    mutable std::unordered_map<int, QAccessible::Id> items_{}; ///< By row; made when somebody asks.
};

QAccessibleInterface* spokenGrid(const QString&, QObject* object)
{
    auto* grid = qobject_cast<PictureGrid*>(object);
    return grid ? new SpokenGrid(*grid) : nullptr;
}

} // namespace

void speakGridsAsLists()
{
    [[maybe_unused]] static const bool isInstalled = [] {
        QAccessible::installFactory(spokenGrid);
        return true;
    }();
}

} // namespace vantorel
