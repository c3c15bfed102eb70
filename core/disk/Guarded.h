#pragma once

#include "base/Clock.h"
#include "disk/CancelToken.h"
#include "disk/DiskPatience.h"
#include "disk/Heartbeat.h"

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace vantorel {

/// The outcome of a guarded run: the work's result, or none because the disk stayed silent (or the run was
/// stopped). A stalled run says nothing about damage.
template <typename T>
class [[nodiscard]] Guarded {
public:
    static Guarded finished(T value) { return Guarded(std::move(value)); }
    static Guarded stalled() { return Guarded(std::nullopt); }

    bool isStalled() const { return !value_; }
    const T& value() const& { return value_.value(); }
    T&& value() && { return std::move(value_).value(); }

private:
    explicit Guarded(std::optional<T> value)
        : value_(std::move(value))
    {
    }

    std::optional<T> value_;
};

/// The result of work that has none.
struct Unit {
    bool operator==(const Unit&) const = default;
};

/// How long a guarded run waits, and who is asked and told meanwhile. Both are called on the waiting thread.
struct Patience {
    Seconds stallLimit{60};                ///< Silence after which the work is given up.
    std::function<bool()> keepGoing{};     ///< Asked on every slice; false gives the work up.
    std::function<void(bool)> onSilence{}; ///< true: show the waiting notice; false: hide it.
};

/// True while the token is not cancelled, and for 2 seconds (of the clock that counts sleep) after it was
/// first seen cancelled, so that work may end by itself. Always true without a token.
std::function<bool()> keepGoingWithGrace(std::shared_ptr<const Clock> clock, SharedCancelToken cancel);

/// Whether a worker thread was ever given up in this process. A program then leaves by flush and `_exit`:
/// static destruction must not race with the thread.
bool anyThreadAbandoned();

namespace detail {

/// The slot in which the worker leaves its result before it signals.
template <typename T>
struct GuardedBox {
    Signal done;
    std::optional<T> value;       ///< Written once by the worker before the signal.
    std::exception_ptr exception; ///< Likewise.
};

/// Waits in slices until `done` is signalled (true) or the work is given up (false; the heartbeat is told).
bool waitGuarded(const Clock& clock, const Patience& patience, Signal& done, Heartbeat& heartbeat);
bool startWorker(std::function<void()> body);
/// For whoever leaves a hanging thread behind without a guarded run.
void noteAbandonedThread();

} // namespace detail

/// Runs one blocking disk operation on a worker thread that nobody else has meanwhile, and waits for it in
/// slices.
///
/// Silence is counted from the last `Heartbeat::beat`, not from the start: work that makes progress never
/// stalls. A notice that was shown is hidden before the return. What `work` throws is thrown here. Where no
/// thread can be started the run counts as stalled.
///
/// A thread that hangs in the kernel cannot be ended; it is left behind and its late result dropped.
/// So `work` owns all that it touches (captures by value or shared_ptr, never by reference) and looks at
/// `Heartbeat::gaveUp` between two calls to the disk.
// NOLINTBEGIN(performance-unnecessary-value-param): the clock is held for as long as the run waits
template <typename Work>
auto guardedRun(std::shared_ptr<const Clock> clock, const Patience& patience, Work work)
    -> Guarded<std::invoke_result_t<Work&, const std::shared_ptr<Heartbeat>&>>
{
    using T = std::invoke_result_t<Work&, const std::shared_ptr<Heartbeat>&>;
    auto box = std::make_shared<detail::GuardedBox<T>>();
    auto heartbeat = std::make_shared<Heartbeat>(clock);
    const bool started =
        detail::startWorker([box, heartbeat, work = std::make_shared<Work>(std::move(work))]() mutable {
            try {
                box->value.emplace((*work)(heartbeat));
            } catch (...) {
                box->exception = std::current_exception();
            }
            // What the work held (files, folders) is closed by the time its result is seen.
            work.reset();
            box->done.release();
        });
    if (!started || !detail::waitGuarded(*clock, patience, box->done, *heartbeat)) {
        return Guarded<T>::stalled();
    }
    if (box->exception) {
        std::rethrow_exception(box->exception);
    }
    return Guarded<T>::finished(std::move(*box->value));
}
// NOLINTEND(performance-unnecessary-value-param)

} // namespace vantorel
