#pragma once

#include "app/Theme.h"
#include "app/model/LibraryOverview.h"

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

/// Items per year as columns, each with its number in a tooltip; the first and the last year beneath.
class YearsChart final : public QWidget {
public:
    explicit YearsChart(QWidget* parent = nullptr);
    void show(const LibraryOverview& overview);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

private:
    /// Each year from the first to the last, those without items too; at most the last 200.
    std::vector<std::pair<int, std::int64_t>> years_{};
    QRectF columnOf(std::size_t index) const;
};

} // namespace vantorel
