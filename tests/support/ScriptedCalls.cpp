#include "support/ScriptedCalls.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <tuple>
#include <utility>

namespace vantorel {

namespace {

using Troubles = std::vector<FaultScript::Trouble>;
using Event = FaultScript::Call;
using Range = FaultScript::Range;

std::size_t mostBytes(const Troubles& troubles, std::size_t wanted)
{
    for (const auto& trouble : troubles) {
        wanted = std::min(wanted, trouble.mostBytes);
    }
    return wanted;
}

CallResult<FileStatus> changed(CallResult<FileStatus> status, const Troubles& troubles)
{
    for (const auto& trouble : troubles) {
        if (status && trouble.statusChange) {
            trouble.statusChange(*status);
        }
    }
    return status;
}

std::uint64_t changed(std::uint64_t identifier, const Troubles& troubles)
{
    for (const auto& trouble : troubles) {
        identifier = trouble.fileSystem.value_or(identifier);
    }
    return identifier;
}

void flip(std::span<std::byte> bytes, std::int64_t offset, const Troubles& troubles)
{
    for (const auto& trouble : troubles) {
        if (!trouble.flipped) {
            continue;
        }
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const auto place = offset + static_cast<std::int64_t>(i);
            if (trouble.flipped->touches({.offset = place, .length = 1})) {
                bytes[i] = ~bytes[i];
            }
        }
    }
}

} // namespace

struct ScriptedCalls::State {
    struct Opened {
        DiskPath path{};
        std::int64_t offset = 0;
    };

    FaultScript script;
    std::shared_ptr<const ManualClock> clock;
    std::shared_ptr<const SystemCalls> beneath;
    std::mutex lock; ///< Guards what is open; never held across a call.
    std::map<int, Opened> descriptors;
    std::multiset<DiskPath> folders; ///< Open for listing.

    Opened opened(int fd)
    {
        const std::scoped_lock held(lock);
        const auto found = descriptors.find(fd);
        return found == descriptors.end() ? Opened() : found->second;
    }

    DiskPath pathOf(int fd) { return opened(fd).path; }

    DiskPath pathIn(int folder, const DiskPath& name)
    {
        auto path = pathOf(folder);
        return name.empty() || name == "." ? path : path / name;
    }

    CallResult<int> remember(CallResult<int> fd, const DiskPath& path)
    {
        if (fd) {
            const std::scoped_lock held(lock);
            descriptors.insert_or_assign(*fd, Opened{.path = path});
        }
        return fd;
    }

    /// What happens before the call; an error where it is not made at all.
    std::optional<int> suffer(const Troubles& troubles) const
    {
        for (const auto& trouble : troubles) {
            if (trouble.action) {
                trouble.action();
            }
            if (!clock && (trouble.hangs || trouble.delay.count() > 0)) {
                throw std::logic_error("hangs and delays need a clock");
            }
            if (trouble.delay.count() > 0) {
                clock->sleepFor(trouble.delay);
            }
            if (trouble.hangs) {
                clock->hang();
                return ENXIO;
            }
            if (trouble.error) {
                return trouble.error;
            }
        }
        return std::nullopt;
    }

    /// The call, with the trouble that is made for it.
    template <typename Forward>
    auto disturbed(Event event, Forward forward, Range range = {}, std::optional<DiskPath> otherPath = {})
        -> decltype(forward(Troubles()))
    {
        const auto troubles = script.meet(std::move(event), range, otherPath);
        if (const auto error = suffer(troubles)) {
            return std::unexpected(*error);
        }
        return forward(troubles);
    }

    /// A call that only goes through.
    template <typename Result, typename... Parameters, typename... Arguments>
    Result plain(Event event, Result (SystemCalls::*call)(Parameters...) const, const Arguments&... arguments)
    {
        return disturbed(std::move(event), [&](const auto&) { return ((*beneath).*call)(arguments...); });
    }
};

class ScriptedCalls::ScriptedFolder final : public SystemCalls::Folder {
public:
    ScriptedFolder(std::shared_ptr<State> state, DiskPath path, std::unique_ptr<Folder> beneath)
        : state_(std::move(state))
        , path_(std::move(path))
        , beneath_(std::move(beneath))
    {
        const std::scoped_lock held(state_->lock);
        state_->folders.insert(path_);
    }

    ~ScriptedFolder() override
    {
        const std::scoped_lock held(state_->lock);
        state_->folders.erase(state_->folders.find(path_));
    }

    CallResult<std::optional<std::string>> next() override
    {
        return state_->disturbed({"nextEntry", path_}, [&](const auto&) { return beneath_->next(); });
    }

    CallResult<FileStatus> statusOf(const std::string& name) override
    {
        return state_->disturbed({"entryStatus", path_ / name},
            [&](const auto& troubles) { return changed(beneath_->statusOf(name), troubles); });
    }

private:
    std::shared_ptr<State> state_;
    DiskPath path_;
    std::unique_ptr<Folder> beneath_;
};

ScriptedCalls::ScriptedCalls(
    std::shared_ptr<const ManualClock> clock, std::shared_ptr<const SystemCalls> beneath)
    : state_(std::make_shared<State>())
{
    state_->clock = std::move(clock);
    state_->beneath = std::move(beneath);
}

ScriptedCalls::~ScriptedCalls() = default;

ScriptedCalls::Rule ScriptedCalls::on(std::string_view call, std::string path)
{
    return state_->script.on(call, std::move(path));
}

ScriptedCalls::Rule ScriptedCalls::fail(std::string_view call, std::string path, int code)
{
    return on(call, std::move(path)).fail(code);
}

void ScriptedCalls::removeRules() { state_->script.removeRules(); }

std::vector<ScriptedCalls::Call> ScriptedCalls::log() const { return state_->script.log(); }

std::size_t ScriptedCalls::count(std::string_view call, const std::string& path) const
{
    return state_->script.count(call, path);
}

std::vector<DiskPath> ScriptedCalls::stillOpen() const
{
    const std::scoped_lock held(state_->lock);
    std::vector<DiskPath> open;
    for (const auto& [fd, opened] : state_->descriptors) {
        open.push_back(opened.path);
    }
    open.insert(open.end(), state_->folders.begin(), state_->folders.end());
    std::ranges::sort(open);
    return open;
}

CallResult<int> ScriptedCalls::open(const DiskPath& path, int flags, mode_t mode) const
{
    return state_->disturbed({"open", path},
        [&](const auto&) { return state_->remember(state_->beneath->open(path, flags, mode), path); });
}

CallResult<int> ScriptedCalls::openAt(int folder, const std::string& name, int flags, mode_t mode) const
{
    const auto path = state_->pathIn(folder, name);
    return state_->disturbed({"openAt", path}, [&](const auto&) {
        return state_->remember(state_->beneath->openAt(folder, name, flags, mode), path);
    });
}

CallResult<int> ScriptedCalls::openBeneath(int root, const DiskPath& relative, int flags, mode_t mode) const
{
    const auto path = state_->pathIn(root, relative);
    return state_->disturbed({"openBeneath", path}, [&](const auto&) {
        return state_->remember(state_->beneath->openBeneath(root, relative, flags, mode), path);
    });
}

CallResult<void> ScriptedCalls::close(int fd) const
{
    const auto path = state_->pathOf(fd);
    const auto closeIt = [&] {
        {
            const std::scoped_lock held(state_->lock);
            state_->descriptors.erase(fd); // before the number is free for another
        }
        return state_->beneath->close(fd);
    };
    bool isClosed = false;
    const auto result = state_->disturbed({"close", path}, [&](const auto&) {
        isClosed = true;
        return closeIt();
    });
    if (!isClosed) {
        std::ignore = closeIt(); // a close that fails has closed all the same
    }
    return result;
}

CallResult<std::size_t> ScriptedCalls::read(int fd, std::span<std::byte> into) const
{
    const auto [path, offset] = state_->opened(fd);
    const auto readIt = [&](const auto& troubles) {
        const auto got = state_->beneath->read(fd, into.first(mostBytes(troubles, into.size())));
        if (got) {
            flip(into.first(*got), offset, troubles);
            const std::scoped_lock held(state_->lock);
            state_->descriptors[fd].offset += static_cast<std::int64_t>(*got);
        }
        return got;
    };
    return state_->disturbed({"read", path}, readIt, {.offset = offset, .length = into.size()});
}

CallResult<std::size_t> ScriptedCalls::readAt(int fd, std::span<std::byte> into, std::int64_t offset) const
{
    const auto readIt = [&](const auto& troubles) {
        const auto got = state_->beneath->readAt(fd, into.first(mostBytes(troubles, into.size())), offset);
        if (got) {
            flip(into.first(*got), offset, troubles);
        }
        return got;
    };
    return state_->disturbed(
        {"readAt", state_->pathOf(fd)}, readIt, {.offset = offset, .length = into.size()});
}

CallResult<std::size_t> ScriptedCalls::write(int fd, std::span<const std::byte> bytes) const
{
    const auto writeIt = [&](const auto& troubles) {
        return state_->beneath->write(fd, bytes.first(mostBytes(troubles, bytes.size())));
    };
    return state_->disturbed({"write", state_->pathOf(fd)}, writeIt, {.offset = 0, .length = bytes.size()});
}

CallResult<void> ScriptedCalls::sync(int fd) const
{
    return state_->plain({"sync", state_->pathOf(fd)}, &SystemCalls::sync, fd);
}

CallResult<void> ScriptedCalls::fullSync(int fd) const
{
    return state_->plain({"fullSync", state_->pathOf(fd)}, &SystemCalls::fullSync, fd);
}

CallResult<void> ScriptedCalls::setUncached(int fd) const
{
    return state_->plain({"setUncached", state_->pathOf(fd)}, &SystemCalls::setUncached, fd);
}

CallResult<void> ScriptedCalls::dropCached(int fd) const
{
    return state_->plain({"dropCached", state_->pathOf(fd)}, &SystemCalls::dropCached, fd);
}

CallResult<FileStatus> ScriptedCalls::status(const DiskPath& path, Links links) const
{
    return state_->disturbed({"status", path},
        [&](const auto& troubles) { return changed(state_->beneath->status(path, links), troubles); });
}

CallResult<FileStatus> ScriptedCalls::statusOf(int fd) const
{
    return state_->disturbed({"statusOf", state_->pathOf(fd)},
        [&](const auto& troubles) { return changed(state_->beneath->statusOf(fd), troubles); });
}

CallResult<FileStatus> ScriptedCalls::statusAt(int folder, const std::string& name) const
{
    return state_->disturbed({"statusAt", state_->pathIn(folder, name)},
        [&](const auto& troubles) { return changed(state_->beneath->statusAt(folder, name), troubles); });
}

CallResult<void> ScriptedCalls::makeFolderAt(int folder, const std::string& name, mode_t mode) const
{
    return state_->plain(
        {"makeFolderAt", state_->pathIn(folder, name)}, &SystemCalls::makeFolderAt, folder, name, mode);
}

CallResult<void> ScriptedCalls::renameAt(
    int fromFolder, const std::string& from, int toFolder, const std::string& to) const
{
    return state_->disturbed(
        {"renameAt", state_->pathIn(fromFolder, from)},
        [&](const auto&) { return state_->beneath->renameAt(fromFolder, from, toFolder, to); }, {},
        state_->pathIn(toFolder, to));
}

CallResult<void> ScriptedCalls::renameExclusiveAt(
    int fromFolder, const std::string& from, int toFolder, const std::string& to) const
{
    return state_->disturbed(
        {"renameExclusiveAt", state_->pathIn(fromFolder, from)},
        [&](const auto&) { return state_->beneath->renameExclusiveAt(fromFolder, from, toFolder, to); }, {},
        state_->pathIn(toFolder, to));
}

CallResult<void> ScriptedCalls::unlinkAt(int folder, const std::string& name) const
{
    return state_->plain({"unlinkAt", state_->pathIn(folder, name)}, &SystemCalls::unlinkAt, folder, name);
}

CallResult<void> ScriptedCalls::removeFolderAt(int folder, const std::string& name) const
{
    return state_->plain(
        {"removeFolderAt", state_->pathIn(folder, name)}, &SystemCalls::removeFolderAt, folder, name);
}

CallResult<void> ScriptedCalls::setModified(
    int fd, std::chrono::sys_time<std::chrono::nanoseconds> modified) const
{
    return state_->plain({"setModified", state_->pathOf(fd)}, &SystemCalls::setModified, fd, modified);
}

CallResult<std::unique_ptr<SystemCalls::Folder>> ScriptedCalls::openFolder(
    const DiskPath& path, Links links) const
{
    return state_->disturbed({"openFolder", path}, [&](const auto&) -> CallResult<std::unique_ptr<Folder>> {
        auto folder = state_->beneath->openFolder(path, links);
        if (!folder) {
            return folder;
        }
        return std::make_unique<ScriptedFolder>(state_, path, std::move(*folder));
    });
}

CallResult<std::unique_ptr<SystemCalls::Folder>> ScriptedCalls::openFolderOf(int fd) const
{
    const auto path = state_->pathOf(fd);
    return state_->disturbed({"openFolderOf", path}, [&](const auto&) -> CallResult<std::unique_ptr<Folder>> {
        auto folder = state_->beneath->openFolderOf(fd);
        if (!folder) {
            return folder;
        }
        return std::make_unique<ScriptedFolder>(state_, path, std::move(*folder));
    });
}

CallResult<FileSystemStatus> ScriptedCalls::fileSystemOf(const DiskPath& path) const
{
    return state_->disturbed({"fileSystemOf", path}, [&](const auto& troubles) {
        auto status = state_->beneath->fileSystemOf(path);
        if (status) {
            status->identifier = changed(status->identifier, troubles);
        }
        return status;
    });
}

CallResult<std::uint64_t> ScriptedCalls::fileSystemIdentifier(const DiskPath& path) const
{
    return state_->disturbed({"fileSystemIdentifier", path}, [&](const auto& troubles) {
        auto identifier = state_->beneath->fileSystemIdentifier(path);
        if (identifier) {
            identifier = changed(*identifier, troubles);
        }
        return identifier;
    });
}

CallResult<DiskPath> ScriptedCalls::realPath(const DiskPath& path) const
{
    return state_->plain({"realPath", path}, &SystemCalls::realPath, path);
}

CallResult<std::optional<std::string>> ScriptedCalls::extendedAttribute(
    const DiskPath& path, const std::string& name) const
{
    return state_->plain({"extendedAttribute", path}, &SystemCalls::extendedAttribute, path, name);
}

CallResult<void> ScriptedCalls::mayWrite(const DiskPath& folder) const
{
    return state_->plain({"mayWrite", folder}, &SystemCalls::mayWrite, folder);
}

CallResult<void> ScriptedCalls::tryLock(int fd) const
{
    return state_->plain({"tryLock", state_->pathOf(fd)}, &SystemCalls::tryLock, fd);
}

CallResult<std::string> ScriptedCalls::systemText(const DiskPath& path) const
{
    return state_->plain({"systemText", path}, &SystemCalls::systemText, path);
}

} // namespace vantorel
