#include "discovery/volumes/MountNotices.h"

#include "discovery/volumes/MountedVolumes.h"
#include "disk/ChildProcessSystem.h"
#include "disk/MountTable.h"
#include "disk/OpenFile.h"
#include "disk/Thread.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <tuple>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace vantorel {

namespace {

/// Two descriptors are waited on: the table, which has "urgent data" (POLLPRI) after each change, and a pipe
/// whose writing end is closed at the end.
class PolledTable final : public MountNotices {
public:
    PolledTable(std::shared_ptr<const SystemCalls> calls, OpenFile table, OpenFile wake, OpenFile waker)
        : calls_(std::move(calls))
        , table_(std::move(table))
        , wake_(std::move(wake))
        , waker_(std::move(waker))
    {
    }

    bool wait() override
    {
        std::array<pollfd, 2> waited{{{.fd = table_.get(), .events = POLLPRI, .revents = 0},
            {.fd = wake_.get(), .events = POLLIN, .revents = 0}}};
        for (;;) {
            const int ready = ::poll(waited.data(), waited.size(), -1);
            if (ready < 0 && errno != EINTR) {
                return false;
            }
            if (ready > 0) {
                return waited[1].revents == 0 && (waited[0].revents & POLLPRI) != 0;
            }
        }
    }

    void end() override { std::ignore = waker_.close(); } // nothing was written to it

    std::string table() override
    {
        auto text = calls_->systemText("/proc/self/mountinfo");
        return text ? *std::move(text) : std::string();
    }

private:
    std::shared_ptr<const SystemCalls> calls_;
    OpenFile table_;
    OpenFile wake_;
    OpenFile waker_;
};

/// The mounts that are searched, with all that is known of each: another drive under the same path is a
/// change, too.
std::vector<Mount> searchedMounts(const std::string& text)
{
    std::vector<Mount> table = parseMountTable(text);
    const MountedVolumes volumes = mountedVolumesIn(table);
    std::erase_if(table, [&](const Mount& mount) {
        return !std::ranges::binary_search(volumes.searched, DiskPath(mount.mountPoint));
    });
    return table;
}

class TableWatch final : public VolumeChanges {
public:
    struct Shared {
        std::shared_ptr<MountNotices> notices;
        std::mutex lock; ///< Held while `changed` runs, so that the end waits for it.
        std::function<void()> changed;
    };

    explicit TableWatch(std::shared_ptr<Shared> shared)
        : shared_(std::move(shared))
    {
    }
    ~TableWatch() override
    {
        {
            const std::scoped_lock hold(shared_->lock);
            shared_->changed = nullptr;
        }
        shared_->notices->end();
    }
    TableWatch(const TableWatch&) = delete;
    TableWatch& operator=(const TableWatch&) = delete;

private:
    std::shared_ptr<Shared> shared_;
};

void watch(TableWatch::Shared& shared, std::vector<Mount> before)
{
    while (shared.notices->wait()) {
        auto now = searchedMounts(shared.notices->table());
        if (now == before) {
            continue;
        }
        before = std::move(now);
        const std::scoped_lock hold(shared.lock);
        if (shared.changed) {
            shared.changed();
        }
    }
}

} // namespace

std::shared_ptr<MountNotices> systemMountNotices(std::shared_ptr<const SystemCalls> calls)
{
    const auto fd = calls->open("/proc/self/mountinfo", O_RDONLY);
    if (!fd) {
        return nullptr;
    }
    OpenFile table(calls, *fd);
    std::array<int, 2> ends{-1, -1};
    if (ChildProcessSystem::openPipe(ends) != 0) {
        return nullptr;
    }
    return std::make_shared<PolledTable>(
        calls, std::move(table), OpenFile(calls, ends[0]), OpenFile(calls, ends[1]));
}

std::unique_ptr<VolumeChanges> watchMountTable(
    std::shared_ptr<MountNotices> notices, std::function<void()> changed)
{
    auto shared = std::make_shared<TableWatch::Shared>();
    shared->notices = std::move(notices);
    shared->changed = std::move(changed);
    // Before the thread: what is mounted from now on is a change.
    auto before = searchedMounts(shared->notices->table());
    const bool started = startDetachedThread(workerStackBytes,
        [shared, before = std::move(before)]() mutable { watch(*shared, std::move(before)); });
    return started ? std::make_unique<TableWatch>(std::move(shared)) : nullptr;
}

std::unique_ptr<VolumeChanges> watchVolumeChanges(
    std::shared_ptr<const SystemCalls> calls, std::function<void()> changed)
{
    auto notices = systemMountNotices(std::move(calls));
    return notices ? watchMountTable(std::move(notices), std::move(changed)) : nullptr;
}

} // namespace vantorel
