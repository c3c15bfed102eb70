#pragma once

#include "app/Theme.h"
#include "app/model/LibraryOverview.h"

#include <optional>

#include <QtWidgets/qwidget.h>

namespace vantorel {

theme::Meaning meaningOf(OriginalClass kind);
QString symbolOf(OriginalClass kind);

/// The state of the originals as one bar; the numbers stand as text beside it.
class OriginalsBar final : public QWidget {
public:
    explicit OriginalsBar(QWidget* parent = nullptr);
    void show(const LibraryOverview& overview);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::array<std::int64_t, originalClassCount> counts_{};
};

/// Items per year as columns. The column under the mouse, or the one chosen with the arrow keys, tells its
/// number in the line above; so does the tooltip.
class YearsChart final : public QWidget {
public:
    explicit YearsChart(QWidget* parent = nullptr);
    void show(const LibraryOverview& overview);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    QRectF columnOf(std::size_t index) const;
    std::optional<std::size_t> columnAt(const QPointF& place) const;
    QString textOf(std::size_t index) const;
    void choose(std::optional<std::size_t> index);
    void paintNumbers(QPainter& painter) const;
    void paintYears(QPainter& painter) const;

    /// Each year from the first to the last, those without items too; at most the last 200.
    std::vector<std::pair<int, std::int64_t>> years_{};
    QString summary_{};
    std::optional<std::size_t> chosen_{};
};

/// The room on a disk as a bar, and how much of it an export needs.
class SpaceBar final : public QWidget {
public:
    explicit SpaceBar(QWidget* parent = nullptr);
    void show(std::int64_t needed, std::int64_t free);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::int64_t needed_ = 0;
    std::int64_t free_ = 0;
};

} // namespace vantorel
