#include "app/Charts.h"

#include "app/ModelView.h"
#include "base/Text.h"

#include <algorithm>
#include <utility>

#include <QtGui/qevent.h>
#include <QtGui/qpainter.h>
#include <QtWidgets/qtooltip.h>

namespace vantorel {

theme::Meaning meaningOf(OriginalClass kind)
{
    switch (kind) {
    case OriginalClass::present:
        return theme::Meaning::good;
    case OriginalClass::differs:
    case OriginalClass::smallerCopy:
        return theme::Meaning::attention;
    case OriginalClass::elsewhere:
    case OriginalClass::onlyInCloud:
        return theme::Meaning::elsewhere;
    case OriginalClass::missing:
        return theme::Meaning::lost;
    case OriginalClass::notChecked:
        return theme::Meaning::unknown;
    }
    std::unreachable();
}

QString symbolOf(OriginalClass kind)
{
    switch (kind) {
    case OriginalClass::present:
        return "checkmark.circle.fill";
    case OriginalClass::differs:
    case OriginalClass::smallerCopy:
        return "exclamationmark.triangle.fill";
    case OriginalClass::elsewhere:
    case OriginalClass::onlyInCloud:
        return "circle";
    case OriginalClass::missing:
        return "xmark.circle.fill";
    case OriginalClass::notChecked:
        return "circle.fill";
    }
    std::unreachable();
}

OriginalsBar::OriginalsBar(QWidget* parent)
    : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName("Originals");
}

void OriginalsBar::show(const LibraryOverview& overview)
{
    counts_ = overview.originals;
    QStringList parts;
    for (std::size_t i = 0; i < counts_.size(); ++i) {
        if (counts_[i] > 0) {
            parts << shown(grouped(counts_[i])) + " " + shown(originalClassNames[i].second);
        }
    }
    setAccessibleDescription(parts.join(", "));
    update();
}

QSize OriginalsBar::sizeHint() const { return {300, fontMetrics().height()}; }

void OriginalsBar::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    std::int64_t total = 0;
    std::size_t shownKinds = 0;
    for (const auto count : counts_) {
        total += count;
        shownKinds += count > 0 ? 1 : 0;
    }
    if (total == 0) {
        painter.setBrush(palette().color(QPalette::Mid));
        painter.drawRoundedRect(rect(), 4, 4);
        return;
    }
    constexpr double gap = 2;
    constexpr double least = 4; // what is there at all can be seen
    const double room =
        width() - gap * static_cast<double>(shownKinds - 1) - least * static_cast<double>(shownKinds);
    double x = 0;
    for (std::size_t i = 0; i < counts_.size(); ++i) {
        if (counts_[i] == 0) {
            continue;
        }
        const double part = least + room * static_cast<double>(counts_[i]) / static_cast<double>(total);
        painter.setBrush(theme::colour(meaningOf(static_cast<OriginalClass>(i)), palette()));
        painter.drawRoundedRect(QRectF(x, 0, part, height()), 3, 3);
        x += part + gap;
    }
}

YearsChart::YearsChart(QWidget* parent)
    : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName("Items per year");
}

void YearsChart::show(const LibraryOverview& overview)
{
    years_.clear();
    QStringList parts;
    for (const auto& [year, count] : overview.years) {
        while (!years_.empty() && years_.back().first + 1 < year && years_.size() < 1000) {
            years_.emplace_back(years_.back().first + 1, 0);
        }
        years_.emplace_back(year, count);
        parts << QString::number(year) + ": " + shown(grouped(count));
    }
    constexpr std::size_t most = 200;
    if (years_.size() > most) {
        years_.erase(years_.begin(), years_.end() - most);
    }
    setAccessibleDescription(parts.join(", "));
    update();
}

QSize YearsChart::sizeHint() const { return {300, fontMetrics().height() * 5}; }

QRectF YearsChart::columnOf(std::size_t index) const
{
    const double labels = fontMetrics().height() + 4;
    const double step = std::min(48.0, width() / static_cast<double>(years_.size()));
    const auto most = std::ranges::max(years_, {}, [](const auto& year) { return year.second; }).second;
    const auto count = years_[index].second;
    const double full = height() - labels;
    const double tall =
        count == 0 ? 0 : std::max(2.0, full * static_cast<double>(count) / static_cast<double>(most));
    return {
        static_cast<double>(index) * step, full - tall, std::max(1.0, step - std::min(4.0, step / 4)), tall};
}

void YearsChart::paintEvent(QPaintEvent*)
{
    if (years_.empty()) {
        return;
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(theme::colour(theme::Meaning::elsewhere, palette()));
    for (std::size_t i = 0; i < years_.size(); ++i) {
        painter.drawRoundedRect(columnOf(i), 2, 2);
    }
    auto quiet = palette().color(QPalette::WindowText);
    quiet.setAlphaF(0.72F);
    painter.setPen(quiet);
    const QRectF labels(0, height() - fontMetrics().height() - 1, width(), fontMetrics().height());
    painter.drawText(labels, static_cast<int>(Qt::AlignLeft), QString::number(years_.front().first));
    if (years_.size() > 1) {
        const QRectF last = columnOf(years_.size() - 1);
        const double wide = fontMetrics().horizontalAdvance("0000");
        const double left = std::max(last.right() - wide, wide * 1.5);
        painter.drawText(QRectF(left, labels.top(), wide + 2, labels.height()),
            static_cast<int>(Qt::AlignLeft), QString::number(years_.back().first));
    }
}

bool YearsChart::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        for (std::size_t i = 0; i < years_.size(); ++i) {
            const auto column = columnOf(i);
            if (help->pos().x() >= column.left() && help->pos().x() <= column.right()) {
                QToolTip::showText(help->globalPos(),
                    QString::number(years_[i].first) + ": " + shown(grouped(years_[i].second)) + " items",
                    this);
                return true;
            }
        }
        QToolTip::hideText();
        return true;
    }
    return QWidget::event(event);
}

} // namespace vantorel
