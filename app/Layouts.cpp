#include "app/Layouts.h"

#include <algorithm>
#include <memory>

#include <QtWidgets/qwidget.h>

namespace vantorel {

void clearLayout(QLayout& layout)
{
    while (const std::unique_ptr<QLayoutItem> item{layout.takeAt(0)}) {
        if (auto* widget = item->widget()) {
            widget->hide();
            widget->deleteLater();
        } else if (auto* inner = item->layout()) {
            clearLayout(*inner);
        }
    }
}

FlowLayout::FlowLayout(int between, int betweenLines)
    : between_(between)
    , betweenLines_(betweenLines)
{
    setContentsMargins(0, 0, 0, 0);
}

FlowLayout::~FlowLayout() { qDeleteAll(items_); }

QLayoutItem* FlowLayout::takeAt(int index)
{
    return index >= 0 && index < items_.size() ? items_.takeAt(index) : nullptr;
}

QSize FlowLayout::minimumSize() const
{
    QSize least(0, 0);
    for (const auto* item : items_) {
        least = least.expandedTo(item->minimumSize());
    }
    return least;
}

void FlowLayout::setGeometry(const QRect& area)
{
    QLayout::setGeometry(area);
    arrange(area, Apply::yes);
}

int FlowLayout::arrange(const QRect& area, Apply apply) const
{
    int x = area.x();
    int y = area.y();
    int lineHeight = 0;
    for (auto* item : items_) {
        if (item->isEmpty()) {
            continue;
        }
        const QSize size = item->sizeHint();
        if (x > area.x() && x + size.width() > area.x() + area.width()) {
            x = area.x();
            y += lineHeight + betweenLines_;
            lineHeight = 0;
        }
        if (apply == Apply::yes) {
            item->setGeometry({{x, y}, size});
        }
        x += size.width() + between_;
        lineHeight = std::max(lineHeight, size.height());
    }
    return y + lineHeight - area.y();
}

} // namespace vantorel
