#include "app/Layouts.h"

#include <memory>

#include <QtWidgets/qlayout.h>
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

} // namespace vantorel
