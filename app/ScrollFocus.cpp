#include "app/ScrollFocus.h"

#include "app/AccessibleRole.h"

#include <QtCore/qcoreevent.h>
#include <QtWidgets/qscrollarea.h>
#include <QtWidgets/qscrollbar.h>
#include <QtWidgets/qstyle.h>

namespace vantorel {

void ScrollFocus::addTo(QScrollArea& area, const QString& accessibleName)
{
    // Qt's own interface of scroll areas (6.4) looks up children without a look at how many there are: a
    // screen reader that asks just when the scroll bar went away ends the program.
    setAccessibleRole(area, QAccessible::Client);
    area.setAccessibleName(accessibleName);
    new ScrollFocus(area);
}

ScrollFocus::ScrollFocus(QScrollArea& area)
    : QObject(&area)
    , area_(area)
{
    area_.setFocusPolicy(Qt::NoFocus);
    area_.installEventFilter(this);
    connect(area_.verticalScrollBar(), &QScrollBar::rangeChanged, this,
        [this](int least, int most) { area_.setFocusPolicy(least < most ? Qt::TabFocus : Qt::NoFocus); });
}

bool ScrollFocus::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut) {
        showFocus(event->type() == QEvent::FocusIn);
    }
    return QObject::eventFilter(watched, event);
}

void ScrollFocus::showFocus(bool hasFocus)
{
    auto* bar = area_.verticalScrollBar();
    bar->setProperty("leads", hasFocus); // the style sheet colours it
    bar->style()->unpolish(bar);
    bar->style()->polish(bar);
    bar->update();
}

} // namespace vantorel
