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
    setFocusPolicy(Qt::TabFocus);
    setMouseTracking(true);
}

void YearsChart::show(const LibraryOverview& overview)
{
    years_.clear();
    chosen_.reset();
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
    summary_.clear();
    if (!years_.empty()) {
        const auto fullest =
            std::ranges::max_element(years_, {}, [](const auto& year) { return year.second; });
        summary_ = "Most in " + textOf(static_cast<std::size_t>(fullest - years_.begin()));
    }
    if (overview.withoutYear > 0) {
        summary_ +=
            (summary_.isEmpty() ? "" : " · ") + shown(grouped(overview.withoutYear)) + " without a date";
        parts << shown(grouped(overview.withoutYear)) + " without a date";
    }
    setAccessibleDescription(parts.join(", "));
    update();
}

QSize YearsChart::sizeHint() const { return {300, fontMetrics().height() * 9}; }

QRectF YearsChart::columnOf(std::size_t index) const
{
    const double line = fontMetrics().height();
    const double top = line * 2.4; // the summary, and a number over the highest column
    const double full = height() - line - 4 - top;
    const double step = std::min(96.0, width() / static_cast<double>(years_.size()));
    const auto most = std::ranges::max(years_, {}, [](const auto& year) { return year.second; }).second;
    const auto count = years_[index].second;
    const double tall =
        count == 0 ? 1 : std::max(2.0, full * static_cast<double>(count) / static_cast<double>(most));
    return {static_cast<double>(index) * step, top + full - tall,
        std::max(1.0, step - std::min(6.0, step / 4)), tall};
}

std::optional<std::size_t> YearsChart::columnAt(const QPointF& place) const
{
    for (std::size_t i = 0; i < years_.size(); ++i) {
        const auto column = columnOf(i);
        if (place.x() >= column.left() && place.x() <= column.right()) {
            return i;
        }
    }
    return std::nullopt;
}

QString YearsChart::textOf(std::size_t index) const
{
    const auto& [year, count] = years_[index];
    return QString::number(year) + ": " + shown(grouped(count)) + (count == 1 ? " item" : " items");
}

void YearsChart::choose(std::optional<std::size_t> index)
{
    if (chosen_ != index) {
        chosen_ = index;
        update();
    }
}

void YearsChart::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(theme::quietColour(palette()));
    painter.drawText(
        rect(), static_cast<int>(Qt::AlignLeft | Qt::AlignTop), chosen_ ? textOf(*chosen_) : summary_);
    if (years_.empty()) {
        return;
    }
    const auto colour = theme::colour(theme::Meaning::elsewhere, palette());
    painter.setPen(Qt::NoPen);
    for (std::size_t i = 0; i < years_.size(); ++i) {
        painter.setBrush(chosen_ == i ? palette().color(QPalette::WindowText) : colour);
        painter.drawRoundedRect(columnOf(i), 2, 2);
    }
    painter.setPen(theme::quietColour(palette()));
    paintNumbers(painter);
    paintYears(painter);
}

/// Over each column its number, where all of them fit.
void YearsChart::paintNumbers(QPainter& painter) const
{
    const double step = years_.size() > 1 ? columnOf(1).left() - columnOf(0).left() : width();
    const auto fits = [&](const auto& year) {
        return fontMetrics().horizontalAdvance(shown(grouped(year.second))) + 4 <= step;
    };
    if (!std::ranges::all_of(years_, fits)) {
        return;
    }
    for (std::size_t i = 0; i < years_.size(); ++i) {
        const auto column = columnOf(i);
        const QRectF above(column.center().x() - step / 2, column.top() - fontMetrics().height() - 1, step,
            fontMetrics().height());
        if (years_[i].second > 0) {
            painter.drawText(above, static_cast<int>(Qt::AlignCenter), shown(grouped(years_[i].second)));
        }
    }
}

/// Beneath the columns as many years as there is room for, at equal steps.
void YearsChart::paintYears(QPainter& painter) const
{
    const double wide = fontMetrics().horizontalAdvance("0000") + 8;
    const double step = years_.size() > 1 ? columnOf(1).left() - columnOf(0).left() : wide;
    static constexpr std::array<std::size_t, 6> steps{1, 2, 5, 10, 20, 50};
    const auto* every =
        std::ranges::find_if(steps, [&](std::size_t n) { return static_cast<double>(n) * step >= wide; });
    const auto n = every == steps.end() ? std::size_t{100} : *every;
    for (std::size_t i = 0; i < years_.size(); ++i) {
        if (n > 1 && static_cast<std::size_t>(years_[i].first) % n != 0) {
            continue;
        }
        const auto column = columnOf(i);
        const double left =
            std::clamp(column.center().x() - wide / 2, -4.0, std::max(-4.0, width() - wide + 4));
        painter.drawText(QRectF(left, height() - fontMetrics().height() - 1, wide, fontMetrics().height()),
            static_cast<int>(Qt::AlignCenter), QString::number(years_[i].first));
    }
}

bool YearsChart::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        if (const auto column = columnAt(help->pos())) {
            QToolTip::showText(help->globalPos(), textOf(*column), this);
        } else {
            QToolTip::hideText();
        }
        return true;
    }
    return QWidget::event(event);
}

void YearsChart::mouseMoveEvent(QMouseEvent* event) { choose(columnAt(event->position())); }

void YearsChart::leaveEvent(QEvent*) { choose(std::nullopt); }

/// The keyboard begins with the newest year, which it then shows.
void YearsChart::focusInEvent(QFocusEvent*)
{
    if (!years_.empty()) {
        choose(years_.size() - 1);
    }
}

void YearsChart::focusOutEvent(QFocusEvent*) { choose(std::nullopt); }

void YearsChart::keyPressEvent(QKeyEvent* event)
{
    const bool right = event->key() == Qt::Key_Right;
    if (years_.empty() || (!right && event->key() != Qt::Key_Left)) {
        QWidget::keyPressEvent(event);
        return;
    }
    const auto last = years_.size() - 1;
    choose(!chosen_ ? (right ? 0 : last)
            : right ? std::min(*chosen_ + 1, last)
                    : *chosen_ - std::min<std::size_t>(*chosen_, 1));
    setAccessibleDescription(textOf(*chosen_));
}

SpaceBar::SpaceBar(QWidget* parent)
    : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName("Room on that disk");
}

void SpaceBar::show(std::int64_t needed, std::int64_t free)
{
    needed_ = needed;
    free_ = free;
    const auto text = "Needed: about " + shown(byteSize(needed)) + ". Free: " + shown(byteSize(free)) + ".";
    setAccessibleDescription(text);
    setToolTip(text);
    update();
}

QSize SpaceBar::sizeHint() const { return {300, std::max(6, fontMetrics().height() / 2)}; }

void SpaceBar::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const double round = height() / 2.0;
    auto ground = palette().color(QPalette::WindowText);
    ground.setAlphaF(0.12F);
    painter.setBrush(ground);
    painter.drawRoundedRect(QRectF(rect()), round, round);
    if (needed_ <= 0) {
        return;
    }
    const bool fits = needed_ <= free_;
    const double part = fits ? static_cast<double>(needed_) / static_cast<double>(free_) : 1;
    painter.setBrush(theme::colour(fits ? theme::Meaning::elsewhere : theme::Meaning::attention, palette()));
    painter.drawRoundedRect(QRectF(0, 0, std::max<double>(height(), width() * part), height()), round, round);
}

} // namespace vantorel
