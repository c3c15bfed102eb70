#include "disk/WatchedSource.h"

#include "disk/ChunkBuffer.h"
#include "disk/DiskPatience.h"
#include "disk/Guarded.h"
#include "disk/OpenFile.h"
#include "disk/Thread.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <mutex>
#include <tuple>
#include <utility>

namespace vantorel {

using ChunkCopy::Failure;

namespace {

static_assert(ChunkBuffer::size == ChunkCopy::chunkBytes);

/// Where the cache cannot be bypassed it is emptied after this many bytes, so that a large file never fills
/// the memory. Rarely enough that what the system read ahead and drops as well does not count.
constexpr std::size_t dropCachedEvery = 64u << 20u;

} // namespace

/// One call to the source's disk.
struct WatchedSource::Step {
    enum class Kind { open, read, close };
    Kind kind = Kind::open;
    Read read{};
};

/// What the reader thread and its waiter share; the reader's once the waiter has given up.
struct WatchedSource::Reader {
    Reader(std::shared_ptr<const Clock> theClock, ChunkCopy::Place thePlace)
        : clock(std::move(theClock))
        , place(std::move(thePlace))
    {
    }

    const std::shared_ptr<const Clock> clock;
    const ChunkCopy::Place place;
    std::function<std::optional<int>(std::int64_t, std::size_t)> fault{};
    Signal want; ///< A step is to be made, or `ending`.
    Signal done; ///< The step was made.

    std::mutex lock; ///< Guards the two below; what follows them belongs to whose turn it is.
    Step step{};
    bool ending = false;

    ChunkBuffer buffer{};
    OpenFile file{};
    bool isUncached = false;
    std::size_t cached = 0; ///< Bytes read since the cache was emptied.
    FileStatus info{};
    std::size_t got = 0;
    int code = 0; ///< errno of the last step, 0 for none.

    std::span<std::byte> bytes() const { return buffer.bytes(); }

    void make(const Step& wanted)
    {
        got = 0;
        code = 0;
        switch (wanted.kind) {
        case Step::Kind::open:
            return open();
        case Step::Kind::read:
            return read(wanted.read);
        case Step::Kind::close:
            return close();
        }
        std::unreachable();
    }

private:
    const SystemCalls& calls() const { return *place.root->calls(); }

    void open()
    {
        auto opened = place.root->openFile(place.relative, readOnlyOpenFlags());
        if (!opened) {
            code = opened.error();
            return;
        }
        file = std::move(*opened);
        const auto status = calls().statusOf(file.get());
        if (!status) {
            code = status.error();
            return;
        }
        info = *status;
        isUncached = calls().setUncached(file.get()).has_value();
    }

    void read(const Read& wanted)
    {
        if (const auto injected = fault ? fault(wanted.offset, wanted.size) : std::nullopt) {
            code = *injected;
            return;
        }
        const auto result =
            calls().readAt(file.get(), bytes().subspan(wanted.within, wanted.size), wanted.offset);
        if (!result) {
            code = result.error();
            return;
        }
        got = std::min(*result, wanted.size);
        cached += got;
        if (cached >= dropCachedEvery) {
            dropCached();
        }
    }

    void close()
    {
        if (file.isOpen()) {
            dropCached();
            std::ignore = file.close(); // nothing was written to it
        }
    }

    void dropCached()
    {
        cached = 0;
        if (!isUncached) {
            std::ignore = calls().dropCached(file.get()); // the copy is as good without
        }
    }
};

WatchedSource::WatchedSource(std::shared_ptr<const Clock> clock, const ChunkCopy::Request& request)
    : clock_(std::move(clock))
    , watch_{.stallLimit = request.stallLimit,
          .cancel = request.cancel,
          .heartbeat = request.heartbeat,
          .onSilence = request.hooks.onSilence}
    , reader_(std::make_shared<Reader>(clock_, request.source))
    , isWatched_(request.watched)
{
    reader_->fault = request.hooks.readFault;
}

WatchedSource::~WatchedSource()
{
    watch_.onSilence = nullptr; // the copy has ended: nobody is told any more
    close();
}

std::expected<FileStatus, Failure> WatchedSource::open()
{
    if (isWatched_) {
        hasThread_ = runOnWorker([reader = reader_] { serve(reader); });
        if (!hasThread_) {
            return std::unexpected(Failure{.kind = Failure::Kind::read, .code = EAGAIN});
        }
    }
    if (const auto failure = perform({.kind = Step::Kind::open})) {
        return std::unexpected(*failure);
    }
    return reader_->info;
}

std::expected<std::size_t, Failure> WatchedSource::read(const Read& read)
{
    if (const auto failure = perform({.kind = Step::Kind::read, .read = read})) {
        return std::unexpected(*failure);
    }
    return reader_->got;
}

std::span<std::byte> WatchedSource::buffer() { return reader_->bytes(); }

void WatchedSource::close()
{
    if (isWatched_ && !hasThread_) {
        return; // it was never opened, is closed, or belongs to a reader that was given up
    }
    std::ignore = perform({.kind = Step::Kind::close}); // the bytes are read; how it ends changes nothing
    hasThread_ = false;
}

std::optional<Failure> WatchedSource::whyStop() const
{
    if (isCancelled(watch_.cancel)) {
        return Failure{.kind = Failure::Kind::cancelled};
    }
    if (watch_.heartbeat && watch_.heartbeat->gaveUp()) {
        return Failure{.kind = Failure::Kind::abandoned};
    }
    return std::nullopt;
}

std::optional<Failure> WatchedSource::perform(const Step& step)
{
    if (!isWatched_) {
        reader_->make(step);
    } else {
        {
            const std::scoped_lock held(reader_->lock);
            reader_->step = step;
        }
        reader_->want.release();
        std::optional<Failure> failure;
        try {
            failure = waitForReader();
        } catch (...) { // from the caller's notice
            giveReaderUp();
            throw;
        }
        if (failure) {
            giveReaderUp();
            return failure;
        }
    }
    if (watch_.heartbeat) {
        watch_.heartbeat->beat();
    }
    if (reader_->code != 0) {
        return Failure{.kind = Failure::Kind::read, .code = reader_->code};
    }
    return std::nullopt;
}

void WatchedSource::giveReaderUp()
{
    {
        const std::scoped_lock held(reader_->lock);
        reader_->ending = true;
    }
    reader_->want.release();
    hasThread_ = false;
    detail::noteAbandonedThread();
}

/// Like a guarded run, but silence is timed from the start of this one step, and the notice is shown once.
std::optional<Failure> WatchedSource::waitForReader()
{
    constexpr auto slice = std::chrono::duration_cast<std::chrono::nanoseconds>(DiskPatience::pollingSlice);
    const auto begin = clock_->uptime();
    bool isShown = false;
    std::optional<Failure> failure;
    while (!failure && !clock_->acquire(reader_->done, slice)) {
        const Seconds silence = clock_->uptime() - begin;
        if (watch_.heartbeat) {
            watch_.heartbeat->beat(); // whoever watches the whole copy sees the destination's silence alone
        }
        failure = silence > watch_.stallLimit ? Failure{.kind = Failure::Kind::readHung} : whyStop();
        if (!failure && !isShown && silence > DiskPatience::waitingNotice && watch_.onSilence) {
            isShown = true;
            watch_.onSilence(true);
        }
    }
    if (failure && failure->kind == Failure::Kind::readHung && reader_->done.tryAcquire()) {
        failure.reset(); // it answered at this very moment
    }
    if (isShown) {
        watch_.onSilence(false);
    }
    return failure;
}

/// The reader thread.
void WatchedSource::serve(const std::shared_ptr<Reader>& reader)
{
    bool goesOn = true;
    while (goesOn) {
        while (!reader->clock->acquire(reader->want, std::chrono::hours(1))) { }
        Step step{.kind = Step::Kind::close};
        {
            const std::scoped_lock held(reader->lock);
            step = reader->ending ? step : reader->step;
        }
        goesOn = step.kind != Step::Kind::close;
        try {
            reader->make(step);
        } catch (const std::exception&) {
            reader->code = ENOMEM; // the calls themselves do not throw
        }
        reader->done.release();
    }
}

} // namespace vantorel
