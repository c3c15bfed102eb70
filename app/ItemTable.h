#pragma once

#include "app/model/AppModel.h"
#include "app/model/Mailbox.h"

#include <functional>
#include <memory>
#include <vector>

#include <QtCore/qabstractitemmodel.h>
#include <QtWidgets/qtableview.h>

namespace vantorel {

class PictureService;
class VisiblePictures;

/// Items of a scan with what is really on this disk, in any number: a view asks for what it shows alone.
/// Sorted in the background. The table and the grid of items show the same model.
class ItemTableModel final : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { usualOrder = -1, picture, name, date, status, columnCount_ };
    using Rows = std::vector<std::size_t>; ///< Positions of assets in the snapshot.

    explicit ItemTableModel(QObject* parent = nullptr);
    ~ItemTableModel() override;

    void show(std::shared_ptr<const ScannedLibrary> library, Rows rows);
    /// "name, date, status", one line for each of these items, separated by tabs. Put together in the
    /// background, since a list can be very long; given on the main thread.
    void withText(Rows items, std::function<void(const QString&)> use);
    const Rows& rows() const { return rows_; }
    /// In the order in which they were given.
    const Rows& given() const { return given_; }
    /// The rows are still being put in their order.
    bool isLoading() const { return loading_; }

    const std::shared_ptr<const ScannedLibrary>& library() const { return library_; }
    std::size_t positionAt(int row) const { return rows_[static_cast<std::size_t>(row)]; }
    const Asset& assetAt(int row) const;
    const OriginalEntry& entryAt(int row) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    /// By `usualOrder`, and by pictures, as the rows were given.
    void sort(int column, Qt::SortOrder order) override;

Q_SIGNALS:
    void loadingChanged();
    /// The rows are put in another order next.
    void aboutToBeSorted();

private:
    void setLoading(bool loading);
    QString textAt(int row, int column) const;
    void applyOrder(Rows rows);

    std::shared_ptr<const ScannedLibrary> library_{};
    Rows given_{};
    Rows rows_{};
    int sortedBy_ = usualOrder;
    Qt::SortOrder order_ = Qt::AscendingOrder;
    bool loading_ = false;
    std::uint64_t generation_ = 0; ///< A sort is applied only to the rows that it was asked for.
    std::shared_ptr<Mailbox> mailbox_;
};

/// "2024-05-03 12:17", at the place where it was taken as far as that is known; "" without a date.
QString itemDateText(const Asset& asset);
/// What stands beneath a picture: its title, else the first line of its caption, else its name.
QString itemTitle(const Asset& asset);

/// Items as a table, each with a small picture.
class ItemTable final : public QTableView {
    Q_OBJECT

public:
    ItemTable(ItemTableModel& items, PictureService& pictures, QWidget* parent = nullptr);
    ~ItemTable() override;

private:
    std::unique_ptr<VisiblePictures> visible_;
};

} // namespace vantorel
