#include "disk/MountTable.h"
#include "disk/PosixCalls.h"

#include "base/Text.h"

#include <array>
#include <cstdio>
#include <limits>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace vantorel {

namespace {

// A mount id that is never given out twice (kernel 6.8); the older one is used again after an unmount.
constexpr unsigned int uniqueMountId = 0x4000;
constexpr int mostTriesAgainstRenames = 16;         // openat2 gives EAGAIN while folders above are renamed
constexpr std::size_t mostAttributeBytes = 65'536;  // XATTR_SIZE_MAX
constexpr std::size_t mostLinkTargetBytes = 65'536; // far above PATH_MAX: /proc shows what the kernel holds

CallResult<int> openat2(int folder, const char* path, int flags, mode_t mode)
{
    open_how how{};
    how.flags = static_cast<unsigned int>(flags | O_CLOEXEC);
    how.mode = (flags & O_CREAT) != 0 ? mode & 07777 : 0; // refused where nothing can be created
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
    const auto fd = repeated([&] { return ::syscall(SYS_openat2, folder, path, &how, sizeof how); });
    if (!fd) {
        return std::unexpected(fd.error());
    }
    return static_cast<int>(*fd);
}

/// The kernel may lack the call, and a sandbox may forbid it (ENOSYS or EPERM, whatever is opened).
bool hasOpenat2()
{
    static const bool isThere = [] {
        const auto fd = openat2(AT_FDCWD, ".", O_PATH | O_DIRECTORY, 0);
        if (fd) {
            ::close(*fd);
        }
        return fd || (fd.error() != ENOSYS && fd.error() != EPERM && fd.error() != EINVAL);
    }();
    return isThere;
}

CallResult<struct statx> extendedStatus(const DiskPath& path, unsigned int wanted)
{
    struct statx status{};
    const auto looked = repeated([&] { return ::statx(AT_FDCWD, path.c_str(), 0, wanted, &status); });
    if (!looked) {
        return std::unexpected(looked.error());
    }
    return status;
}

CallResult<struct statvfs> spaceOf(const DiskPath& path)
{
    struct statvfs space{};
    const auto looked = repeated([&] { return ::statvfs(path.c_str(), &space); });
    if (!looked) {
        return std::unexpected(looked.error());
    }
    return space;
}

std::uint64_t mixed(std::uint64_t seed, std::uint64_t value)
{
    // The finishing steps of a common 64-bit hash: every bit of the input reaches every bit of the result.
    std::uint64_t bits = seed ^ (value + 0x9e3779b97f4a7c15u + (seed << 6u) + (seed >> 2u));
    bits = (bits ^ (bits >> 30u)) * 0xbf58476d1ce4e5b9u;
    bits = (bits ^ (bits >> 27u)) * 0x94d049bb133111ebu;
    return bits ^ (bits >> 31u);
}

/// f_fsid alone will not do: it is 0 on some file systems and only the device's number on others, which the
/// next disk in the same port gets again.
CallResult<std::uint64_t> identifierOf(const DiskPath& path, const struct statvfs& space)
{
    const auto status = extendedStatus(path, STATX_BASIC_STATS | STATX_MNT_ID | uniqueMountId);
    if (!status) {
        return std::unexpected(status.error());
    }
    const std::uint64_t device = ::makedev(status->stx_dev_major, status->stx_dev_minor);
    return mixed(mixed(mixed(0, device), status->stx_mnt_id), space.f_fsid);
}

std::int64_t bytesOf(std::uint64_t blocks, std::uint64_t blockSize)
{
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    const bool isTooMuch = blockSize != 0 && blocks > most / blockSize;
    return static_cast<std::int64_t>(isTooMuch ? most : blocks * blockSize);
}

CallResult<std::string> linkTarget(const std::string& link)
{
    std::string target(1'024, '\0');
    for (;;) {
        const auto length = repeated([&] { return ::readlink(link.c_str(), target.data(), target.size()); });
        if (!length) {
            return std::unexpected(length.error());
        }
        if (static_cast<std::size_t>(*length) < target.size()) {
            target.resize(static_cast<std::size_t>(*length));
            return target;
        }
        if (target.size() >= mostLinkTargetBytes) {
            return std::unexpected(ENAMETOOLONG);
        }
        target.resize(target.size() * 2);
    }
}

class LinuxCalls final : public PosixCalls {
public:
    CallResult<int> openBeneath(int root, const DiskPath& relative, int flags, mode_t mode) const override
    {
        if (!hasOpenat2()) {
            return openBeneathStepByStep(root, relative, flags, mode);
        }
        // RESOLVE_BENEATH would allow "a/../b".
        if (const int code = badRelativePath(relative); code != 0) {
            return std::unexpected(code);
        }
        const char* path = relative.empty() ? "." : relative.c_str();
        // With O_NOFOLLOW a link in the last place would be opened as such or taken for "no folder".
        flags &= ~O_NOFOLLOW;
        CallResult<int> fd = std::unexpected(EAGAIN);
        for (int i = 0; i < mostTriesAgainstRenames && !fd && fd.error() == EAGAIN; ++i) {
            fd = openat2(root, path, flags, mode);
        }
        if (!fd && fd.error() == EPERM && (flags & O_NOATIME) != 0) {
            return openBeneath(root, relative, flags & ~O_NOATIME, mode);
        }
        if (!fd && fd.error() == EAGAIN) {
            return openBeneathStepByStep(root, relative, flags, mode);
        }
        return fd;
    }

    CallResult<void> fullSync(int fd) const override { return sync(fd); }

    CallResult<void> setUncached(int) const override { return std::unexpected(ENOTSUP); }

    CallResult<void> dropCached(int fd) const override
    {
        // Returns the error instead of setting errno; there is nothing to repeat.
        const int code = ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
        if (code != 0) {
            return std::unexpected(code);
        }
        return {};
    }

    CallResult<FileSystemStatus> fileSystemOf(const DiskPath& path) const override
    {
        if (const int code = badPath(path); code != 0) {
            return std::unexpected(code);
        }
        const auto space = spaceOf(path);
        if (!space) {
            return std::unexpected(space.error());
        }
        const auto identifier = identifierOf(path, *space);
        if (!identifier) {
            return std::unexpected(identifier.error());
        }
        FileSystemStatus status{
            .identifier = *identifier,
            .blockSize = static_cast<std::uint32_t>(space->f_frsize),
            .freeBytes = bytesOf(space->f_bavail, space->f_frsize),
            .isReadOnly = (space->f_flag & ST_RDONLY) != 0,
        };
        // Without /proc what only it tells stays empty.
        const auto table = systemText("/proc/self/mountinfo");
        const auto mounts = parseMountTable(table ? *table : std::string());
        const auto real = realPath(path);
        const Mount* mount = mountOf(mounts, mountIdOf(path), real ? real->native() : path.native());
        if (mount != nullptr) {
            status.typeName = mount->typeName;
            status.mountPoint = mount->mountPoint;
            status.device = mount->device;
            status.isLocal = !isNetworkFileSystem(mount->typeName);
            status.ignoresOwnership = ignoresOwnership(*mount);
        }
        return status;
    }

    CallResult<std::uint64_t> fileSystemIdentifier(const DiskPath& path) const override
    {
        if (const int code = badPath(path); code != 0) {
            return std::unexpected(code);
        }
        const auto space = spaceOf(path);
        if (!space) {
            return std::unexpected(space.error());
        }
        return identifierOf(path, *space);
    }

    CallResult<DiskPath> realPath(const DiskPath& path) const override
    {
        if (const int code = badPath(path); code != 0) {
            return std::unexpected(code);
        }
        // O_PATH touches no access time but those of links on the way.
        const auto fd = repeated([&] { return ::open(path.c_str(), O_PATH | O_CLOEXEC); });
        if (!fd) {
            return std::unexpected(fd.error());
        }
        const auto target = linkTarget("/proc/self/fd/" + std::to_string(*fd));
        const auto opened = statusOf(*fd);
        ::close(*fd);
        if (!opened) {
            return std::unexpected(opened.error());
        }
        if (!target) {
            return realPathWithoutProc(path);
        }
        // A file that was removed meanwhile is shown as "NAME (deleted)", one outside of our root in another
        // way.
        const auto there = status(*target, Links::notFollowed);
        if (!there || there->device != opened->device || there->inode != opened->inode) {
            return std::unexpected(ENOENT);
        }
        return DiskPath(*target);
    }

    CallResult<std::optional<std::string>> extendedAttribute(
        const DiskPath& path, const std::string& name) const override
    {
        if (badPath(path) != 0 || badPath(DiskPath(name)) != 0) {
            return std::unexpected(EINVAL);
        }
        // The name as it is (trusted readers show it so), as copies made on Linux carry it, as hfsplus shows
        // it.
        for (const std::string& known : {name, "user." + name, "osx." + name}) {
            auto value = attribute(path, known);
            const bool isAbsent = !value
                && (value.error() == ENODATA || value.error() == ENOTSUP || value.error() == EOPNOTSUPP);
            if (value) {
                return std::optional<std::string>(std::move(*value));
            }
            if (!isAbsent) {
                return std::unexpected(value.error());
            }
        }
        return std::optional<std::string>();
    }

private:
    static CallResult<std::string> attribute(const DiskPath& path, const std::string& name)
    {
        std::string value(256, '\0');
        for (;;) {
            const auto length =
                repeated([&] { return ::getxattr(path.c_str(), name.c_str(), value.data(), value.size()); });
            if (length) {
                value.resize(static_cast<std::size_t>(*length));
                return value;
            }
            if (length.error() != ERANGE || value.size() >= mostAttributeBytes) {
                return std::unexpected(length.error());
            }
            value.resize(mostAttributeBytes);
        }
    }

    /// The id that mountinfo shows. Kernels before 5.8 tell it only for a descriptor.
    std::optional<std::uint64_t> mountIdOf(const DiskPath& path) const
    {
        const auto status = extendedStatus(path, STATX_MNT_ID);
        if (status && (status->stx_mask & STATX_MNT_ID) != 0) {
            return status->stx_mnt_id;
        }
        const auto fd = repeated([&] { return ::open(path.c_str(), O_PATH | O_CLOEXEC); });
        if (!fd) {
            return std::nullopt;
        }
        const auto text = systemText("/proc/self/fdinfo/" + std::to_string(*fd));
        ::close(*fd);
        constexpr std::string_view label = "mnt_id:\t";
        const std::size_t start = text ? text->find(label) : std::string::npos;
        if (start == std::string::npos) {
            return std::nullopt;
        }
        const std::string_view rest = std::string_view(*text).substr(start + label.size());
        return parseInteger<std::uint64_t>(rest.substr(0, rest.find('\n')));
    }

    static CallResult<DiskPath> realPathWithoutProc(const DiskPath& path)
    {
        char* resolved = ::realpath(path.c_str(), nullptr);
        const int code = errno;
        if (resolved == nullptr) {
            return std::unexpected(code);
        }
        DiskPath result(resolved);
        std::free(resolved); // NOLINT(cppcoreguidelines-no-malloc): realpath's own
        return result;
    }
};

} // namespace

CallResult<int> openAnyway(int folder, const char* path, int flags, mode_t mode)
{
    const auto fd = repeated([&] { return ::openat(folder, path, flags | O_CLOEXEC, mode); });
    // O_NOATIME is for the file's owner and root alone.
    if (!fd && fd.error() == EPERM && (flags & O_NOATIME) != 0) {
        return openAnyway(folder, path, flags & ~O_NOATIME, mode);
    }
    return fd;
}

CallResult<void> renameWithoutReplacing(int fromFolder, const char* from, int toFolder, const char* to)
{
    return repeatedPlain([&] { return ::renameat2(fromFolder, from, toFolder, to, RENAME_NOREPLACE); });
}

timespec modifiedOf(const struct stat& status) { return status.st_mtim; }

timespec accessedOf(const struct stat& status) { return status.st_atim; }

bool contentIsElsewhere(const struct stat&) { return false; } // no Linux file system tells so in its status

std::shared_ptr<const SystemCalls> realSystemCalls()
{
    static const auto calls = std::make_shared<const LinuxCalls>();
    return calls;
}

int readOnlyOpenFlags() { return O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC | O_NOATIME; }

int folderOpenFlags() { return O_PATH | O_DIRECTORY | O_CLOEXEC; }

int uncachedOpenFlag() { return O_DIRECT; }

} // namespace vantorel
