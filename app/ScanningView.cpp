#include "app/ScanningView.h"

#include "app/ElidedLabel.h"
#include "app/SymbolLabel.h"
#include "app/Theme.h"
#include "app/ThinBar.h"
#include "app/model/WindowTexts.h"

#include <algorithm>

#include <QtGui/qshortcut.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qpushbutton.h>

namespace vantorel {

using theme::TextStyle;

ScanningView::ScanningView(AppModel& app, QWidget* parent)
    : ModelView(app, parent)
{
    auto* column = new QWidget;
    column->setMaximumWidth(theme::textWidth);
    auto* layout = new QVBoxLayout(column);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    title_ = new ElidedLabel("", ElidedLabel::Kind::title);
    detail_ = theme::roomFor(2, theme::text("", TextStyle::body));
    bar_ = new ThinBar("Scan progress");
    auto* numbers = new QHBoxLayout;
    counts_ = theme::text("", TextStyle::body);
    left_ = theme::text("", TextStyle::quiet);
    left_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    numbers->addWidget(counts_, 1);
    numbers->addWidget(left_, 1);

    // Room for all stages, although most scans have three: nothing jumps when another one comes.
    auto* list = new QWidget;
    list->setAccessibleName("Stages");
    auto* listLayout = new QVBoxLayout(list);
    listLayout->setContentsMargins(0, 0, 0, 0);
    listLayout->setSpacing(4);
    for (std::size_t i = 0; i < scanStageNames.size(); ++i) {
        auto* line = new QHBoxLayout;
        line->setSpacing(8);
        stages_.push_back({.symbol = new SymbolLabel("", fontMetrics().height() + 4),
            .text = theme::text("", TextStyle::body)});
        line->addWidget(stages_.back().symbol);
        line->addWidget(stages_.back().text, 1);
        listLayout->addLayout(line);
    }
    notice_ = theme::roomFor(3, theme::text("", TextStyle::body));
    stop_ = new QPushButton("Stop");
    // Not the button's own shortcut: a button loses that with each new text.
    connect(new QShortcut(QKeySequence(Qt::Key_Escape), this), &QShortcut::activated, this,
        [this] { app_.stopScan(); });
    connect(stop_, &QPushButton::clicked, this, [this] { app_.stopScan(); });

    layout->addStretch(2);
    layout->addWidget(title_);
    layout->addWidget(detail_);
    layout->addWidget(bar_);
    layout->addLayout(numbers);
    layout->addSpacing(16);
    layout->addWidget(list);
    layout->addSpacing(8);
    layout->addWidget(notice_);
    layout->addSpacing(8);
    layout->addWidget(stop_, 0, Qt::AlignRight);
    layout->addStretch(3);

    auto* outer = new QHBoxLayout(this);
    outer->setContentsMargins(theme::margin, theme::margin, theme::margin, theme::margin);
    outer->addStretch();
    outer->addWidget(column, 10);
    outer->addStretch();
    watch(app_.scanTitle, app_.scanProgress, app_.scanStages, app_.scanPace, app_.scanWait,
        app_.isStoppingScan, app_.stopIsSlow);
}

void ScanningView::showStages()
{
    using State = texts::StageLine::State;
    const auto running = app_.scanProgress().stage;
    auto seen = app_.scanStages();
    // Files that were checked by the tables of a database that then turned out to be damaged are checked once
    // more, by all that could be read of it.
    const bool isAgain =
        running != ScanStage::checkingFiles && std::erase(seen, ScanStage::checkingFiles) > 0;
    const auto lines = texts::stageLines(seen, running);
    for (std::size_t i = 0; i < stages_.size(); ++i) {
        const auto& [symbol, text] = stages_[i];
        if (i >= lines.size()) {
            symbol->show("", std::nullopt, "");
            text->clear();
            continue;
        }
        switch (lines[i].state) {
        case State::done:
            symbol->show("checkmark.circle.fill", theme::Meaning::good, "Done");
            break;
        case State::running:
            symbol->show("circle.inset.filled", theme::Meaning::elsewhere, "Running");
            break;
        case State::toCome:
            symbol->show("circle", theme::Meaning::unknown, "To come");
            break;
        }
        text->setText(isAgain && lines[i].state == State::toCome ? QString("Check the files again")
                                                                 : shown(lines[i].text));
        auto font = text->font();
        font.setWeight(lines[i].state == State::running ? QFont::DemiBold : QFont::Normal);
        text->setFont(font);
    }
}

void ScanningView::showEvent(QShowEvent* event)
{
    ModelView::showEvent(event);
    stop_->setFocus();
}

void ScanningView::refresh()
{
    const auto& progress = app_.scanProgress();
    title_->setText(displayed(app_.scanTitle()));
    detail_->setText(shown(texts::stage(progress.stage)));
    bar_->showPart(progress.done, progress.total);
    counts_->setText(shown(texts::scanCounts(progress)));
    left_->setText(app_.scanWait() == DiskWait::none && !app_.isStoppingScan()
            ? shown(texts::timeLeft(app_.scanPace()))
            : QString());
    bar_->setAccessibleDescription(counts_->text());
    showStages();
    notice_->setText(app_.stopIsSlow() ? "Stopping waits for the disk to answer."
                                       : shown(texts::scanWait(app_.scanWait())));
    stop_->setText(app_.isStoppingScan() ? "Stopping…" : "Stop");
    stop_->setEnabled(!app_.isStoppingScan());
}

} // namespace vantorel
