#pragma once

#include "base/Clock.h"
#include "discovery/FoundLibrary.h"
#include "discovery/TimeMachineLocator.h"
#include "discovery/volumes/UnopenedDisks.h"
#include "disk/CancelToken.h"
#include "disk/ChildProcess.h"
#include "disk/SystemCalls.h"

#include <cstddef>
#include <expected>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vantorel {

/// What a search stands on; shared, since a worker that hangs outlives its caller.
struct FinderServices {
    std::shared_ptr<const SystemCalls> calls{};
    std::shared_ptr<const Clock> clock{};
    std::shared_ptr<const ChildProcessRunner> children{};
};

/// How far a search has come.
struct FindProgress {
    std::string place{};      ///< What is searched now: bytes of a path, "" while no disk is.
    std::int64_t folders = 0; ///< Searched so far.
    std::int64_t libraries = 0;
    bool waitingForDisk = false;

    bool operator==(const FindProgress&) const = default;
};
/// On the calling thread.
using FindProgressCallback = std::function<void(const FindProgress&)>;

/// Where to search, and how far. What is empty is not searched.
struct FinderOptions {
    std::vector<DiskPath> volumeRoots{};
    std::vector<DiskPath> mountPoints{}; ///< Where other volumes begin; no walk crosses them.
    std::vector<DiskPath> timeMachineRoots{};
    std::vector<DiskPath> homeFolders{};
    std::vector<DiskPath> picked{}; ///< Libraries, or folders in which they are looked for.
    std::string preferredUserName{};
    bool askTmutil = false;
    /// Lists the names of locked encrypted volumes; none: they are not asked for. Blocks on its own terms.
    std::function<std::vector<std::string>(const SharedCancelToken&)> lockedVolumeRunner{};
    /// Likewise those that another system formatted and that are not open here.
    std::function<std::vector<UnopenedDisk>(const SharedCancelToken&)> unopenedDiskRunner{};

    int maxVolumeDepth = 6;            ///< Folder levels below a root; the root itself is level 0.
    Seconds stallTimeout{20};          ///< Silence after which a volume is given up.
    std::size_t volumeBudget = 20'000; ///< Folders searched on one volume, and packages besides.
    std::size_t mostChildren = 2'000;  ///< Folders of one folder that are searched.
    TimeMachineLocator::Options backups{};
};

enum class SearchedPlaces { everywhere, pickedAlone };

/// The folders that somebody picked with the volumes that are mounted within them; and where people have
/// libraries on this system: mounted drives, home folders, backups. Guarded; what does not answer is left
/// out.
FinderOptions usualFinderOptions(const FinderServices& services, std::vector<DiskPath> picked,
    SearchedPlaces places, const SharedCancelToken& cancel);

/// Looks for Photos libraries where people have them. Only reads, and waits no longer than its stall limit
/// for a silent disk, once for each volume. Synchronous; runs on a background thread.
class LibraryFinder {
public:
    LibraryFinder(FinderServices services, FinderOptions options)
        : services_(std::move(services))
        , options_(std::move(options))
    {
    }

    /// What was found until the end or until the token was cancelled.
    FindResult find(const SharedCancelToken& cancel = {}, const FindProgressCallback& progress = {}) const;

    /// Looks at one folder: a library, or the sentence that says why it cannot be opened as one.
    std::expected<FoundLibrary, FindIssue> inspect(const DiskPath& folder,
        FoundLibrary::Origin origin = FoundLibrary::Origin::picked,
        const SharedCancelToken& cancel = {}) const;

private:
    FinderServices services_;
    FinderOptions options_;
};

} // namespace vantorel
