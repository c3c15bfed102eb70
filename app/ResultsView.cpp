#include "app/ResultsView.h"

#include "app/AlbumsTab.h"
#include "app/CompareTab.h"
#include "app/ElidedLabel.h"
#include "app/LibraryPictures.h"
#include "app/OverviewTab.h"
#include "app/ProblemsTab.h"
#include "app/Theme.h"

#include <utility>

#include <QtWidgets/qabstractitemview.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qtabbar.h>
#include <QtWidgets/qtabwidget.h>
#include <QtWidgets/qtreeview.h>

namespace vantorel {

ResultsView::ResultsView(AppModel& app, QWidget* parent)
    : ModelView(app, parent)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(theme::margin, 16, theme::margin, theme::margin);
    layout->setSpacing(8);
    auto* head = new QHBoxLayout;
    head->setSpacing(8);
    auto* back = new QPushButton;
    back->setIcon(theme::symbolIcon("chevron.left", palette()));
    back->setAccessibleName("Back to Libraries");
    back->setToolTip("Back to Libraries");
    connect(back, &QPushButton::clicked, this, [this] { app_.showSources(); });
    back->setFixedWidth(back->sizeHint().height() + 8);
    head->addWidget(back);
    auto* names = new QVBoxLayout;
    names->setSpacing(0);
    name_ = new ElidedLabel("", ElidedLabel::Kind::name);
    format_ = theme::text("", theme::TextStyle::quiet);
    format_->setWordWrap(false);
    names->addWidget(name_);
    names->addWidget(format_);
    head->addLayout(names, 1);
    auto* again = new QPushButton("Scan Again");
    connect(again, &QPushButton::clicked, this, [this] {
        if (const auto library = app_.scannedLibrary()) {
            app_.scan(*library);
        }
    });
    export_ = new QPushButton("Export…");
    theme::makePrimary(export_);
    connect(export_, &QPushButton::clicked, this, [this] { app_.openExport(); });
    head->addWidget(again);
    head->addWidget(export_);
    layout->addLayout(head);

    warning_ = new WarningLine("");
    layout->addWidget(warning_);

    tabs_ = new QTabWidget;
    tabs_->tabBar()->setDrawBase(false); // the style sheet has a line beneath
    tabs_->setAccessibleName("Results");
    tabs_->addTab(new OverviewTab(app), "Overview");
    auto* pictures = makeLibraryPictures(app, this);
    tabs_->addTab(new AlbumsTab(app, *pictures), "Albums");
    tabs_->addTab(new ProblemsTab(app, *pictures), "Missing or Limited");
    tabs_->addTab(new CompareTab(app), "Compare");
    connect(tabs_, &QTabWidget::currentChanged, this,
        [this](int index) { app_.setTab(static_cast<ResultTab>(index)); });
    layout->addWidget(tabs_, 1);

    watch(app_.scanned, app_.scannedLibrary, app_.tab, app_.isExporting);
}

void ResultsView::showEvent(QShowEvent* event)
{
    ModelView::showEvent(event);
    tabs_->tabBar()->setFocus();
}

/// Whoever comes by a shortcut or a click wants the list that is there; the arrow keys among the tabs stay
/// there.
void ResultsView::focusTab()
{
    for (auto* view : tabs_->currentWidget()->findChildren<QAbstractItemView*>()) {
        // A tree in which nothing is chosen would choose its first row.
        const bool stays = view->currentIndex().isValid() || !qobject_cast<QTreeView*>(view);
        if (view->isVisible() && stays) {
            view->setFocus();
            return;
        }
    }
    tabs_->tabBar()->setFocus();
}

void ResultsView::refresh()
{
    const int index = static_cast<int>(app_.tab());
    const bool isByShortcut = tabs_->currentIndex() != index;
    tabs_->setCurrentIndex(index);
    const bool isOther = std::exchange(shownTab_, app_.tab()) != app_.tab();
    if (isOther && (isByShortcut || !tabs_->tabBar()->hasFocus())) {
        focusTab();
    }
    export_->setText(app_.isExporting() ? "Show Export…" : "Export…");
    const auto scanned = app_.scanned();
    if (!scanned) {
        return;
    }
    const auto& snapshot = scanned->result->snapshot;
    name_->setText(displayed(snapshot.name));
    format_->setText("Library format: " + shown(snapshot.schema.photosVersionText));
    warning_->setTextOrHide(incompleteScanWarning(*scanned->result));
}

} // namespace vantorel
