#include "disk/TemporaryFiles.h"

#include "disk/OpenFile.h"

#include "base/Text.h"

#include <atomic>
#include <cerrno>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace vantorel {

// vantorel-<uid>/               mode 0700, of this user, not a link
//     run-<uuid>.lock           made and locked first, removed last
//     run-<uuid>/               only ever there together with its lock file
//         <purpose>-<number>/   what makeFolder gives out
//
// A lock file whose name still leads to it and whose lock is free belongs to nobody. One that was unlinked
// between its making and its locking was taken by a sweep, and its maker takes another name.

namespace {

constexpr std::string_view runPrefix = "run-";
constexpr std::string_view lockSuffix = ".lock";
constexpr int mostTries = 16;   // against sweeps that come between the making and the locking
constexpr int deepestTree = 64; // private copies lie two folders deep
constexpr mode_t onlyOwner = 0700;

std::string lockNameOf(const std::string& run) { return run + std::string(lockSuffix); }

/// None for names that are not a run's folder or its lock file.
std::optional<std::string> runOf(std::string_view name)
{
    if (name.ends_with(lockSuffix)) {
        name.remove_suffix(lockSuffix.size());
    }
    if (!name.starts_with(runPrefix) || !isUuid(name.substr(runPrefix.size()))) {
        return std::nullopt;
    }
    return std::string(name);
}

bool lacksLocks(int code)
{
    return code == ENOTSUP || code == EOPNOTSUPP || code == ENOLCK || code == ENOSYS;
}

CallResult<std::vector<std::string>> namesIn(const SystemCalls& calls, int folder)
{
    const auto reader = calls.openFolderOf(folder);
    if (!reader) {
        return std::unexpected(reader.error());
    }
    std::vector<std::string> names;
    for (;;) {
        auto name = (*reader)->next();
        if (!name) {
            return std::unexpected(name.error());
        }
        if (!*name) {
            return names;
        }
        if (**name != "." && **name != "..") {
            names.push_back(*std::move(*name));
        }
    }
}

CallResult<OpenFile> openFolderIn(
    const std::shared_ptr<const SystemCalls>& calls, int folder, const std::string& name)
{
    const auto fd = calls->openAt(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    if (!fd) {
        return std::unexpected(fd.error());
    }
    return OpenFile(calls, *fd);
}

/// Removes a folder with all that is in it; links are removed, never followed. Goes on after a failure, whose
/// number it returns.
CallResult<void> removeTree(
    const std::shared_ptr<const SystemCalls>& calls, int parent, const std::string& name, int depth = 0)
{
    if (depth > deepestTree) {
        return std::unexpected(ELOOP);
    }
    CallResult<void> result;
    {
        const auto folder = openFolderIn(calls, parent, name);
        if (!folder) {
            return std::unexpected(folder.error());
        }
        const auto names = namesIn(*calls, folder->get());
        if (!names) {
            return std::unexpected(names.error());
        }
        for (const std::string& entry : *names) {
            const auto status = calls->statusAt(folder->get(), entry);
            const bool isFolder = status && status->type == FileStatus::Type::directory;
            const auto removed = isFolder ? removeTree(calls, folder->get(), entry, depth + 1)
                                          : calls->unlinkAt(folder->get(), entry);
            if (!removed && removed.error() != ENOENT) {
                result = removed;
            }
        }
    }
    const auto removed = calls->removeFolderAt(parent, name);
    return removed ? result : removed;
}

/// Opens "vantorel-<uid>", made where it is missing. EPERM when something stands there that is not a folder
/// of this user's alone: another user could have put it there to read or to change what is kept in it.
CallResult<OpenFile> openOwnPlace(const std::shared_ptr<const SystemCalls>& calls, const DiskPath& base)
{
    const auto baseFd = calls->open(base, folderOpenFlags());
    if (!baseFd) {
        return std::unexpected(baseFd.error());
    }
    const OpenFile baseFolder(calls, *baseFd);
    const auto user = static_cast<std::uint32_t>(::geteuid());
    const std::string name = "vantorel-" + std::to_string(user);
    const auto made = calls->makeFolderAt(*baseFd, name, onlyOwner);
    if (!made && made.error() != EEXIST) {
        return std::unexpected(made.error());
    }
    auto place = openFolderIn(calls, *baseFd, name);
    if (!place) {
        const int code = place.error();
        return std::unexpected(code == ELOOP || code == ENOTDIR || code == EACCES ? EPERM : code);
    }
    const auto status = calls->statusOf(place->get());
    if (!status) {
        return std::unexpected(status.error());
    }
    const bool isOurs = status->type == FileStatus::Type::directory && status->owner == user
        && (status->mode & 0777) == onlyOwner;
    if (!isOurs) {
        return std::unexpected(EPERM);
    }
    return place;
}

/// Whether the name still leads to the open file.
bool isStillNamed(const SystemCalls& calls, int folder, const std::string& name, int fd)
{
    const auto opened = calls.statusOf(fd);
    const auto named = calls.statusAt(folder, name);
    return opened && named && opened->inode == named->inode && opened->device == named->device;
}

/// A new lock file that this process holds; EAGAIN when a sweep took it first.
CallResult<OpenFile> makeLock(
    const std::shared_ptr<const SystemCalls>& calls, int place, const std::string& name)
{
    const auto fd = calls->openAt(place, name, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    if (!fd) {
        return std::unexpected(fd.error());
    }
    OpenFile file(calls, *fd);
    const auto locked = calls->tryLock(*fd);
    if (!locked && locked.error() == EWOULDBLOCK) {
        return std::unexpected(EAGAIN);
    }
    // Where the file system has no locks nothing is ever swept, so this run is safe without one.
    if (!locked && !lacksLocks(locked.error())) {
        std::ignore = calls->unlinkAt(place, name); // the locking failed already
        return std::unexpected(locked.error());
    }
    if (!isStillNamed(*calls, place, name, *fd)) {
        return std::unexpected(EAGAIN);
    }
    return file;
}

/// Takes the lock of a run that is gone. None: it is alive, or nobody can tell.
std::optional<OpenFile> takeOver(
    const std::shared_ptr<const SystemCalls>& calls, int place, const std::string& lockName)
{
    const auto fd = calls->openAt(place, lockName, O_RDWR | O_NOFOLLOW | O_NONBLOCK);
    if (!fd) {
        return std::nullopt;
    }
    OpenFile file(calls, *fd);
    if (!calls->tryLock(*fd) || !isStillNamed(*calls, place, lockName, *fd)) {
        return std::nullopt;
    }
    return file;
}

} // namespace

struct TemporaryFiles::Lock {
    OpenFile place;
    OpenFile run;
    OpenFile held;
    std::string runName;
    std::atomic<std::uint64_t> folders = 0;
};

CallResult<std::shared_ptr<TemporaryFiles>> TemporaryFiles::create(
    std::shared_ptr<const SystemCalls> calls, const DiskPath& base)
{
    const DiskPath wanted = base.empty() ? systemTemporaryPlace() : base;
    auto place = openOwnPlace(calls, wanted);
    if (!place) {
        return std::unexpected(place.error());
    }
    std::string name;
    CallResult<OpenFile> held = std::unexpected(EAGAIN);
    for (int i = 0; i < mostTries && !held && held.error() == EAGAIN; ++i) {
        name = std::string(runPrefix) + lowerAscii(randomUuid());
        held = makeLock(calls, place->get(), lockNameOf(name));
    }
    if (!held) {
        return std::unexpected(held.error());
    }
    const auto made = calls->makeFolderAt(place->get(), name, onlyOwner);
    auto run = made ? openFolderIn(calls, place->get(), name) : std::unexpected(made.error());
    if (!run) {
        std::ignore = calls->removeFolderAt(place->get(), name); // the making failed already
        std::ignore = calls->unlinkAt(place->get(), lockNameOf(name));
        return std::unexpected(run.error());
    }
    const auto real = calls->realPath(wanted); // links above may change; the folder is then named as it is
    std::shared_ptr<TemporaryFiles> files(new TemporaryFiles());
    files->base_ = (real ? *real : wanted) / ("vantorel-" + std::to_string(::geteuid()));
    files->folder_ = files->base_ / name;
    files->calls_ = std::move(calls);
    files->lock_ = std::make_unique<Lock>();
    files->lock_->place = std::move(*place);
    files->lock_->run = std::move(*run);
    files->lock_->held = std::move(*held);
    files->lock_->runName = name;
    return files;
}

TemporaryFiles::~TemporaryFiles()
{
    // What stays is found by the next sweep: its lock file stays with it, and is free.
    if (removeTree(calls_, lock_->place.get(), lock_->runName)) {
        std::ignore = calls_->unlinkAt(lock_->place.get(), lockNameOf(lock_->runName)); // swept later
    }
}

CallResult<DiskPath> TemporaryFiles::makeFolder(const std::string& purpose)
{
    std::string stem;
    for (const char c : purpose) {
        const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        stem.push_back(isPlain ? c : '-');
    }
    const std::string name = stem + "-" + std::to_string(++lock_->folders);
    const auto made = calls_->makeFolderAt(lock_->run.get(), name, onlyOwner);
    if (!made) {
        return std::unexpected(made.error());
    }
    return folder_ / name;
}

void TemporaryFiles::remove(const DiskPath& folder)
{
    const std::string name = folder.filename().native();
    if (folder.parent_path() != folder_ || name.empty() || name == "." || name == "..") {
        return; // not one that makeFolder gave out
    }
    std::ignore = removeTree(calls_, lock_->run.get(), name); // goes with the run's folder, or in a sweep
}

int TemporaryFiles::sweepStaleTemporaryFiles()
{
    const int place = lock_->place.get();
    const auto names = namesIn(*calls_, place);
    if (!names) {
        return 0;
    }
    int swept = 0;
    for (const std::string& name : *names) {
        const auto run = runOf(name);
        if (!run || *run == lock_->runName) {
            continue;
        }
        if (!name.ends_with(lockSuffix)) {
            // A folder has a lock file for as long as it lives; without one it was left half removed.
            const auto lock = calls_->statusAt(place, lockNameOf(*run));
            const bool isOrphan = !lock && lock.error() == ENOENT;
            if (isOrphan && removeTree(calls_, place, *run)) {
                ++swept;
            }
            continue;
        }
        const auto taken = takeOver(calls_, place, name);
        if (!taken) {
            continue;
        }
        const auto removed = removeTree(calls_, place, *run);
        if (removed) {
            ++swept;
        }
        if (removed || removed.error() == ENOENT) {
            std::ignore = calls_->unlinkAt(place, name); // stays for the next sweep
        }
    }
    return swept;
}

} // namespace vantorel
