#pragma once

#include "app/model/ScannedLibrary.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include <QtCore/qabstractitemmodel.h>
#include <QtWidgets/qtreeview.h>

namespace vantorel {

/// What can be chosen in the albums tab: a row for all that the library has, then its albums and folders as a
/// tree. What a row says is put together when it is asked for, so that thousands of albums are there at once.
/// Main thread only.
class AlbumTreeModel final : public QAbstractItemModel {
    Q_OBJECT

public:
    enum class Kind { everything, folder, album };
    struct Row {
        Kind kind = Kind::album;
        std::size_t album = 0; ///< Its position in the snapshot; of an album or a folder.
        std::int64_t count = 0;
        std::int64_t withoutOriginal = 0;
    };
    /// A row that stays the same however the tree is filtered.
    using Id = std::size_t;

    using QAbstractItemModel::QAbstractItemModel;

    /// Without a filter.
    void show(std::shared_ptr<const ScannedLibrary> library);
    /// Only what has this in its title, what is in a folder that has, and the folders above. Empty: all.
    void setFilter(const QString& part);

    Row rowAt(const QModelIndex& index) const;
    Id idOf(const QModelIndex& index) const { return index.internalId(); }
    /// Invalid while the filter hides it.
    QModelIndex indexOf(Id id) const;
    /// The folders that have something in them.
    std::vector<Id> openable() const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    /// Hidden, but spoken.
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    /// The first entry is the root that nobody sees, the second one stands for everything. A folder's entries
    /// stand together, behind the folder.
    struct Entry {
        const AlbumNode* node = nullptr;
        Id parent = 0;
        int row = 0;                ///< Among those that the filter leaves.
        int shown = 0;              ///< So many rows in it does the filter leave,
        std::size_t firstShown = 0; ///< from here on in `shown_`.
        bool isShown = true;
    };

    void arrange(const QString& filter);
    QString titleOf(const Entry& entry) const;
    const Entry& entryOf(const QModelIndex& index) const { return entries_[index.internalId()]; }

    std::shared_ptr<const ScannedLibrary> library_{};
    std::vector<Entry> entries_{};
    std::vector<Id> shown_{};
};

/// "109 items · 12 without original"
QString itemCounts(const AlbumTreeModel::Row& row);

/// The tree itself: the title has all the room that its number leaves; what lacks originals has a second
/// line.
class AlbumsView final : public QTreeView {
    Q_OBJECT

public:
    explicit AlbumsView(QWidget* parent = nullptr);

    const AlbumTreeModel& albums() const { return *albums_; }

    void show(std::shared_ptr<const ScannedLibrary> library);
    /// Opens what it finds; without a filter, what was open before is open again. What was chosen stays.
    void setFilter(const QString& part);
    /// As high as its rows are, where they are few.
    int heightOfRows() const;

Q_SIGNALS:
    /// The row that is selected now, if any; not when the filter hides or shows it again.
    void chosenChanged(const QModelIndex& chosen);

protected:
    void focusInEvent(QFocusEvent* event) override;

private:
    QModelIndex chosenIndex() const;

    AlbumTreeModel* albums_;
    bool isFiltered_ = false;
    std::vector<AlbumTreeModel::Id> open_{};     ///< What was open before the filter opened everything.
    std::optional<AlbumTreeModel::Id> chosen_{}; ///< The selected row, also while the filter hides it.
};

} // namespace vantorel
