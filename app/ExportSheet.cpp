#include "app/ExportSheet.h"

#include "app/ElidedLabel.h"
#include "app/Layouts.h"
#include "app/Theme.h"
#include "app/model/WindowTexts.h"
#include "base/Text.h"

#include <QtCore/qfile.h>
#include <QtCore/qurl.h>
#include <QtGui/qdesktopservices.h>
#include <QtGui/qevent.h>
#include <QtGui/qpainter.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qcheckbox.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qprogressbar.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qscrollarea.h>
#include <QtWidgets/qstackedwidget.h>

namespace vantorel {

using theme::TextStyle;

namespace {

constexpr int sheetWidth = 600;
constexpr std::size_t mostNotes = 5;

QString count(std::int64_t number) { return shown(grouped(number)); }

/// A page whose content scrolls where the window is too low, over a bar of buttons that stays.
QWidget* page(QWidget* content, QLayout* buttons)
{
    auto* widget = new QWidget;
    auto* layout = new QVBoxLayout(widget);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* area = new QScrollArea;
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setWidget(content);
    layout->addWidget(area, 1);
    layout->addLayout(buttons);
    return widget;
}

void openInDesktop(const DiskPath& path)
{
    QDesktopServices::openUrl(
        QUrl::fromLocalFile(QFile::decodeName(QByteArray::fromStdString(path.native()))));
}

} // namespace

ExportSheet::ExportSheet(AppModel& app, QWidget* parent)
    : ModelView(app, parent)
    , card_(new QWidget(this))
    , pages_(new QStackedWidget)
{
    setFocusPolicy(Qt::StrongFocus);
    card_->setAutoFillBackground(true);
    card_->setAccessibleName("Export");
    auto* layout = new QVBoxLayout(card_);
    layout->setContentsMargins(theme::margin, theme::margin, theme::margin, 16);
    layout->addWidget(pages_);
    pages_->addWidget(choices());
    pages_->addWidget(progress());
    pages_->addWidget(outcome());

    auto* outer = new QHBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addStretch();
    card_->setFixedWidth(sheetWidth);
    outer->addWidget(card_);
    watch(app_.scanned, app_.exportOptions, app_.exportDestination, app_.destinationFacts,
        app_.destinationDidNotAnswer, app_.exportPlan, app_.planSummary, app_.isPlanning,
        app_.neededBytesThere, app_.unfinishedNote, app_.isExporting, app_.isStoppingExport,
        app_.exportProgress, app_.exportWait, app_.exportOutcome, app_.outcomeFolderIsThere);
}

void ExportSheet::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), QColor(0, 0, 0, 96));
    painter.fillRect(card_->geometry(), palette().color(QPalette::Window));
}

void ExportSheet::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape) {
        app_.closeExport();
    } else {
        QWidget::keyPressEvent(event);
    }
}

void ExportSheet::addChoice(
    QBoxLayout& layout, const QString& label, const QString& explanation, bool ExportOptions::* field)
{
    auto* row = new QWidget;
    auto* column = new QVBoxLayout(row);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    auto* box = new QCheckBox(label);
    column->addWidget(box);
    if (!explanation.isEmpty()) {
        auto* text = theme::text(explanation, TextStyle::quiet);
        text->setContentsMargins(24, 0, 0, 0);
        box->setAccessibleDescription(explanation);
        column->addWidget(text);
    }
    layout.addWidget(row);
    choices_.push_back({.field = field, .box = box, .row = row});
    connect(box, &QCheckBox::toggled, this, [this, field](bool isOn) {
        auto options = app_.exportOptions();
        options.*field = isOn;
        app_.setExportOptions(options);
    });
}

QWidget* ExportSheet::choices()
{
    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(10);
    layout->addWidget(theme::text("Export", TextStyle::title));
    addChoice(*layout, "Photos in no album, by year", "", &ExportOptions::includeUnfiled);
    addChoice(*layout, shown(texts::hiddenLabel(0)), "", &ExportOptions::includeHidden);
    addChoice(*layout, "Recently Deleted", "", &ExportOptions::includeTrashed);
    addChoice(
        *layout, "Smaller copies, where the original is not here", "", &ExportOptions::includeSmallerCopies);
    addChoice(*layout, "",
        "The library points at these. Only photo and video types in ordinary folders are offered. Tick this "
        "if you trust "
        "where the library came from.",
        &ExportOptions::includeOutsideFiles);
    addChoice(*layout, "Also put People names in the keywords",
        "Photos can import keywords from a sidecar file but not People, so names stay searchable this way.",
        &ExportOptions::peopleAsKeywords);
    layout->addSpacing(8);

    auto* place = new QHBoxLayout;
    auto* choose = new QPushButton("Choose Folder…");
    connect(choose, &QPushButton::clicked, this, [this] { app_.chooseExportDestination(); });
    auto* names = new QVBoxLayout;
    names->setSpacing(0);
    folder_ = new ElidedLabel("");
    volume_ = theme::text("", TextStyle::quiet);
    volume_->setWordWrap(false);
    names->addWidget(folder_);
    names->addWidget(volume_);
    place->addWidget(choose, 0, Qt::AlignTop);
    place->addLayout(names, 1);
    layout->addLayout(place);
    space_ = theme::text("", TextStyle::quiet);
    warning_ = new WarningLine("");
    fat_ = new WarningLine(shown(fatWarning));
    unfinished_ = theme::text("", TextStyle::body);
    layout->addWidget(space_);
    layout->addWidget(warning_);
    layout->addWidget(fat_);
    layout->addWidget(unfinished_);
    layout->addStretch();
    summary_ = theme::text("", TextStyle::body);
    summary_->setMinimumHeight(summary_->fontMetrics().lineSpacing() * 2);
    layout->addWidget(summary_);

    auto* buttons = new QHBoxLayout;
    auto* close = new QPushButton("Cancel");
    connect(close, &QPushButton::clicked, this, [this] { app_.closeExport(); });
    start_ = new QPushButton("Export");
    theme::makePrimary(start_);
    connect(start_, &QPushButton::clicked, this, [this] { app_.startExport(); });
    buttons->addStretch();
    buttons->addWidget(close);
    buttons->addWidget(start_);
    return page(content, buttons);
}

QWidget* ExportSheet::progress()
{
    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(10);
    layout->addWidget(theme::text("Saving files", TextStyle::title));
    bar_ = new QProgressBar;
    bar_->setRange(0, 1000);
    bar_->setTextVisible(false);
    bar_->setAccessibleName("Export progress");
    items_ = theme::text("", TextStyle::heading);
    bytes_ = theme::text("", TextStyle::body);
    name_ = new ElidedLabel("", ElidedLabel::Kind::quiet);
    resumed_ = theme::text("", TextStyle::quiet);
    skipped_ = theme::text("", TextStyle::body);
    notice_ = theme::text("", TextStyle::body);
    notice_->setMinimumHeight(notice_->fontMetrics().lineSpacing() * 3);
    notice_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    layout->addWidget(items_);
    layout->addWidget(bar_);
    layout->addWidget(bytes_);
    layout->addWidget(name_);
    layout->addWidget(resumed_);
    layout->addWidget(skipped_);
    layout->addSpacing(8);
    layout->addWidget(notice_);
    layout->addStretch();
    auto* buttons = new QHBoxLayout;
    stop_ = new QPushButton("Stop");
    connect(stop_, &QPushButton::clicked, this, [this] { app_.stopExport(); });
    auto* hide = new QPushButton("Hide");
    hide->setToolTip("The export goes on");
    connect(hide, &QPushButton::clicked, this, [this] { app_.closeExport(); });
    buttons->addStretch();
    buttons->addWidget(hide);
    buttons->addWidget(stop_);
    return page(content, buttons);
}

QWidget* ExportSheet::outcome()
{
    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(10);
    auto* head = new QHBoxLayout;
    outcomeSymbol_ = new QLabel;
    outcomeTitle_ = theme::text("", TextStyle::title);
    head->addWidget(outcomeSymbol_, 0, Qt::AlignTop);
    head->addWidget(outcomeTitle_, 1);
    layout->addLayout(head);
    outcomeMessage_ = theme::text("", TextStyle::body);
    layout->addWidget(outcomeMessage_);
    eject_ = theme::text(
        "If you saved to an external disk, eject it in Finder before you unplug it.", TextStyle::quiet);
    layout->addWidget(eject_);
    outcomeNotes_ = new QVBoxLayout;
    layout->addLayout(outcomeNotes_);
    layout->addStretch();

    auto* buttons = new QHBoxLayout;
    showFolder_ = new QPushButton("Show Folder");
    connect(
        showFolder_, &QPushButton::clicked, this, [this] { openInDesktop(*app_.exportOutcome()->folder); });
    showReport_ = new QPushButton("Open Report");
    connect(showReport_, &QPushButton::clicked, this,
        [this] { openInDesktop(*app_.exportOutcome()->reportCSV); });
    auto* other = new QPushButton("Choose Another Folder");
    connect(other, &QPushButton::clicked, this, [this] { app_.chooseExportDestination(); });
    again_ = new QPushButton("Export Again");
    connect(again_, &QPushButton::clicked, this, [this] { app_.clearOutcome(); });
    auto* done = new QPushButton("Done");
    theme::makePrimary(done);
    connect(done, &QPushButton::clicked, this, [this] {
        app_.closeExport();
        app_.clearOutcome();
    });
    for (auto* button : {showFolder_, showReport_}) {
        buttons->addWidget(button);
    }
    buttons->addStretch();
    for (auto* button : {other, again_, done}) {
        buttons->addWidget(button);
    }
    return page(content, buttons);
}

void ExportSheet::refresh()
{
    if (app_.isExporting()) {
        pages_->setCurrentIndex(1);
        refreshProgress();
    } else if (app_.exportOutcome()) {
        pages_->setCurrentIndex(2);
        refreshOutcome();
    } else {
        pages_->setCurrentIndex(0);
        refreshChoices();
    }
}

void ExportSheet::refreshChoices()
{
    const auto scanned = app_.scanned();
    if (!scanned) {
        return;
    }
    for (const auto& choice : choices_) {
        const QSignalBlocker silent(choice.box);
        choice.box->setChecked(app_.exportOptions().*choice.field);
        if (choice.field == &ExportOptions::includeHidden) {
            choice.box->setText(shown(texts::hiddenLabel(scanned->overview.hidden)));
        } else if (choice.field == &ExportOptions::includeOutsideFiles) {
            choice.box->setText(shown(texts::outsideLabel(scanned->overview.outsideFiles)));
            choice.row->setVisible(scanned->overview.outsideFiles > 0);
        }
    }
    const auto folder = app_.exportDestination();
    folder_->setText(folder
            ? displayed(folder->has_filename() ? folder->filename().native() : folder->native())
            : QString("No folder chosen"));
    const auto& facts = app_.destinationFacts();
    const auto volume = facts ? facts->volume : std::nullopt;
    volume_->setText(volume
            ? displayed(volume->name.empty() ? volume->mountPoint : volume->name) + ", "
                + shown(description(*volume))
            : QString(folder && !app_.destinationDidNotAnswer() && !facts ? "Looking at that disk…" : ""));
    space_->clear();
    std::optional<std::string> warning;
    if (app_.destinationDidNotAnswer()) {
        warning = "That disk did not answer yet. A sleeping drive can take a minute: choose the folder "
                  "again, check the "
                  "connection, or choose another folder.";
    } else if (facts && facts->problem) {
        warning = facts->problem;
    } else if (volume && app_.exportPlan()) {
        const auto note = texts::spaceNote(app_.neededBytesThere(), volume->freeBytes);
        if (note.isWarning) {
            warning = note.text;
        } else {
            space_->setText(shown(note.text));
        }
    }
    space_->setVisible(!space_->text().isEmpty());
    warning_->setTextOrHide(warning);
    fat_->setVisible(volume && volume->fileSystem == VolumeInfo::FileSystem::fat);
    unfinished_->setVisible(app_.unfinishedNote().has_value());
    unfinished_->setText(displayed(app_.unfinishedNote().value_or("")));
    summary_->setText(app_.isPlanning() || !app_.exportPlan()
            ? QString("Working out what this export holds…")
            : shown(texts::planSummary(app_.planSummary())));
    start_->setEnabled(app_.canStartExport());
    start_->setText(app_.resumesUnfinished() ? "Continue Export" : "Export");
}

void ExportSheet::refreshProgress()
{
    const auto& progress = app_.exportProgress();
    items_->setText(count(progress.itemsDone) + " of " + count(progress.itemsTotal) + " items");
    bytes_->setText(shown(byteSize(progress.bytesDone)) + " of " + shown(byteSize(progress.bytesTotal)));
    const double part = progress.bytesTotal > 0
        ? static_cast<double>(progress.bytesDone) / static_cast<double>(progress.bytesTotal)
        : 0;
    bar_->setValue(std::clamp(static_cast<int>(part * 1000), 0, 1000));
    name_->setText(displayed(progress.currentName));
    resumed_->setText(shown(texts::resumedLine(progress).value_or("")));
    skipped_->setText(shown(texts::skippedLine(progress).value_or("")));
    notice_->setText(app_.isStoppingExport()
            ? QString("Stopping keeps what is saved. The folder stays marked as not finished. To continue "
                      "later, run the "
                      "export again and choose the place you chose before, not the \"(incomplete)\" folder.")
            : shown(texts::exportWait(app_.exportWait())));
    stop_->setText(app_.isStoppingExport() ? "Stopping…" : "Stop");
    stop_->setEnabled(!app_.isStoppingExport());
}

void ExportSheet::refreshOutcome()
{
    const auto outcome = app_.exportOutcome();
    showFolder_->setVisible(outcome->folder && app_.outcomeFolderIsThere());
    showReport_->setVisible(outcome->reportCSV && app_.outcomeFolderIsThere());
    if (shownOutcome_ == outcome) {
        return;
    }
    shownOutcome_ = outcome;
    const bool finished = outcome->isFinished();
    again_->setVisible(!finished);
    outcomeSymbol_->setPixmap(
        theme::symbol(finished ? "checkmark.circle.fill" : "exclamationmark.triangle.fill",
            outcomeTitle_->fontMetrics().height(),
            theme::colour(finished ? theme::Meaning::good : theme::Meaning::attention, palette()),
            devicePixelRatioF()));
    outcomeTitle_->setText(shown(title(*outcome)));
    outcomeMessage_->setText(displayed(message(*outcome)));
    eject_->setVisible(finished);
    clearLayout(*outcomeNotes_);
    for (std::size_t i = 0; i < std::min(mostNotes, outcome->notes.size()); ++i) {
        outcomeNotes_->addWidget(theme::text(displayed(outcome->notes[i]), TextStyle::quiet));
    }
    if (outcome->notes.size() > mostNotes) {
        outcomeNotes_->addWidget(
            theme::text(count(static_cast<std::int64_t>(outcome->notes.size() - mostNotes))
                    + " more. The report lists them all.",
                TextStyle::quiet));
    }
}

} // namespace vantorel
