#include "disk/Thread.h"

#include "disk/WorkerThread.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <tuple>
#include <utility>
#include <vector>

#include <pthread.h>

namespace vantorel {

namespace {

/// As many as an export or a scan has at work at once.
constexpr std::size_t mostIdle = 8;
constexpr std::chrono::seconds longestIdle(10);

std::atomic<std::size_t> alive{0};
thread_local bool onDetached = false;

/// Worker threads that have done what they were started for and wait for more.
class IdleWorkers {
public:
    /// One of them takes the body; it stays where none waits.
    bool take(std::function<void()>& body)
    {
        const std::scoped_lock held(lock_);
        if (waiting_.empty()) {
            return false;
        }
        Waiting& worker = *waiting_.back(); // the last that worked: the others come to their end
        waiting_.pop_back();
        worker.body = std::move(body);
        ++alive;
        worker.called.notify_one(); // under the lock: the worker takes what is notified away with it
        return true;
    }

    /// Waits on a worker's thread for its next body; none: it ends.
    std::function<void()> next()
    {
        Waiting me;
        std::unique_lock held(lock_);
        if (waiting_.size() >= mostIdle) {
            return nullptr;
        }
        waiting_.push_back(&me);
        if (!me.called.wait_for(held, longestIdle, [&] { return me.body != nullptr; })) {
            std::erase(waiting_, &me);
        }
        return std::move(me.body);
    }

private:
    struct Waiting {
        std::condition_variable called;
        std::function<void()> body;
    };

    std::mutex lock_; // guards all of it
    std::vector<Waiting*> waiting_;
};

/// Shared by its threads, which may still wait while the program ends.
const std::shared_ptr<IdleWorkers>& idleWorkers()
{
    static const auto workers = std::make_shared<IdleWorkers>();
    return workers;
}

extern "C" void* runDetachedThread(void* argument) noexcept
{
    onDetached = true;
    prepareWorkerThread();
    const std::unique_ptr<std::function<void()>> body(static_cast<std::function<void()>*>(argument));
    (*body)();
    return nullptr;
}

/// Attributes of a thread; destroyed at the end.
struct Attributes {
    pthread_attr_t value;
    bool usable = pthread_attr_init(&value) == 0;

    Attributes() = default;
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
    ~Attributes()
    {
        if (usable) {
            pthread_attr_destroy(&value);
        }
    }
};

/// Starts a thread whose body counts itself as done.
bool start(std::size_t stackBytes, std::function<void()> body)
{
    Attributes attributes;
    if (!attributes.usable || pthread_attr_setstacksize(&attributes.value, stackBytes) != 0
        || pthread_attr_setdetachstate(&attributes.value, PTHREAD_CREATE_DETACHED) != 0) {
        return false;
    }
    auto owned = std::make_unique<std::function<void()>>(std::move(body));
    ++alive;
    pthread_t thread{};
    if (pthread_create(&thread, &attributes.value, runDetachedThread, owned.get()) != 0) {
        --alive;
        return false;
    }
    // The thread owns it now, and may have destroyed it already.
    std::ignore = owned.release();
    return true;
}

/// What the body held is gone by the time that it no longer counts.
void carryOut(std::function<void()>& body)
{
    body();
    body = nullptr;
    --alive;
}

} // namespace

bool startDetachedThread(std::size_t stackBytes, std::function<void()> body)
{
    return start(stackBytes, [body = std::move(body)]() mutable { carryOut(body); });
}

bool runOnWorker(std::function<void()> body)
{
    if (idleWorkers()->take(body)) {
        return true;
    }
    return start(workerStackBytes, [workers = idleWorkers(), body = std::move(body)]() mutable {
        while (body) {
            carryOut(body);
            body = workers->next();
        }
    });
}

std::size_t detachedThreadsAlive() { return alive; }

bool isOnDetachedThread() { return onDetached; }

} // namespace vantorel
