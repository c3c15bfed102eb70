#include "disk/InParallel.h"

#include "disk/Thread.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

namespace vantorel {

namespace {

constexpr unsigned mostThreads = 8; ///< More would only wait for memory.

/// Lives until the last thread has left it, so that a thread that ends late touches nothing that is gone.
struct Shared {
    Shared(std::size_t theCount, const std::function<void(std::size_t)>& theWork)
        : count(theCount)
        , work(theWork)
    {
    }

    const std::size_t count;
    const std::function<void(std::size_t)>& work; ///< The caller's; used only while it waits.
    std::atomic<std::size_t> next{0};

    std::mutex lock; ///< Guards what follows.
    std::condition_variable ended;
    std::size_t running = 0;
    std::exception_ptr failure;

    void run()
    {
        try {
            for (std::size_t i = next++; i < count; i = next++) {
                work(i);
            }
        } catch (...) {
            next = count;
            const std::lock_guard guard(lock);
            if (!failure) {
                failure = std::current_exception();
            }
        }
    }
};

} // namespace

void inParallel(std::size_t count, const std::function<void(std::size_t)>& work)
{
    const auto shared = std::make_shared<Shared>(count, work);
    const std::size_t wanted =
        std::min<std::size_t>({count, mostThreads, std::thread::hardware_concurrency()});
    for (std::size_t i = 1; i < wanted; ++i) {
        {
            const std::lock_guard guard(shared->lock);
            ++shared->running;
        }
        const bool started = runOnWorker([shared] {
            shared->run();
            const std::lock_guard guard(shared->lock);
            --shared->running;
            shared->ended.notify_all();
        });
        if (!started) { // the threads that are there do it all
            const std::lock_guard guard(shared->lock);
            --shared->running;
            break;
        }
    }
    shared->run();
    std::unique_lock guard(shared->lock);
    shared->ended.wait(guard, [&shared] { return shared->running == 0; });
    if (shared->failure) {
        std::rethrow_exception(shared->failure);
    }
}

} // namespace vantorel
