#include "app/OnboardingView.h"

#include "app/Privacy.h"
#include "app/ScrollFocus.h"
#include "app/Theme.h"

#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qscrollarea.h>
#include <QtWidgets/qstackedwidget.h>

namespace vantorel {

using theme::TextStyle;

namespace {

constexpr int columnWidth = 600;

/// A centred column that scrolls where the window is too small for it.
QWidget* centred(QWidget* column)
{
    column->setMaximumWidth(columnWidth);
    auto* inner = new QWidget;
    auto* layout = new QHBoxLayout(inner);
    layout->setContentsMargins(theme::margin, theme::margin, theme::margin, theme::margin);
    layout->addStretch();
    layout->addWidget(column, 10);
    layout->addStretch();
    auto* area = new QScrollArea;
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setWidget(inner);
    ScrollFocus::addTo(*area, "Vantorel");
    return area;
}

QLabel* programSymbol()
{
    auto* symbol = new QLabel;
    symbol->setPixmap(QIcon(":/icons/vantorel.svg").pixmap(QSize(72, 72)));
    return symbol;
}

} // namespace

OnboardingView::OnboardingView(AppModel& app, Access access, QWidget* parent)
    : ModelView(app, parent)
    , steps_(new QStackedWidget)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(steps_);
    steps_->addWidget(welcome());
    if (access == Access::asked) {
        steps_->addWidget(this->access());
        setTabOrder(settings_, goOn_);
        if (app_.hasSeenWelcome()) {
            showAccess();
        }
    }
    watch(app_.hasFullDiskAccess);
}

QWidget* OnboardingView::welcome()
{
    auto* column = new QWidget;
    auto* layout = new QVBoxLayout(column);
    layout->setSpacing(12);
    layout->addStretch();
    layout->addWidget(programSymbol());
    layout->addWidget(theme::text("See and save what is in a Photos library", TextStyle::title));
    for (const char* paragraph : {
             "Vantorel reads a Photos library on an external drive, from an old Mac, a damaged copy Photos "
             "no longer "
             "opens, or one in a Time Machine backup. It shows what is there and saves it as folders you can "
             "keep.",
             "It only reads. Nothing in the library or the backup is ever changed.",
             "You get folders named after your albums, your original files, sidecar files with captions, "
             "keywords, "
             "favourites and dates, and a report of every item. People names are included when the library's "
             "database "
             "can be read. They are not read from a Time Machine backup.",
             "It does not write into Photos, so albums and People do not go back there through it. It cannot "
             "get "
             "originals that stayed in iCloud or are otherwise not in this copy of the library, and a video "
             "may have "
             "only a still picture here. Edits made in Photos are not exported: you get the original file as "
             "it was "
             "imported.",
             "You may not need it. Photos can open a healthy library on another disk, free, and can rebuild "
             "a Time "
             "Machine copy itself, free. Vantorel adds seeing and comparing without changing anything, and "
             "folders with "
             "sidecar files.",
         }) {
        layout->addWidget(theme::text(paragraph, TextStyle::body));
    }
    auto* next = new QPushButton("Continue");
    theme::makePrimary(next);
    connect(next, &QPushButton::clicked, this, [this] {
        app_.setWelcomeSeen();
        if (steps_->count() > 1) {
            showAccess();
            settings_->setFocus();
        } else {
            app_.finishOnboarding();
        }
    });
    layout->addSpacing(8);
    layout->addWidget(next, 0, Qt::AlignRight);
    layout->addStretch();
    return centred(column);
}

void OnboardingView::showAccess()
{
    app_.recheckFullDiskAccess();
    steps_->setCurrentIndex(1);
}

QWidget* OnboardingView::access()
{
    auto* column = new QWidget;
    auto* layout = new QVBoxLayout(column);
    layout->setSpacing(12);
    layout->addStretch();
    layout->addWidget(programSymbol());
    for (const char* paragraph : {
             "macOS protects your Photos library and Time Machine backups. To read them, Vantorel needs Full "
             "Disk "
             "Access. It is only used to read. For a library on an external drive you can go on without it "
             "and choose "
             "the library yourself. macOS may also ask to let it read removable volumes.",
             "1. Click Open System Settings.",
             "2. Turn on the switch next to Vantorel. If it is not in the list, click +, open Applications "
             "and choose "
             "Vantorel.",
             "3. If macOS asks to quit and reopen Vantorel, choose Quit & Reopen.",
         }) {
        layout->addWidget(theme::text(paragraph, TextStyle::body));
    }
    auto* line = new QHBoxLayout;
    statusSymbol_ = new QLabel;
    status_ = theme::text("", TextStyle::body);
    line->addWidget(statusSymbol_, 0, Qt::AlignTop);
    line->addWidget(status_, 1);
    layout->addLayout(line);
    auto* buttons = new QHBoxLayout;
    settings_ = new QPushButton("Open System Settings");
    connect(settings_, &QPushButton::clicked, this, [] { openPrivacySettings(); });
    goOn_ = new QPushButton;
    connect(goOn_, &QPushButton::clicked, this, [this] { app_.finishOnboarding(); });
    buttons->addStretch();
    buttons->addWidget(goOn_);
    buttons->addWidget(settings_);
    theme::makePrimary(settings_);
    layout->addLayout(buttons);
    layout->addStretch();
    return centred(column);
}

void OnboardingView::refresh()
{
    if (!status_) {
        return;
    }
    const bool isOn = app_.hasFullDiskAccess();
    statusSymbol_->setPixmap(
        theme::symbol(isOn ? "checkmark.circle.fill" : "xmark.circle.fill", fontMetrics().height() + 2,
            theme::colour(isOn ? theme::Meaning::good : theme::Meaning::attention, palette()),
            devicePixelRatioF()));
    status_->setText(isOn
            ? "Full Disk Access is on."
            : "Full Disk Access is off. Vantorel can then read libraries on external drives, but not Time "
              "Machine backups or the library on this Mac.");
    goOn_->setText(isOn ? "Continue" : "Continue Without Access");
}

} // namespace vantorel
