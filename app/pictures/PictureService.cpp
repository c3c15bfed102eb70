#include "app/pictures/PictureService.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include <QtGui/qimagereader.h>

namespace vantorel {

namespace {

/// One unreadable file is a bad spot; so many, one after the other, are a disk that is gone.
constexpr int mostErrorsInARow = 8;

int threadsOf(PictureService::Pace pace)
{
    switch (pace) {
    case PictureService::Pace::full:
        return 2;
    case PictureService::Pace::gentle:
        return 1;
    case PictureService::Pace::paused:
        return 0;
    }
    std::unreachable();
}

} // namespace

PictureService::PictureService(
    PictureReader read, BackgroundStart start, QObject* parent, std::size_t mostBytes)
    : QObject(parent)
    , mailbox_(std::make_shared<Mailbox>(this))
    , work_(std::make_shared<PictureWork>(read, std::move(start)))
    , cache_(mostBytes)
    , isOn_(read != nullptr)
{
    QImageReader::setAllocationLimit(256); // MB: 64 megapixels of four bytes
    const std::weak_ptr box(mailbox_);
    work_->setReports({
        .result =
            [this, box](const PictureWork::Result& result) {
                if (const auto open = box.lock()) {
                    open->post([this, result] { apply(result); });
                }
            },
        .silence =
            [this, box](bool isSilent) {
                if (const auto open = box.lock()) {
                    open->post([this, isSilent] {
                        silent_ += isSilent ? 1 : -1;
                        if (disk_ == Disk::answers || disk_ == Disk::isSlow) {
                            setDisk(silent_ > 0 ? Disk::isSlow : Disk::answers);
                        }
                    });
                }
            },
    });
}

PictureService::~PictureService()
{
    mailbox_->close();
    work_->setJobs({}, {});
}

void PictureService::setLibrary(std::shared_ptr<const ScannedLibrary> library)
{
    ++generation_;
    assets_ = library ? library->result->snapshot.assets.size() : 0;
    work_->setLibrary(std::move(library), generation_);
    cache_.clear();
    troubles_.clear();
    wishes_.clear();
    errorsInARow_ = 0;
    setDisk(silent_ > 0 ? Disk::isSlow : Disk::answers);
}

void PictureService::setPace(Pace pace)
{
    if (pace != pace_) {
        pace_ = pace;
        work_->setThreads(threadsOf(pace));
        pass();
    }
}

void PictureService::want(const QObject* view, std::vector<Wanted> shown, std::vector<Wanted> soon)
{
    if (shown.empty() && soon.empty()) {
        wishes_.erase(view);
    } else {
        wishes_.insert_or_assign(
            view, Wish{.shown = std::move(shown), .soon = std::move(soon), .number = ++wishNumber_});
    }
    pass();
}

void PictureService::pass()
{
    std::vector<const Wish*> wishes;
    std::unordered_set<std::uint64_t> pinned;
    for (const auto& [view, wish] : wishes_) {
        wishes.push_back(&wish);
        for (const auto& wanted : wish.shown) {
            pinned.insert(PictureCache::keyOf(wanted.asset, wanted.side));
        }
    }
    cache_.pin(std::move(pinned));
    std::ranges::sort(wishes, std::greater(), &Wish::number);

    std::vector<Wanted> wanted;
    for (const auto* wish : wishes) {
        wanted.insert(wanted.end(), wish->shown.begin(), wish->shown.end());
    }
    if (pace_ == Pace::full) {
        for (const auto* wish : wishes) {
            wanted.insert(wanted.end(), wish->soon.begin(), wish->soon.end());
        }
    }
    std::deque<Wanted> jobs;
    if (isOn_ && disk_ != Disk::silent && disk_ != Disk::gone) {
        std::unordered_set<std::uint64_t> listed;
        for (const auto& item : wanted) {
            // A view may still show the items of the library before.
            if (item.asset < assets_ && listed.insert(PictureCache::keyOf(item.asset, item.side)).second
                && !troubles_.contains(item.asset) && !cache_.contains(item.asset, item.side)
                && !work_->isUnderWay(item)) {
                jobs.push_back(item);
            }
        }
    }
    work_->setJobs(std::move(jobs), wanted);
}

PictureService::Picture PictureService::picture(std::size_t asset, int side)
{
    if (const auto* image = cache_.find(asset, side)) {
        return {.state = State::here, .image = *image};
    }
    const bool isOver = !isOn_ || troubles_.contains(asset);
    if (const auto* image = cache_.nearest(asset, side)) {
        return {.state = isOver ? State::here : State::waiting, .image = *image};
    }
    return {.state = isOver ? State::none : State::waiting};
}

void PictureService::apply(const PictureWork::Result& result)
{
    if (result.generation != generation_) {
        return;
    }
    work_->taken(result);
    const auto asset = result.job.asset;
    if (result.picture) {
        errorsInARow_ = 0;
        cache_.insert({.asset = asset, .side = result.job.side, .image = *result.picture});
        Q_EMIT pictureCame(asset);
        return;
    }
    switch (result.picture.error()) {
    case PictureTrouble::cancelled:
        pass(); // it may be wanted again meanwhile
        return;
    case PictureTrouble::silent:
        setDisk(Disk::silent);
        return;
    case PictureTrouble::diskGone:
        setDisk(Disk::gone);
        return;
    case PictureTrouble::readError:
        if (++errorsInARow_ >= mostErrorsInARow) {
            setDisk(Disk::gone);
        }
        break;
    case PictureTrouble::noFile:
    case PictureTrouble::refused:
    case PictureTrouble::notAPicture:
    case PictureTrouble::tooLarge:
        errorsInARow_ = 0;
        break;
    }
    troubles_.insert_or_assign(asset, result.picture.error());
    Q_EMIT pictureCame(asset);
}

void PictureService::setDisk(Disk disk)
{
    if (disk == disk_) {
        return;
    }
    disk_ = disk;
    if (disk_ == Disk::silent || disk_ == Disk::gone) {
        work_->setJobs({}, {});
    }
    Q_EMIT diskChanged();
}

std::string_view PictureService::diskText() const
{
    switch (disk_) {
    case Disk::answers:
        return "";
    case Disk::isSlow:
        return "Waiting for the disk to answer. This can take a moment.";
    case Disk::silent:
        return "The disk is not answering, so no more pictures are shown from it for now. This does not mean "
               "anything is damaged.";
    case Disk::gone:
        return "The library's disk cannot be read at the moment, so no more pictures are shown. Check that "
               "it "
               "is connected.";
    }
    std::unreachable();
}

void PictureService::tryAgain()
{
    std::erase_if(troubles_, [](const auto& entry) { return entry.second == PictureTrouble::readError; });
    errorsInARow_ = 0;
    setDisk(Disk::answers);
    pass();
}

} // namespace vantorel
