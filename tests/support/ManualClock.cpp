#include "support/ManualClock.h"

#include "disk/Thread.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vantorel {

namespace {

using namespace std::chrono_literals;

/// How often a wait looks whether a thread has ended that it stood still for.
constexpr auto lookAgain = 2ms;
/// Real time after which a thread that neither waits nor ends is taken to wait for something else than the
/// clock (it joins another thread). Far beyond what real work between two waits takes.
constexpr auto waitsElsewhere = 5s;
constexpr auto never = std::chrono::nanoseconds::max();
constexpr std::chrono::nanoseconds longest = 24h * 3650;

} // namespace

struct ManualClock::Waiter {
    Signal* signal = nullptr; ///< None: it sleeps.
    Nanoseconds due{};
    bool isDetached = isOnDetachedThread();
    std::thread::id thread = std::this_thread::get_id();
    bool isDue = false; ///< Written under the clock's lock and, where there is a signal, the signal's.
};

/// What the clocks of a test program share: which ones there are, and the end of each test.
class ThreadsOfTests {
public:
    static ThreadsOfTests& shared()
    {
        static ThreadsOfTests threads;
        return threads;
    }

    void add(const ManualClock* clock)
    {
        const std::scoped_lock held(lock_);
        clocks_.insert(clock);
    }

    void remove(const ManualClock* clock)
    {
        const std::scoped_lock held(lock_);
        clocks_.erase(clock);
    }

    void forget(std::thread::id thread)
    {
        const std::scoped_lock held(lock_);
        for (const auto* clock : clocks_) {
            clock->forget(thread);
        }
    }

    void endAll()
    {
        setEnding(true);
        ManualClock::waitForThreads();
        setEnding(false); // for a clock that several tests share
    }

private:
    void setEnding(bool ending)
    {
        const std::scoped_lock held(lock_);
        for (const auto* clock : clocks_) {
            clock->setEnding(ending);
        }
    }

    std::mutex lock_; // before any clock's
    std::set<const ManualClock*> clocks_;
};

namespace {

class EndOfTest final : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo& /*test*/) override { ThreadsOfTests::shared().endAll(); }
};

const bool listens = [] {
    // The listeners own what they are given.
    testing::UnitTest::GetInstance()->listeners().Append(std::make_unique<EndOfTest>().release());
    return true;
}();

/// A thread that has ended works no longer.
struct ThreadEnd {
    ~ThreadEnd() { ThreadsOfTests::shared().forget(std::this_thread::get_id()); }
};

void noticeEndOfThisThread()
{
    thread_local const ThreadEnd end;
    static_cast<void>(end);
}

} // namespace

ManualClock::ManualClock()
{
    static_cast<void>(listens);
    ThreadsOfTests::shared().add(this);
}

ManualClock::~ManualClock() { ThreadsOfTests::shared().remove(this); }

std::chrono::nanoseconds ManualClock::uptime() const
{
    const std::scoped_lock held(lock_);
    noteWorking(); // a wait begins with a look at the clock, before its worker is started
    return uptime_;
}

std::chrono::nanoseconds ManualClock::continuous() const
{
    const std::scoped_lock held(lock_);
    return uptime_ + slept_;
}

std::chrono::system_clock::time_point ManualClock::wall() const
{
    constexpr auto noon = std::chrono::sys_days(std::chrono::May / 1 / 2024) + 12h;
    const std::scoped_lock held(lock_);
    return noon + std::chrono::duration_cast<std::chrono::system_clock::duration>(uptime_ + slept_ - 6h);
}

bool ManualClock::acquire(Signal& signal, Nanoseconds atMost) const
{
    Waiter me{.signal = &signal};
    {
        const std::scoped_lock held(lock_);
        me.due = uptime_ + std::clamp(atMost, Nanoseconds(0), longest);
        enter(me);
    }
    while (true) {
        {
            const std::scoped_lock held(lock_);
            {
                const std::scoped_lock heldSignal(signal.lock_);
                if (signal.count_ > 0 || me.isDue || ending_) {
                    const bool taken = signal.count_ > 0;
                    signal.count_ -= taken ? 1 : 0;
                    uptime_ = taken ? uptime_ : std::max(uptime_, me.due);
                    leave(me);
                    return taken;
                }
            }
            letTimePass();
        }
        std::unique_lock heldSignal(signal.lock_);
        if (signal.count_ == 0 && !me.isDue) {
            signal.changed_.wait_for(heldSignal, lookAgain);
        }
    }
}

void ManualClock::sleepFor(Nanoseconds duration) const { sleep(duration); }

void ManualClock::hang() const { sleep(std::nullopt); }

void ManualClock::sleep(std::optional<Nanoseconds> duration) const
{
    std::unique_lock held(lock_);
    Waiter me{.due = duration ? uptime_ + std::clamp(*duration, Nanoseconds(0), longest) : never};
    const auto hangsEnded = hangsEnded_;
    enter(me);
    while (!me.isDue && hangsEnded_ == hangsEnded && !ending_) {
        letTimePass();
        if (!me.isDue) {
            changed_.wait_for(held, lookAgain);
        }
    }
    leave(me);
}

void ManualClock::endHangs() const
{
    const std::scoped_lock held(lock_);
    ++hangsEnded_;
    changed_.notify_all();
}

void ManualClock::advance(Nanoseconds duration) const
{
    const std::scoped_lock held(lock_);
    uptime_ += duration;
    wakeDue(Woken::all);
}

void ManualClock::computerSleeps(Nanoseconds duration) const
{
    const std::scoped_lock held(lock_);
    slept_ += duration;
}

void ManualClock::waitForThreads()
{
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (detachedThreadsAlive() > 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            ADD_FAILURE() << detachedThreadsAlive() << " threads do not end";
            return;
        }
        std::this_thread::sleep_for(200us);
    }
}

void ManualClock::setEnding(bool ending) const
{
    const std::scoped_lock held(lock_);
    ending_ = ending;
    changed_.notify_all();
}

void ManualClock::forget(std::thread::id thread) const
{
    const std::scoped_lock held(lock_);
    working_.erase(thread);
}

void ManualClock::enter(Waiter& waiter) const
{
    working_.erase(waiter.thread);
    waiting_.push_back(&waiter);
    lastChange_ = std::chrono::steady_clock::now();
}

void ManualClock::leave(Waiter& waiter) const
{
    std::erase(waiting_, &waiter);
    noteWorking();
    lastChange_ = std::chrono::steady_clock::now();
}

void ManualClock::noteWorking() const
{
    if (!isOnDetachedThread()) { // those are counted where they are started
        noticeEndOfThisThread();
        working_.insert(std::this_thread::get_id());
    }
}

/// Whether a thread is busy with real work, or is about to be.
bool ManualClock::othersWork() const
{
    std::size_t detachedWaiting = 0;
    for (const auto* waiter : waiting_) {
        detachedWaiting += waiter->isDetached ? 1 : 0;
        if (waiter->signal != nullptr) {
            const std::scoped_lock heldSignal(waiter->signal->lock_);
            if (waiter->signal->count_ > 0) {
                return true;
            }
        }
    }
    const auto alive = detachedThreadsAlive();
    const auto working = working_.size() + (alive > detachedWaiting ? alive - detachedWaiting : 0);
    if (working > 0 && std::chrono::steady_clock::now() - lastChange_ > waitsElsewhere) {
        elsewhere_ = working;
    }
    elsewhere_ = std::min(elsewhere_, working);
    return working > elsewhere_;
}

/// Called by every thread that waits, under the clock's lock alone. Where a sleep and a wait for a signal end
/// at the same instant the sleeper goes first, and the other goes on when nobody works any longer.
void ManualClock::letTimePass() const
{
    const bool passes = std::ranges::any_of(
        waiting_, [&](const Waiter* each) { return each->signal == nullptr || each->due <= uptime_; });
    if (!passes || othersWork()) {
        return;
    }
    auto next = never;
    for (const auto* waiter : waiting_) {
        next = std::min(next, waiter->due);
    }
    if (next != never) {
        uptime_ = std::max(uptime_, next);
        const bool sleeperIsDue = std::ranges::any_of(
            waiting_, [&](const Waiter* each) { return each->signal == nullptr && each->due <= uptime_; });
        wakeDue(sleeperIsDue ? Woken::sleepers : Woken::all);
    }
}

void ManualClock::wakeDue(Woken woken) const
{
    std::erase_if(waiting_, [&](Waiter* waiter) {
        if (waiter->due > uptime_ || (woken == Woken::sleepers && waiter->signal != nullptr)) {
            return false;
        }
        if (waiter->signal != nullptr) {
            const std::scoped_lock heldSignal(waiter->signal->lock_);
            waiter->isDue = true;
            waiter->signal->changed_.notify_all();
        } else {
            waiter->isDue = true;
        }
        if (!waiter->isDetached) {
            working_.insert(waiter->thread); // as good as working: it goes on at once
        }
        return true;
    });
    lastChange_ = std::chrono::steady_clock::now();
    changed_.notify_all();
}

} // namespace vantorel
