#include "scan/ListingsAhead.h"

#include "disk/DiskPatience.h"
#include "disk/Guarded.h"
#include "disk/Root.h"

#include <cstddef>
#include <exception>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vantorel {

namespace {

/// Entries that are held before anybody asks for them, some 130 bytes each: two libraries of usual size.
constexpr std::size_t mostEntriesHeld = 400'000;

bool isWhole(const FS::PartialList& list)
{
    return !list.stoppedEarly && list.badEntries == 0 && list.deniedEntries == 0;
}

} // namespace

struct ListingsAhead::State {
    State(std::shared_ptr<const SystemCalls> theCalls, std::shared_ptr<const Clock> theClock,
        DiskPath theLibrary)
        : calls(std::move(theCalls))
        , clock(std::move(theClock))
        , library(std::move(theLibrary))
        , heartbeat(clock)
    {
    }

    const std::shared_ptr<const SystemCalls> calls;
    const std::shared_ptr<const Clock> clock;
    const DiskPath library;
    Heartbeat heartbeat; ///< Given up: the thread is to end.
    Signal ended;

    std::mutex lock; ///< Guards what follows; never held across a call to the disk.
    std::unordered_map<std::string, FS::PartialList> listings{};
    std::shared_ptr<const VolumeWatch> watch{};

    /// The thread.
    void run()
    {
        const auto watched = std::make_shared<const VolumeWatch>(calls, library);
        {
            const std::lock_guard guard(lock);
            watch = watched;
        }
        const auto root = Root::open(calls, library);
        if (!root) {
            return;
        }
        const std::string top = "originals";
        if (!list(**root, top)) {
            return;
        }
        for (const std::string& folder : foldersOf(top)) {
            if (held >= mostEntriesHeld || !list(**root, top + "/" + folder)) {
                return;
            }
        }
    }

private:
    /// Lists one folder and keeps it; false where it did not come out whole.
    bool list(const Root& root, const std::string& relative)
    {
        if (heartbeat.gaveUp()) {
            return false;
        }
        FS::ListBox box;
        auto list = root.list(relative, &heartbeat, box);
        if (!list || !isWhole(*list)) {
            return false;
        }
        held += list->entries.size();
        const std::lock_guard guard(lock);
        listings.emplace(relative, *std::move(list));
        return true;
    }

    std::vector<std::string> foldersOf(const std::string& listed)
    {
        const std::lock_guard guard(lock);
        std::vector<std::string> names;
        const auto found = listings.find(listed); // unless somebody took it already
        if (found != listings.end()) {
            for (const FS::Entry& entry : found->second.entries) { // sorted by name
                if (entry.kind == FS::Kind::directory) {
                    names.push_back(entry.name);
                }
            }
        }
        return names;
    }

    std::size_t held = 0; ///< The thread's own count of entries.
};

ListingsAhead::ListingsAhead(
    const std::shared_ptr<const SystemCalls>& calls, std::shared_ptr<const Clock> clock, DiskPath library)
    : state_(std::make_shared<State>(calls, std::move(clock), std::move(library)))
{
    const bool started = detail::startWorker([state = state_] {
        try {
            state->run();
        } catch (const std::exception&) {
            // Memory ran out: the check looks for itself.
        }
        state->ended.release();
    });
    if (!started) {
        state_->ended.release();
    }
}

ListingsAhead::~ListingsAhead()
{
    stop();
    constexpr auto slice = std::chrono::duration_cast<std::chrono::nanoseconds>(DiskPatience::pollingSlice);
    if (!state_->clock->acquire(state_->ended, slice)) {
        detail::noteAbandonedThread();
    }
}

std::optional<ListingsAhead::Listing> ListingsAhead::take(const std::string& relative)
{
    {
        const std::lock_guard guard(state_->lock);
        if (auto found = state_->listings.extract(relative)) {
            return Listing{.list = std::move(found.mapped()), .watch = state_->watch};
        }
    }
    stop();
    return std::nullopt;
}

void ListingsAhead::stop() { state_->heartbeat.giveUp(); }

} // namespace vantorel
