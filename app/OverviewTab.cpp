#include "app/OverviewTab.h"

#include "app/Charts.h"
#include "app/Layouts.h"
#include "app/Theme.h"
#include "base/Text.h"

#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qgridlayout.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qscrollarea.h>

namespace vantorel {

using theme::TextStyle;

namespace {

constexpr std::size_t mostNotes = 5;

QWidget* bigNumber(const QString& number, const QString& what)
{
    auto* widget = new QWidget;
    auto* layout = new QVBoxLayout(widget);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    auto* value = theme::text(number, TextStyle::number);
    value->setWordWrap(false);
    layout->addWidget(value);
    layout->addWidget(theme::text(what, TextStyle::quiet));
    return widget;
}

} // namespace

OverviewTab::OverviewTab(AppModel& app, QWidget* parent)
    : ModelView(app, parent)
{
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* area = new QScrollArea;
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    outer->addWidget(area);
    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 16, 12, 0);
    layout->setSpacing(12);
    area->setWidget(content);

    numbers_ = new QHBoxLayout;
    numbers_->setSpacing(24);
    layout->addLayout(numbers_);
    layout->addSpacing(8);
    layout->addWidget(theme::text("Originals", TextStyle::heading));
    bar_ = new OriginalsBar;
    layout->addWidget(bar_);
    legend_ = new QVBoxLayout;
    legend_->setSpacing(2);
    layout->addLayout(legend_);
    layout->addSpacing(8);
    yearsTitle_ = theme::text("Items per year", TextStyle::heading);
    years_ = new YearsChart;
    layout->addWidget(yearsTitle_);
    layout->addWidget(years_);
    layout->addSpacing(8);
    rows_ = new QGridLayout;
    rows_->setHorizontalSpacing(24);
    rows_->setVerticalSpacing(4);
    rows_->setColumnStretch(1, 1);
    layout->addLayout(rows_);
    notes_ = new QVBoxLayout;
    notes_->setSpacing(8);
    layout->addLayout(notes_);
    layout->addSpacing(8);
    adviceTitle_ = theme::text("What this can and cannot do", TextStyle::heading);
    advice_ = theme::text("", TextStyle::quiet);
    advice_->setMaximumWidth(theme::textWidth);
    layout->addWidget(adviceTitle_);
    layout->addWidget(advice_);
    layout->addStretch();
    watch(app_.scanned);
}

void OverviewTab::refresh()
{
    const auto scanned = app_.scanned();
    if (!scanned || shown_ == scanned) {
        return;
    }
    shown_ = scanned;
    const auto& overview = scanned->overview;
    clearLayout(*numbers_);
    const auto number = [this](std::int64_t count, const char* what) {
        numbers_->addWidget(bigNumber(shown(grouped(count)), what), 1);
    };
    number(overview.photos, "photos");
    number(overview.videos, "videos");
    number(overview.albums, "albums");
    number(overview.people, "People");
    numbers_->addWidget(bigNumber(shown(byteSize(overview.bytesPresent)), "present"), 1);

    bar_->show(overview);
    clearLayout(*legend_);
    QHBoxLayout* line = nullptr;
    int inLine = 0;
    for (std::size_t i = 0; i < overview.originals.size(); ++i) {
        if (overview.originals[i] == 0) {
            continue;
        }
        if (!line || inLine == 5) {
            line = new QHBoxLayout;
            line->setSpacing(16);
            line->addStretch();
            legend_->addLayout(line);
            inLine = 0;
        }
        const auto kind = static_cast<OriginalClass>(i);
        auto* entry = new QPushButton(
            shown(grouped(overview.originals[i])) + " " + shown(originalClassNames[i].second));
        entry->setFlat(true);
        entry->setIcon(theme::symbol(symbolOf(kind), fontMetrics().height(),
            theme::colour(meaningOf(kind), palette()), devicePixelRatioF()));
        if (kind == OriginalClass::present) {
            connect(entry, &QPushButton::clicked, this, [this] { app_.setTab(ResultTab::albums); });
        } else {
            connect(entry, &QPushButton::clicked, this, [this, kind] { app_.showLimited(kind); });
        }
        line->insertWidget(inLine++, entry);
    }
    years_->show(overview);
    years_->setVisible(!overview.years.empty());
    yearsTitle_->setVisible(!overview.years.empty());

    clearLayout(*rows_);
    int row = 0;
    for (const auto& [label, value] : overview.rows) {
        auto* text = theme::text(shown(label), TextStyle::body);
        text->setWordWrap(false);
        rows_->addWidget(text, row, 0);
        rows_->addWidget(theme::text(shown(value), TextStyle::body), row++, 1);
    }
    clearLayout(*notes_);
    for (std::size_t i = 0; i < std::min(mostNotes, overview.notes.size()); ++i) {
        notes_->addWidget(new WarningLine(displayed(overview.notes[i])));
    }
    if (overview.notes.size() > mostNotes) {
        auto* more = new QPushButton(
            "And " + shown(grouped(static_cast<std::int64_t>(overview.notes.size() - mostNotes))) + " more.");
        more->setFlat(true);
        connect(more, &QPushButton::clicked, this, [this, more, scanned] {
            more->hide();
            for (std::size_t i = mostNotes; i < scanned->overview.notes.size() && i < 500; ++i) {
                notes_->addWidget(new WarningLine(displayed(scanned->overview.notes[i])));
            }
        });
        notes_->addWidget(more, 0, Qt::AlignLeft);
    }
    const auto advice = adviceFor(scanned->result->snapshot.damage);
    adviceTitle_->setVisible(advice.has_value());
    advice_->setVisible(advice.has_value());
    advice_->setText(shown(advice.value_or("")));
}

} // namespace vantorel
