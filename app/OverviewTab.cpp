#include "app/OverviewTab.h"

#include "app/Charts.h"
#include "app/ColumnArea.h"
#include "app/Layouts.h"
#include "app/Theme.h"
#include "base/Text.h"

#include <algorithm>

#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qgridlayout.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qpushbutton.h>

namespace vantorel {

using theme::TextStyle;

namespace {

constexpr std::size_t mostNotes = 5;
constexpr std::size_t allNotes = 500; // of a library that has more, nobody reads them here

} // namespace

OverviewTab::OverviewTab(AppModel& app, QWidget* parent)
    : ModelView(app, parent)
{
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 16, 12, 0);
    layout->setSpacing(12);
    outer->addWidget(new ColumnArea(content, "Overview"));

    numbers_ = new QHBoxLayout;
    numbers_->setSpacing(24);
    layout->addLayout(numbers_);
    layout->addSpacing(8);
    layout->addWidget(theme::text("Originals", TextStyle::heading));
    bar_ = new OriginalsBar;
    layout->addWidget(bar_);
    legend_ = new FlowLayout(4, 0);
    layout->addLayout(legend_);
    layout->addSpacing(8);
    yearsTitle_ = theme::text("Items per year", TextStyle::heading);
    years_ = new YearsChart;
    layout->addWidget(yearsTitle_);
    layout->addWidget(years_);
    layout->addSpacing(8);
    rows_ = new QGridLayout;
    rows_->setHorizontalSpacing(16);
    rows_->setVerticalSpacing(4);
    rows_->setColumnMinimumWidth(2, 32);
    rows_->setColumnStretch(5, 1);
    layout->addLayout(rows_);
    layout->addSpacing(4);
    notes_ = new QVBoxLayout;
    notes_->setSpacing(8);
    layout->addLayout(notes_);
    layout->addSpacing(8);
    adviceTitle_ = theme::text("What this can and cannot do", TextStyle::heading);
    advice_ = theme::text("", TextStyle::quiet);
    advice_->setMaximumWidth(theme::textWidth);
    layout->addWidget(adviceTitle_);
    auto* narrow = new QHBoxLayout; // a box from top to bottom would reckon the height of its whole width
    narrow->addWidget(advice_, 10);
    narrow->addStretch();
    layout->addLayout(narrow);
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
    showNumbers(overview);
    bar_->show(overview);
    showLegend(overview);
    years_->show(overview);
    years_->setVisible(!overview.years.empty());
    yearsTitle_->setVisible(!overview.years.empty());
    showRows(overview);
    showNotes(mostNotes);
    const auto advice = adviceFor(scanned->result->snapshot.damage);
    adviceTitle_->setVisible(advice.has_value());
    advice_->setVisible(advice.has_value());
    advice_->setText(shown(advice.value_or("")));
}

void OverviewTab::showNumbers(const LibraryOverview& overview)
{
    clearLayout(*numbers_);
    const auto number = [this](std::int64_t count, const char* what) {
        numbers_->addWidget(theme::bigNumber(shown(grouped(count)), what), 1);
    };
    number(overview.photos, "photos");
    number(overview.videos, "videos");
    number(overview.albums, "albums");
    number(overview.people, "People");
    numbers_->addWidget(theme::bigNumber(shown(byteSize(overview.bytesPresent)), "present"), 1);
}

/// What the colours of the bar mean, each with its number; a click lists these items.
void OverviewTab::showLegend(const LibraryOverview& overview)
{
    clearLayout(*legend_);
    for (std::size_t i = 0; i < overview.originals.size(); ++i) {
        if (overview.originals[i] == 0) {
            continue;
        }
        const auto kind = static_cast<OriginalClass>(i);
        auto* entry = new QPushButton(
            shown(grouped(overview.originals[i])) + " " + shown(originalClassNames[i].second));
        entry->setFlat(true);
        entry->setObjectName("legend");
        entry->setIcon(theme::symbol(symbolOf(kind), fontMetrics().height(),
            theme::colour(meaningOf(kind), palette()), devicePixelRatioF()));
        if (kind == OriginalClass::present) {
            entry->setToolTip("Show the albums");
            connect(entry, &QPushButton::clicked, this, [this] { app_.setTab(ResultTab::albums); });
        } else {
            entry->setToolTip("List these items");
            connect(entry, &QPushButton::clicked, this, [this, kind] { app_.showLimited(kind); });
        }
        legend_->addWidget(entry);
    }
}

void OverviewTab::showRows(const LibraryOverview& overview)
{
    clearLayout(*rows_);
    // In two columns, read downwards.
    const int inColumn = static_cast<int>(overview.rows.size() + 1) / 2;
    for (int i = 0; i < static_cast<int>(overview.rows.size()); ++i) {
        const auto& [label, value] = overview.rows[static_cast<std::size_t>(i)];
        const int column = 3 * (i / inColumn);
        auto* name = theme::text(shown(label), TextStyle::body);
        name->setWordWrap(false);
        rows_->addWidget(name, i % inColumn, column);
        auto* number = theme::text(shown(value), TextStyle::body);
        number->setWordWrap(false);
        number->setAlignment(Qt::AlignRight | Qt::AlignTop);
        rows_->addWidget(number, i % inColumn, column + 1);
    }
}

void OverviewTab::showNotes(std::size_t most)
{
    clearLayout(*notes_);
    const auto& overview = shown_->overview;
    for (std::size_t i = 0; i < std::min(most, overview.notes.size()); ++i) {
        notes_->addWidget(new WarningLine(displayed(overview.notes[i]),
            i < overview.damageNotes ? WarningLine::Kind::warning : WarningLine::Kind::note));
    }
    if (shown_->accessAdvice) {
        notes_->addWidget(theme::text(displayed(*shown_->accessAdvice), TextStyle::quiet));
    }
    if (overview.notes.size() <= most) {
        return;
    }
    const QString rest =
        "And " + shown(grouped(static_cast<std::int64_t>(overview.notes.size() - most))) + " more.";
    if (most >= allNotes) {
        notes_->addWidget(theme::text(rest, TextStyle::quiet));
        return;
    }
    auto* more = new QPushButton(rest);
    more->setFlat(true);
    more->setObjectName("legend");
    more->setToolTip("Show all of them");
    connect(more, &QPushButton::clicked, this, [this] { showNotes(allNotes); });
    notes_->addWidget(more, 0, Qt::AlignLeft);
}

} // namespace vantorel
