#include "disk/Root.h"

#include "disk/PosixCalls.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <tuple>
#include <utility>

#include <fcntl.h>

namespace vantorel {

namespace {

/// Error numbers of a sync that the file system does not know, other than a sync that failed.
bool isUnknownToFileSystem(int code)
{
    constexpr std::array codes{EINVAL, ENOTSUP, EOPNOTSUPP, ENOTTY, ENOSYS}; // two are one on Linux
    return std::ranges::find(codes, code) != codes.end();
}

CallResult<void> writeAll(const SystemCalls& calls, int fd, std::string_view content)
{
    auto rest = std::as_bytes(std::span(content));
    while (!rest.empty()) {
        const auto written = calls.write(fd, rest);
        if (!written) {
            return std::unexpected(written.error());
        }
        if (*written == 0) {
            return std::unexpected(EIO); // no error and no progress: it would never end
        }
        rest = rest.subspan(std::min(*written, rest.size()));
    }
    return {};
}

CallResult<void> writeNewDurably(const Root& root, const DiskPath& relative, std::string_view content)
{
    auto file = root.openFile(relative, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0644);
    if (!file) {
        return std::unexpected(file.error());
    }
    if (const auto written = writeAll(*root.calls(), file->get(), content); !written) {
        return written;
    }
    if (const auto durable = makeDurable(*root.calls(), file->get()); !durable) {
        return durable;
    }
    return file->close();
}

} // namespace

/// The folder that a name stands in, open. The root itself is not opened again.
struct Root::Parent {
    OpenFile opened;
    int folder = -1;
    std::string name;
};

CallResult<std::shared_ptr<const Root>> Root::open(
    std::shared_ptr<const SystemCalls> calls, const DiskPath& path, SystemCalls::Links links)
{
    const int refusing = links == SystemCalls::Links::notFollowed ? O_NOFOLLOW : 0;
    const auto fd = calls->open(path, (readOnlyOpenFlags() & ~O_NOFOLLOW) | O_DIRECTORY | refusing);
    if (!fd) {
        return std::unexpected(fd.error());
    }
    OpenFile folder(calls, *fd);
    return std::shared_ptr<const Root>(new Root(std::move(calls), path, std::move(folder)));
}

Root::Root(std::shared_ptr<const SystemCalls> calls, DiskPath path, OpenFile folder)
    : calls_(std::move(calls))
    , path_(std::move(path))
    , folder_(std::move(folder))
{
}

Root::~Root() = default;

CallResult<Root::Parent> Root::parentOf(const DiskPath& relative) const
{
    if (const int code = badRelativePath(relative); code != 0) {
        return std::unexpected(code);
    }
    const std::string& text = relative.native();
    const std::size_t slash = text.rfind('/');
    std::string name = slash == std::string::npos ? text : text.substr(slash + 1);
    if (name.empty() || name == ".") {
        return std::unexpected(EINVAL); // the folder itself has no name in it
    }
    if (slash == std::string::npos) {
        return Parent{.opened = {}, .folder = folder_.get(), .name = std::move(name)};
    }
    const auto fd = calls_->openBeneath(folder_.get(), text.substr(0, slash), folderOpenFlags());
    if (!fd) {
        return std::unexpected(fd.error());
    }
    return Parent{.opened = OpenFile(calls_, *fd), .folder = *fd, .name = std::move(name)};
}

CallResult<OpenFile> Root::openFile(const DiskPath& relative, int flags, mode_t mode) const
{
    if (const int code = badRelativePath(relative); code != 0) {
        return std::unexpected(code);
    }
    const auto fd = calls_->openBeneath(folder_.get(), relative, flags, mode);
    if (!fd) {
        return std::unexpected(fd.error());
    }
    return OpenFile(calls_, *fd);
}

CallResult<FileStatus> Root::status(const DiskPath& relative) const
{
    if (relative.empty() || relative == ".") {
        return calls_->statusOf(folder_.get());
    }
    const auto parent = parentOf(relative);
    if (!parent) {
        return std::unexpected(parent.error());
    }
    return calls_->statusAt(parent->folder, parent->name);
}

FS::Kind Root::kind(const DiskPath& relative) const
{
    const auto found = status(relative);
    return found ? FS::kindOf(found->type) : FS::kindOfFailure(found.error());
}

std::expected<FS::PartialList, FS::ListFailure> Root::list(
    const DiskPath& relative, Heartbeat* heartbeat, FS::ListBox& box) const
{
    if (relative.empty() || relative == ".") {
        return FS::listOpen(*calls_, folder_.get(), heartbeat, box);
    }
    const auto folder = openFile(relative, readOnlyOpenFlags() | O_DIRECTORY);
    if (!folder) {
        return std::unexpected(FS::listFailureOf(folder.error()));
    }
    return FS::listOpen(*calls_, folder->get(), heartbeat, box);
}

CallResult<void> Root::makeFolder(const DiskPath& relative, mode_t mode) const
{
    const auto parent = parentOf(relative);
    if (!parent) {
        return std::unexpected(parent.error());
    }
    return calls_->makeFolderAt(parent->folder, parent->name, mode);
}

CallResult<void> Root::rename(const DiskPath& from, const DiskPath& to) const
{
    const auto fromParent = parentOf(from);
    if (!fromParent) {
        return std::unexpected(fromParent.error());
    }
    const auto toParent = parentOf(to);
    if (!toParent) {
        return std::unexpected(toParent.error());
    }
    return calls_->renameAt(fromParent->folder, fromParent->name, toParent->folder, toParent->name);
}

CallResult<void> Root::renameExclusive(const DiskPath& from, const DiskPath& to) const
{
    const auto fromParent = parentOf(from);
    if (!fromParent) {
        return std::unexpected(fromParent.error());
    }
    const auto toParent = parentOf(to);
    if (!toParent) {
        return std::unexpected(toParent.error());
    }
    return calls_->renameExclusiveAt(fromParent->folder, fromParent->name, toParent->folder, toParent->name);
}

CallResult<void> Root::unlink(const DiskPath& relative) const
{
    const auto parent = parentOf(relative);
    if (!parent) {
        return std::unexpected(parent.error());
    }
    return calls_->unlinkAt(parent->folder, parent->name);
}

CallResult<void> Root::removeFolder(const DiskPath& relative) const
{
    const auto parent = parentOf(relative);
    if (!parent) {
        return std::unexpected(parent.error());
    }
    return calls_->removeFolderAt(parent->folder, parent->name);
}

CallResult<void> Root::syncFolder(const DiskPath& relative) const
{
    const auto folder = openFile(relative, readOnlyOpenFlags() | O_DIRECTORY);
    if (!folder) {
        return std::unexpected(folder.error());
    }
    const auto synced = makeDurable(*calls_, folder->get());
    const bool cannotSyncFolders = !synced
        && (isUnknownToFileSystem(synced.error()) || synced.error() == EBADF || synced.error() == EISDIR);
    if (cannotSyncFolders) {
        return {};
    }
    return synced;
}

bool isSafeRelativePath(const DiskPath& relative) { return badRelativePath(relative) == 0; }

CallResult<void> makeDurable(const SystemCalls& calls, int fd)
{
    const auto synced = calls.fullSync(fd);
    if (synced || !isUnknownToFileSystem(synced.error())) {
        return synced;
    }
    return calls.sync(fd); // not every file system knows the full one; this is then the most there is
}

CallResult<void> writeDurably(
    const Root& root, const DiskPath& temporary, const DiskPath& final, std::string_view content)
{
    const auto removed = root.unlink(temporary);
    if (!removed && removed.error() != ENOENT) {
        return removed;
    }
    if (const auto written = writeNewDurably(root, temporary, content); !written) {
        std::ignore = root.unlink(temporary); // the writing failed already
        return written;
    }
    if (const auto renamed = root.rename(temporary, final); !renamed) {
        std::ignore = root.unlink(temporary); // likewise
        return renamed;
    }
    return root.syncFolder(final.parent_path());
}

CallResult<std::string> readWhole(
    const Root& root, const DiskPath& relative, std::size_t mostBytes, Heartbeat* heartbeat)
{
    const SystemCalls& calls = *root.calls();
    const auto file = root.openFile(relative, readOnlyOpenFlags());
    if (!file) {
        return std::unexpected(file.error());
    }
    const auto status = calls.statusOf(file->get());
    if (!status) {
        return std::unexpected(status.error());
    }
    if (status->type != FileStatus::Type::regular) {
        return std::unexpected(EINVAL);
    }
    if (status->size > 0 && static_cast<std::uint64_t>(status->size) > mostBytes) {
        return std::unexpected(EFBIG);
    }
    std::string content;
    std::array<std::byte, 65'536> buffer; // NOLINT(*-member-init): filled by each read
    for (;;) {
        if (heartbeat != nullptr && heartbeat->gaveUp()) {
            return std::unexpected(ECANCELED);
        }
        const auto got = calls.read(file->get(), buffer);
        if (!got) {
            return std::unexpected(got.error());
        }
        if (*got == 0) {
            return content;
        }
        if (*got > mostBytes - content.size()) {
            return std::unexpected(EFBIG); // it grew meanwhile
        }
        content.append(reinterpret_cast<const char*>(buffer.data()), *got);
        if (heartbeat != nullptr) {
            heartbeat->beat();
        }
    }
}

} // namespace vantorel
