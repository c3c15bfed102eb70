#include "app/SourcesView.h"

#include "app/Privacy.h"
#include "app/ScrollFocus.h"
#include "app/Theme.h"
#include "app/model/WindowTexts.h"
#include "base/Text.h"
#include "discovery/volumes/SystemAdvice.h"

#include <algorithm>

#include <QtGui/qevent.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qprogressbar.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qscrollarea.h>

namespace vantorel {

using theme::TextStyle;

namespace {

/// In the middle of the room for the list.
QWidget* insteadOfRows(const QString& title, const QString& text, const std::optional<std::string>& advice)
{
    auto* widget = new QWidget;
    auto* layout = new QVBoxLayout(widget);
    auto* symbol = new QLabel;
    symbol->setPixmap(theme::symbol("photo.on.rectangle.angled", 64,
        theme::colour(theme::Meaning::unknown, widget->palette()), widget->devicePixelRatioF()));
    symbol->setAlignment(Qt::AlignHCenter);
    layout->addStretch(1);
    layout->addWidget(symbol);
    layout->addSpacing(8);
    const auto add = [layout](const QString& content, TextStyle style) {
        auto* label = theme::text(content, style);
        label->setAlignment(Qt::AlignHCenter);
        label->setMaximumWidth(theme::textWidth);
        auto* centred = new QHBoxLayout;
        centred->addStretch();
        centred->addWidget(label, 10);
        centred->addStretch();
        layout->addLayout(centred);
    };
    add(title, TextStyle::heading);
    add(text, TextStyle::quiet);
    if (advice) {
        add(shown(*advice), TextStyle::quiet);
    }
    layout->addStretch(2);
    return widget;
}

} // namespace

SourcesView::SourcesView(AppModel& app, QWidget* parent)
    : ModelView(app, parent)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(theme::margin, theme::margin, theme::margin, theme::margin);
    layout->setSpacing(12);
    auto* head = new QHBoxLayout;
    head->addWidget(theme::text("Choose a library to scan", TextStyle::title), 1);
    results_ = new QPushButton("Back to Results");
    connect(results_, &QPushButton::clicked, this, [this] { app_.showResults(); });
    head->addWidget(results_, 0, Qt::AlignRight);
    layout->addLayout(head);

    busy_ = new QProgressBar;
    busy_->setRange(0, 0);
    busy_->setTextVisible(false);
    busy_->setFixedHeight(3);
    busy_->setAccessibleName("Looking for libraries");
    auto kept = busy_->sizePolicy();
    kept.setRetainSizeWhenHidden(true);
    busy_->setSizePolicy(kept);
    layout->addWidget(busy_);

    access_ = new WarningLine(
        "Full Disk Access is off, so Time Machine backups and the library on this Mac cannot be "
        "read. Libraries on external drives still work. After you turn it on, come back here: "
        "the list updates by itself.");
    access_->addButton("Open System Settings", openPrivacySettings);
    error_ = new WarningLine("");
    layout->addWidget(access_);
    layout->addWidget(error_);

    auto* area = new QScrollArea;
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    auto* list = new QWidget;
    auto* listLayout = new QVBoxLayout(list);
    listLayout->setContentsMargins(0, 0, 0, 0);
    looking_ = insteadOfRows("Looking for libraries", "Looking for libraries on your disks…", std::nullopt);
    nothing_ = insteadOfRows("No library found",
        "Connect the drive with your library and click Look Again, or choose the library yourself. "
        "It can be a copy from an old Mac, and it can be damaged. A Time Machine backup on a "
        "network drive must be opened in Finder first. An older dated backup may need to be "
        "opened in Time Machine first.",
        SystemAdvice::nothingFound());
    rows_ = new QVBoxLayout;
    rows_->setSpacing(4);
    listLayout->addLayout(rows_);
    listLayout->addWidget(looking_, 1);
    listLayout->addWidget(nothing_, 1);
    listLayout->addStretch();
    area->setWidget(list);
    ScrollFocus::addTo(*area, "Libraries");
    layout->addWidget(area, 1);

    auto* foot = new QHBoxLayout;
    choose_ = new QPushButton("Choose a Library…");
    connect(choose_, &QPushButton::clicked, this, [this] { app_.chooseLibrary(); });
    again_ = new QPushButton("Look Again");
    connect(again_, &QPushButton::clicked, this, [this] { app_.lookForLibraries(); });
    foot->addWidget(choose_);
    foot->addStretch();
    foot->addWidget(again_);
    layout->addLayout(foot);
    theme::makePrimary(choose_);

    watch(app_.found, app_.isFinding, app_.hasFullDiskAccess, app_.scanError, app_.scanAdvice, app_.scanned);
}

void SourcesView::refresh()
{
    const bool empty = app_.found()->libraries.empty();
    busy_->setVisible(app_.isFinding());
    looking_->setVisible(app_.isFinding() && empty);
    nothing_->setVisible(!app_.isFinding() && empty);
    access_->setVisible(!app_.hasFullDiskAccess());
    error_->setTextOrHide(app_.scanError(), app_.scanAdvice());
    results_->setVisible(app_.scanned() != nullptr);
    if (listed_ != app_.found()) {
        if (!listed_ || *listed_ != *app_.found()) {
            listLibraries();
        }
        listed_ = app_.found();
    }
}

void SourcesView::listLibraries()
{
    DiskPath focused;
    if (const auto* row = qobject_cast<LibraryRow*>(window()->focusWidget())) {
        focused = row->library().url;
    }
    const bool areFirst = rows_->isEmpty() && window()->focusWidget() == choose_;
    LibraryRows rows(*rows_, "Scan", [this](const FoundLibrary& library) { app_.scan(library); });
    const auto isBackup = [](const FoundLibrary& library) {
        return library.origin == FoundLibrary::Origin::timeMachine;
    };
    LibraryRow* first = nullptr;
    const auto addRows = [&](bool backups) {
        for (const auto& library : app_.found()->libraries) {
            if (isBackup(library) == backups) {
                auto* row = rows.add(library);
                first = first ? first : row;
                if (library.url == focused && !row->isAncestorOf(window()->focusWidget())) {
                    row->setFocus();
                }
            }
        }
    };
    addRows(false);
    if (std::ranges::any_of(app_.found()->libraries, isBackup)) {
        addBackupsHeading();
        addRows(true);
    }
    addIssues();
    if (first && areFirst) {
        first->setFocus(); // nobody has gone anywhere yet
    }
    chooseFocus();
    if (rows.last()) { // the buttons beneath them come after them
        setTabOrder(rows.last()->button(), choose_);
        setTabOrder(choose_, again_);
    }
}

/// Whoever comes back from a library begins with that one, else with the first.
void SourcesView::chooseFocus()
{
    QWidget* begin = nullptr;
    for (int i = 0; i < rows_->count(); ++i) {
        auto* row = qobject_cast<LibraryRow*>(rows_->itemAt(i)->widget());
        const auto& scanned = app_.scannedLibrary();
        if (row && (!begin || (scanned && scanned->url == row->library().url))) {
            begin = row;
        }
    }
    setFocusProxy(begin ? begin : choose_);
}

void SourcesView::showEvent(QShowEvent* event)
{
    ModelView::showEvent(event);
    chooseFocus();
}

void SourcesView::addBackupsHeading()
{
    rows_->addSpacing(12);
    rows_->addWidget(theme::text("In Time Machine backups", TextStyle::heading));
    rows_->addWidget(theme::text(
        withLine("Only the latest backup and any you have opened are listed. To use an older date, "
                 "open it in Time Machine first, then click Look Again.",
            SystemAdvice::olderBackups()),
        TextStyle::quiet));
}

void SourcesView::addIssues()
{
    const auto& found = *app_.found();
    // A refusal stands with its library already.
    const auto isSaid = [&](const FindIssue& issue) {
        return std::ranges::any_of(found.libraries,
            [&](const FoundLibrary& library) { return library.accessProblem == issue.message; });
    };
    for (const auto& issue : found.issues) {
        if (!isSaid(issue)) {
            rows_->addWidget(new WarningLine(displayed(issue.message)));
        }
    }
    for (const auto& line : found.advice) {
        rows_->addWidget(theme::text(displayed(line), TextStyle::quiet));
    }
}

} // namespace vantorel
