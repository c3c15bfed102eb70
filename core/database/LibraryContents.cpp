#include "database/LibraryContents.h"

#include "base/Text.h"
#include "database/model/ReadError.h"
#include "discovery/volumes/VolumeInfo.h"
#include "disk/Guarded.h"

#include <array>
#include <cerrno>
#include <string_view>
#include <utility>
#include <variant>

namespace vantorel {

namespace {

/// Libraries keep the folder's name in lower case; older layouts and copies on disks that tell case apart can
/// have the other.
constexpr std::array databases{"database/Photos.sqlite", "Database/Photos.sqlite"};
constexpr std::array journals{"resources/journals/Asset-snapshot.plj", "resources/journals/Asset-change.plj"};
constexpr std::array legacyMarks{"database/photos.db", "database/apdb/Library.apdb",
    "Database/apdb/Library.apdb", "Library.apdb", "AlbumData.xml"};
constexpr std::string_view originals = "originals";
constexpr std::string_view legacyOriginals = "Masters";
/// Every backup that Time Machine keeps on a disk of the older format lies in a folder of this name.
constexpr std::string_view backups = "Backups.backupdb";

struct Refusal {
    enum class Kind { notThere, refused, older, error, gone };
    Kind kind = Kind::notThere;
};
using Found = std::variant<LibraryContents, Refusal>;

bool hasName(const DiskPath& path)
{
    return path.has_filename() && path.filename() != "." && path.filename() != "..";
}

DiskPath withoutSlashes(const DiskPath& path)
{
    std::string text = path.native();
    while (text.size() > 1 && text.ends_with('/')) {
        text.pop_back();
    }
    return text;
}

bool isDiskGone(int code) { return code == ENXIO || code == ENODEV; }

Refusal refusalOf(int code)
{
    switch (FS::kindOfFailure(code)) {
    case FS::Kind::missing:
        return {Refusal::Kind::notThere};
    case FS::Kind::denied:
        return {Refusal::Kind::refused};
    default:
        return {isDiskGone(code) ? Refusal::Kind::gone : Refusal::Kind::error};
    }
}

/// The disk's name without asking the disk: by where disks are mounted, else the library's own name.
std::string diskNameByPath(const DiskPath& folder)
{
    constexpr std::string_view mounts = "/Volumes/";
    std::string_view path = folder.native();
    if (path.starts_with(mounts)) {
        path.remove_prefix(mounts.size());
        return repairedUtf8(path.substr(0, path.find('/')));
    }
    return repairedUtf8(withoutSlashes(folder).filename().native());
}

bool isMarked(const Root& root)
{
    for (const char* mark : legacyMarks) {
        if (root.kind(mark) == FS::Kind::regular) {
            return true;
        }
    }
    return root.kind(legacyOriginals) == FS::Kind::directory;
}

/// Runs on a worker: owns all that it uses.
Found lookNow(const std::shared_ptr<const SystemCalls>& calls, const DiskPath& folder, Heartbeat& heartbeat)
{
    auto root = Root::open(calls, folder);
    heartbeat.beat();
    if (!root) {
        return refusalOf(root.error());
    }
    LibraryContents found;
    found.folder = folder;
    found.root = std::move(*root);

    const auto real = calls->realPath(folder);
    const DiskPath named = withoutSlashes(folder);
    found.name = repairedUtf8((hasName(named) || !real ? named : *real).stem().native());
    found.isInBackup = folder.native().find(backups) != std::string::npos
        || (real && real->native().find(backups) != std::string::npos);
    const auto volume = VolumeInspector(calls).info(folder);
    found.diskName = volume && !volume->name.empty() ? volume->name : diskNameByPath(folder);
    heartbeat.beat();

    for (const char* database : databases) {
        if (found.root->kind(database) != FS::Kind::missing) {
            found.database = database;
            break;
        }
    }
    // Refused and not readable are not "not there".
    const FS::Kind stored = found.root->kind(originals);
    found.hasOriginals =
        stored == FS::Kind::directory || stored == FS::Kind::denied || stored == FS::Kind::unavailable;
    heartbeat.beat();
    bool mayHaveJournals = false;
    for (const char* journal : journals) {
        const auto status = found.root->status(journal);
        found.hasJournals |= status && status->type == FileStatus::Type::regular && status->size > 0;
        mayHaveJournals |= !status && FS::kindOfFailure(status.error()) != FS::Kind::missing;
    }
    heartbeat.beat();
    if (found.database || found.hasOriginals || found.hasJournals) {
        found.hasJournals |= mayHaveJournals; // those who read them find out
        return found;
    }
    return Refusal{isMarked(*found.root) ? Refusal::Kind::older : Refusal::Kind::notThere};
}

Patience patienceOf(const LibraryLook& look)
{
    return {.stallLimit = look.stallLimit,
        .keepGoing = keepGoingWithGrace(look.clock, look.cancel),
        .onSilence = look.onSilence};
}

[[noreturn]] void refuse(Refusal refusal, const DiskPath& folder)
{
    switch (refusal.kind) {
    case Refusal::Kind::notThere:
        throw ReadError::notFound(repairedUtf8(folder.native()));
    case Refusal::Kind::refused:
        throw ReadError::accessDenied();
    case Refusal::Kind::older:
        throw ReadError::legacyLibrary();
    case Refusal::Kind::gone:
        throw ReadError::volumeGone(diskNameByPath(folder));
    case Refusal::Kind::error:
        throw ReadError::copyFailed("the disk gave an error for the library's folder");
    }
    std::unreachable();
}

} // namespace

LibraryContents lookIntoLibrary(const LibraryLook& look, const DiskPath& folder)
{
    auto looked = guardedRun(look.clock, patienceOf(look),
        [calls = look.calls, folder](
            const std::shared_ptr<Heartbeat>& heartbeat) { return lookNow(calls, folder, *heartbeat); });
    if (isCancelled(look.cancel)) {
        throw ReadError::cancelled();
    }
    if (looked.isStalled()) {
        throw ReadError::stalled(diskNameByPath(folder));
    }
    Found found = std::move(looked).value();
    if (const auto* refusal = std::get_if<Refusal>(&found)) {
        refuse(*refusal, folder);
    }
    return std::get<LibraryContents>(std::move(found));
}

bool diskAnswers(const LibraryLook& look, const LibraryContents& library)
{
    // A listing: a single status could come from memory while the disk is silent.
    const auto looked = guardedRun(look.clock, patienceOf(look),
        [root = library.root, place = DiskPath(library.hasOriginals ? originals : "")](
            const std::shared_ptr<Heartbeat>& heartbeat) {
            FS::ListBox box;
            std::ignore = root->list(place, heartbeat.get(), box); // any answer is one
            return Unit{};
        });
    return !looked.isStalled();
}

} // namespace vantorel
