#include "disk/PosixCalls.h"

#include <algorithm>
#include <array>
#include <limits>
#include <tuple>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/types.h>
#include <unistd.h>

namespace vantorel {

namespace {

using Nanoseconds = std::chrono::sys_time<std::chrono::nanoseconds>;

constexpr std::size_t mostSystemTextBytes = 16u << 20u; // a mount table of 100,000 lines
constexpr std::size_t mostBytesPerCall = 1u << 30u;     // read and write of more are refused by macOS

/// A damaged or foreign disk may give any 64-bit number of seconds; those beyond 1677 to 2262 stop there.
Nanoseconds timeOf(const timespec& time)
{
    constexpr std::int64_t perSecond = 1'000'000'000;
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max() / perSecond - 1;
    const std::int64_t seconds = std::clamp<std::int64_t>(time.tv_sec, -most, most);
    const std::int64_t rest = std::clamp<std::int64_t>(time.tv_nsec, 0, perSecond - 1);
    return Nanoseconds(std::chrono::nanoseconds(seconds * perSecond + rest));
}

FileStatus::Type typeOf(mode_t mode)
{
    if (S_ISREG(mode)) {
        return FileStatus::Type::regular;
    }
    if (S_ISDIR(mode)) {
        return FileStatus::Type::directory;
    }
    return S_ISLNK(mode) ? FileStatus::Type::link : FileStatus::Type::other;
}

FileStatus fileStatus(const struct stat& status)
{
    return FileStatus{
        .type = typeOf(status.st_mode),
        .size = static_cast<std::int64_t>(status.st_size),
        .modified = timeOf(modifiedOf(status)),
        .accessed = timeOf(accessedOf(status)),
        .device = static_cast<std::uint64_t>(status.st_dev),
        .inode = static_cast<std::uint64_t>(status.st_ino),
        .linkCount = static_cast<std::uint64_t>(status.st_nlink),
        .owner = static_cast<std::uint32_t>(status.st_uid),
        .mode = static_cast<std::uint32_t>(status.st_mode & 07777),
        .contentElsewhere = contentIsElsewhere(status),
    };
}

template <typename Look>
CallResult<FileStatus> lookedAt(Look look)
{
    struct stat status{};
    const auto result = repeated([&] { return look(status); });
    if (!result) {
        return std::unexpected(result.error());
    }
    return fileStatus(status);
}

CallResult<FileStatus> entryStatus(int folder, const std::string& name)
{
    return lookedAt(
        [&](struct stat& status) { return ::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW); });
}

class PosixFolder final : public SystemCalls::Folder {
public:
    explicit PosixFolder(DIR* stream)
        : stream_(stream)
    {
    }
    PosixFolder(const PosixFolder&) = delete;
    PosixFolder& operator=(const PosixFolder&) = delete;
    ~PosixFolder() override { ::closedir(stream_); }

    CallResult<std::optional<std::string>> next() override
    {
        for (;;) {
            errno = 0; // the only way to tell the end of a folder from an error
            const dirent* entry = ::readdir(stream_); // NOLINT(concurrency-mt-unsafe): one thread per stream
            const int code = errno;
            if (entry != nullptr) {
                return std::optional<std::string>(entry->d_name);
            }
            if (code == 0) {
                return std::optional<std::string>();
            }
            if (code != EINTR) {
                return std::unexpected(code);
            }
        }
    }

    CallResult<FileStatus> statusOf(const std::string& name) override
    {
        if (const int code = badComponent(name); code != 0) {
            return std::unexpected(code);
        }
        return entryStatus(::dirfd(stream_), name);
    }

private:
    DIR* stream_;
};

/// Takes the descriptor, also on failure.
CallResult<std::unique_ptr<SystemCalls::Folder>> folderReader(int fd)
{
    DIR* stream = ::fdopendir(fd);
    const int code = errno;
    if (stream == nullptr) {
        ::close(fd);
        return std::unexpected(code);
    }
    return std::make_unique<PosixFolder>(stream);
}

} // namespace

int badPath(const DiskPath& path) { return path.native().find('\0') == std::string::npos ? 0 : EINVAL; }

int badComponent(const std::string& name)
{
    if (name == "..") {
        return EXDEV;
    }
    const bool isOne = !name.empty() && name.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
    return isOne ? 0 : EINVAL;
}

int badRelativePath(const DiskPath& relative)
{
    const std::string& text = relative.native();
    if (text.empty()) {
        return 0;
    }
    if (text.front() == '/') {
        return EXDEV;
    }
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find('/', start), text.size());
        if (const int code = badComponent(text.substr(start, end - start)); code != 0) {
            return code;
        }
        start = end + 1;
    }
    return 0;
}

CallResult<int> PosixCalls::open(const DiskPath& path, int flags, mode_t mode) const
{
    if (const int code = badPath(path); code != 0) {
        return std::unexpected(code);
    }
    return openAnyway(AT_FDCWD, path.c_str(), flags, mode);
}

CallResult<int> PosixCalls::openAt(int folder, const std::string& name, int flags, mode_t mode) const
{
    if (const int code = badComponent(name); code != 0) {
        return std::unexpected(code);
    }
    return openAnyway(folder, name.c_str(), flags | O_NOFOLLOW, mode);
}

CallResult<int> openBeneathStepByStep(int root, const DiskPath& relative, int flags, mode_t mode)
{
    if (const int code = badRelativePath(relative); code != 0) {
        return std::unexpected(code);
    }
    const std::string& text = relative.native();
    int folder = root;
    const auto leave = [&](CallResult<int> result) {
        if (folder != root) {
            ::close(folder);
        }
        return result;
    };
    for (std::size_t start = 0;;) {
        const std::size_t end = std::min(text.find('/', start), text.size());
        const std::string name = text.empty() ? "." : text.substr(start, end - start);
        const bool isLast = end == text.size();
        const auto opened = isLast ? openAnyway(folder, name.c_str(), flags | O_NOFOLLOW, mode)
                                   : openAnyway(folder, name.c_str(), folderOpenFlags() | O_NOFOLLOW, 0);
        if (!opened && opened.error() == ENOTDIR) {
            // A link that is opened as a folder without being followed is only "not a folder" to the system.
            const auto status = entryStatus(folder, name);
            const bool isLink = status && status->type == FileStatus::Type::link;
            return leave(std::unexpected(isLink ? ELOOP : ENOTDIR));
        }
        if (!opened || isLast) {
            return leave(opened);
        }
        std::ignore = leave(opened);
        folder = *opened;
        start = end + 1;
    }
}

CallResult<void> PosixCalls::close(int fd) const
{
    if (::close(fd) == 0) {
        return {};
    }
    const int code = errno;
    if (code == EINTR) {
        return {}; // the descriptor is gone all the same; a second try could close another thread's file
    }
    return std::unexpected(code);
}

CallResult<std::size_t> PosixCalls::read(int fd, std::span<std::byte> into) const
{
    const auto got =
        repeated([&] { return ::read(fd, into.data(), std::min(into.size(), mostBytesPerCall)); });
    if (!got) {
        return std::unexpected(got.error());
    }
    return static_cast<std::size_t>(*got);
}

CallResult<std::size_t> PosixCalls::readAt(int fd, std::span<std::byte> into, std::int64_t offset) const
{
    const auto got = repeated([&] {
        return ::pread(fd, into.data(), std::min(into.size(), mostBytesPerCall), static_cast<off_t>(offset));
    });
    if (!got) {
        return std::unexpected(got.error());
    }
    return static_cast<std::size_t>(*got);
}

CallResult<std::size_t> PosixCalls::write(int fd, std::span<const std::byte> bytes) const
{
    const auto written =
        repeated([&] { return ::write(fd, bytes.data(), std::min(bytes.size(), mostBytesPerCall)); });
    if (!written) {
        return std::unexpected(written.error());
    }
    return static_cast<std::size_t>(*written);
}

CallResult<void> PosixCalls::sync(int fd) const
{
    return repeatedPlain([&] { return ::fsync(fd); });
}

CallResult<FileStatus> PosixCalls::status(const DiskPath& path, Links links) const
{
    if (const int code = badPath(path); code != 0) {
        return std::unexpected(code);
    }
    return lookedAt([&](struct stat& status) {
        return links == Links::followed ? ::stat(path.c_str(), &status) : ::lstat(path.c_str(), &status);
    });
}

CallResult<FileStatus> PosixCalls::statusOf(int fd) const
{
    return lookedAt([&](struct stat& status) { return ::fstat(fd, &status); });
}

CallResult<FileStatus> PosixCalls::statusAt(int folder, const std::string& name) const
{
    if (const int code = badComponent(name); code != 0) {
        return std::unexpected(code);
    }
    return entryStatus(folder, name);
}

CallResult<void> PosixCalls::makeFolderAt(int folder, const std::string& name, mode_t mode) const
{
    if (const int code = badComponent(name); code != 0) {
        return std::unexpected(code);
    }
    return repeatedPlain([&] { return ::mkdirat(folder, name.c_str(), mode); });
}

CallResult<void> PosixCalls::renameAt(
    int fromFolder, const std::string& from, int toFolder, const std::string& to) const
{
    for (const std::string& name : {from, to}) {
        if (const int code = badComponent(name); code != 0) {
            return std::unexpected(code);
        }
    }
    return repeatedPlain([&] { return ::renameat(fromFolder, from.c_str(), toFolder, to.c_str()); });
}

CallResult<void> PosixCalls::renameExclusiveAt(
    int fromFolder, const std::string& from, int toFolder, const std::string& to) const
{
    for (const std::string& name : {from, to}) {
        if (const int code = badComponent(name); code != 0) {
            return std::unexpected(code);
        }
    }
    const auto renamed = renameWithoutReplacing(fromFolder, from.c_str(), toFolder, to.c_str());
    const bool isUnknown = !renamed
        && (renamed.error() == EINVAL || renamed.error() == ENOTSUP || renamed.error() == EOPNOTSUPP
            || renamed.error() == ENOSYS);
    if (!isUnknown) {
        return renamed;
    }
    const auto there = entryStatus(toFolder, to);
    if (there) {
        return std::unexpected(EEXIST);
    }
    if (there.error() != ENOENT) {
        return std::unexpected(there.error());
    }
    return renameAt(fromFolder, from, toFolder, to);
}

CallResult<void> PosixCalls::unlinkAt(int folder, const std::string& name) const
{
    if (const int code = badComponent(name); code != 0) {
        return std::unexpected(code);
    }
    return repeatedPlain([&] { return ::unlinkat(folder, name.c_str(), 0); });
}

CallResult<void> PosixCalls::removeFolderAt(int folder, const std::string& name) const
{
    if (const int code = badComponent(name); code != 0) {
        return std::unexpected(code);
    }
    return repeatedPlain([&] { return ::unlinkat(folder, name.c_str(), AT_REMOVEDIR); });
}

CallResult<void> PosixCalls::setModified(int fd, Nanoseconds modified) const
{
    // Not UTIME_OMIT for the access time: file systems built on older FUSE libraries then set neither time
    // and report success.
    struct stat status{};
    const auto looked = repeatedPlain([&] { return ::fstat(fd, &status); });
    if (!looked) {
        return looked;
    }
    const auto seconds = std::chrono::floor<std::chrono::seconds>(modified);
    const std::array<timespec, 2> times{accessedOf(status),
        timespec{.tv_sec = static_cast<time_t>(seconds.time_since_epoch().count()),
            .tv_nsec = static_cast<long>((modified - seconds).count())}};
    return repeatedPlain([&] { return ::futimens(fd, times.data()); });
}

CallResult<std::unique_ptr<SystemCalls::Folder>> PosixCalls::openFolder(
    const DiskPath& path, Links links) const
{
    const int flags = readOnlyOpenFlags() | O_DIRECTORY;
    const auto fd = open(path, links == Links::followed ? flags & ~O_NOFOLLOW : flags, 0);
    if (!fd) {
        return std::unexpected(fd.error());
    }
    return folderReader(*fd);
}

CallResult<std::unique_ptr<SystemCalls::Folder>> PosixCalls::openFolderOf(int fd) const
{
    auto own = openAnyway(fd, ".", readOnlyOpenFlags() | O_DIRECTORY, 0);
    if (!own && own.error() == EACCES) {
        // A folder that may be read but not entered: a second descriptor of the same opening will do. It
        // shares its place in the listing, so it is set back to the start.
        own = repeated([&] { return ::fcntl(fd, F_DUPFD_CLOEXEC, 0); });
        if (own) {
            ::lseek(*own, 0, SEEK_SET);
        }
    }
    if (!own) {
        return std::unexpected(own.error());
    }
    return folderReader(*own);
}

CallResult<void> PosixCalls::mayWrite(const DiskPath& folder) const
{
    if (const int code = badPath(folder); code != 0) {
        return std::unexpected(code);
    }
    return repeatedPlain([&] { return ::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS); });
}

CallResult<void> PosixCalls::tryLock(int fd) const
{
    return repeatedPlain([&] { return ::flock(fd, LOCK_EX | LOCK_NB); });
}

CallResult<std::string> PosixCalls::systemText(const DiskPath& path) const
{
    const auto fd = open(path, O_RDONLY | O_NONBLOCK, 0);
    if (!fd) {
        return std::unexpected(fd.error());
    }
    std::string text;
    std::array<std::byte, 16'384> buffer{}; // such files have no size of their own
    for (;;) {
        const auto got = read(*fd, buffer);
        const int code = !got ? got.error() : text.size() + *got > mostSystemTextBytes ? EFBIG : 0;
        if (code != 0 || *got == 0) {
            std::ignore = close(*fd); // only read from
            return code != 0 ? CallResult<std::string>(std::unexpected(code)) : std::move(text);
        }
        text.append(reinterpret_cast<const char*>(buffer.data()), *got);
    }
}

} // namespace vantorel
