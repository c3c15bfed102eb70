#include "app/VisiblePictures.h"

#include "app/ItemTable.h"

#include <algorithm>
#include <cmath>
#include <ranges>

#include <QtCore/qcoreevent.h>
#include <QtWidgets/qabstractitemview.h>
#include <QtWidgets/qscrollbar.h>

namespace vantorel {

VisiblePictures::VisiblePictures(
    QAbstractItemView& view, ItemTableModel& items, PictureService& pictures, std::function<int()> side)
    : view_(view)
    , items_(items)
    , pictures_(&pictures)
    , side_(std::move(side))
{
    // Once for all that happens in one turn of the event loop.
    soon_.setSingleShot(true);
    soon_.setInterval(0);
    connect(&soon_, &QTimer::timeout, this, [this] { look(); });
    view_.viewport()->installEventFilter(this);
    connect(view_.verticalScrollBar(), &QScrollBar::valueChanged, this, [this] { lookSoon(); });
    connect(view_.verticalScrollBar(), &QScrollBar::rangeChanged, this, [this] { lookSoon(); });
    connect(&items_, &QAbstractItemModel::modelReset, this, [this] { lookSoon(); });
    connect(&items_, &QAbstractItemModel::layoutChanged, this, [this] { lookSoon(); });
    connect(&pictures, &PictureService::pictureCame, this, [this](std::size_t asset) { paint(asset); });
    connect(&pictures, &PictureService::diskChanged, &view_, [this] { view_.viewport()->update(); });
}

VisiblePictures::~VisiblePictures()
{
    if (pictures_) {
        pictures_->want(this, {});
    }
}

bool VisiblePictures::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::Resize:
    case QEvent::Show:
    case QEvent::Hide:
        lookSoon();
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void VisiblePictures::lookSoon() { soon_.start(); }

VisiblePictures::Range VisiblePictures::shown() const
{
    const auto* viewport = view_.viewport();
    if (!viewport->isVisible() || items_.rowCount() == 0) {
        return {};
    }
    // Rows stand from top to bottom, several of them side by side in a grid.
    const auto rows = std::views::iota(0, items_.rowCount());
    const auto rect = [&](int row) { return view_.visualRect(items_.index(row, ItemTableModel::picture)); };
    const auto first = std::ranges::partition_point(rows, [&](int row) { return rect(row).bottom() < 0; });
    const auto end =
        std::ranges::partition_point(rows, [&](int row) { return rect(row).top() < viewport->height(); });
    return {.first = static_cast<int>(first - rows.begin()), .end = static_cast<int>(end - rows.begin())};
}

void VisiblePictures::look()
{
    if (!pictures_) {
        return;
    }
    const auto range = shown();
    const int page = range.end - range.first;
    const int side = static_cast<int>(std::lround(side_() * view_.devicePixelRatioF()));
    std::vector<PictureService::Wanted> now;
    std::vector<PictureService::Wanted> soon;
    const auto add = [&](std::vector<PictureService::Wanted>& list, int from, int to) {
        for (int row = std::max(from, 0); row < std::min(to, items_.rowCount()); ++row) {
            list.push_back({.asset = items_.positionAt(row), .side = side});
        }
    };
    add(now, range.first, range.end);
    add(soon, range.end, range.end + page);
    add(soon, range.first - page / 2, range.first);
    pictures_->want(this, std::move(now), std::move(soon));
}

void VisiblePictures::paint(std::size_t asset)
{
    const auto range = shown();
    for (int row = range.first; row < range.end; ++row) {
        if (items_.positionAt(row) == asset) {
            view_.update(items_.index(row, ItemTableModel::picture));
            return;
        }
    }
}

} // namespace vantorel
