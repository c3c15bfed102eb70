#include "app/ItemPainting.h"

#include "app/Charts.h"
#include "app/Theme.h"

#include <algorithm>

#include <QtGui/qpainter.h>
#include <QtGui/qpainterpath.h>

namespace vantorel {

namespace {

using State = PictureService::State;

constexpr qreal corner = 8;
constexpr qreal anySize = 1e6;   ///< The picture in the right size will fill the same place.
constexpr int leastForWord = 80; ///< A smaller placeholder has its symbol alone.

QColor faint(const QPalette& palette, float alpha)
{
    auto colour = palette.color(QPalette::Text);
    colour.setAlphaF(alpha);
    return colour;
}

/// In the middle of the area, no pixel of the image larger than so many of the screen.
QRect placed(const QRect& area, const QImage& image, qreal ratio, qreal mostEnlarged)
{
    const QSizeF pixels = QSizeF(image.size()) / ratio;
    const QSizeF filling = pixels.scaled(area.size(), Qt::KeepAspectRatio);
    const bool isFilling = filling.width() <= pixels.width() * mostEnlarged;
    const QSize whole = (isFilling ? filling : pixels * mostEnlarged).toSize().expandedTo({1, 1});
    return {area.x() + (area.width() - whole.width()) / 2, area.y() + (area.height() - whole.height()) / 2,
        whole.width(), whole.height()};
}

} // namespace

OriginalClass markedClass(const OriginalEntry& entry)
{
    const auto state = originalClass(entry);
    return state == OriginalClass::present && entry.partnerMissing ? OriginalClass::differs : state;
}

QIcon markIcon(const QString& name, const QColor& colour, const QPalette& palette)
{
    constexpr int size = 16;
    QIcon icon;
    for (const qreal pixels : {1.0, 2.0}) {
        icon.addPixmap(theme::symbol(name, size, colour, pixels));
        icon.addPixmap(
            theme::symbol(name, size, palette.color(QPalette::HighlightedText), pixels), QIcon::Selected);
    }
    return icon;
}

QString placeholderWord(const Asset& asset, const OriginalEntry& entry)
{
    switch (originalClass(entry)) {
    case OriginalClass::missing:
        return "Missing";
    case OriginalClass::onlyInCloud:
        return asset.isSharedAlbumItem ? "Shared album" : "In iCloud";
    case OriginalClass::notChecked:
        return "Not checked";
    case OriginalClass::present:
    case OriginalClass::differs:
    case OriginalClass::smallerCopy:
    case OriginalClass::elsewhere:
        return asset.kind == Asset::Kind::video ? "Video" : "No preview";
    }
    std::unreachable();
}

void ItemPainting::tile(const QRect& area, const PictureService::Picture& picture, const Asset& asset,
    const OriginalEntry& entry) const
{
    QRect target = area;
    if (picture.image.isNull()) {
        placeholder(area, asset, picture.state == State::none ? placeholderWord(asset, entry) : QString());
    } else {
        // As large as on a screen of ordinary density, also where nothing finer is there.
        const qreal most = picture.state == State::waiting ? anySize : std::max<qreal>(1, ratio);
        target = placed(area, picture.image, ratio, most);
        rounded(target, picture.image, picture.image.rect(), corner);
        if (asset.kind == Asset::Kind::video) {
            mark({target.left() + 5, target.bottom() - 24, 20, 20}, "film", palette.color(QPalette::Text));
        }
    }
    if (const auto state = markedClass(entry); state != OriginalClass::present) {
        mark({target.right() - 24, target.bottom() - 24, 20, 20}, symbolOf(state),
            theme::colour(meaningOf(state), palette));
    }
}

void ItemPainting::small(const QRect& area, const PictureService::Picture& picture, const Asset& asset) const
{
    if (picture.image.isNull()) {
        placeholder(area, asset, "");
        return;
    }
    const QSize size = picture.image.size();
    const int side = std::min(size.width(), size.height());
    rounded(area, picture.image,
        QRectF((size.width() - side) / 2.0, (size.height() - side) / 2.0, side, side), 3);
}

QRect ItemPainting::whole(const QRect& area, const PictureService::Picture& picture, const Asset& asset,
    const OriginalEntry& entry) const
{
    if (picture.image.isNull()) {
        QRect box(0, 0, std::min(area.width(), area.height() * 4 / 3), 0);
        box.setHeight(box.width() * 3 / 4);
        box.moveCenter(area.center());
        placeholder(box, asset, picture.state == State::none ? placeholderWord(asset, entry) : QString());
        return box;
    }
    const QRect target = placed(area, picture.image, ratio, picture.state == State::waiting ? anySize : 2.5);
    rounded(target, picture.image, picture.image.rect(), corner);
    return target;
}

void ItemPainting::placeholder(const QRect& area, const Asset& asset, const QString& word) const
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(faint(palette, 0.07F));
    const qreal radius = area.height() < leastForWord ? 3 : corner;
    painter.drawRoundedRect(area, radius, radius);
    const bool hasWord = area.height() >= leastForWord;
    const int lineHeight = hasWord ? painter.fontMetrics().height() + 6 : 0;
    const int size = std::clamp(area.height() * (hasWord ? 2 : 3) / (hasWord ? 7 : 5), 12, 48);
    const QRect place(area.center().x() - size / 2, area.center().y() - (size + lineHeight) / 2, size, size);
    auto quiet = faint(palette, 1);
    painter.setOpacity(0.45);
    painter.drawPixmap(place.topLeft(),
        theme::symbol(asset.kind == Asset::Kind::video ? "film" : "photo", size, quiet, ratio));
    painter.setOpacity(0.8);
    if (hasWord && !word.isEmpty()) {
        painter.setPen(quiet);
        const QRect line(area.x() + 6, place.bottom() + 4, area.width() - 12, lineHeight);
        painter.drawText(line, static_cast<int>(Qt::AlignHCenter | Qt::AlignVCenter),
            painter.fontMetrics().elidedText(word, Qt::ElideRight, line.width()));
    }
    painter.restore();
}

void ItemPainting::rounded(const QRect& target, const QImage& image, const QRectF& source, qreal radius) const
{
    painter.save();
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    QTransform place;
    place.translate(target.x(), target.y());
    place.scale(target.width() / source.width(), target.height() / source.height());
    place.translate(-source.x(), -source.y());
    QBrush brush(image);
    brush.setTransform(place);
    painter.setPen(Qt::NoPen);
    painter.setBrush(brush);
    const qreal fitting = std::min<qreal>(radius, std::min(target.width(), target.height()) / 4.0);
    painter.drawRoundedRect(target, fitting, fitting);
    painter.restore();
}

void ItemPainting::mark(const QRect& place, const QString& symbol, const QColor& colour) const
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    auto ground = palette.color(QPalette::Base);
    ground.setAlphaF(0.92F);
    painter.setPen(Qt::NoPen);
    painter.setBrush(ground);
    painter.drawEllipse(place);
    const int inner = place.width() - 6;
    painter.drawPixmap(place.topLeft() + QPoint(3, 3), theme::symbol(symbol, inner, colour, ratio));
    painter.restore();
}

} // namespace vantorel
