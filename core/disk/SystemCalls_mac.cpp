#include "disk/PosixCalls.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

#include <fcntl.h>
#include <stdio.h>
#include <sys/attr.h>
#include <sys/mount.h>
#include <sys/param.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace vantorel {

namespace {

constexpr std::size_t mostAttributeBytes = 1u << 20u; // a resource fork may be larger; no mark of a file is

CallResult<struct statfs> mountedAt(const DiskPath& path)
{
    if (const int code = badPath(path); code != 0) {
        return std::unexpected(code);
    }
    struct statfs status{};
    const auto looked = repeated([&] { return ::statfs(path.c_str(), &status); });
    if (!looked) {
        return std::unexpected(looked.error());
    }
    return status;
}

/// Both halves, also the sign bits, as they are.
std::uint64_t identifierOf(const struct statfs& status)
{
    static_assert(sizeof(status.f_fsid) == sizeof(std::uint64_t));
    std::uint64_t identifier = 0;
    std::memcpy(&identifier, &status.f_fsid, sizeof identifier);
    return identifier;
}

std::int64_t bytesOf(std::uint64_t blocks, std::uint64_t blockSize)
{
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    const bool isTooMuch = blockSize != 0 && blocks > most / blockSize;
    return static_cast<std::int64_t>(isTooMuch ? most : blocks * blockSize);
}

/// For what the program may not even open for its name. Resolving a link this way may write its access time
/// unless the thread's policy forbids it.
CallResult<DiskPath> resolvedByName(const DiskPath& path)
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

class MacCalls final : public PosixCalls {
public:
    CallResult<int> openBeneath(int root, const DiskPath& relative, int flags, mode_t mode) const override
    {
        if (const int code = badRelativePath(relative); code != 0) {
            return std::unexpected(code);
        }
        const char* path = relative.empty() ? "." : relative.c_str();
        // Not both: the system takes O_NOFOLLOW beside O_NOFOLLOW_ANY for a contradiction.
        const auto fd = openAnyway(root, path, (flags & ~O_NOFOLLOW) | O_NOFOLLOW_ANY, mode);
        if (!fd && (fd.error() == EINVAL || fd.error() == ENOTSUP)) {
            return openBeneathStepByStep(root, relative, flags, mode);
        }
        return fd;
    }

    CallResult<void> fullSync(int fd) const override
    {
        return repeatedPlain([&] { return ::fcntl(fd, F_FULLFSYNC); });
    }

    CallResult<void> setUncached(int fd) const override
    {
        return repeatedPlain([&] { return ::fcntl(fd, F_NOCACHE, 1); });
    }

    CallResult<void> dropCached(int) const override { return {}; } // F_NOCACHE has kept it out of the cache

    CallResult<FileSystemStatus> fileSystemOf(const DiskPath& path) const override
    {
        const auto found = mountedAt(path);
        if (!found) {
            return std::unexpected(found.error());
        }
        return FileSystemStatus{
            .identifier = identifierOf(*found),
            .typeName = found->f_fstypename,
            .mountPoint = found->f_mntonname,
            .device = found->f_mntfromname,
            .blockSize = found->f_bsize,
            .freeBytes = bytesOf(found->f_bavail, found->f_bsize),
            .isReadOnly = (found->f_flags & MNT_RDONLY) != 0,
            .isLocal = (found->f_flags & MNT_LOCAL) != 0,
            .ignoresOwnership = (found->f_flags & MNT_IGNORE_OWNERSHIP) != 0,
        };
    }

    CallResult<std::uint64_t> fileSystemIdentifier(const DiskPath& path) const override
    {
        const auto found = mountedAt(path);
        if (!found) {
            return std::unexpected(found.error());
        }
        return identifierOf(*found);
    }

    CallResult<DiskPath> realPath(const DiskPath& path) const override
    {
        if (const int code = badPath(path); code != 0) {
            return std::unexpected(code);
        }
        const auto fd = repeated([&] { return ::open(path.c_str(), O_EVTONLY | O_NONBLOCK | O_CLOEXEC); });
        if (!fd) {
            return fd.error() == EPERM || fd.error() == EACCES ? resolvedByName(path)
                                                               : std::unexpected(fd.error());
        }
        std::array<char, MAXPATHLEN> name{};
        const auto named = repeated([&] { return ::fcntl(*fd, F_GETPATH, name.data()); });
        ::close(*fd);
        return named ? CallResult<DiskPath>(DiskPath(name.data())) : resolvedByName(path);
    }

    CallResult<std::optional<std::string>> extendedAttribute(
        const DiskPath& path, const std::string& name) const override
    {
        if (badPath(path) != 0 || badPath(DiskPath(name)) != 0) {
            return std::unexpected(EINVAL);
        }
        std::string value(256, '\0');
        for (;;) {
            const auto length = repeated(
                [&] { return ::getxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0, 0); });
            if (length) {
                value.resize(static_cast<std::size_t>(*length));
                return std::optional<std::string>(std::move(value));
            }
            if (length.error() == ENOATTR || length.error() == ENOTSUP || length.error() == EOPNOTSUPP) {
                return std::optional<std::string>();
            }
            if (length.error() != ERANGE || value.size() >= mostAttributeBytes) {
                return std::unexpected(length.error());
            }
            value.resize(mostAttributeBytes);
        }
    }
};

} // namespace

CallResult<int> openAnyway(int folder, const char* path, int flags, mode_t mode)
{
    return repeated([&] { return ::openat(folder, path, flags | O_CLOEXEC, mode); });
}

CallResult<void> renameWithoutReplacing(int fromFolder, const char* from, int toFolder, const char* to)
{
    return repeatedPlain([&] { return ::renameatx_np(fromFolder, from, toFolder, to, RENAME_EXCL); });
}

timespec modifiedOf(const struct stat& status) { return status.st_mtimespec; }

timespec accessedOf(const struct stat& status) { return status.st_atimespec; }

bool contentIsElsewhere(const struct stat& status) { return (status.st_flags & SF_DATALESS) != 0; }

std::shared_ptr<const SystemCalls> realSystemCalls()
{
    static const auto calls = std::make_shared<const MacCalls>();
    return calls;
}

// Access times are kept by the policy that every worker thread sets for itself.
int readOnlyOpenFlags() { return O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC; }

int folderOpenFlags() { return O_SEARCH | O_CLOEXEC; }

int uncachedOpenFlag() { return 0; }

} // namespace vantorel
