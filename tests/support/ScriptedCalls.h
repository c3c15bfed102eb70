#pragma once

#include "disk/SystemCalls.h"
#include "support/FaultScript.h"
#include "support/ManualClock.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// System calls that go on to others, the real ones as a rule, and are disturbed on the way:
///
///     calls->fail("status", "/Volumes/Old/a", EACCES);
///     calls->on("read", "*/IMG_1.heic").nth(3).hang();
///     calls->on("read", file).at(8192, 4096).fail(EIO);
///     const auto full = calls->on("write").room(10'000);
///     ...
///     EXPECT_GT(full.hits(), 0);
///
/// A call is named as in `SystemCalls`, or by a group: "open" (open, openAt, openBeneath), "read" (read,
/// readAt), "sync" (sync, fullSync), "status" (status, statusOf, statusAt, and an entry's status in a
/// listing), "rename" (both), "list" (openFolder, openFolderOf, and each `next`, which alone is "nextEntry"),
/// "fileSystem" (both),
/// "*" (all). A path may hold "*" for any bytes; it is looked for among full paths, those of descriptors and
/// of names in open folders too (as they were opened; a rename does not change it).
///
/// Thread-safe.
class ScriptedCalls : public SystemCalls {
public:
    using Rule = FaultScript::Rule;
    using Call = FaultScript::Call;

    /// The clock is needed for hangs and delays.
    explicit ScriptedCalls(std::shared_ptr<const ManualClock> clock = nullptr,
        std::shared_ptr<const SystemCalls> beneath = realSystemCalls());
    ~ScriptedCalls() override;

    Rule on(std::string_view call, std::string path = "*");
    Rule fail(std::string_view call, std::string path, int code);
    /// Disturbs nothing from now on.
    void removeRules();

    /// Everything that was called so far, in order.
    std::vector<Call> log() const;
    std::size_t count(std::string_view call, const std::string& path = "*") const;
    /// Files and folders that were opened through this and not closed.
    std::vector<DiskPath> stillOpen() const;

    CallResult<int> open(const DiskPath& path, int flags, mode_t mode) const override;
    CallResult<int> openAt(int folder, const std::string& name, int flags, mode_t mode) const override;
    CallResult<int> openBeneath(int root, const DiskPath& relative, int flags, mode_t mode) const override;
    CallResult<void> close(int fd) const override;
    CallResult<std::size_t> read(int fd, std::span<std::byte> into) const override;
    CallResult<std::size_t> readAt(int fd, std::span<std::byte> into, std::int64_t offset) const override;
    CallResult<std::size_t> write(int fd, std::span<const std::byte> bytes) const override;
    CallResult<void> sync(int fd) const override;
    CallResult<void> fullSync(int fd) const override;
    CallResult<void> setUncached(int fd) const override;
    CallResult<void> dropCached(int fd) const override;
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
    CallResult<FileSystemStatus> fileSystemOf(const DiskPath& path) const override;
    CallResult<std::uint64_t> fileSystemIdentifier(const DiskPath& path) const override;
    CallResult<DiskPath> realPath(const DiskPath& path) const override;
    CallResult<std::optional<std::string>> extendedAttribute(
        const DiskPath& path, const std::string& name) const override;
    CallResult<void> mayWrite(const DiskPath& folder) const override;
    CallResult<void> tryLock(int fd) const override;
    CallResult<std::string> systemText(const DiskPath& path) const override;

private:
    struct State;
    class ScriptedFolder;

    std::shared_ptr<State> state_;
};

} // namespace vantorel
