#include "app/ExportSheet.h"

#include "app/Charts.h"
#include "app/ColumnArea.h"
#include "app/ElidedLabel.h"
#include "app/Layouts.h"
#include "app/SymbolLabel.h"
#include "app/Theme.h"
#include "app/ThinBar.h"
#include "app/model/WindowTexts.h"
#include "base/Text.h"

#include <algorithm>

#include <QtCore/qurl.h>
#include <QtGui/qdesktopservices.h>
#include <QtGui/qevent.h>
#include <QtGui/qpainter.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qcheckbox.h>
#include <QtWidgets/qframe.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qstackedwidget.h>
#include <QtWidgets/qstyle.h>

namespace vantorel {

using theme::TextStyle;

namespace {

constexpr int sheetWidth = 600;
constexpr std::size_t mostNotes = 5;
constexpr const char* workingOut = "Working out the export";

QString count(std::int64_t number) { return shown(grouped(number)); }

/// A page whose content scrolls where the window is too low, over a bar of buttons that stays.
QWidget* page(QWidget* content, QLayout* buttons)
{
    auto* widget = new QWidget;
    auto* layout = new QVBoxLayout(widget);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(new ColumnArea(content, "Export"), 1);
    layout->addLayout(buttons);
    return widget;
}

/// The bytes of the path as they are: names on disk are not always text.
QUrl urlOf(const DiskPath& path)
{
    return QUrl::fromEncoded("file://" + QByteArray::fromStdString(path.native()).toPercentEncoding("/"));
}

QFrame* hairline()
{
    auto* line = new QFrame;
    line->setFixedHeight(1);
    line->setAutoFillBackground(true);
    line->setBackgroundRole(QPalette::Midlight);
    return line;
}

/// One text on the left, a quiet one on the right of the same line.
QLayout* line(QLabel* left, QLabel* right)
{
    auto* layout = new QHBoxLayout;
    right->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    right->setWordWrap(false);
    left->setWordWrap(false);
    layout->addWidget(left, 1);
    layout->addWidget(right);
    return layout;
}

QString nameOf(const DiskPath& folder)
{
    return displayed(folder.has_filename() ? folder.filename().native() : folder.native());
}

} // namespace

ExportSheet::ExportSheet(AppModel& app, QWidget* parent)
    : ModelView(app, parent)
    , card_(new QWidget(this))
    , pages_(new QStackedWidget)
{
    setFocusPolicy(Qt::ClickFocus); // for its keys; what the tabulator key comes to is on the card
    card_->setAutoFillBackground(true);
    setAccessibleName("Export");
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
        app_.exportProgress, app_.exportPace, app_.exportWait, app_.exportOutcome, app_.outcomeFolderIsThere);
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
        const int indent = style()->pixelMetric(QStyle::PM_IndicatorWidth, nullptr, box)
            + style()->pixelMetric(QStyle::PM_CheckBoxLabelSpacing, nullptr, box);
        text->setContentsMargins(indent, 0, 0, 0);
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
        "if you trust where the library came from.",
        &ExportOptions::includeOutsideFiles);
    addChoice(*layout, "Also put People names in the keywords",
        "Photos can import keywords from a sidecar file but not People, so names stay searchable this way.",
        &ExportOptions::peopleAsKeywords);
    layout->addSpacing(6);
    addDestination(*layout);
    layout->addStretch();
    layout->addWidget(hairline());
    summaryTitle_ = theme::text("", TextStyle::heading);
    summary_ = theme::roomFor(2, theme::text("", TextStyle::body));
    layout->addWidget(summaryTitle_);
    layout->addWidget(summary_);
    planningShows_.setSingleShot(true);
    planningShows_.setInterval(300);
    planningShows_.callOnTimeout([this] { showPlanning(); });

    auto* buttons = new QHBoxLayout;
    auto* close = new QPushButton("Cancel");
    connect(close, &QPushButton::clicked, this, [this] { app_.closeExport(); });
    start_ = new QPushButton("Export");
    start_->setEnabled(false);
    theme::makePrimary(start_);
    connect(start_, &QPushButton::clicked, this,
        [this] { app_.isPlanning() ? showPlanning() : app_.startExport(); });
    buttons->addStretch();
    buttons->addWidget(close);
    buttons->addWidget(start_);
    return page(content, buttons);
}

void ExportSheet::addDestination(QBoxLayout& layout)
{
    layout.addWidget(hairline());
    auto* place = new QHBoxLayout;
    place->setSpacing(12);
    choose_ = new QPushButton("Choose Folder…");
    connect(choose_, &QPushButton::clicked, this, [this] { app_.chooseExportDestination(); });
    auto* names = new QVBoxLayout;
    names->setSpacing(0);
    folder_ = new ElidedLabel("", ElidedLabel::Kind::name);
    volume_ = new ElidedLabel("", ElidedLabel::Kind::quiet);
    names->addWidget(folder_);
    names->addWidget(volume_);
    place->addLayout(names, 1);
    place->addWidget(choose_, 0, Qt::AlignVCenter);
    layout.addLayout(place);
    room_ = new SpaceBar;
    auto kept = room_->sizePolicy();
    kept.setRetainSizeWhenHidden(true);
    room_->setSizePolicy(kept);
    space_ = theme::roomFor(1, theme::text("", TextStyle::quiet));
    warning_ = new WarningLine("");
    fat_ = new WarningLine(shown(fatWarning));
    unfinished_ = new WarningLine("", WarningLine::Kind::note);
    layout.addWidget(room_);
    layout.addWidget(space_);
    layout.addWidget(warning_);
    layout.addWidget(fat_);
    layout.addWidget(unfinished_);
}

QWidget* ExportSheet::progress()
{
    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(10);
    layout->addWidget(theme::text("Saving files", TextStyle::title));
    target_ = new ElidedLabel("", ElidedLabel::Kind::quiet);
    layout->addWidget(target_);
    layout->addSpacing(8);
    items_ = theme::text("", TextStyle::heading);
    left_ = theme::text("", TextStyle::quiet);
    bar_ = new ThinBar("Export progress");
    bytes_ = theme::text("", TextStyle::body);
    speed_ = theme::text("", TextStyle::quiet);
    name_ = new ElidedLabel("", ElidedLabel::Kind::quiet);
    layout->addLayout(line(items_, left_));
    layout->addWidget(bar_);
    layout->addLayout(line(bytes_, speed_));
    layout->addWidget(name_);
    layout->addSpacing(8);
    resumed_ = theme::roomFor(1, theme::text("", TextStyle::quiet));
    skipped_ = new WarningLine("");
    auto kept = skipped_->sizePolicy();
    kept.setRetainSizeWhenHidden(true);
    skipped_->setSizePolicy(kept);
    notice_ = theme::roomFor(6, theme::text("", TextStyle::body));
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
    head->setSpacing(12);
    outcomeTitle_ = theme::text("", TextStyle::title);
    outcomeSymbol_ = new SymbolLabel("", outcomeTitle_->fontMetrics().height());
    head->addWidget(outcomeSymbol_, 0, Qt::AlignTop);
    head->addWidget(outcomeTitle_, 1);
    layout->addLayout(head);
    outcomeMessage_ = theme::text("", TextStyle::body);
    layout->addWidget(outcomeMessage_);
    eject_ = theme::text(
        "If you saved to an external disk, eject it in Finder before you unplug it.", TextStyle::body);
    layout->addWidget(eject_);
    outcomeFolder_ = new ElidedLabel("", ElidedLabel::Kind::quiet);
    layout->addWidget(outcomeFolder_);
    auto* look = new QHBoxLayout;
    showFolder_ = new QPushButton("Show Folder");
    connect(showFolder_, &QPushButton::clicked, this, [this] { open(*app_.exportOutcome()->folder); });
    showReport_ = new QPushButton("Open Report");
    connect(showReport_, &QPushButton::clicked, this, [this] { open(*app_.exportOutcome()->reportCSV); });
    look->addWidget(showFolder_);
    look->addWidget(showReport_);
    look->addStretch();
    layout->addLayout(look);
    cannotOpen_ = new WarningLine("");
    layout->addWidget(cannotOpen_);
    layout->addSpacing(8);
    outcomeNotes_ = new QVBoxLayout;
    outcomeNotes_->setSpacing(8);
    layout->addLayout(outcomeNotes_);
    layout->addStretch();

    auto* buttons = new QHBoxLayout;
    auto* other = new QPushButton("Choose Another Folder");
    connect(other, &QPushButton::clicked, this, [this] { app_.chooseExportDestination(); });
    again_ = new QPushButton("Export Again");
    connect(again_, &QPushButton::clicked, this, [this] { app_.clearOutcome(); });
    done_ = new QPushButton("Done");
    theme::makePrimary(done_);
    connect(done_, &QPushButton::clicked, this, [this] {
        app_.closeExport();
        app_.clearOutcome();
    });
    buttons->addWidget(other);
    buttons->addStretch();
    buttons->addWidget(again_);
    buttons->addWidget(done_);
    return page(content, buttons);
}

void ExportSheet::open(const DiskPath& path)
{
    const bool isOpen = QDesktopServices::openUrl(urlOf(path));
    cannotOpen_->setTextOrHide(isOpen
            ? std::nullopt
            : std::optional("No program was found that shows it. It is here: " + path.native()));
}

/// The main button of the page that comes up has the focus, so that Return does what is meant.
void ExportSheet::showPage(Page page)
{
    if (pages_->currentIndex() == page && isAncestorOf(focusWidget())) {
        return;
    }
    pages_->setCurrentIndex(page);
    switch (page) {
    case choosing:
        (app_.exportDestination() ? choices_.front().box : static_cast<QWidget*>(choose_))->setFocus();
        break;
    case saving:
        stop_->setFocus();
        break;
    case ended:
        done_->setFocus();
        break;
    }
}

void ExportSheet::showEvent(QShowEvent* event)
{
    ModelView::showEvent(event);
    refresh();
}

void ExportSheet::refresh()
{
    if (app_.isExporting()) {
        showPage(saving);
        refreshProgress();
    } else if (app_.exportOutcome()) {
        showPage(ended);
        refreshOutcome();
    } else {
        showPage(choosing);
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
    refreshDestination();
    refreshSummary();
    start_->setText(app_.resumesUnfinished() ? "Continue Export" : "Export");
}

void ExportSheet::refreshDestination()
{
    const auto folder = app_.exportDestination();
    folder_->setText(folder ? nameOf(*folder) : QString("No folder chosen"));
    const auto& facts = app_.destinationFacts();
    const auto volume = facts ? facts->volume : std::nullopt;
    const bool looks = folder && !app_.destinationDidNotAnswer() && !facts;
    volume_->setText(volume ? displayed(volume->name.empty() ? volume->mountPoint : volume->name) + " ("
                + shown(description(*volume)) + ") — " + displayed(folder->native())
                            : QString(looks ? "Looking at that disk…" : ""));
    std::optional<std::string> warning;
    QString space;
    if (app_.destinationDidNotAnswer()) {
        warning = "That disk did not answer yet. A sleeping drive can take a minute: choose the folder "
                  "again, check the connection, or choose another folder.";
    } else if (facts && facts->problem) {
        warning = facts->problem;
    } else if (volume && app_.exportPlan()) {
        const auto note = texts::spaceNote(app_.neededBytesThere(), volume->freeBytes);
        if (note.isWarning) {
            warning = note.text;
        } else {
            space = shown(note.text);
        }
    }
    const bool knowsRoom = volume && app_.exportPlan() && !facts->problem;
    room_->setVisible(knowsRoom);
    if (knowsRoom) {
        room_->show(app_.neededBytesThere(), volume->freeBytes);
    }
    space_->setText(space);
    space_->setVisible(!warning);
    warning_->setTextOrHide(warning);
    fat_->setVisible(volume && volume->fileSystem == VolumeInfo::FileSystem::fat);
    unfinished_->setTextOrHide(app_.unfinishedNote());
}

void ExportSheet::refreshSummary()
{
    if (app_.isPlanning()) {
        if (!planningShows_.isActive() && summaryTitle_->text() != workingOut) {
            planningShows_.start();
        }
    } else {
        planningShows_.stop();
        summaryTitle_->setText("This export");
        summary_->setText(
            shown(app_.exportPlan() ? texts::planSummary(app_.planSummary()) : texts::noRoomToWork));
    }
    if (!planningShows_.isActive()) { // else the button would blink with every choice
        start_->setEnabled(app_.canStartExport());
    }
}

/// Nothing starts until the plan is that of the choices.
void ExportSheet::showPlanning()
{
    planningShows_.stop();
    summaryTitle_->setText(workingOut);
    summary_->setText("Working out what this export holds…");
    start_->setEnabled(false);
}

void ExportSheet::refreshProgress()
{
    const auto& progress = app_.exportProgress();
    const bool goesOn = !app_.isStoppingExport() && app_.exportWait() == DiskWait::none;
    target_->setText(app_.exportDestination() ? displayed(app_.exportDestination()->native()) : QString());
    items_->setText(count(progress.itemsDone) + " of " + count(progress.itemsTotal) + " items");
    left_->setText(goesOn ? shown(texts::timeLeft(app_.exportPace())) : QString());
    bytes_->setText(shown(byteSize(progress.bytesDone)) + " of " + shown(byteSize(progress.bytesTotal)));
    speed_->setText(goesOn ? shown(texts::speed(app_.exportPace())) : QString());
    // An export without a byte to copy is a matter of items alone.
    const bool byBytes = progress.bytesTotal > 0;
    bar_->showPart(byBytes ? progress.bytesDone : progress.itemsDone,
        byBytes ? progress.bytesTotal : std::max<std::int64_t>(progress.itemsTotal, 1));
    bar_->setAccessibleDescription(items_->text() + ", " + bytes_->text());
    name_->setText(displayed(progress.currentName));
    resumed_->setText(shown(texts::resumedLine(progress).value_or("")));
    skipped_->setTextOrHide(texts::skippedLine(progress));
    const auto wait = shown(texts::exportWait(app_.exportWait()));
    notice_->setText(app_.isStoppingExport()
            ? "Stopping keeps what is saved. The folder stays marked as not finished. To continue later, run "
              "the export again and choose the place you chose before, not the \"(incomplete)\" folder."
                + (wait.isEmpty() ? wait : "\n\n" + wait)
            : wait);
    stop_->setText(app_.isStoppingExport() ? "Stopping…" : "Stop");
    stop_->setEnabled(!app_.isStoppingExport());
}

void ExportSheet::refreshOutcome()
{
    const auto outcome = app_.exportOutcome();
    const bool isThere = app_.outcomeFolderIsThere();
    showFolder_->setVisible(outcome->folder && isThere);
    showReport_->setVisible(outcome->reportCSV && isThere);
    if (shownOutcome_ == outcome) {
        return;
    }
    shownOutcome_ = outcome;
    const bool finished = outcome->isFinished();
    const bool whole = finished && !outcome->sourceLimit;
    again_->setVisible(!finished);
    outcomeSymbol_->show(whole ? "checkmark.circle.fill" : "exclamationmark.triangle.fill",
        whole ? theme::Meaning::good : theme::Meaning::attention, whole ? "Done" : "Warning");
    outcomeTitle_->setText(shown(title(*outcome)));
    outcomeMessage_->setText(displayed(message(*outcome)));
    eject_->setVisible(finished);
    outcomeFolder_->setText(outcome->folder ? displayed(outcome->folder->native()) : QString());
    outcomeFolder_->setVisible(outcome->folder.has_value());
    cannotOpen_->hide();
    showNotes(outcome->notes);
}

void ExportSheet::showNotes(const std::vector<std::string>& notes)
{
    clearLayout(*outcomeNotes_);
    for (std::size_t i = 0; i < std::min(mostNotes, notes.size()); ++i) {
        outcomeNotes_->addWidget(new WarningLine(displayed(notes[i]), WarningLine::Kind::note));
    }
    if (notes.size() > mostNotes) {
        outcomeNotes_->addWidget(theme::text(
            count(static_cast<std::int64_t>(notes.size() - mostNotes)) + " more. The report lists them all.",
            TextStyle::quiet));
    }
}

} // namespace vantorel
