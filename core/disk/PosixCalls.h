#pragma once

#include "disk/SystemCalls.h"

#include <cerrno>
#include <ctime>
#include <string>

#include <dirent.h>
#include <sys/stat.h>

namespace vantorel {

/// The calls that macOS and Linux share. What differs between them is left to the twin of this class on each
/// system, or to the functions below, which each twin defines once.
class PosixCalls : public SystemCalls {
public:
    CallResult<int> open(const DiskPath& path, int flags, mode_t mode) const override;
    CallResult<int> openAt(int folder, const std::string& name, int flags, mode_t mode) const override;
    CallResult<void> close(int fd) const override;
    CallResult<std::size_t> read(int fd, std::span<std::byte> into) const override;
    CallResult<std::size_t> readAt(int fd, std::span<std::byte> into, std::int64_t offset) const override;
    CallResult<std::size_t> write(int fd, std::span<const std::byte> bytes) const override;
    CallResult<void> sync(int fd) const override;
    CallResult<FileStatus> status(const DiskPath& path, Links links) const override;
    CallResult<FileStatus> statusOf(int fd) const override;
    CallResult<FileStatus> statusAt(int folder, const std::string& name) const override;
    CallResult<void> makeFolderAt(int folder, const std::string& name, mode_t mode) const override;
    CallResult<void> renameAt(
        int fromFolder, const std::string& from, int toFolder, const std::string& to) const override;
    CallResult<void> renameExclusiveAt(
        int fromFolder, const std::string& from, int toFolder, const std::string& to) const override;
    CallResult<void> unlinkAt(int folder, const std::string& name) const override;
    CallResult<void> removeFolderAt(int folder, const std::string& name) const override;
    CallResult<void> setModified(
        int fd, std::chrono::sys_time<std::chrono::nanoseconds> modified) const override;
    CallResult<std::unique_ptr<Folder>> openFolder(const DiskPath& path, Links links) const override;
    CallResult<std::unique_ptr<Folder>> openFolderOf(int fd) const override;
    CallResult<void> mayWrite(const DiskPath& folder) const override;
    CallResult<void> tryLock(int fd) const override;
    CallResult<std::string> systemText(const DiskPath& path) const override;
};

/// Repeats a call that a signal interrupted; otherwise its result, or errno as it left it for -1.
template <typename Call>
auto repeated(Call call) -> CallResult<decltype(call())>
{
    for (;;) {
        const auto result = call();
        if (result != -1) {
            return result;
        }
        const int code = errno;
        if (code != EINTR) {
            return std::unexpected(code);
        }
    }
}

/// The same for a call whose result is only success.
template <typename Call>
CallResult<void> repeatedPlain(Call call)
{
    const auto result = repeated(call);
    if (!result) {
        return std::unexpected(result.error());
    }
    return {};
}

/// 0 where the path can be handed to the kernel as it is; EINVAL for a NUL inside.
int badPath(const DiskPath& path);
/// 0 for one component: EINVAL for none, for more than one and for a NUL, EXDEV for "..".
int badComponent(const std::string& name);
/// 0 for a path that stays beneath its folder by its own words: EXDEV for an absolute one and "..", EINVAL
/// for an empty component or a NUL.
int badRelativePath(const DiskPath& relative);

/// `SystemCalls::openBeneath` by walking the components one by one, each opened with links refused. For
/// systems and file systems without a call that does it at once; a folder that is moved meanwhile still lies
/// beneath the one that it was opened in.
CallResult<int> openBeneathStepByStep(int root, const DiskPath& relative, int flags, mode_t mode);

// Each system defines these.

/// openat with O_CLOEXEC, repeated; drops a wish not to write access times where the system refuses it.
CallResult<int> openAnyway(int folder, const char* path, int flags, mode_t mode);
/// renameat2(RENAME_NOREPLACE), renameatx_np(RENAME_EXCL).
CallResult<void> renameWithoutReplacing(int fromFolder, const char* from, int toFolder, const char* to);
timespec modifiedOf(const struct stat& status);
timespec accessedOf(const struct stat& status);
bool contentIsElsewhere(const struct stat& status);

} // namespace vantorel
