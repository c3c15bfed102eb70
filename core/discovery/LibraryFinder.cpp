#include "discovery/LibraryFinder.h"

#include "base/Text.h"
#include "base/Unicode.h"
#include "discovery/FolderWalk.h"
#include "discovery/TmutilRoots.h"
#include "discovery/volumes/SystemAdvice.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <tuple>
#include <utility>

namespace vantorel {

namespace {

using Origin = FoundLibrary::Origin;

/// The last component; the path itself where it has none.
std::string nameOf(const DiskPath& path)
{
    return path.has_filename() ? path.filename().native() : path.native();
}

int rank(Origin origin)
{
    switch (origin) {
    case Origin::picked:
        return 0;
    case Origin::home:
        return 1;
    case Origin::volume:
        return 2;
    case Origin::timeMachine:
        return 3;
    }
    std::unreachable();
}

/// By origin, then by name; of one name the newest backup first.
void sort(std::vector<FoundLibrary>& libraries)
{
    std::ranges::stable_sort(libraries, [](const FoundLibrary& a, const FoundLibrary& b) {
        const auto key = [](const FoundLibrary& library) {
            return std::tuple(rank(library.origin), caseFoldedComposed(library.name), library.name);
        };
        const auto [left, right] = std::pair(key(a), key(b));
        if (left != right) {
            return left < right;
        }
        return a.origin == Origin::timeMachine ? b.url < a.url : a.url < b.url;
    });
}

class Search {
public:
    Search(const FinderServices& services, const FinderOptions& options, const SharedCancelToken& cancel,
        const FindProgressCallback& progress)
        : services_(services)
        , options_(options)
        , cancel_(cancel)
        , walk_(services, options, cancel, progress)
    {
    }

    FindResult run()
    {
        for (const DiskPath& pick : options_.picked) {
            searchPick(pick);
        }
        for (const DiskPath& home : options_.homeFolders) {
            searchRoot(home, Origin::home);
        }
        for (const DiskPath& volume : options_.volumeRoots) {
            searchRoot(volume, Origin::volume);
        }
        searchBackups();
        walk_.probeLinks();
        if (options_.lockedVolumeRunner && !walk_.isCancelled()) {
            walk_.show({});
            const auto names = options_.lockedVolumeRunner(cancel_);
            for (const std::string& name : names) {
                walk_.addIssue(FindTexts::locked(name));
            }
            advise(names.empty() ? std::nullopt : SystemAdvice::lockedVolume());
        }
        if (options_.unopenedDiskRunner && !walk_.isCancelled()) {
            for (const UnopenedDisk& disk : options_.unopenedDiskRunner(cancel_)) {
                advise(SystemAdvice::unopened(disk));
            }
        }
        sort(walk_.gathered.libraries);
        return std::move(walk_.gathered);
    }

private:
    void advise(std::optional<std::string> text)
    {
        if (text) {
            walk_.gathered.advice.push_back(*std::move(text));
        }
    }

    void searchPick(const DiskPath& pick)
    {
        if (walk_.isCancelled()) {
            return;
        }
        const std::string name = nameOf(pick);
        if (walk_.isSilent(pick)) {
            addUnreachable(pick, FindTexts::didNotAnswer(name));
            return;
        }
        const bool isSilent = !walk_.leadsThroughLinks(pick, options_.stallTimeout);
        const auto probed = isSilent ? FolderWalk::Probe{.isSilent = true}
                                     : walk_.probe(pick, name, Origin::picked, options_.stallTimeout);
        if (probed.isSilent) {
            if (!walk_.isCancelled()) {
                addUnreachable(pick, FindTexts::didNotAnswer(name));
            }
            return;
        }
        if (probed.folder.library) {
            return;
        }
        switch (probed.folder.kind) {
        case FS::Kind::missing:
            addUnreachable(pick, FindTexts::pickNotThere(name));
            return;
        case FS::Kind::denied:
        case FS::Kind::unavailable:
            addUnreachable(pick, FindTexts::couldNotBeRead(name, probed.folder.code));
            return;
        case FS::Kind::regular:
        case FS::Kind::special:
            walk_.addIssue(FindTexts::notALibrary(name));
            return;
        case FS::Kind::directory:
            searchPickedFolder(pick, name, probed.folder.code);
            return;
        }
    }

    void addUnreachable(const DiskPath& pick, FindIssue issue)
    {
        walk_.gathered.unreachablePicks.push_back(pick);
        walk_.addIssue(std::move(issue));
    }

    void searchPickedFolder(const DiskPath& pick, const std::string& name, int code)
    {
        if (isNamedLikeLibrary(name)) {
            walk_.addIssue(code == 0 ? FindTexts::notALibrary(name) : FindTexts::couldNotBeRead(name, code));
            return;
        }
        if (lowerAscii(name) == "backups.backupdb" || isBackupDate(name)) {
            walk_.backups.push_back(pick);
            return;
        }
        const std::size_t issues = walk_.gathered.issues.size();
        const auto outcome = walk_.walk({
            .path = pick,
            .name = name,
            .origin = Origin::picked,
            .maxDepth = options_.maxVolumeDepth,
            .stallLimit = options_.stallTimeout,
            .budget = std::make_shared<std::size_t>(options_.volumeBudget),
        });
        noteEnd(outcome, name);
        if (outcome.end == WalkEnd::whole && !outcome.metAny && issues == walk_.gathered.issues.size()) {
            walk_.addIssue(FindTexts::notALibrary(name));
        }
    }

    void searchRoot(const DiskPath& root, Origin origin)
    {
        if (walk_.isCancelled()) {
            return;
        }
        const std::string name = nameOf(root);
        const bool isHome = origin == Origin::home;
        const auto links = isHome ? FS::Links::followed : FS::Links::notFollowed;
        const bool isSilent =
            walk_.isSilent(root) || (isHome && !walk_.leadsThroughLinks(root, options_.stallTimeout));
        const auto kind = isSilent ? std::nullopt : walk_.kind(root, links, options_.stallTimeout);
        if (!kind) {
            if (!walk_.isCancelled()) {
                walk_.addIssue(FindTexts::didNotAnswer(name));
            }
            return;
        }
        if (*kind == FS::Kind::missing && !isHome) {
            walk_.addIssue(FindTexts::disconnected(name));
        }
        // A link among the volumes leads to the system volume, which the home folders stand for.
        if (*kind == FS::Kind::missing || *kind == FS::Kind::special || *kind == FS::Kind::regular) {
            return;
        }
        auto& budget = budgets_[walk_.volumeKey(root)];
        if (!budget) {
            budget = std::make_shared<std::size_t>(options_.volumeBudget);
        }
        const auto outcome = walk_.walk({
            .path = root,
            .name = name,
            .origin = origin,
            .maxDepth = options_.maxVolumeDepth,
            .stallLimit = options_.stallTimeout,
            .isHome = isHome,
            .budget = budget,
        });
        noteEnd(outcome, name);
    }

    void noteEnd(const WalkOutcome& outcome, const std::string& name)
    {
        switch (outcome.end) {
        case WalkEnd::whole:
        case WalkEnd::cancelled:
            return;
        case WalkEnd::tooManyFolders:
        case WalkEnd::outOfTime:
            walk_.addIssue(FindTexts::tooManyFolders(name));
            return;
        case WalkEnd::silent:
            walk_.addIssue(
                outcome.folders > 1 ? FindTexts::stoppedAnswering(name) : FindTexts::didNotAnswer(name));
            return;
        case WalkEnd::gone:
            walk_.addIssue(FindTexts::disconnected(name));
            return;
        }
    }

    void searchBackups()
    {
        if (walk_.isCancelled()) {
            return;
        }
        std::vector<DiskPath> roots = options_.timeMachineRoots;
        roots.insert(roots.end(), walk_.backups.begin(), walk_.backups.end());
        if (options_.askTmutil) {
            walk_.show({});
            auto listed = TmutilRoots(services_.children).ask(options_.backups.tmutil, cancel_);
            roots.insert(roots.end(), listed.roots.begin(), listed.roots.end());
            if (listed.issue && !walk_.isCancelled()) {
                walk_.addIssue({FindIssue::Kind::unfinished, *std::move(listed.issue)});
            }
        }
        TimeMachineLocator::Options backups = options_.backups;
        backups.preferredUserName = options_.preferredUserName;
        TimeMachineLocator(std::move(roots), std::move(backups)).locate(walk_);
    }

    const FinderServices& services_;
    const FinderOptions& options_;
    const SharedCancelToken& cancel_;
    FolderWalk walk_;
    /// Of the volumes that home folders and volume roots lie on; what somebody chose has one of its own.
    std::map<std::string, std::shared_ptr<std::size_t>> budgets_;
};

} // namespace

FindResult LibraryFinder::find(const SharedCancelToken& cancel, const FindProgressCallback& progress) const
{
    return Search(services_, options_, cancel, progress).run();
}

std::expected<FoundLibrary, FindIssue> LibraryFinder::inspect(
    const DiskPath& folder, Origin origin, const SharedCancelToken& cancel) const
{
    FolderWalk walk(services_, options_, cancel, {});
    const std::string name = nameOf(folder);
    auto probed = walk.probe(folder, name, origin, options_.stallTimeout);
    if (!walk.gathered.libraries.empty()) {
        return std::move(walk.gathered.libraries.front());
    }
    if (probed.isSilent) {
        return std::unexpected(FindTexts::didNotAnswer(name));
    }
    if (probed.folder.kind == FS::Kind::missing) {
        return std::unexpected(FindTexts::pickNotThere(name));
    }
    if (probed.folder.code != 0) {
        return std::unexpected(FindTexts::couldNotBeRead(name, probed.folder.code));
    }
    return std::unexpected(FindTexts::notALibrary(name));
}

} // namespace vantorel
