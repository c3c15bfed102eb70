#include "discovery/LibraryProbe.h"

#include "base/Text.h"
#include "disk/MountTable.h"
#include "disk/OpenFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace vantorel {

namespace {

using Links = SystemCalls::Links;

constexpr std::string_view exclusionMark = "com.apple.metadata:com_apple_backup_excludeItem";

class Prober {
public:
    Prober(const SystemCalls& calls, const SharedFolders& shared, Heartbeat& heartbeat)
        : calls_(calls)
        , shared_(shared)
        , heartbeat_(heartbeat)
    {
    }

    ProbedFolder probe(const DiskPath& folder, FoundLibrary::Origin origin)
    {
        const auto status = calls_.status(folder, Links::followed);
        found_.kind = kindOf(status);
        if (found_.kind != FS::Kind::directory && found_.kind != FS::Kind::denied) {
            return found_;
        }
        if (status) {
            found_.identity = FolderIdentity::of(*status);
        }
        database_ = shared_.resolved(calls_, folder / "database");
        const auto format = formatOf(folder);
        if (format) {
            found_.library = FoundLibrary{
                .url = folder, .name = folder.stem().native(), .origin = origin, .format = *format};
            addDetails(folder, *found_.library);
        }
        return found_;
    }

private:
    FS::Kind kindOf(const CallResult<FileStatus>& status)
    {
        heartbeat_.beat();
        if (status) {
            return FS::kindOf(status->type);
        }
        const FS::Kind kind = FS::kindOfFailure(status.error());
        if (found_.code == 0 && kind != FS::Kind::missing) {
            found_.code = status.error();
        }
        return kind;
    }
    FS::Kind kindAt(const DiskPath& path) { return kindOf(calls_.status(path, Links::notFollowed)); }

    std::optional<LibraryFormat> formatOf(const DiskPath& folder)
    {
        const DiskPath file = database_ / "Photos.sqlite";
        const FS::Kind database = kindAt(file);
        const FS::Kind originals = kindAt(shared_.resolved(calls_, folder / "originals"));
        switch (database) {
        case FS::Kind::regular:
        case FS::Kind::special:
        case FS::Kind::unavailable:
            found_.isRefused = database != FS::Kind::special && isOpenRefused(file);
            return LibraryFormat::modern;
        case FS::Kind::denied:
            if (isTheFileRefused(folder, originals)) {
                found_.isRefused = true;
                return LibraryFormat::modern;
            }
            break;
        case FS::Kind::missing:
        case FS::Kind::directory:
            break;
        }
        // A folder that refuses every look has no more of an originals folder than of anything else.
        const bool refusesAll = database == FS::Kind::denied && originals == FS::Kind::denied;
        if (originals == FS::Kind::directory || (originals == FS::Kind::denied && !refusesAll)) {
            found_.isRefused = originals == FS::Kind::denied;
            return LibraryFormat::noDatabase;
        }
        if (isOlderLayout(folder)) {
            return LibraryFormat::legacy;
        }
        const bool isDenied = found_.kind == FS::Kind::denied || database == FS::Kind::denied
            || kindAt(database_) == FS::Kind::denied;
        if (isDenied && isNamedLikeLibrary(folder.filename().native())) {
            found_.isRefused = true;
            return LibraryFormat::modern;
        }
        return std::nullopt;
    }

    bool isOpenRefused(const DiskPath& file)
    {
        const auto fd = calls_.open(file, readOnlyOpenFlags());
        heartbeat_.beat();
        if (!fd) {
            return FS::kindOfFailure(fd.error()) == FS::Kind::denied;
        }
        std::ignore = calls_.close(*fd); // nothing was read
        return false;
    }

    /// A refused look at the database may mean the file, or that the way to it is barred, which is true of
    /// every file in any folder of somebody else.
    bool isTheFileRefused(const DiskPath& folder, FS::Kind originals)
    {
        return isNamedLikeLibrary(folder.filename().native()) || originals == FS::Kind::directory
            || calls_.openFolder(database_, Links::notFollowed).has_value();
    }

    bool isOlderLayout(const DiskPath& folder)
    {
        constexpr std::array<std::string_view, 5> marks{"database/photos.db", "database/apdb/Library.apdb",
            "Database/apdb/Library.apdb", "Library.apdb", "AlbumData.xml"};
        return std::ranges::any_of(marks, [&](auto mark) {
            return kindAt(folder / mark) == FS::Kind::regular;
        }) || kindAt(shared_.resolved(calls_, folder / "Masters")) == FS::Kind::directory;
    }

    void addDetails(const DiskPath& folder, FoundLibrary& library)
    {
        const auto status = calls_.status(database_ / "Photos.sqlite", Links::notFollowed);
        heartbeat_.beat();
        if (status && status->type == FileStatus::Type::regular) {
            library.databaseBytes = status->size;
            library.databaseModified = std::chrono::floor<std::chrono::seconds>(status->modified);
        }
        const auto mark = calls_.extendedAttribute(database_, std::string(exclusionMark));
        heartbeat_.beat();
        library.databaseExcludedFromBackups = mark && mark->has_value();
        const DiskPath resources = shared_.resolved(calls_, folder / "resources");
        const DiskPath journals = shared_.resolved(calls_, resources / "journals");
        library.hasJournals =
            hasContent(journals / "Asset-snapshot.plj") || hasContent(journals / "Asset-change.plj");
    }

    bool hasContent(const DiskPath& file)
    {
        const auto size = FS::size(calls_, file);
        heartbeat_.beat();
        return size.value_or(0) > 0;
    }

    const SystemCalls& calls_;
    const SharedFolders& shared_;
    Heartbeat& heartbeat_;
    DiskPath database_;
    ProbedFolder found_;
};

} // namespace

SharedFolders SharedFolders::on(const SystemCalls& calls, const DiskPath& path)
{
    SharedFolders shared;
    const auto volume = calls.fileSystemOf(path);
    if (volume && volume->typeName == "hfsplus") {
        DiskPath folder = DiskPath(volume->mountPoint) / ".HFS+ Private Directory Data\r";
        if (FS::kind(calls, folder, Links::notFollowed) == FS::Kind::directory) {
            shared.folder_ = std::move(folder);
        }
    }
    return shared;
}

DiskPath SharedFolders::resolved(const SystemCalls& calls, DiskPath path) const
{
    if (!areThere()) {
        return path;
    }
    const auto status = calls.status(path, Links::notFollowed);
    if (!status || status->type != FileStatus::Type::regular || status->size != 0 || status->linkCount < 2) {
        return path;
    }
    DiskPath folder = folder_ / ("dir_" + std::to_string(status->linkCount));
    return FS::kind(calls, folder, Links::notFollowed) == FS::Kind::directory ? folder : path;
}

ProbedFolder probeFolder(const SystemCalls& calls, const DiskPath& folder, FoundLibrary::Origin origin,
    const SharedFolders& shared, Heartbeat& heartbeat)
{
    return Prober(calls, shared, heartbeat).probe(folder, origin);
}

bool mayBeLibrary(const FS::PartialList& list)
{
    constexpr std::array<std::string_view, 5> marks{
        "albumdata.xml", "database", "library.apdb", "masters", "originals"};
    return std::ranges::any_of(list.entries, [&](const FS::Entry& entry) {
        return std::ranges::binary_search(marks, std::string_view(lowerAscii(entry.name)));
    });
}

bool isNamedLikeLibrary(std::string_view name)
{
    constexpr std::string_view extension = ".photoslibrary";
    return name.size() > extension.size() && lowerAscii(name).ends_with(extension);
}

} // namespace vantorel
