#include "app/ProblemsTab.h"

#include "app/Charts.h"
#include "app/ItemBrowser.h"
#include "app/Layouts.h"
#include "app/Theme.h"
#include "base/Text.h"

#include <QtGui/qclipboard.h>
#include <QtGui/qguiapplication.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qbuttongroup.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qstackedwidget.h>

namespace vantorel {

using theme::TextStyle;

namespace {

constexpr int allKinds = static_cast<int>(originalClassCount);

QWidget* nothingMissing()
{
    auto* widget = new QWidget;
    auto* layout = new QVBoxLayout(widget);
    auto* symbol = new QLabel;
    symbol->setPixmap(theme::symbol("checkmark.circle", 64,
        theme::colour(theme::Meaning::good, widget->palette()), widget->devicePixelRatioF()));
    symbol->setAlignment(Qt::AlignHCenter);
    auto* heading = theme::text("Every original is here", TextStyle::heading);
    heading->setAlignment(Qt::AlignHCenter);
    auto* text =
        theme::text("Each item in this library has its original file in this copy.", TextStyle::quiet);
    text->setAlignment(Qt::AlignHCenter);
    layout->addStretch();
    layout->addWidget(symbol);
    layout->addWidget(heading);
    layout->addWidget(text);
    layout->addStretch(2);
    return widget;
}

} // namespace

ProblemsTab::ProblemsTab(AppModel& app, PictureService& pictures, QWidget* parent)
    : ModelView(app, parent)
{
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 12, 0, 0);
    stack_ = new QStackedWidget;
    outer->addWidget(stack_);
    stack_->addWidget(nothingMissing());
    items_ = new ItemBrowser(app, pictures, ItemBrowser::Place::limited);
    auto* chips = new QWidget;
    chips_ = new FlowLayout(6, 6);
    chips->setLayout(chips_);
    filter_ = new QButtonGroup(this);
    auto* copy = new QPushButton("Copy List");
    connect(copy, &QPushButton::clicked, this, [this] {
        auto& items = items_->items();
        items.withText(
            items.rows(), [](const QString& text) { QGuiApplication::clipboard()->setText(text); });
    });
    items_->head().addWidget(chips, 1);
    items_->head().addWidget(copy, 0, Qt::AlignTop);
    stack_->addWidget(items_);
    // Not when it is clicked: a screen reader toggles it.
    connect(filter_, &QButtonGroup::idToggled, this, [this](int kind, bool isChosen) {
        if (isChosen) {
            app_.showLimited(
                kind == allKinds ? std::nullopt : std::optional(static_cast<OriginalClass>(kind)));
        }
    });
    watch(app_.scanned, app_.limitedFilter);
}

void ProblemsTab::fillFilter()
{
    std::array<std::int64_t, originalClassCount> counts{};
    for (const auto pk : shown_->overview.limitedAssets) {
        ++counts[static_cast<std::size_t>(originalClass(entryOf(*shown_->result, pk)))];
    }
    clearLayout(*chips_);
    for (auto* chip : filter_->buttons()) {
        filter_->removeButton(chip);
    }
    addChip(allKinds, "all", static_cast<std::int64_t>(shown_->overview.limitedAssets.size()));
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (counts[i] > 0) {
            const auto name = i == 0 ? QString("paired file missing") : shown(originalClassNames[i].second);
            addChip(static_cast<int>(i), name, counts[i]);
        }
    }
}

void ProblemsTab::addChip(int kind, const QString& name, std::int64_t count)
{
    auto* chip = new QPushButton(shown(grouped(count)) + " " + name);
    chip->setCheckable(true);
    chip->setAutoDefault(false);
    chip->setObjectName("chip");
    chip->setStyleSheet(
        "QPushButton#chip { border: 1px solid palette(mid); border-radius: 11px; padding: 3px 10px; }"
        "QPushButton#chip:checked { background: palette(highlight); color: palette(highlighted-text);"
        " border-color: palette(highlight); }"
        "QPushButton#chip:focus { border-color: palette(window-text); }");
    filter_->addButton(chip, kind);
    chips_->addWidget(chip);
}

void ProblemsTab::refresh()
{
    const auto scanned = app_.scanned();
    if (!scanned) {
        return;
    }
    if (shown_ != scanned) {
        shown_ = scanned;
        stack_->setCurrentIndex(scanned->overview.limitedAssets.empty() ? 0 : 1);
        fillFilter();
    }
    showItems();
}

void ProblemsTab::showItems()
{
    const auto filter = app_.limitedFilter();
    if (auto* chip = filter_->button(filter ? static_cast<int>(*filter) : allKinds)) {
        const QSignalBlocker silent(filter_);
        chip->setChecked(true);
    }
    ItemTableModel::Rows rows;
    for (const auto pk : shown_->overview.limitedAssets) {
        if (!filter || originalClass(entryOf(*shown_->result, pk)) == *filter) {
            rows.push_back(shown_->positions.at(pk));
        }
    }
    items_->show(shown_, std::move(rows));
}

} // namespace vantorel
