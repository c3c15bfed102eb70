#include "app/SourcesView.h"

#include "app/ElidedLabel.h"
#include "app/Layouts.h"
#include "app/Privacy.h"
#include "app/Theme.h"
#include "app/model/WindowTexts.h"
#include "base/Text.h"

#include <QtGui/qevent.h>
#include <QtGui/qpainter.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qprogressbar.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qscrollarea.h>

namespace vantorel {

using theme::TextStyle;

namespace {

QString formatOf(const FoundLibrary& library)
{
    switch (library.format) {
    case LibraryFormat::modern:
        return library.databaseBytes ? "Database " + shown(byteSize(*library.databaseBytes))
                                     : QString("Modern");
    case LibraryFormat::legacy:
        return "Older format";
    case LibraryFormat::noDatabase:
        return library.hasJournals ? "Change journals" : "Photo files";
    }
    std::unreachable();
}

QString placeOf(const FoundLibrary& library)
{
    QString place;
    if (library.volume) {
        const auto& volume = *library.volume;
        place = displayed(volume.name.empty() ? volume.mountPoint : volume.name) + " ("
            + shown(description(volume)) + ") — ";
    }
    return place + displayed(library.url.parent_path().native());
}

QWidget* emptyState()
{
    auto* widget = new QWidget;
    auto* layout = new QVBoxLayout(widget);
    auto* symbol = new QLabel;
    symbol->setPixmap(theme::symbol("photo.on.rectangle.angled", 64,
        theme::colour(theme::Meaning::unknown, widget->palette()), widget->devicePixelRatioF()));
    symbol->setAlignment(Qt::AlignHCenter);
    auto* heading = theme::text("No library found", TextStyle::heading);
    heading->setAlignment(Qt::AlignHCenter);
    auto* advice = theme::text(
        "Connect the drive with your library and click Look Again, or choose the library yourself. "
        "It can be a copy from an old Mac, and it can be damaged. A Time Machine backup on a "
        "network drive must be opened in Finder first. An older dated backup may need to be "
        "opened in Time Machine first.",
        TextStyle::quiet);
    advice->setAlignment(Qt::AlignHCenter);
    advice->setMaximumWidth(theme::textWidth);
    layout->addStretch();
    layout->addWidget(symbol);
    layout->addSpacing(8);
    layout->addWidget(heading);
    auto* centred = new QHBoxLayout;
    centred->addStretch();
    centred->addWidget(advice, 10);
    centred->addStretch();
    layout->addLayout(centred);
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
    looking_ = theme::text("Looking for libraries on your disks…", TextStyle::quiet);
    nothing_ = emptyState();
    rows_ = new QVBoxLayout;
    rows_->setSpacing(4);
    listLayout->addWidget(looking_);
    listLayout->addLayout(rows_);
    listLayout->addWidget(nothing_, 1);
    listLayout->addStretch();
    area->setWidget(list);
    layout->addWidget(area, 1);

    auto* foot = new QHBoxLayout;
    choose_ = new QPushButton("Choose a Library…");
    choose_->setShortcut(QKeySequence::Open);
    connect(choose_, &QPushButton::clicked, this, [this] { app_.chooseLibrary(); });
    auto* again = new QPushButton("Look Again");
    connect(again, &QPushButton::clicked, this, [this] { app_.lookForLibraries(); });
    foot->addWidget(choose_);
    foot->addStretch();
    foot->addWidget(again);
    layout->addLayout(foot);
    theme::makePrimary(choose_);

    watch(app_.found, app_.isFinding, app_.hasFullDiskAccess, app_.scanError, app_.scanned);
}

void SourcesView::refresh()
{
    const bool empty = app_.found()->libraries.empty();
    busy_->setVisible(app_.isFinding());
    looking_->setVisible(app_.isFinding() && empty);
    nothing_->setVisible(!app_.isFinding() && empty);
    access_->setVisible(!app_.hasFullDiskAccess());
    error_->setTextOrHide(app_.scanError());
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
    clearLayout(*rows_);
    const auto addRows = [this](bool backups) {
        for (const auto& library : app_.found()->libraries) {
            if ((library.origin == FoundLibrary::Origin::timeMachine) == backups) {
                rows_->addWidget(new LibraryRow(library, [this, library] { app_.scan(library); }, "Scan"));
            }
        }
    };
    addRows(false);
    const auto isBackup = [](const FoundLibrary& library) {
        return library.origin == FoundLibrary::Origin::timeMachine;
    };
    if (std::ranges::any_of(app_.found()->libraries, isBackup)) {
        rows_->addSpacing(12);
        rows_->addWidget(theme::text("In Time Machine backups", TextStyle::heading));
        rows_->addWidget(
            theme::text("Only the latest backup and any you have opened are listed. To use an older date, "
                        "open it in Time Machine first, then click Look Again.",
                TextStyle::quiet));
        addRows(true);
    }
    for (const auto& issue : app_.found()->issues) {
        rows_->addWidget(new WarningLine(displayed(issue.message)));
    }
}

LibraryRow::LibraryRow(
    const FoundLibrary& library, std::function<void()> open, const QString& action, QWidget* parent)
    : QWidget(parent)
    , open_(std::move(open))
{
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleName(displayed(library.name));
    setAccessibleDescription(placeOf(library));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(12, 8, 12, 8);
    layout->setSpacing(12);
    auto* symbol = new QLabel;
    symbol->setPixmap(
        theme::symbol("photo.on.rectangle", 28, palette().color(QPalette::WindowText), devicePixelRatioF()));
    layout->addWidget(symbol, 0, Qt::AlignTop);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    texts->addWidget(new ElidedLabel(displayed(library.name), ElidedLabel::Kind::name));
    texts->addWidget(new ElidedLabel(placeOf(library), ElidedLabel::Kind::quiet));
    if (const auto note = texts::libraryNote(library)) {
        texts->addWidget(theme::text(displayed(*note), TextStyle::quiet));
    }
    layout->addLayout(texts, 1);
    auto* format = theme::text(formatOf(library), TextStyle::quiet);
    format->setWordWrap(false);
    layout->addWidget(format);
    auto* button = new QPushButton(action);
    button->setAccessibleName(action + " " + displayed(library.name));
    connect(button, &QPushButton::clicked, this, [this] { open_(); });
    layout->addWidget(button);
}

void LibraryRow::mouseDoubleClickEvent(QMouseEvent*) { open_(); }

void LibraryRow::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        open_();
    } else {
        QWidget::keyPressEvent(event);
    }
}

void LibraryRow::focusInEvent(QFocusEvent*) { update(); }
void LibraryRow::focusOutEvent(QFocusEvent*) { update(); }

void LibraryRow::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(palette().color(QPalette::Base));
    painter.setPen(palette().color(hasFocus() ? QPalette::Highlight : QPalette::Midlight));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
}

} // namespace vantorel
