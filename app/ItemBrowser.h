#pragma once

#include "app/ItemTable.h"
#include "app/ModelView.h"

class QAbstractButton;
class QHBoxLayout;
class QLabel;
class QPushButton;
class QSlider;
class QStackedWidget;
class QToolButton;

namespace vantorel {

class LargePreview;
class PictureGrid;
class PictureService;
class PreviewPane;

/// A list of items as a grid of pictures or as a table, with a preview beside it that can be closed and a
/// larger one on Space. Which of them is shown is remembered.
class ItemBrowser final : public ModelView {
    Q_OBJECT

public:
    enum class Place { albums, limited }; ///< Each remembers by itself whether it is a grid.

    ItemBrowser(AppModel& app, PictureService& pictures, Place place, QWidget* parent = nullptr);

    void show(std::shared_ptr<const ScannedLibrary> library, ItemTableModel::Rows rows);
    ItemTableModel& items() { return *items_; }
    /// The line above the list: what its owner puts there stands on the left of the switches.
    QHBoxLayout& head() { return *head_; }

    bool eventFilter(QObject* watched, QEvent* event) override;

protected:
    void refresh() override;
    void hideEvent(QHideEvent* event) override;

private:
    QToolButton* addButton(const char* symbol, const QString& title);
    QToolButton* addSwitch(const char* symbol, const QString& title);
    void showGrid(bool isGrid);
    void showPreview();
    void followSelection(const QItemSelection& selected);
    void showDisk();
    void openLarge();
    void copySelected();
    void limitSelection();
    QAbstractItemView& current();

    PictureService& pictures_;
    Place place_;
    ItemTableModel* items_;
    QHBoxLayout* head_;
    QLabel* loading_;
    QSlider* zoom_;
    QToolButton* asGrid_;
    QToolButton* asTable_;
    QToolButton* withPreview_;
    QWidget* disk_;
    QLabel* diskText_;
    QPushButton* tryAgain_;
    QStackedWidget* views_;
    PictureGrid* grid_;
    ItemTable* table_;
    PreviewPane* preview_;
    LargePreview* large_ = nullptr; ///< Of the window, which is known only once this is in it.
};

} // namespace vantorel
