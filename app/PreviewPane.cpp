#include "app/PreviewPane.h"

#include "app/Charts.h"
#include "app/ElidedLabel.h"
#include "app/ItemPainting.h"
#include "app/ItemTable.h"
#include "app/ModelView.h"
#include "app/ScrollFocus.h"
#include "app/SymbolLabel.h"
#include "app/Theme.h"
#include "base/Text.h"

#include <algorithm>
#include <cmath>

#include <QtGui/qevent.h>
#include <QtGui/qpainter.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qlabel.h>

namespace vantorel {

using theme::TextStyle;

namespace {

constexpr int mostPictureHeight = 300;

/// "Live Photo · 3.4 MB"
QString kindText(const Asset& asset, const OriginalEntry& entry)
{
    QStringList parts;
    switch (asset.kind) {
    case Asset::Kind::photo:
        parts << (asset.isLivePhoto ? "Live Photo" : "Photo");
        break;
    case Asset::Kind::video:
        parts << "Video";
        break;
    case Asset::Kind::other:
        break;
    }
    if (asset.hasEdits) {
        parts << "edited";
    }
    if (asset.isFavorite) {
        parts << "favourite";
    }
    if (asset.isHidden) {
        parts << "hidden";
    }
    if (asset.isTrashed) {
        parts << "in Recently Deleted";
    }
    if (entry.file) {
        parts << shown(byteSize(entry.file->size));
    }
    return parts.join(" · ");
}

QString list(const std::vector<std::string>& names) { return displayed(joined(names, ", ")); }

} // namespace

PreviewPicture::PreviewPicture(PictureService& pictures, QWidget* parent)
    : QWidget(parent)
    , pictures_(&pictures)
{
    connect(&pictures, &PictureService::pictureCame, this, [this](std::size_t asset) {
        if (library_ && asset == asset_) {
            update();
        }
    });
}

PreviewPicture::~PreviewPicture()
{
    if (pictures_) {
        pictures_->want(this, {});
    }
}

void PreviewPicture::show(
    std::shared_ptr<const ScannedLibrary> library, std::size_t asset, const std::vector<std::size_t>& next)
{
    library_ = std::move(library);
    asset_ = asset;
    next_ = next;
    setAccessibleName("Picture of " + displayed(shownName(library_->result->snapshot.assets[asset_])));
    want();
    update();
}

void PreviewPicture::clear()
{
    library_.reset();
    want();
    update();
}

int PreviewPicture::heightForWidth(int width) const { return std::min(width, mostPictureHeight); }

QSize PreviewPicture::sizeHint() const { return {240, 240}; }

/// In steps: a window that is dragged larger does not have its picture decoded at every pixel.
int PreviewPicture::side() const
{
    constexpr int step = 256;
    const int pixels = static_cast<int>(std::ceil(std::max(width(), height()) * devicePixelRatioF()));
    return std::max(1, (pixels + step - 1) / step) * step;
}

void PreviewPicture::want()
{
    if (!library_ || !isVisible()) {
        pictures_->want(this, {});
        return;
    }
    std::vector<PictureService::Wanted> soon;
    for (const auto asset : next_) {
        soon.push_back({.asset = asset, .side = side()});
    }
    pictures_->want(this, {{.asset = asset_, .side = side()}}, std::move(soon));
}

void PreviewPicture::paintEvent(QPaintEvent*)
{
    if (!library_) {
        return;
    }
    QPainter painter(this);
    const auto& asset = library_->result->snapshot.assets[asset_];
    const ItemPainting painting{.painter = painter, .palette = palette(), .ratio = devicePixelRatioF()};
    painting.whole(rect(), pictures_->picture(asset_, side()), asset, entryOf(*library_->result, asset.pk));
}

void PreviewPicture::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    want();
}

void PreviewPicture::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    want();
}

void PreviewPicture::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    want();
}

PreviewPane::PreviewPane(PictureService& pictures, QWidget* parent)
    : QScrollArea(parent)
{
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setMinimumWidth(fontMetrics().averageCharWidth() * 28);
    ScrollFocus::addTo(*this, "Preview");
    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(12, 0, 6, 0);
    layout->setSpacing(8);
    setWidget(content);
    hint_ = theme::text("Select a photo or video to see more of it.", TextStyle::quiet);
    hint_->setAlignment(Qt::AlignHCenter);
    hint_->setContentsMargins(0, 48, 0, 0);
    layout->addWidget(hint_);
    picture_ = new PreviewPicture(pictures);
    auto policy = QSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    policy.setHeightForWidth(true);
    picture_->setSizePolicy(policy);
    layout->addWidget(picture_);
    facts_ = new QWidget;
    auto* facts = new QVBoxLayout(facts_);
    facts->setContentsMargins(0, 0, 0, 0);
    facts->setSpacing(8);
    const auto add = [&](TextStyle style) {
        auto* label = theme::text("", style);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        label->setMinimumWidth(1); // a long name without a space does not widen the pane
        return label;
    };
    name_ = new ElidedLabel("", ElidedLabel::Kind::name);
    date_ = add(TextStyle::body);
    kind_ = add(TextStyle::quiet);
    facts->addWidget(name_);
    facts->addWidget(date_);
    facts->addWidget(kind_);
    auto* state = new QHBoxLayout;
    state->setSpacing(6);
    symbol_ = new SymbolLabel("", fontMetrics().height() + 2);
    status_ = add(TextStyle::body);
    state->addWidget(symbol_, 0, Qt::AlignTop);
    state->addWidget(status_, 1);
    facts->addLayout(state);
    title_ = addField(*facts, "Title");
    caption_ = addField(*facts, "Caption");
    keywords_ = addField(*facts, "Keywords");
    people_ = addField(*facts, "People");
    layout->addWidget(facts_);
    layout->addStretch();
    clear();
}

PreviewPane::Field PreviewPane::addField(QVBoxLayout& layout, const QString& title)
{
    auto* whole = new QWidget;
    auto* inner = new QVBoxLayout(whole);
    inner->setContentsMargins(0, 0, 0, 0);
    inner->setSpacing(0);
    auto* heading = theme::text(title, TextStyle::quiet);
    auto* value = theme::text("", TextStyle::body);
    value->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    value->setAccessibleName(title);
    inner->addWidget(heading);
    inner->addWidget(value);
    layout.addWidget(whole);
    return {.whole = whole, .value = value};
}

void PreviewPane::fill(const Field& field, const QString& value)
{
    field.whole->setVisible(!value.isEmpty());
    field.value->setText(value);
    field.value->setAccessibleDescription(value);
    field.value->setToolTip(plainToolTip(value)); // an address without a space may not fit
}

void PreviewPane::show(const std::shared_ptr<const ScannedLibrary>& library, std::size_t asset)
{
    const auto& item = library->result->snapshot.assets[asset];
    const auto& entry = entryOf(*library->result, item.pk);
    picture_->show(library, asset);
    name_->setText(displayed(shownName(item)));
    const auto date = itemDateText(item);
    date_->setText(date.isEmpty() ? "No date" : date);
    kind_->setText(kindText(item, entry));
    const auto state = markedClass(entry);
    symbol_->show(symbolOf(state), meaningOf(state), "");
    status_->setText(shown(statusText(entry)));
    fill(title_, item.title ? displayed(*item.title) : QString());
    fill(caption_, item.caption ? displayedText(*item.caption) : QString());
    fill(keywords_, list(item.keywords));
    fill(people_, list(item.people));
    hint_->hide();
    picture_->setVisible(true);
    facts_->show();
}

void PreviewPane::clear()
{
    picture_->clear();
    picture_->hide();
    facts_->hide();
    hint_->show();
}

} // namespace vantorel
