#include "app/ElidedLabel.h"

#include <QtGui/qpainter.h>

namespace vantorel {

ElidedLabel::ElidedLabel(const QString& text, Kind kind, QWidget* parent)
    : QWidget(parent)
    , kind_(kind)
{
    auto own = font();
    if (kind == Kind::name) {
        own.setPointSizeF(own.pointSizeF() * 1.15);
        own.setWeight(QFont::DemiBold);
    } else if (kind == Kind::quiet) {
        own.setPointSizeF(own.pointSizeF() * 0.92);
    }
    setFont(own);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setText(text);
}

void ElidedLabel::setText(const QString& text)
{
    text_ = text;
    setAccessibleName(text);
    update();
}

QSize ElidedLabel::sizeHint() const
{
    return {fontMetrics().horizontalAdvance(text_), fontMetrics().height() + 2};
}

QSize ElidedLabel::minimumSizeHint() const { return {40, fontMetrics().height() + 2}; }

void ElidedLabel::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    auto colour = palette().color(QPalette::WindowText);
    if (kind_ == Kind::quiet) {
        colour.setAlphaF(0.72F);
    }
    painter.setPen(colour);
    const auto fitting = fontMetrics().elidedText(text_, Qt::ElideMiddle, width());
    if (const QString tip = fitting == text_ ? QString() : text_; tip != toolTip()) {
        setToolTip(tip);
    }
    painter.drawText(rect(), static_cast<int>(Qt::AlignLeft | Qt::AlignVCenter), fitting);
}

} // namespace vantorel
