#pragma once

#include "app/model/AppModel.h"
#include "app/model/Mailbox.h"

#include <memory>
#include <vector>

#include <QtCore/qabstractitemmodel.h>
#include <QtWidgets/qwidget.h>

class QLabel;
class QStackedWidget;
class QTableView;

namespace vantorel {

/// Items of a scan with what is really on this disk, in any number: a view asks for what it shows alone.
/// Sorted in the background.
class ItemTableModel final : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { name, date, status, columnCount_ };
    using Rows = std::vector<std::size_t>; ///< Positions of assets in the snapshot.

    explicit ItemTableModel(QObject* parent = nullptr);
    ~ItemTableModel() override;

    void show(std::shared_ptr<const ScannedLibrary> library, Rows rows);
    /// "name, date, status", one line for each row, separated by tabs.
    QString asText() const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    void sort(int column, Qt::SortOrder order) override;

private:
    const Asset& assetAt(int row) const;
    QString textAt(int row, int column) const;

    std::shared_ptr<const ScannedLibrary> library_{};
    Rows rows_{};
    int sortedBy_ = -1; ///< As the caller gave them.
    Qt::SortOrder order_ = Qt::AscendingOrder;
    std::uint64_t generation_ = 0; ///< A sort is applied only to the rows that it was asked for.
    std::shared_ptr<Mailbox> mailbox_;
};

/// The table with its words for "nothing here".
class ItemTable final : public QWidget {
public:
    explicit ItemTable(QWidget* parent = nullptr);
    void show(std::shared_ptr<const ScannedLibrary> library, ItemTableModel::Rows rows);
    ItemTableModel& items() { return *model_; }

private:
    ItemTableModel* model_;
    QTableView* table_;
};

} // namespace vantorel
