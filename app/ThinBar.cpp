#include "app/ThinBar.h"

#include <algorithm>
#include <utility>

#include <QtGui/qpainter.h>

namespace vantorel {

namespace {

constexpr int parts = 1000;
constexpr int stepsAcross = 60;

} // namespace

ThinBar::ThinBar(const QString& accessibleName, QWidget* parent)
    : QProgressBar(parent)
{
    setTextVisible(false);
    setAccessibleName(accessibleName);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setRange(0, parts);
    motion_.setInterval(33);
    motion_.callOnTimeout([this] {
        step_ = (step_ + 1) % stepsAcross;
        update();
    });
    stillWorks_.setSingleShot(true);
    stillWorks_.setInterval(1000);
    stillWorks_.callOnTimeout([this] {
        setRange(0, 0);
        moveOrRest();
    });
}

void ThinBar::showPart(std::int64_t done, std::int64_t total)
{
    const bool isFull = total > 0 && done >= total;
    if (isFull && std::exchange(isFull_, true)) {
        return;
    }
    isFull_ = isFull;
    isFull ? stillWorks_.start() : stillWorks_.stop();
    const double part = total > 0 ? static_cast<double>(done) / static_cast<double>(total) : 0;
    setRange(0, total > 0 ? parts : 0);
    setValue(std::clamp(static_cast<int>(part * parts), 0, parts));
    moveOrRest();
}

QSize ThinBar::sizeHint() const { return {300, std::max(6, fontMetrics().height() / 2)}; }

QSize ThinBar::minimumSizeHint() const { return {60, sizeHint().height()}; }

void ThinBar::moveOrRest()
{
    if (isVisible() && maximum() == 0) {
        if (!motion_.isActive()) {
            motion_.start();
        }
    } else {
        motion_.stop();
    }
}

void ThinBar::showEvent(QShowEvent* event)
{
    QProgressBar::showEvent(event);
    moveOrRest();
}

void ThinBar::hideEvent(QHideEvent* event)
{
    QProgressBar::hideEvent(event);
    moveOrRest();
}

void ThinBar::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const QRectF track(rect());
    const double round = track.height() / 2;
    auto ground = palette().color(QPalette::WindowText);
    ground.setAlphaF(0.12F);
    painter.setBrush(ground);
    painter.drawRoundedRect(track, round, round);
    painter.setBrush(palette().color(QPalette::Highlight));
    QRectF filled = track;
    if (maximum() > 0) {
        if (value() == 0) {
            return;
        }
        filled.setWidth(std::max(track.height(), track.width() * value() / maximum()));
    } else {
        const double wide = track.width() / 4;
        const double way = (track.width() + wide) * step_ / stepsAcross;
        filled = QRectF(way - wide, 0, wide, track.height()) & track;
    }
    painter.drawRoundedRect(filled, round, round);
}

} // namespace vantorel
