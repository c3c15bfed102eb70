#include "export/DigestBehind.h"

#include "base/Digest.h"
#include "disk/ChunkBuffer.h"
#include "disk/Thread.h"

#include <algorithm>
#include <array>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace vantorel {

namespace {

/// Below it, what another thread costs is more than what it saves.
constexpr std::int64_t worthAThread = 4 * static_cast<std::int64_t>(ChunkBuffer::size);
constexpr std::size_t bufferCount = 3; // one is read into, one is hashed, and one evens out which is slower

void waitFor(const Clock& clock, Signal& signal)
{
    while (!clock.acquire(signal, std::chrono::hours(1))) { }
}

} // namespace

/// What both threads share. A buffer belongs to the reading one until it is in the queue, and again once
/// `freed` was signalled for it; they go round in order.
struct DigestBehind::Shared {
    std::shared_ptr<const Clock> clock;
    std::array<std::optional<ChunkBuffer>, bufferCount> buffers{};
    Sha256 digest{}; ///< The hashing thread's, until `done`.

    Signal filled{}; ///< One more in the queue.
    Signal freed{};  ///< One more was hashed.
    Signal done{};   ///< All of them were.
    std::mutex lock{};
    std::deque<std::optional<std::size_t>>
        sizes{}; ///< Under the lock; the bytes in the next buffers, none at the end.
};

DigestBehind::DigestBehind(std::shared_ptr<const Clock> clock, std::int64_t expectedBytes)
    : shared_(std::make_shared<Shared>(std::move(clock)))
{
    hasThread_ = expectedBytes > worthAThread && runOnWorker([shared = shared_] { serve(*shared); });
    for (std::size_t i = 1; hasThread_ && i < bufferCount; ++i) {
        shared_->freed.release(); // all but the first, which is in use at once
    }
}

DigestBehind::~DigestBehind()
{
    if (hasThread_) {
        {
            const std::scoped_lock held(shared_->lock);
            shared_->sizes.push_front(std::nullopt); // what is in the queue does not matter any more
        }
        shared_->filled.release();
    }
}

std::span<std::byte> DigestBehind::buffer()
{
    if (!isFree_) {
        waitFor(*shared_->clock, shared_->freed);
        isFree_ = true;
    }
    auto& buffer = shared_->buffers[current_];
    return buffer ? buffer->bytes() : buffer.emplace().bytes();
}

void DigestBehind::add(std::span<const std::byte> bytes)
{
    if (!hasThread_) {
        shared_->digest.add(bytes);
        return;
    }
    std::ranges::copy(bytes, buffer().begin()); // a tenth of what hashing it takes
    add(bytes.size());
}

void DigestBehind::add(std::size_t size)
{
    if (!hasThread_) {
        shared_->digest.add(shared_->buffers[current_]->bytes().first(size));
        return;
    }
    {
        const std::scoped_lock held(shared_->lock);
        shared_->sizes.emplace_back(size);
    }
    shared_->filled.release();
    current_ = (current_ + 1) % bufferCount;
    isFree_ = false;
}

std::string DigestBehind::finish()
{
    if (hasThread_) {
        {
            const std::scoped_lock held(shared_->lock);
            shared_->sizes.emplace_back(std::nullopt);
        }
        shared_->filled.release();
        waitFor(*shared_->clock, shared_->done);
        hasThread_ = false;
    }
    return shared_->digest.finish();
}

/// The hashing thread.
void DigestBehind::serve(Shared& shared)
{
    for (std::size_t current = 0;; current = (current + 1) % bufferCount) {
        waitFor(*shared.clock, shared.filled);
        std::optional<std::size_t> size;
        {
            const std::scoped_lock held(shared.lock);
            size = shared.sizes.front();
            shared.sizes.pop_front();
        }
        if (!size) {
            shared.done.release();
            return;
        }
        shared.digest.add(shared.buffers[current]->bytes().first(*size));
        shared.freed.release();
    }
}

} // namespace vantorel
