#include "app/ScanningView.h"

#include "app/ElidedLabel.h"
#include "app/Theme.h"
#include "app/model/WindowTexts.h"

#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qprogressbar.h>
#include <QtWidgets/qpushbutton.h>

namespace vantorel {

using theme::TextStyle;

ScanningView::ScanningView(AppModel& app, QWidget* parent)
    : ModelView(app, parent)
{
    auto* column = new QWidget;
    column->setMaximumWidth(theme::textWidth);
    auto* layout = new QVBoxLayout(column);
    layout->setSpacing(12);
    title_ = new ElidedLabel("", ElidedLabel::Kind::name);
    auto large = title_->font();
    large.setPointSizeF(large.pointSizeF() * 1.45);
    title_->setFont(large);
    stage_ = theme::text("", TextStyle::heading);
    detail_ = theme::text("", TextStyle::body);
    detail_->setMinimumHeight(detail_->fontMetrics().lineSpacing() * 2);
    detail_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    bar_ = new QProgressBar;
    bar_->setTextVisible(false);
    counts_ = theme::text("", TextStyle::quiet);
    notice_ = theme::text("", TextStyle::body);
    // Room for the longest notice: nothing jumps when it appears.
    notice_->setMinimumHeight(notice_->fontMetrics().lineSpacing() * 3);
    notice_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    stop_ = new QPushButton("Stop");
    stop_->setShortcut(QKeySequence(Qt::Key_Escape));
    connect(stop_, &QPushButton::clicked, this, [this] { app_.stopScan(); });

    layout->addStretch();
    layout->addWidget(title_);
    layout->addWidget(stage_);
    layout->addWidget(detail_);
    layout->addWidget(bar_);
    layout->addWidget(counts_);
    layout->addWidget(notice_);
    layout->addWidget(stop_, 0, Qt::AlignHCenter);
    layout->addStretch();

    auto* outer = new QHBoxLayout(this);
    outer->setContentsMargins(theme::margin, theme::margin, theme::margin, theme::margin);
    outer->addStretch();
    outer->addWidget(column, 10);
    outer->addStretch();
    watch(app_.scanTitle, app_.scanProgress, app_.scanWait, app_.isStoppingScan, app_.stopIsSlow);
}

void ScanningView::refresh()
{
    const auto progress = app_.scanProgress();
    title_->setText(displayed(app_.scanTitle()));
    const bool checks = progress.stage == ScanStage::checkingFiles;
    stage_->setText(checks ? "Checking files" : "");
    stage_->setVisible(checks);
    detail_->setText(shown(texts::stage(progress.stage)));
    const bool counted = progress.total > 0;
    bar_->setRange(0, counted ? 1000 : 0);
    bar_->setValue(counted ? static_cast<int>(progress.done * 1000 / progress.total) : 0);
    counts_->setText(shown(texts::scanCounts(progress)));
    bar_->setAccessibleDescription(counts_->text());
    notice_->setText(app_.stopIsSlow() ? "Stopping waits for the disk to answer."
                                       : shown(texts::scanWait(app_.scanWait())));
    stop_->setText(app_.isStoppingScan() ? "Stopping…" : "Stop");
    stop_->setEnabled(!app_.isStoppingScan());
}

} // namespace vantorel
