#include "export/DestinationLook.h"

#include "base/Text.h"

#include <cerrno>

namespace vantorel {

namespace {

constexpr std::size_t mostJournalBytes = std::size_t{1} << 30u; // some millions of items
constexpr std::size_t mostTryLastBytes = std::size_t{1} << 28u;

using Refusal = std::unexpected<std::string>;

std::string quoted(const DiskPath& path) { return "\"" + repairedUtf8(path.native()) + "\""; }

Refusal notThere(const DiskPath& path)
{
    return Refusal("the folder " + quoted(path) + " is not there. Choose another folder");
}
Refusal unreadable() { return Refusal("the disk of that folder cannot be read"); }
Refusal readOnly(const DiskPath& path)
{
    return Refusal("the folder " + quoted(path) + " is read only. Choose a folder on another disk");
}
Refusal insideLibrary()
{
    return Refusal(
        "that folder is inside the library, and Vantorel never writes there. Choose another folder");
}
Refusal throughLink(const DiskPath& path)
{
    return Refusal("the folder " + quoted(path)
        + " holds a link where a folder should be, so Vantorel does not write through it. Choose another "
          "folder");
}

Refusal refusalOf(int code, const DiskPath& path)
{
    return FS::kindOfFailure(code) == FS::Kind::missing ? notThere(path) : unreadable();
}

/// An absolute path without the blemishes that a person types ("a//b/", "./a"). What ".." means is left to
/// the disk until it is known that no link is among the components.
std::expected<DiskPath, std::string> absolutePath(const SystemCalls& calls, const DiskPath& path)
{
    if (path.is_absolute()) {
        return path;
    }
    const auto here = calls.realPath(".");
    if (!here) {
        return unreadable();
    }
    return *here / path;
}

/// Whether a component of an absolute path is a link, by its own status.
std::expected<bool, int> holdsLink(const SystemCalls& calls, const DiskPath& absolute, Heartbeat& heartbeat)
{
    DiskPath walked;
    for (const DiskPath& component : absolute) {
        if (component.empty()) {
            continue; // after a trailing slash
        }
        walked /= component;
        const auto status = calls.status(walked, SystemCalls::Links::notFollowed);
        heartbeat.beat();
        if (!status) {
            return std::unexpected(status.error());
        }
        if (status->type == FileStatus::Type::link) {
            return true;
        }
    }
    return false;
}

bool endsAsIncomplete(const DiskPath& folder)
{
    return folder.filename().native().ends_with(bookkeeping::incompleteSuffix);
}

/// The first of a folder and those above it that `isIt` says yes to. Folders above a readable one can always
/// be looked at, so an error is the disk's.
template <typename Check>
CallResult<std::optional<DiskPath>> amongParents(
    const SystemCalls& calls, const DiskPath& real, Heartbeat& heartbeat, Check isIt)
{
    for (DiskPath folder = real;; folder = folder.parent_path()) {
        const auto status = calls.status(folder, SystemCalls::Links::followed);
        heartbeat.beat();
        if (!status) {
            return std::unexpected(status.error());
        }
        if (isIt(folder, *status)) {
            return folder;
        }
        if (!folder.has_relative_path()) {
            return std::optional<DiskPath>();
        }
    }
}

std::set<std::string> linesOf(const std::string& text)
{
    std::set<std::string> lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        if (end > start) {
            lines.insert(text.substr(start, end - start));
        }
        start = end + 1;
    }
    return lines;
}

/// The content of a file of the bookkeeping; empty where there is none.
CallResult<std::string> contentOrNone(
    const Root& root, std::string_view name, std::size_t mostBytes, Heartbeat& heartbeat)
{
    auto text = readWhole(root, name, mostBytes, &heartbeat);
    if (!text && text.error() == ENOENT) {
        return std::string();
    }
    return text;
}

std::expected<ContinuedExport, std::string> reopened(
    const std::shared_ptr<const SystemCalls>& calls, const UnfinishedExport& unfinished, Heartbeat& heartbeat)
{
    const auto unreadableRecord = [&](int code) {
        return Refusal("the unfinished export in " + quoted(unfinished.folder.filename())
            + " could not be read: " + errorText(code));
    };
    auto root = Root::open(calls, unfinished.folder, SystemCalls::Links::notFollowed);
    if (!root) {
        return unreadableRecord(root.error());
    }
    const auto journal = contentOrNone(**root, bookkeeping::journal, mostJournalBytes, heartbeat);
    if (!journal) {
        return unreadableRecord(journal.error());
    }
    const auto tryLast = contentOrNone(**root, bookkeeping::tryLast, mostTryLastBytes, heartbeat);
    return ContinuedExport{
        .root = std::move(*root),
        .folderName = unfinished.folder.filename().native(),
        .journal = parseJournal(*journal),
        .journalIsTorn = !journal->empty() && journal->back() != '\n',
        .tryLast = linesOf(tryLast ? *tryLast : std::string()), // only an order; without it nothing is lost
        .options = unfinished.options,
    };
}

} // namespace

std::expected<CheckedStart, std::string> DestinationLook::run(Heartbeat& heartbeat) const
{
    const auto absolute = absolutePath(*calls, path);
    if (!absolute) {
        return Refusal(absolute.error());
    }
    const auto status = calls->status(*absolute, SystemCalls::Links::followed);
    if (!status) {
        return status.error() == ELOOP ? throughLink(path) : refusalOf(status.error(), path);
    }
    if (status->type != FileStatus::Type::directory) {
        return notThere(path);
    }
    heartbeat.beat();
    const auto volume = VolumeInspector(calls).info(*absolute);
    if (!volume) {
        return unreadable();
    }
    heartbeat.beat();
    const auto mayWrite = calls->mayWrite(*absolute);
    const bool isRefused =
        !mayWrite && (mayWrite.error() == EROFS || FS::kindOfFailure(mayWrite.error()) == FS::Kind::denied);
    if (volume->isReadOnly || isRefused) {
        return readOnly(path);
    }
    if (!mayWrite) {
        return refusalOf(mayWrite.error(), path);
    }

    heartbeat.beat();
    const auto real = calls->realPath(*absolute);
    if (!real) {
        return refusalOf(real.error(), path);
    }
    const auto inLibrary = amongParents(*calls, *real, heartbeat,
        [&](const DiskPath&, const FileStatus& folder) { return identityOf(folder) == library; });
    if (!inLibrary) {
        return unreadable();
    }
    if (*inLibrary) {
        return insideLibrary();
    }
    const auto isThroughLink = holdsLink(*calls, *absolute, heartbeat);
    if (!isThroughLink) {
        return refusalOf(isThroughLink.error(), path);
    }
    if (*isThroughLink) {
        return throughLink(path);
    }
    const auto inUnfinished =
        amongParents(*calls, *real, heartbeat, [&](const DiskPath& folder, const FileStatus&) {
            return endsAsIncomplete(folder)
                && FS::kind(*calls, folder / bookkeeping::state, SystemCalls::Links::notFollowed)
                == FS::Kind::regular;
        });
    if (!inUnfinished) {
        return unreadable();
    }
    if (*inUnfinished) {
        return Refusal("that folder belongs to the unfinished export " + quoted((*inUnfinished)->filename())
            + ". Choose the folder that contains it, " + quoted((*inUnfinished)->parent_path())
            + ", and the export continues where it stopped");
    }

    // No link is among the components, so ".." and the rest can be taken at their word.
    const DiskPath folder = *real;
    auto root = Root::open(calls, folder, SystemCalls::Links::notFollowed);
    if (!root) {
        return refusalOf(root.error(), path);
    }
    const auto opened = (*root)->status({});
    if (!opened || identityOf(*opened) != identityOf(*status)) {
        return unreadable(); // exchanged while it was looked at
    }
    heartbeat.beat();
    const auto unfinished = findUnfinishedExport(**root, libraryName, planID, &heartbeat);
    if (!unfinished) {
        return unreadable();
    }
    CheckedStart start{
        .destination = std::move(*root),
        .destinationWatch = std::make_shared<const VolumeWatch>(calls, folder),
        .volume = *volume,
        .destinationDrive = driveOf(*calls, folder),
    };
    if (*unfinished && (*unfinished)->planID == planID) {
        heartbeat.beat();
        auto continued = reopened(calls, **unfinished, heartbeat);
        if (!continued) {
            return Refusal(continued.error());
        }
        start.continued = std::move(*continued);
    }
    return start;
}

} // namespace vantorel
