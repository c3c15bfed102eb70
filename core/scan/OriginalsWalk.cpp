#include "scan/OriginalsWalk.h"

#include "scan/ReferencedPlaces.h"

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <utility>

#include <fcntl.h>

namespace vantorel {

namespace {

constexpr int stallsBeforeHaste = 2;
constexpr Seconds limitInHaste{5.0};
constexpr int mostSilentInARow = 6;
constexpr int mostSilentLooksAtADisk = 2;

struct Listed {
    Looked looked{};
    bool gone = false;
};

/// A folder being read of which only the wanted names come out.
class WantedNames final : public SystemCalls::Folder {
public:
    WantedNames(std::unique_ptr<Folder> folder, OriginalsWalk::Wanted wanted, Heartbeat& heartbeat)
        : folder_(std::move(folder))
        , wanted_(std::move(wanted))
        , heartbeat_(heartbeat)
    {
    }
    CallResult<std::optional<std::string>> next() override
    {
        for (;;) {
            auto name = folder_->next();
            if (!name || !*name || wanted_(**name) || heartbeat_.gaveUp()) {
                return name;
            }
            heartbeat_.beat();
        }
    }
    CallResult<FileStatus> statusOf(const std::string& name) override { return folder_->statusOf(name); }

private:
    std::unique_ptr<Folder> folder_;
    OriginalsWalk::Wanted wanted_;
    Heartbeat& heartbeat_;
};

using Listing = std::expected<FS::PartialList, FS::ListFailure>;

Listing listWanted(const Root& root, const std::string& relative, const OriginalsWalk::Wanted& wanted,
    Heartbeat& heartbeat, FS::ListBox& box)
{
    if (!wanted) {
        return root.list(relative, &heartbeat, box);
    }
    const auto opened = root.openFile(relative, readOnlyOpenFlags() | O_DIRECTORY);
    if (!opened) {
        return std::unexpected(FS::listFailureOf(opened.error()));
    }
    auto folder = root.calls()->openFolderOf(opened->get());
    if (!folder) {
        return std::unexpected(FS::listFailureOf(folder.error()));
    }
    WantedNames names(*std::move(folder), wanted, heartbeat);
    return FS::listInto(names, &heartbeat, box);
}

FileLook fileLookOf(const CallResult<FileStatus>& status)
{
    using Outcome = FileLook::Outcome;
    if (status) {
        const bool isFile = status->type == FileStatus::Type::regular;
        return {.outcome = isFile ? Outcome::found : Outcome::notAFile, .size = isFile ? status->size : 0};
    }
    if (status.error() == ELOOP) {
        return {.outcome = Outcome::notAFile};
    }
    if (status.error() == ENAMETOOLONG || status.error() == EILSEQ) {
        return {.outcome = Outcome::missing}; // that file system cannot hold such a name
    }
    switch (FS::kindOfFailure(status.error())) {
    case FS::Kind::denied:
        return {.outcome = Outcome::denied};
    case FS::Kind::missing:
        return {.outcome = Outcome::missing};
    case FS::Kind::regular:
    case FS::Kind::directory:
    case FS::Kind::special:
    case FS::Kind::unavailable:
        return {.outcome = Outcome::unreadable};
    }
    std::unreachable();
}

} // namespace

/// What the workers share, made by the first that needs it. The lock is never held across a call to the disk,
/// so a worker that hangs keeps nobody out.
struct OriginalsWalk::Held {
    std::shared_ptr<const SystemCalls> calls;
    DiskPath base;

    std::mutex lock;
    std::shared_ptr<const VolumeWatch> watch;
    std::shared_ptr<const Root> library;
    std::shared_ptr<const Root> top;

    std::shared_ptr<const VolumeWatch> volumeWatch()
    {
        if (auto known = copyOf(watch)) {
            return known;
        }
        return kept(watch, std::make_shared<const VolumeWatch>(calls, base));
    }
    CallResult<std::shared_ptr<const Root>> libraryRoot() { return root(library, base); }
    CallResult<std::shared_ptr<const Root>> topRoot() { return root(top, "/"); }

private:
    CallResult<std::shared_ptr<const Root>> root(std::shared_ptr<const Root>& slot, const DiskPath& path)
    {
        if (auto known = copyOf(slot)) {
            return known;
        }
        auto opened = Root::open(calls, path);
        if (!opened) {
            return opened;
        }
        return kept(slot, *std::move(opened));
    }
    template <typename T>
    T copyOf(const T& slot)
    {
        const std::lock_guard guard(lock);
        return slot;
    }
    template <typename T>
    T kept(T& slot, T fresh)
    {
        const std::lock_guard guard(lock);
        if (!slot) {
            slot = std::move(fresh);
        }
        return slot;
    }
};

OriginalsWalk::OriginalsWalk(CoreServices services, Settings settings)
    : services_(std::move(services))
    , settings_(std::move(settings))
    , keepGoing_(keepGoingWithGrace(services_.clock, settings_.cancel))
    , held_(std::make_shared<Held>())
{
    held_->calls = services_.calls;
    held_->base = settings_.base;
}

template <typename Work>
auto OriginalsWalk::run(Seconds limit, Work work)
{
    auto result = guardedRun(services_.clock,
        {.stallLimit = limit, .keepGoing = keepGoing_, .onSilence = settings_.onSilence}, std::move(work));
    if (!stop_ && isCancelled(settings_.cancel)) {
        stop_ = Stop::cancelled;
    }
    return result;
}

Looked OriginalsWalk::look(const std::string& relative, const Wanted& wanted)
{
    if (!stop_ && isCancelled(settings_.cancel)) {
        stop_ = Stop::cancelled;
    }
    if (stop_) {
        return {};
    }
    if (settings_.beforeListing) {
        settings_.beforeListing(settings_.base / relative);
    }

    const Seconds limit =
        stalls_ >= stallsBeforeHaste ? std::min(settings_.limit, limitInHaste) : settings_.limit;
    auto box = std::make_shared<FS::ListBox>();
    std::optional<ListingsAhead::Listing> ahead;
    if (settings_.ahead && !wanted) {
        ahead = settings_.ahead->take(relative);
    }
    auto outcome = run(limit,
        [held = held_, box, relative, wanted, ahead = std::move(ahead)](
            const std::shared_ptr<Heartbeat>& heartbeat) mutable {
            Listed listed;
            if (ahead) {
                listed.looked.list = std::move(ahead->list);
                listed.gone = !ahead->watch->isStillThere();
                return listed;
            }
            const auto watch = held->volumeWatch();
            const auto root = held->libraryRoot();
            Listing list = root ? listWanted(**root, relative, wanted, *heartbeat, *box)
                                : std::unexpected(FS::listFailureOf(root.error()));
            if (list) {
                listed.looked.list = *std::move(list);
            } else {
                listed.looked.failed = list.error();
                // Asked for a folder, some systems call a link "not a directory".
                listed.looked.escapes = list.error().code == ELOOP
                    || (list.error().code == ENOTDIR && root && (*root)->kind(relative) == FS::Kind::special);
            }
            // A refused library is there; its disk cannot be asked about it either.
            const bool isRefused = !root && FS::kindOfFailure(root.error()) == FS::Kind::denied;
            if (!heartbeat->gaveUp() && !isRefused) {
                listed.gone = !watch->isStillThere();
            }
            return listed;
        });

    if (stop_) {
        return {}; // the user's stop cut it short: that says nothing about the disk
    }
    if (outcome.isStalled()) {
        ++stalls_;
        if (++silentInARow_ >= mostSilentInARow) {
            stop_ = Stop::silent;
        }
        return {.list = box->taken(), .silent = true};
    }
    silentInARow_ = 0;
    if (outcome.value().gone) {
        stop_ = Stop::gone;
        return {};
    }
    return std::move(outcome).value().looked;
}

FileLook OriginalsWalk::lookAt(const std::string& path)
{
    int& silentLooks = silentLooks_[ReferencedPlaces::diskOf(path)];
    if (stop_ || silentLooks >= mostSilentLooksAtADisk) {
        return {.outcome = FileLook::Outcome::unreadable};
    }
    const auto outcome =
        run(DiskPatience::singleLook, [held = held_, path](const std::shared_ptr<Heartbeat>&) {
            const auto root = held->topRoot();
            return fileLookOf(root ? (*root)->status(path.substr(1))
                                   : CallResult<FileStatus>(std::unexpected(root.error())));
        });
    if (outcome.isStalled()) {
        ++silentLooks;
        return {.outcome = FileLook::Outcome::unreadable};
    }
    return outcome.value();
}

const std::vector<std::string>& OriginalsWalk::mountPointsOf(const std::string& volumeName)
{
    const auto [known, isNew] = mountPoints_.try_emplace(volumeName);
    if (isNew && !stop_) {
        auto found =
            run(DiskPatience::singleLook, [held = held_, volumeName](const std::shared_ptr<Heartbeat>&) {
                return ReferencedPlaces::mountPointsOf(held->calls, volumeName, held->base);
            });
        if (!found.isStalled()) {
            known->second = std::move(found).value();
        }
    }
    return known->second;
}

bool OriginalsWalk::showsFolderLinksAsFiles()
{
    if (!showsFolderLinksAsFiles_) {
        const auto outcome = run(DiskPatience::singleLook, [held = held_](const std::shared_ptr<Heartbeat>&) {
            const auto status = held->calls->fileSystemOf(held->base);
            return status && status->typeName == "hfsplus"; // Linux's name for it
        });
        showsFolderLinksAsFiles_ = !outcome.isStalled() && outcome.value();
    }
    return *showsFolderLinksAsFiles_;
}

} // namespace vantorel
