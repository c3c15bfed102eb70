#include "app/ElidedLabel.h"

#include "app/ModelView.h"
#include "app/Theme.h"

#include <QtGui/qclipboard.h>
#include <QtGui/qevent.h>
#include <QtGui/qguiapplication.h>
#include <QtGui/qpainter.h>
#include <QtWidgets/qmenu.h>

namespace vantorel {

namespace {

theme::TextStyle styleOf(ElidedLabel::Kind kind)
{
    switch (kind) {
    case ElidedLabel::Kind::title:
        return theme::TextStyle::title;
    case ElidedLabel::Kind::name:
        return theme::TextStyle::heading;
    case ElidedLabel::Kind::body:
        return theme::TextStyle::body;
    case ElidedLabel::Kind::quiet:
        return theme::TextStyle::quiet;
    }
    std::unreachable();
}

} // namespace

ElidedLabel::ElidedLabel(const QString& text, Kind kind, QWidget* parent)
    : QLabel(parent)
    , kind_(kind)
{
    setFont(theme::font(styleOf(kind), font()));
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setText(text);
}

QSize ElidedLabel::sizeHint() const
{
    return {fontMetrics().horizontalAdvance(text()) + 1, fontMetrics().height() + 2};
}

QSize ElidedLabel::minimumSizeHint() const { return {40, fontMetrics().height() + 2}; }

void ElidedLabel::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setPen(
        kind_ == Kind::quiet ? theme::quietColour(palette()) : palette().color(QPalette::WindowText));
    const auto fitting = fontMetrics().elidedText(text(), Qt::ElideMiddle, width());
    if (const QString tip = fitting == text() ? QString() : plainToolTip(text()); tip != toolTip()) {
        setToolTip(tip);
    }
    painter.drawText(rect(), static_cast<int>(alignment() | Qt::TextSingleLine), fitting);
}

void ElidedLabel::contextMenuEvent(QContextMenuEvent* event)
{
    if (text().isEmpty()) {
        return;
    }
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction("Copy", this, [this] { QGuiApplication::clipboard()->setText(text()); });
    menu->popup(event->globalPos());
}

} // namespace vantorel
