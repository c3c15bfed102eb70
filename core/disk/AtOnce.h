#pragma once

#include "disk/Guarded.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

namespace vantorel {

/// How many things are to be done, and how many of them at once.
struct Spread {
    std::size_t count = 0;
    std::size_t atOnce = 1;
};

namespace detail {

/// What the threads of one such run share; it outlives those that hang.
template <typename Work, typename T>
struct SharedWork {
    Work work;
    std::size_t count = 0;
    std::vector<std::optional<T>> results{}; ///< Each written by the thread that took its number.
    std::atomic<std::size_t> next{0};
    std::mutex lock{};
    std::exception_ptr exception{}; ///< The first; under the lock.

    void takePart()
    {
        try {
            for (std::size_t i = next++; i < count; i = next++) {
                results[i].emplace(work(i));
            }
        } catch (...) {
            next = count;
            const std::scoped_lock held(lock);
            exception = exception ? exception : std::current_exception();
        }
    }
};

} // namespace detail

/// Calls `work` with each number below the count, several at once: on the calling thread, which is a guarded
/// worker, and on others beside it. The results in the order of the numbers; none where nobody waits for them
/// any longer, some of the work being still under way then. So `work` owns all that it touches, is called by
/// several threads, and looks at `Heartbeat::gaveUp`. It beats the heartbeat that all of them share: a disk
/// is silent where none of them gets an answer.
template <typename Work>
auto atOnce(const std::shared_ptr<const Clock>& clock, const std::shared_ptr<Heartbeat>& heartbeat,
    const Spread& spread, Work work) -> std::optional<std::vector<std::invoke_result_t<Work&, std::size_t>>>
{
    using T = std::invoke_result_t<Work&, std::size_t>;
    using Shared = detail::SharedWork<Work, T>;
    const auto shared = std::make_shared<Shared>(std::move(work), spread.count);
    const auto done = std::make_shared<Signal>(); // once for each helper
    shared->results.resize(spread.count);
    std::size_t helpers = 0;
    while (helpers + 1 < std::min(spread.atOnce, spread.count)) {
        const bool isStarted = detail::startWorker([part = shared, done]() mutable {
            part->takePart();
            part.reset(); // what the work holds is closed by the time its results are seen
            done->release();
        });
        if (!isStarted) {
            break; // slower, and no worse
        }
        ++helpers;
    }
    shared->takePart();
    constexpr auto slice = std::chrono::duration_cast<std::chrono::nanoseconds>(DiskPatience::pollingSlice);
    while (helpers > 0) {
        if (clock->acquire(*done, slice)) {
            --helpers;
        } else if (heartbeat->gaveUp()) {
            detail::noteAbandonedThread();
            return std::nullopt;
        }
    }
    if (shared->exception) {
        std::rethrow_exception(shared->exception);
    }
    std::vector<T> results;
    results.reserve(spread.count);
    for (auto& result : shared->results) {
        results.push_back(std::move(*result));
    }
    return results;
}

} // namespace vantorel
