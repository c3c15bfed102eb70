#pragma once

#include <QtWidgets/qlayout.h>

namespace vantorel {

/// Takes everything out of a layout; its widgets are deleted once the event that led here is over.
void clearLayout(QLayout& layout);

/// Widgets side by side at their own width, in as many lines as the room asks for.
class FlowLayout final : public QLayout {
public:
    FlowLayout(int between, int betweenLines);
    ~FlowLayout() override;

    void addItem(QLayoutItem* item) override { items_.append(item); }
    int count() const override { return static_cast<int>(items_.size()); }
    QLayoutItem* itemAt(int index) const override { return items_.value(index); }
    QLayoutItem* takeAt(int index) override;
    Qt::Orientations expandingDirections() const override { return {}; }
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override { return arrange({0, 0, width, 0}, Apply::no); }
    QSize minimumSize() const override;
    QSize sizeHint() const override { return minimumSize(); }
    void setGeometry(const QRect& area) override;

private:
    enum class Apply { no, yes };
    int arrange(const QRect& area, Apply apply) const; ///< The height that it takes.

    QList<QLayoutItem*> items_{}; ///< Owned.
    int between_;
    int betweenLines_;
};

} // namespace vantorel
