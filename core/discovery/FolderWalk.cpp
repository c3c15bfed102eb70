#include "discovery/FolderWalk.h"

#include "discovery/volumes/SystemAdvice.h"
#include "discovery/volumes/VolumeWatch.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <utility>

namespace vantorel {

namespace {

using Links = SystemCalls::Links;

constexpr std::int64_t mostIssues = 5; ///< Of one kind in one walk; the rest are counted.
constexpr std::size_t mostLinks = 10'000;

} // namespace

/// A folder that is being read, without the names at which another volume begins: the status of such a name
/// is the other volume's to give, and it may be silent.
class FolderWalk::OwnNames final : public SystemCalls::Folder {
public:
    OwnNames(std::unique_ptr<SystemCalls::Folder> folder, const DiskPath& path,
        std::shared_ptr<const std::set<std::string>> mountPoints)
        : folder_(std::move(folder))
        , prefix_(path == "/" ? "/" : path.native() + "/")
        , mountPoints_(std::move(mountPoints))
    {
    }

    CallResult<std::optional<std::string>> next() override
    {
        for (;;) {
            auto name = folder_->next();
            if (!name || !*name || !mountPoints_->contains(prefix_ + **name)) {
                return name;
            }
        }
    }
    CallResult<FileStatus> statusOf(const std::string& name) override { return folder_->statusOf(name); }

private:
    std::unique_ptr<SystemCalls::Folder> folder_;
    std::string prefix_;
    std::shared_ptr<const std::set<std::string>> mountPoints_;
};

struct FolderWalk::Current {
    const WalkRoot& root;
    WalkOutcome outcome{};
    std::deque<Queued> queue{};
    std::shared_ptr<const VolumeWatch> watch{};
    SharedFolders shared{};
    std::size_t packages = 0;
    std::int64_t unreadable = 0;
    std::int64_t notLibraries = 0;
    std::int64_t wideFolders = 0;
};

FolderWalk::FolderWalk(FinderServices services, const FinderOptions& options, SharedCancelToken cancel,
    FindProgressCallback progress)
    : services_(std::move(services))
    , options_(options)
    , cancel_(std::move(cancel))
    , progress_(std::move(progress))
    , keepGoing_(keepGoingWithGrace(services_.clock, cancel_))
{
    auto places = std::make_shared<std::set<std::string>>();
    for (const auto* list : {&options_.mountPoints, &options_.volumeRoots}) {
        for (const DiskPath& place : *list) {
            places->insert(place.native());
        }
    }
    mountPoints_ = std::move(places);
}

/// One guarded run; its silence is the volume's.
template <typename Work>
auto FolderWalk::run(const DiskPath& place, Seconds stallLimit, Work work)
{
    const Patience patience{
        .stallLimit = stallLimit,
        .keepGoing = [&] { return keepGoing_() && !isLate(); },
        .onSilence =
            [&](bool isWaiting) {
                shown_.waitingForDisk = isWaiting;
                show(place);
            },
    };
    auto result = guardedRun(services_.clock, patience, std::move(work));
    // Without a mount point of its own a path says nothing of a volume.
    const std::string volume = volumeKey(place);
    if (result.isStalled() && !isCancelled() && !isLate() && volume != "/" && !isIndirect(place)) {
        silent_.insert(volume);
    }
    return result;
}

void FolderWalk::show(const DiskPath& place)
{
    if (progress_) {
        shown_.place = place.native();
        shown_.libraries = std::ssize(gathered.libraries);
        progress_(shown_);
    }
}

void FolderWalk::addIssue(FindIssue issue)
{
    if (std::ranges::find(gathered.issues, issue) == gathered.issues.end()) {
        gathered.issues.push_back(std::move(issue));
    }
}

std::string FolderWalk::volumeKey(const DiskPath& path) const
{
    for (DiskPath folder = path; folder.has_relative_path(); folder = folder.parent_path()) {
        if (mountPoints_->contains(folder.native())) {
            return folder.native();
        }
    }
    return "/";
}

bool FolderWalk::isSilent(const DiskPath& path) const
{
    return !isIndirect(path) && silent_.contains(volumeKey(path));
}

bool FolderWalk::isIndirect(const DiskPath& path) const
{
    for (DiskPath folder = path; !indirect_.empty() && folder.has_relative_path();
        folder = folder.parent_path()) {
        if (indirect_.contains(folder)) {
            return true;
        }
    }
    return false;
}

WalkEnd FolderWalk::silentEnd() const
{
    if (isCancelled()) {
        return WalkEnd::cancelled;
    }
    return isLate() ? WalkEnd::outOfTime : WalkEnd::silent;
}

/// Mount points are given without links; each component beneath one is looked at in turn. Where a look stays
/// silent before a link was met, it is the volume that is silent.
std::optional<bool> FolderWalk::leadsThroughLinks(const DiskPath& path, Seconds stallLimit)
{
    const auto metLink = std::make_shared<std::atomic<bool>>(false);
    const auto looked = run(path, stallLimit,
        [calls = services_.calls, path, start = DiskPath(volumeKey(path)), metLink](
            const std::shared_ptr<Heartbeat>& heartbeat) {
            DiskPath folder;
            for (const DiskPath& component : path) {
                folder /= component;
                if (heartbeat->gaveUp() || *metLink || folder.native().size() <= start.native().size()) {
                    continue;
                }
                const auto status = calls->status(folder, Links::notFollowed);
                heartbeat->beat();
                *metLink = status && status->type == FileStatus::Type::link;
            }
            return Unit();
        });
    if (*metLink) {
        indirect_.insert(path);
    }
    return looked.isStalled() ? std::nullopt : std::optional(metLink->load());
}

Guarded<FolderWalk::Listed> FolderWalk::listed(const DiskPath& folder, FS::Links links, Seconds stallLimit)
{
    return run(folder, stallLimit,
        [calls = services_.calls, places = mountPoints_, folder, links](
            const std::shared_ptr<Heartbeat>& heartbeat) {
            Listed listed;
            auto opened = calls->openFolder(folder, links);
            if (!opened) {
                listed.list = std::unexpected(FS::listFailureOf(opened.error()));
                return listed;
            }
            heartbeat->beat();
            if (const auto status = (*opened)->statusOf(".")) {
                listed.identity = FolderIdentity::of(*status);
            }
            OwnNames names(*std::move(opened), folder, places);
            FS::ListBox box;
            listed.list = FS::listInto(names, heartbeat.get(), box);
            return listed;
        });
}

std::optional<std::expected<FS::PartialList, FS::ListFailure>> FolderWalk::list(
    const DiskPath& folder, Seconds stallLimit)
{
    auto listing = listed(folder, Links::notFollowed, stallLimit);
    if (listing.isStalled()) {
        return std::nullopt;
    }
    return std::move(listing).value().list;
}

std::optional<FS::Kind> FolderWalk::kind(const DiskPath& path, FS::Links links, Seconds stallLimit)
{
    const auto found =
        run(path, stallLimit, [calls = services_.calls, path, links](const std::shared_ptr<Heartbeat>&) {
            return FS::kind(*calls, path, links);
        });
    return found.isStalled() ? std::nullopt : std::optional(found.value());
}

FolderWalk::Probe FolderWalk::probe(const DiskPath& folder, const std::string& name,
    FoundLibrary::Origin origin, Seconds stallLimit, const SharedFolders& shared)
{
    auto probed = run(folder, stallLimit,
        [calls = services_.calls, folder, origin, shared](const std::shared_ptr<Heartbeat>& heartbeat) {
            return probeFolder(*calls, folder, origin, shared, *heartbeat);
        });
    if (probed.isStalled()) {
        return {.isSilent = true, .folder = {}};
    }
    Probe probe{.isSilent = false, .folder = std::move(probed).value()};
    if (probe.folder.library) {
        probe.folder.library->name = DiskPath(name).stem().native();
        addLibrary(probe.folder, stallLimit);
    }
    return probe;
}

void FolderWalk::addLibrary(ProbedFolder found, Seconds stallLimit)
{
    FoundLibrary library = *std::move(found.library);
    // A folder that refuses a look at itself is known by its path alone.
    const bool isSame = found.kind == FS::Kind::directory
        ? !known_.emplace(found.identity, library.databaseBytes.value_or(-1)).second
        : std::ranges::any_of(
              gathered.libraries, [&](const FoundLibrary& other) { return other.url == library.url; });
    if (isSame) {
        return;
    }
    found.library = library;
    library.volume = volumeOf(found, stallLimit);
    if (found.isRefused) {
        library.accessProblem = accessProblemText(library.volume);
        library.accessAdvice = adviceFor(library.url, stallLimit);
        addIssue({FindIssue::Kind::permissionDenied, *library.accessProblem});
    }
    gathered.libraries.push_back(std::move(library));
    show(gathered.libraries.back().url);
}

std::optional<std::string> FolderWalk::adviceFor(const DiskPath& refused, Seconds stallLimit)
{
    auto advice =
        run(refused, stallLimit, [calls = services_.calls, refused](const std::shared_ptr<Heartbeat>&) {
            return SystemAdvice::refused(*calls, refused);
        });
    return advice.isStalled() ? std::nullopt : std::move(advice).value();
}

std::optional<VolumeInfo> FolderWalk::volumeOf(const ProbedFolder& found, Seconds stallLimit)
{
    const bool isKnown = found.kind == FS::Kind::directory;
    if (const auto known = volumes_.find(found.identity.device); isKnown && known != volumes_.end()) {
        return known->second;
    }
    const DiskPath& path = found.library->url;
    auto info = run(path, stallLimit, [calls = services_.calls, path](const std::shared_ptr<Heartbeat>&) {
        return VolumeInspector(calls).info(path);
    });
    if (info.isStalled()) {
        return std::nullopt;
    }
    if (isKnown) {
        volumes_.emplace(found.identity.device, info.value());
    }
    return std::move(info).value();
}

WalkOutcome FolderWalk::walk(const WalkRoot& root)
{
    Current current{.root = root};
    std::optional<WalkEnd> end;
    if (isCancelled()) {
        end = WalkEnd::cancelled;
    } else if (isSilent(root.path)) {
        end = WalkEnd::silent;
    } else {
        begin(current);
    }
    while (!end && !current.queue.empty()) {
        const Queued folder = std::move(current.queue.front());
        current.queue.pop_front();
        end = search(current, folder);
    }
    sumUp(current);
    current.outcome.end = end.value_or(WalkEnd::whole);
    return current.outcome;
}

void FolderWalk::begin(Current& current)
{
    struct Beginning {
        std::shared_ptr<const VolumeWatch> watch;
        SharedFolders shared;
    };
    const WalkRoot& root = current.root;
    auto beginning = run(root.path, root.stallLimit,
        [calls = services_.calls, path = root.path, isInBackup = root.isInBackup](
            const std::shared_ptr<Heartbeat>& heartbeat) {
            Beginning made{.watch = std::make_shared<const VolumeWatch>(calls, path), .shared = {}};
            heartbeat->beat();
            if (isInBackup) {
                made.shared = SharedFolders::on(*calls, path);
            }
            return made;
        });
    if (!beginning.isStalled()) {
        current.watch = beginning.value().watch;
        current.shared = beginning.value().shared;
    }
    // A stall shows again at the first look at the folder.
    current.queue.push_back({.path = root.path, .name = root.name, .isHome = root.isHome});
}

std::optional<WalkEnd> FolderWalk::limitReached(Current& current)
{
    const WalkRoot& root = current.root;
    if (isCancelled()) {
        return WalkEnd::cancelled;
    }
    if (isSilent(root.path)) {
        return WalkEnd::silent;
    }
    if (isLate()) {
        return WalkEnd::outOfTime;
    }
    if (root.budget && *root.budget == 0) {
        return WalkEnd::tooManyFolders;
    }
    return std::nullopt;
}

std::optional<WalkEnd> FolderWalk::search(Current& current, const Queued& folder)
{
    const WalkRoot& root = current.root;
    if (const auto end = limitReached(current)) {
        return end;
    }
    if (root.budget) {
        --*root.budget;
    }
    ++current.outcome.folders;
    ++shown_.folders;
    show(folder.path);
    if (folder.depth > 0 && folder.depth >= root.maxDepth) {
        return probePackage(current, folder);
    }
    // Only what was named by a person may be a link.
    const auto links = folder.depth == 0 ? Links::followed : Links::notFollowed;
    auto guarded = listed(folder.path, links, root.stallLimit);
    if (guarded.isStalled()) {
        return silentEnd();
    }
    const Listed listing = std::move(guarded).value();
    if (!listing.list) {
        if (listing.list.error().kind != FS::ListFailure::Kind::denied) {
            if (const auto end = lookWhetherGone(current)) {
                return end;
            }
        }
        if (listing.list.error().kind != FS::ListFailure::Kind::missing) {
            noteUnreadable(current, folder, listing.list.error().code);
        }
        return std::nullopt;
    }
    if (listing.identity) {
        const int levels = root.maxDepth - folder.depth;
        const auto [seen, isNew] = seen_.try_emplace(*listing.identity, levels);
        if (!isNew && seen->second >= levels) {
            current.outcome.metAny = current.outcome.metAny || folder.depth == 0;
            return std::nullopt;
        }
        seen->second = levels;
    }
    if (mayBeLibrary(*listing.list)) {
        const Probe probed = probe(folder.path, folder.name, root.origin, root.stallLimit, current.shared);
        if (probed.isSilent) {
            return silentEnd();
        }
        if (probed.folder.library) {
            current.outcome.metAny = true;
            return std::nullopt;
        }
        if (probed.folder.code != 0) { // it may be one
            noteUnreadable(current, folder, probed.folder.code);
        }
    }
    if (listing.list->code != 0) {
        noteUnreadable(current, folder, listing.list->code);
        if (const auto end = listing.list->stoppedEarly ? lookWhetherGone(current) : std::nullopt) {
            return end;
        }
    }
    return searchChildren(current, folder, *listing.list);
}

std::optional<WalkEnd> FolderWalk::searchChildren(
    Current& current, const Queued& folder, const FS::PartialList& list)
{
    const WalkRoot& root = current.root;
    const FolderPlace place{
        .isTop = folder.depth == 0 && !root.isInBackup,
        .isHome = folder.isHome,
        .isSystemVolume = holdsSystem(list),
    };
    if (folder.depth >= root.maxDepth) {
        return std::nullopt;
    }
    std::size_t children = 0;
    for (FS::Entry entry : list.entries) {
        Queued child{
            .path = folder.path / entry.name,
            .name = entry.name,
            .depth = folder.depth + 1,
            .isHome = folder.holdsHomes,
            .holdsHomes = entry.name == "Users" || entry.name == "home",
        };
        if (current.shared.areThere() && entry.kind == FS::Kind::regular && entry.size == 0) {
            auto resolved = run(child.path, root.stallLimit,
                [calls = services_.calls, shared = current.shared, path = child.path](
                    const std::shared_ptr<Heartbeat>&) { return shared.resolved(*calls, path); });
            if (resolved.isStalled()) {
                return silentEnd();
            }
            if (resolved.value() != child.path) {
                child.path = resolved.value();
                entry.kind = FS::Kind::directory;
            }
        }
        switch (useOf(entry, place)) {
        case FolderUse::passedOver:
            break;
        case FolderUse::probed:
            if (current.packages++ >= options_.volumeBudget) {
                return WalkEnd::tooManyFolders;
            }
            if (const auto end = probePackage(current, child)) {
                return end;
            }
            break;
        case FolderUse::probedAsLink:
            if (links_.size() < mostLinks) {
                links_.push_back({.path = child.path, .origin = root.origin});
            }
            break;
        case FolderUse::backupStore:
        case FolderUse::datedBackup:
            if (!root.isInBackup) {
                backups.push_back(child.path);
                current.outcome.metAny = true;
                break;
            }
            [[fallthrough]];
        case FolderUse::walked:
            if (++children <= options_.mostChildren) {
                current.queue.push_back(std::move(child));
            }
            break;
        }
    }
    if (children > options_.mostChildren && ++current.wideFolders <= mostIssues) {
        addIssue(FindTexts::tooManyFolders(folder.name));
    }
    return std::nullopt;
}

std::optional<WalkEnd> FolderWalk::probePackage(Current& current, const Queued& package)
{
    const WalkRoot& root = current.root;
    if (isCancelled()) {
        return WalkEnd::cancelled;
    }
    const Probe probed = probe(package.path, package.name, root.origin, root.stallLimit, current.shared);
    if (probed.isSilent) {
        return silentEnd();
    }
    if (probed.folder.library) {
        current.outcome.metAny = true;
    } else if (probed.folder.kind == FS::Kind::missing) {
        return lookWhetherGone(current);
    } else if (probed.folder.code != 0) {
        noteUnreadable(current, package, probed.folder.code);
        return lookWhetherGone(current);
    } else if (isNamedLikeLibrary(package.name) && ++current.notLibraries <= mostIssues) {
        addIssue(FindTexts::notALibrary(package.name));
    }
    return std::nullopt;
}

std::optional<WalkEnd> FolderWalk::lookWhetherGone(Current& current)
{
    if (!current.watch) {
        return std::nullopt;
    }
    const auto there = run(current.root.path, current.root.stallLimit,
        [watch = current.watch](const std::shared_ptr<Heartbeat>&) { return watch->isStillThere(); });
    if (there.isStalled()) {
        return silentEnd();
    }
    return there.value() ? std::nullopt : std::optional(WalkEnd::gone);
}

void FolderWalk::noteUnreadable(Current& current, const Queued& folder, int code)
{
    if (++current.unreadable <= mostIssues) {
        addIssue(FindTexts::couldNotBeRead(folder.depth == 0 ? folder.name : folder.path.native(), code));
    }
}

void FolderWalk::sumUp(const Current& current)
{
    if (current.unreadable > mostIssues) {
        addIssue(FindTexts::moreCouldNotBeRead(current.root.name, current.unreadable - mostIssues));
    }
    if (current.notLibraries > mostIssues) {
        addIssue(FindTexts::moreAreNoLibraries(current.root.name, current.notLibraries - mostIssues));
    }
}

void FolderWalk::probeLinks()
{
    for (const Link& link : links_) {
        if (isCancelled()) {
            return;
        }
        if (isSilent(link.path)) {
            continue;
        }
        // The volume where the link leads was searched with patience, if it is one that is searched.
        indirect_.insert(link.path);
        const auto probed =
            probe(link.path, link.path.filename().native(), link.origin, DiskPatience::singleLook);
        if (probed.isSilent && !isCancelled()) {
            addIssue(FindTexts::didNotAnswer(link.path.filename().native()));
        }
    }
}

} // namespace vantorel
