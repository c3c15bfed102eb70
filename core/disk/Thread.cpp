#include "disk/Thread.h"

#include "disk/WorkerThread.h"

#include <atomic>
#include <memory>
#include <tuple>
#include <utility>

#include <pthread.h>

namespace vantorel {

namespace {

std::atomic<std::size_t> alive{0};
thread_local bool onDetached = false;

extern "C" void* runDetachedThread(void* argument) noexcept
{
    onDetached = true;
    prepareWorkerThread();
    {
        const std::unique_ptr<std::function<void()>> body(static_cast<std::function<void()>*>(argument));
        (*body)();
    }
    --alive;
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

} // namespace

bool startDetachedThread(std::size_t stackBytes, std::function<void()> body)
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

std::size_t detachedThreadsAlive() { return alive; }

bool isOnDetachedThread() { return onDetached; }

} // namespace vantorel
