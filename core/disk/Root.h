#pragma once

#include "disk/FS.h"
#include "disk/OpenFile.h"
#include "disk/SystemCalls.h"

#include <expected>
#include <memory>
#include <string_view>

namespace vantorel {

/// A folder that is held open, and everything beneath it, reached without ever following a link or leaving
/// it: a library that is read, or an export that is written. Relative paths only ("a/b/c"; "" is the folder
/// itself); "..", an absolute path, an empty component or a NUL gives EXDEV or EINVAL without a call. Shared
/// (`std::shared_ptr<const Root>`), since workers that were given up outlive their callers. All members
/// block.
class Root {
public:
    /// `links` says whether the last component of `path` may be a link; those before it may always be.
    static CallResult<std::shared_ptr<const Root>> open(std::shared_ptr<const SystemCalls> calls,
        const DiskPath& path, SystemCalls::Links links = SystemCalls::Links::followed);
    ~Root();
    Root(const Root&) = delete;
    Root& operator=(const Root&) = delete;

    const DiskPath& path() const { return path_; }
    const std::shared_ptr<const SystemCalls>& calls() const { return calls_; }

    CallResult<OpenFile> openFile(const DiskPath& relative, int flags, mode_t mode = 0) const;
    CallResult<FileStatus> status(const DiskPath& relative) const;
    FS::Kind kind(const DiskPath& relative) const;
    std::expected<FS::PartialList, FS::ListFailure> list(
        const DiskPath& relative, Heartbeat* heartbeat, FS::ListBox& box) const;
    /// One level; EEXIST when something is there.
    CallResult<void> makeFolder(const DiskPath& relative, mode_t mode = 0755) const;
    CallResult<void> rename(const DiskPath& from, const DiskPath& to) const;
    /// EEXIST when something has the name already.
    CallResult<void> renameExclusive(const DiskPath& from, const DiskPath& to) const;
    CallResult<void> unlink(const DiskPath& relative) const;
    /// An empty folder.
    CallResult<void> removeFolder(const DiskPath& relative) const;
    /// Makes the names in a folder durable: fullSync, and sync where that is not known. A file system that
    /// cannot sync folders (EINVAL, ENOTSUP, EBADF, EISDIR) counts as done.
    CallResult<void> syncFolder(const DiskPath& relative) const;

private:
    Root(std::shared_ptr<const SystemCalls> calls, DiskPath path, OpenFile folder);
    struct Parent;
    CallResult<Parent> parentOf(const DiskPath& relative) const;

    std::shared_ptr<const SystemCalls> calls_;
    DiskPath path_;
    OpenFile folder_;
};

/// A relative path that `Root` would take: not absolute, no "..", no empty component but the whole, no NUL.
bool isSafeRelativePath(const DiskPath& relative);

/// fullSync on the descriptor, and sync only where that fails because the file system does not know it.
CallResult<void> makeDurable(const SystemCalls& calls, int fd);

/// Writes a small file whole: `temporary` is created (O_EXCL; a left-over one is removed first), written,
/// made durable, closed, renamed over `final`, and the folder of `final` is synced. On failure the temporary
/// one is removed.
CallResult<void> writeDurably(
    const Root& root, const DiskPath& temporary, const DiskPath& final, std::string_view content);

/// The whole content of a regular file beneath the root; EFBIG above `mostBytes`, EINVAL for what is no
/// regular file.
CallResult<std::string> readWhole(
    const Root& root, const DiskPath& relative, std::size_t mostBytes, Heartbeat* heartbeat = nullptr);

} // namespace vantorel
