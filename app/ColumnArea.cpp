#include "app/ColumnArea.h"

#include "app/ScrollFocus.h"

#include <QtCore/qcoreevent.h>
#include <QtWidgets/qlayout.h>

namespace vantorel {

ColumnArea::ColumnArea(QWidget* content, const QString& accessibleName, QWidget* parent)
    : QScrollArea(parent)
{
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWidget(content);
    content->installEventFilter(this);
    ScrollFocus::addTo(*this, accessibleName);
}

void ColumnArea::resizeEvent(QResizeEvent* event)
{
    QScrollArea::resizeEvent(event);
    fit();
}

bool ColumnArea::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == widget() && event->type() == QEvent::LayoutRequest) {
        fit();
    }
    return QScrollArea::eventFilter(watched, event);
}

void ColumnArea::fit()
{
    auto* layout = widget() ? widget()->layout() : nullptr;
    if (!layout) {
        return;
    }
    const int height = layout->hasHeightForWidth() ? layout->totalHeightForWidth(viewport()->width())
                                                   : layout->totalMinimumSize().height();
    if (widget()->minimumHeight() != height) {
        widget()->setMinimumHeight(height);
    }
}

} // namespace vantorel
