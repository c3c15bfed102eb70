#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vantorel {

/// A place on a disk: bytes, never converted. Only carried and joined; its own I/O functions are not used.
using DiskPath = std::filesystem::path;

/// The result of one system call, or the errno value that it failed with. EINTR never comes out.
template <typename T>
using CallResult = std::expected<T, int>;

/// What lstat, stat, fstat and fstatat say.
struct FileStatus {
    enum class Type { regular, directory, link, other };

    Type type = Type::other;
    std::int64_t size = 0; ///< Bytes.
    std::chrono::sys_time<std::chrono::nanoseconds> modified{};
    std::chrono::sys_time<std::chrono::nanoseconds> accessed{};
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t linkCount = 1;
    std::uint32_t owner = 0; ///< User id.
    std::uint32_t mode = 0;  ///< Permission bits.
    bool contentElsewhere =
        false; ///< A cloud file whose content is not on this machine (macOS: SF_DATALESS).

    bool operator==(const FileStatus&) const = default;
};

/// What statfs and statvfs say about the file system that a path lies on.
struct FileSystemStatus {
    std::uint64_t identifier = 0; ///< f_fsid, both halves; on Linux mixed with the device and the mount.
    std::string typeName{};       ///< "apfs", "ext4", "vfat", ... (Linux: from mountinfo).
    std::string mountPoint{};
    std::string device{};        ///< "/dev/sdb1", "//server/share", ...
    std::uint32_t blockSize = 0; ///< Bytes: the unit in which space is given out.
    std::int64_t freeBytes = 0;  ///< For an ordinary user.
    bool isReadOnly = false;
    bool isLocal = true;
    bool ignoresOwnership = false;

    bool operator==(const FileSystemStatus&) const = default;
};

/// The one narrow way to files. Everything in the core goes through it (SQLite's own I/O on private copies
/// excepted), so that a test can make the n-th call fail, hang, return short, run out of space, or lose the
/// power.
///
/// Thread-safe; handed on as `std::shared_ptr<const SystemCalls>`, since a worker that hangs in a call
/// outlives its caller. Descriptors are plain numbers owned by the classes above (`OpenFile`, `Root`,
/// `FolderReader`). All opens add O_CLOEXEC.
class SystemCalls {
public:
    /// An open folder being read.
    class Folder {
    public:
        virtual ~Folder() = default;
        /// The next name ("." and ".." too), none at the end, or the error that ended it.
        virtual CallResult<std::optional<std::string>> next() = 0;
        /// The status of an entry, links not followed.
        virtual CallResult<FileStatus> statusOf(const std::string& name) = 0;
    };
    enum class Links { notFollowed, followed };

    virtual ~SystemCalls() = default;

    virtual CallResult<int> open(const DiskPath& path, int flags, mode_t mode = 0) const = 0;
    /// One component in an open folder, links not followed.
    virtual CallResult<int> openAt(int folder, const std::string& name, int flags, mode_t mode = 0) const = 0;
    /// A relative path beneath an open folder: no component may be a link or lead out (openat2 with
    /// RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS, O_NOFOLLOW_ANY, or component by component). A link gives ELOOP,
    /// ".." or an absolute path EXDEV. "" and "." mean the folder itself.
    virtual CallResult<int> openBeneath(
        int root, const DiskPath& relative, int flags, mode_t mode = 0) const = 0;
    virtual CallResult<void> close(int fd) const = 0;
    virtual CallResult<std::size_t> read(int fd, std::span<std::byte> into) const = 0;
    virtual CallResult<std::size_t> readAt(int fd, std::span<std::byte> into, std::int64_t offset) const = 0;
    virtual CallResult<std::size_t> write(int fd, std::span<const std::byte> bytes) const = 0;
    /// To the drive, as far as fsync goes.
    virtual CallResult<void> sync(int fd) const = 0;
    /// To the medium: F_FULLFSYNC where there is one (ENOTSUP, ENOTTY, EINVAL where the file system has
    /// none); on Linux the same as `sync`, which flushes the drive's cache too.
    virtual CallResult<void> fullSync(int fd) const = 0;
    /// Reads and writes past the cache from now on (F_NOCACHE). ENOTSUP where only `dropCached` helps
    /// (Linux).
    virtual CallResult<void> setUncached(int fd) const = 0;
    /// Drops what the system caches of a file that was synced (posix_fadvise DONTNEED; nothing to do on
    /// macOS).
    virtual CallResult<void> dropCached(int fd) const = 0;
    virtual CallResult<FileStatus> status(const DiskPath& path, Links links) const = 0;
    virtual CallResult<FileStatus> statusOf(int fd) const = 0;
    /// Status of one component in an open folder, links not followed.
    virtual CallResult<FileStatus> statusAt(int folder, const std::string& name) const = 0;
    virtual CallResult<void> makeFolderAt(int folder, const std::string& name, mode_t mode) const = 0;
    virtual CallResult<void> renameAt(
        int fromFolder, const std::string& from, int toFolder, const std::string& to) const = 0;
    /// Fails with EEXIST where something has the name (renameat2 RENAME_NOREPLACE, renameatx_np RENAME_EXCL);
    /// where the file system cannot (EINVAL, ENOTSUP, ENOSYS), a look at the name and a plain rename, which
    /// is the most there is.
    virtual CallResult<void> renameExclusiveAt(
        int fromFolder, const std::string& from, int toFolder, const std::string& to) const = 0;
    virtual CallResult<void> unlinkAt(int folder, const std::string& name) const = 0;
    virtual CallResult<void> removeFolderAt(int folder, const std::string& name) const = 0;
    virtual CallResult<void> setModified(
        int fd, std::chrono::sys_time<std::chrono::nanoseconds> modified) const = 0;
    /// Opens for listing (O_RDONLY | O_DIRECTORY, O_NOATIME where allowed, then fdopendir). Takes a
    /// descriptor of its own from `fd`; the caller keeps `fd`.
    virtual CallResult<std::unique_ptr<Folder>> openFolder(const DiskPath& path, Links links) const = 0;
    virtual CallResult<std::unique_ptr<Folder>> openFolderOf(int fd) const = 0;
    virtual CallResult<FileSystemStatus> fileSystemOf(const DiskPath& path) const = 0;
    /// A cheap look whether the same file system is still there: its identifier alone.
    virtual CallResult<std::uint64_t> fileSystemIdentifier(const DiskPath& path) const = 0;
    /// All links resolved, without writing access times.
    virtual CallResult<DiskPath> realPath(const DiskPath& path) const = 0;
    /// An extended attribute; on Linux the prefixes "user." and "osx." are tried too. None: there is no such
    /// one.
    virtual CallResult<std::optional<std::string>> extendedAttribute(
        const DiskPath& path, const std::string& name) const = 0;
    /// Whether this process may write into the folder (faccessat with effective ids; EACCES, EROFS, ...).
    virtual CallResult<void> mayWrite(const DiskPath& folder) const = 0;
    /// Exclusive lock on an open file without waiting (flock); EWOULDBLOCK when another process holds it.
    virtual CallResult<void> tryLock(int fd) const = 0;
    /// Small plain files of the system (/proc, /sys): the whole content.
    virtual CallResult<std::string> systemText(const DiskPath& path) const = 0;
};

/// The real calls of this system.
std::shared_ptr<const SystemCalls> realSystemCalls();

/// Flags that every open for reading in a library uses: read-only, never waiting (a pipe), no link as last
/// component, no access-time update where that is allowed.
int readOnlyOpenFlags();
/// Flags that open a folder only as a place beneath which other names are looked up: the right to list it is
/// not needed, nothing can be read through the descriptor.
int folderOpenFlags();
/// To be added for reading a file past the cache from its opening on: O_DIRECT on Linux, where buffer, offset
/// and length are then multiples of 4,096 and some file systems refuse (EINVAL); 0 on macOS, where
/// `setUncached` does it.
int uncachedOpenFlag();

} // namespace vantorel
