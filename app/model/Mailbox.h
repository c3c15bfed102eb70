#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include <QtCore/qobject.h>

class QEvent;

namespace vantorel {

/// The way from a background thread to the main thread. The receiver owns it; tasks hold a weak pointer, so
/// that a task which outlives the receiver posts into nothing. All members but `close` may be called from any
/// thread.
class Mailbox {
public:
    /// On the receiver's thread.
    explicit Mailbox(QObject* receiver);
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;

    /// Runs `letter` on the receiver's thread, after what was posted before; never when the receiver is gone
    /// by then.
    void post(std::function<void()> letter);
    /// By the receiver in its destructor: from now on everything posted is dropped.
    void close();

private:
    class Carrier;

    /// What this event stands for; none where it is no letter's.
    std::function<void()> next(const QEvent& event);

    /// Held while posting: the receiver cannot go away meanwhile. It also hands each letter over, in a queue
    /// of our own, since the thread sanitizer does not see into Qt's.
    std::mutex lock_;
    std::deque<std::function<void()>> letters_{};
    Carrier* carrier_; ///< Belongs to the receiver; an event for each letter goes to it. None once closed.
};

/// The newest of many values on its way to the main thread: at most one letter is under way, and it takes the
/// newest.
template <typename Value>
class LatestValue {
public:
    /// Any thread. True when a letter has to be posted, that is, when none is under way.
    bool put(Value value)
    {
        const std::scoped_lock held(lock_);
        value_ = std::move(value);
        isNew_ = true;
        return !std::exchange(isUnderWay_, true);
    }
    /// By the letter, on the main thread. None when nothing came since the last time; the next `put` then
    /// asks for a new letter.
    std::optional<Value> take()
    {
        const std::scoped_lock held(lock_);
        if (!std::exchange(isNew_, false)) {
            isUnderWay_ = false;
            return std::nullopt;
        }
        return value_;
    }

private:
    std::mutex lock_;
    Value value_{};
    bool isNew_ = false;
    bool isUnderWay_ = false;
};

} // namespace vantorel
