#include "app/ProblemsTab.h"

#include "app/ItemTable.h"
#include "app/Theme.h"
#include "base/Text.h"

#include <QtGui/qclipboard.h>
#include <QtGui/qguiapplication.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qcombobox.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qstackedwidget.h>

namespace vantorel {

using theme::TextStyle;

namespace {

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

ProblemsTab::ProblemsTab(AppModel& app, QWidget* parent)
    : ModelView(app, parent)
{
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 12, 0, 0);
    stack_ = new QStackedWidget;
    outer->addWidget(stack_);
    stack_->addWidget(nothingMissing());
    auto* list = new QWidget;
    auto* layout = new QVBoxLayout(list);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* line = new QHBoxLayout;
    filter_ = new QComboBox;
    filter_->setAccessibleName("What is listed");
    filter_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    auto* copy = new QPushButton("Copy List");
    connect(copy, &QPushButton::clicked, this,
        [this] { QGuiApplication::clipboard()->setText(items_->items().asText()); });
    line->addWidget(filter_);
    line->addStretch();
    line->addWidget(copy);
    layout->addLayout(line);
    items_ = new ItemTable;
    layout->addWidget(items_, 1);
    stack_->addWidget(list);
    connect(filter_, &QComboBox::activated, this, [this](int index) {
        const int kind = filter_->itemData(index).toInt();
        app_.showLimited(kind < 0 ? std::nullopt : std::optional(static_cast<OriginalClass>(kind)));
    });
    watch(app_.scanned, app_.limitedFilter);
}

void ProblemsTab::fillFilter()
{
    std::array<std::int64_t, originalClassCount> counts{};
    for (const auto pk : shown_->overview.limitedAssets) {
        ++counts[static_cast<std::size_t>(originalClass(entryOf(*shown_->result, pk)))];
    }
    filter_->clear();
    filter_->addItem(
        "All (" + shown(grouped(static_cast<std::int64_t>(shown_->overview.limitedAssets.size()))) + ")", -1);
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (counts[i] > 0) {
            const auto name = i == 0 ? QString("paired file missing") : shown(originalClassNames[i].second);
            filter_->addItem(name + " (" + shown(grouped(counts[i])) + ")", static_cast<int>(i));
        }
    }
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
    filter_->setCurrentIndex(std::max(0, filter_->findData(filter ? static_cast<int>(*filter) : -1)));
    ItemTableModel::Rows rows;
    for (const auto pk : shown_->overview.limitedAssets) {
        if (!filter || originalClass(entryOf(*shown_->result, pk)) == *filter) {
            rows.push_back(shown_->positions.at(pk));
        }
    }
    items_->show(shown_, std::move(rows));
}

} // namespace vantorel
