#include "export/RunBox.h"

#include <algorithm>
#include <utility>

namespace vantorel {

RunBox::RunBox(std::int64_t itemsTotal, std::int64_t bytesTotal)
{
    progress_.itemsTotal = itemsTotal;
    progress_.bytesTotal = bytesTotal;
    changes_.push_back(progress_);
}

void RunBox::begin(std::size_t item, const std::string& name)
{
    const std::lock_guard hold(lock_);
    addUnderWay(item, -bytesUnderWay_[item]);
    progress_.currentName = name;
    note();
}

void RunBox::name(const std::string& name)
{
    const std::lock_guard hold(lock_);
    progress_.currentName = name;
    note();
}

void RunBox::chunk(std::size_t item, std::int64_t bytes)
{
    const std::lock_guard hold(lock_);
    addUnderWay(item, bytes);
    note();
}

void RunBox::end(std::size_t item, std::int64_t bytes, End end)
{
    const std::lock_guard hold(lock_);
    addUnderWay(item, -bytesUnderWay_[item]);
    bytesUnderWay_.erase(item);
    bytesOfEnded_ = sumOfSizes(bytesOfEnded_, bytes);
    ++progress_.itemsDone;
    progress_.skipped += end == End::skipped ? 1 : 0;
    progress_.resumedItems += end == End::resumed ? 1 : 0;
    note();
}

void RunBox::setWaiting(bool waiting)
{
    const std::lock_guard hold(lock_);
    waits_ = std::max(0, waits_ + (waiting ? 1 : -1));
    if (progress_.waitingForDisk != (waits_ > 0)) {
        progress_.waitingForDisk = waits_ > 0;
        note();
    }
}

std::vector<ExportProgress> RunBox::takeChanges()
{
    const std::lock_guard hold(lock_);
    return std::exchange(changes_, {});
}

void RunBox::observe(const std::function<void()>& observer)
{
    const std::lock_guard hold(observing_);
    if (!ended_) {
        observer();
    }
}

void RunBox::endObserving()
{
    const std::lock_guard hold(observing_);
    ended_ = true;
}

void RunBox::addUnderWay(std::size_t item, std::int64_t bytes)
{
    bytesUnderWay_[item] += bytes;
    sumUnderWay_ += bytes;
}

void RunBox::note()
{
    const std::int64_t bytes = sumOfSizes(bytesOfEnded_, sumUnderWay_);
    // A file that has grown since the scan must not fill the bar beyond its end.
    progress_.bytesDone = std::min(bytes, progress_.bytesTotal);
    changes_.push_back(progress_);
}

} // namespace vantorel
