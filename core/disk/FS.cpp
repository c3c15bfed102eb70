#include "disk/FS.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace vantorel::FS {

namespace {

void sortByName(std::vector<Entry>& entries) { std::ranges::sort(entries, {}, &Entry::name); }

} // namespace

PartialList ListBox::taken() const
{
    PartialList copy;
    {
        const std::lock_guard guard(lock_);
        copy = list_;
    }
    sortByName(copy.entries);
    return copy;
}

Kind kindOfFailure(int code)
{
    switch (code) {
    case EPERM:
    case EACCES:
        return Kind::denied;
    case ENOENT:
    case ENOTDIR:
        return Kind::missing;
    default:
        return Kind::unavailable;
    }
}

ListFailure listFailureOf(int code)
{
    switch (kindOfFailure(code)) {
    case Kind::denied:
        return ListFailure{.kind = ListFailure::Kind::denied, .code = code};
    case Kind::missing:
        return ListFailure{.kind = ListFailure::Kind::missing, .code = code};
    case Kind::regular:
    case Kind::directory:
    case Kind::special:
    case Kind::unavailable:
        return ListFailure{.kind = ListFailure::Kind::unavailable, .code = code};
    }
    std::unreachable();
}

Kind kindOf(FileStatus::Type type)
{
    switch (type) {
    case FileStatus::Type::regular:
        return Kind::regular;
    case FileStatus::Type::directory:
        return Kind::directory;
    case FileStatus::Type::link:
    case FileStatus::Type::other:
        return Kind::special;
    }
    std::unreachable();
}

Kind kind(const SystemCalls& calls, const DiskPath& path, Links links)
{
    const auto status = calls.status(path, links);
    return status ? kindOf(status->type) : kindOfFailure(status.error());
}

std::optional<std::int64_t> size(const SystemCalls& calls, const DiskPath& path)
{
    const auto status = calls.status(path, Links::notFollowed);
    if (!status || status->type != FileStatus::Type::regular) {
        return std::nullopt;
    }
    return status->size;
}

/// The box is filled entry by entry, so that a waiter who gives up finds what was listed so far. The lock is
/// never held across a call to the disk.
std::expected<PartialList, ListFailure> listInto(
    SystemCalls::Folder& folder, Heartbeat* heartbeat, ListBox& box)
{
    for (;;) {
        if (heartbeat != nullptr && heartbeat->gaveUp()) {
            const std::lock_guard guard(box.lock_);
            box.list_.stoppedEarly = true;
            break;
        }
        auto name = folder.next();
        if (!name) {
            const std::lock_guard guard(box.lock_);
            box.list_.stoppedEarly = true;
            box.list_.code = name.error();
            break;
        }
        if (!*name) {
            break;
        }
        if (**name == "." || **name == "..") {
            continue;
        }
        const auto status = folder.statusOf(**name);
        if (status) {
            Entry entry{
                .name = *std::move(*name),
                .kind = kindOf(status->type),
                .size = status->size,
                .modified = std::chrono::floor<std::chrono::seconds>(status->modified),
                .contentElsewhere = status->contentElsewhere,
            };
            const std::lock_guard guard(box.lock_);
            box.list_.entries.push_back(std::move(entry));
        } else if (status.error() != ENOENT) { // else it vanished meanwhile
            const bool isDenied = kindOfFailure(status.error()) == Kind::denied;
            const std::lock_guard guard(box.lock_);
            ++(isDenied ? box.list_.deniedEntries : box.list_.badEntries);
            box.list_.code = status.error();
        }
        if (heartbeat != nullptr) {
            heartbeat->beat();
        }
    }
    // A copy: a waiter who gives up at this very moment must not find the box emptied.
    const std::lock_guard guard(box.lock_);
    sortByName(box.list_.entries);
    return box.list_;
}

std::expected<PartialList, ListFailure> list(
    const SystemCalls& calls, const DiskPath& folder, Heartbeat* heartbeat, ListBox& box, Links links)
{
    const auto opened = calls.openFolder(folder, links);
    if (!opened) {
        return std::unexpected(listFailureOf(opened.error()));
    }
    return listInto(**opened, heartbeat, box);
}

std::expected<PartialList, ListFailure> listOpen(
    const SystemCalls& calls, int folder, Heartbeat* heartbeat, ListBox& box)
{
    const auto opened = calls.openFolderOf(folder);
    if (!opened) {
        return std::unexpected(listFailureOf(opened.error()));
    }
    return listInto(**opened, heartbeat, box);
}

} // namespace vantorel::FS
