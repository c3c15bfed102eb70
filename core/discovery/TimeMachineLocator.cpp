#include "discovery/TimeMachineLocator.h"

#include "base/Text.h"
#include "discovery/FolderRules.h"
#include "discovery/FolderWalk.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace vantorel {

namespace {

constexpr int levelsToHome = 3; // volume, "Users", name

bool isOneComponent(std::string_view name)
{
    return !name.empty() && name != "." && name != ".." && !name.contains('/') && !name.contains('\0');
}

bool isStore(const DiskPath& path) { return lowerAscii(path.filename().native()) == "backups.backupdb"; }

} // namespace

struct TimeMachineLocator::Run {
    FolderWalk& walk;
    const Options& options;
    std::vector<DiskPath> backups{};
    std::set<std::string> said{}; ///< Backups of which something was said already.

    bool isOver() const { return walk.isCancelled() || walk.isLate(); }

    /// The folders in one; what is in the way of reading it is said.
    std::vector<DiskPath> foldersIn(const DiskPath& folder)
    {
        std::vector<DiskPath> folders;
        if (isOver() || walk.isSilent(folder)) {
            return folders;
        }
        const auto list = walk.list(folder, options.directoryTimeout);
        if (!list) {
            noteEnd(WalkEnd::silent, folder);
        } else if (!*list) {
            if (list->error().kind != FS::ListFailure::Kind::missing) {
                noteUnreadable(folder, list->error().code);
            }
        } else {
            if ((*list)->code != 0) {
                noteUnreadable(folder, (*list)->code);
            }
            for (const FS::Entry& entry : (*list)->entries) {
                if (entry.kind == FS::Kind::directory && !entry.name.starts_with('.')) {
                    folders.push_back(folder / entry.name);
                }
            }
        }
        return folders;
    }

    void noteUnreadable(const DiskPath& folder, int code)
    {
        if (said.insert(folder.native()).second) {
            walk.addIssue(FindTexts::couldNotBeRead(folder.filename().native(), code));
        }
    }

    /// A store holds a folder for each computer, and that one for each date.
    void addBackups(const DiskPath& root)
    {
        if (!isStore(root)) {
            backups.push_back(root);
            return;
        }
        for (const DiskPath& computer : foldersIn(root)) {
            if (isBackupDate(computer.filename().native())) {
                backups.push_back(computer);
                continue;
            }
            for (const DiskPath& dated : foldersIn(computer)) {
                if (isBackupDate(dated.filename().native())) {
                    backups.push_back(dated);
                }
            }
        }
    }

    void search(const DiskPath& folder, int maxDepth, bool isHome)
    {
        const auto outcome = walk.walk({
            .path = folder,
            .name = folder.filename().native(),
            .origin = FoundLibrary::Origin::timeMachine,
            .maxDepth = maxDepth,
            .stallLimit = options.directoryTimeout,
            .isHome = isHome,
            .isInBackup = true,
        });
        noteEnd(outcome.end, folder);
    }

    void noteEnd(WalkEnd end, const DiskPath& folder)
    {
        switch (end) {
        case WalkEnd::whole:
        case WalkEnd::cancelled:
            return;
        case WalkEnd::gone:
            walk.addIssue(FindTexts::disconnected(folder.filename().native()));
            return;
        case WalkEnd::tooManyFolders:
        case WalkEnd::outOfTime:
        case WalkEnd::silent:
            if (!walk.isCancelled()) {
                walk.addIssue(FindTexts::backupsTookTooLong());
            }
            return;
        }
    }

    /// A snapshot that is opened by itself may hold its dated folder once more.
    void searchPreferredHomes(const DiskPath& backup, int level)
    {
        for (const DiskPath& folder : foldersIn(backup)) {
            if (isOver()) {
                return;
            }
            if (level == 0 && isBackupDate(folder.filename().native())) {
                searchPreferredHomes(folder, level + 1);
                continue;
            }
            const DiskPath home = folder / "Users" / options.preferredUserName;
            const auto kind = walk.kind(home, FS::Links::notFollowed, options.directoryTimeout);
            if (kind == FS::Kind::directory) {
                search(home, std::max(1, options.maxDepth - levelsToHome), true);
            }
        }
    }
};

void TimeMachineLocator::locate(FolderWalk& walk) const
{
    const auto total = std::chrono::duration_cast<std::chrono::nanoseconds>(options_.total);
    walk.deadline = walk.uptime() + total;
    Run run{.walk = walk, .options = options_};
    for (const DiskPath& root : roots_) {
        run.addBackups(root);
    }
    // The newest first, whatever the disk.
    std::ranges::sort(run.backups, [](const DiskPath& a, const DiskPath& b) {
        return std::pair(a.filename(), a) > std::pair(b.filename(), b);
    });
    const auto same = std::ranges::unique(run.backups);
    run.backups.erase(same.begin(), same.end());

    if (isOneComponent(options_.preferredUserName)) {
        for (const DiskPath& backup : run.backups) {
            if (!run.isOver()) {
                run.searchPreferredHomes(backup, 0);
            }
        }
    }
    for (const DiskPath& backup : run.backups) {
        run.search(backup, options_.maxDepth, false);
    }
    walk.deadline.reset();
}

} // namespace vantorel
