#pragma once

#include "discovery/FolderRules.h"
#include "discovery/FoundLibrary.h"
#include "discovery/LibraryFinder.h"
#include "discovery/LibraryProbe.h"
#include "disk/FS.h"
#include "disk/Guarded.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vantorel {

/// A folder whose tree is searched.
struct WalkRoot {
    DiskPath path{};
    std::string name{}; ///< For sentences.
    FoundLibrary::Origin origin = FoundLibrary::Origin::volume;
    int maxDepth = 0;
    Seconds stallLimit{20};
    bool isHome = false;
    bool isInBackup = false; ///< Backups are not looked for there.
    /// Counts down what may still be searched; shared by the roots of one volume. None: no budget.
    std::shared_ptr<std::size_t> budget{};
};

enum class WalkEnd { whole, tooManyFolders, outOfTime, silent, gone, cancelled };

struct WalkOutcome {
    WalkEnd end = WalkEnd::whole;
    std::int64_t folders = 0; ///< Searched.
    bool metAny = false;      ///< A library or a backup, also one that was known already.
};

/// The walks of one search and what they share: what was found, which folders were seen, which volumes are
/// silent. One thread; every look at a disk is a guarded run.
class FolderWalk {
public:
    FolderWalk(FinderServices services, const FinderOptions& options, SharedCancelToken cancel,
        FindProgressCallback progress);

    /// Breadth first. Adds the libraries, and an issue for each folder that could not be read; what the end
    /// means is the caller's to say.
    WalkOutcome walk(const WalkRoot& root);
    /// Links named like libraries, which the walks passed over: what they lead to was found already where it
    /// lies on a volume that was searched.
    void probeLinks();

    struct Probe {
        bool isSilent = false;
        ProbedFolder folder{};
    };
    /// Probes one folder, under the name that it shows, and adds the library that it is.
    Probe probe(const DiskPath& folder, const std::string& name, FoundLibrary::Origin origin,
        Seconds stallLimit, const SharedFolders& shared = {});
    /// Lists one folder; none: it was silent.
    std::optional<std::expected<FS::PartialList, FS::ListFailure>> list(
        const DiskPath& folder, Seconds stallLimit);
    /// Whether a path leads through links, so that its text does not tell its volume; what it then says of
    /// silence is of no other path. None: it was silent.
    std::optional<bool> leadsThroughLinks(const DiskPath& path, Seconds stallLimit);
    /// None: it was silent.
    std::optional<FS::Kind> kind(const DiskPath& path, FS::Links links, Seconds stallLimit);

    bool isCancelled() const { return vantorel::isCancelled(cancel_); }
    /// The volume of a path is known to be silent: nobody waits for it twice.
    bool isSilent(const DiskPath& path) const;
    /// The mount point of the volume that a path lies on, as far as its text tells.
    std::string volumeKey(const DiskPath& path) const;
    void show(const DiskPath& place);
    void addIssue(FindIssue issue);
    std::chrono::nanoseconds uptime() const { return services_.clock->uptime(); }

    /// Of uptime; then every walk and every look is at its end. None: no time is set.
    std::optional<std::chrono::nanoseconds> deadline{};
    bool isLate() const { return deadline && uptime() >= *deadline; }

    FindResult gathered{};
    std::vector<DiskPath> backups{}; ///< Those that the walks met: dated ones and stores of them.

private:
    struct Queued {
        DiskPath path{};
        std::string name{};
        int depth = 0;
        bool isHome = false;
        bool holdsHomes = false;
    };
    struct Link {
        DiskPath path{};
        FoundLibrary::Origin origin{};
    };
    struct Listed {
        std::optional<FolderIdentity> identity{};
        std::expected<FS::PartialList, FS::ListFailure> list{};
    };
    struct Current; // one walk
    class OwnNames;

    template <typename Work>
    auto run(const DiskPath& place, Seconds stallLimit, Work work);
    Guarded<Listed> listed(const DiskPath& folder, FS::Links links, Seconds stallLimit);
    /// Why a guarded run gave up.
    WalkEnd silentEnd() const;
    bool isIndirect(const DiskPath& path) const;
    void begin(Current& current);
    // Each says whether the walk is at its end.
    std::optional<WalkEnd> limitReached(Current& current);
    std::optional<WalkEnd> search(Current& current, const Queued& folder);
    std::optional<WalkEnd> searchChildren(
        Current& current, const Queued& folder, const FS::PartialList& list);
    std::optional<WalkEnd> probePackage(Current& current, const Queued& package);
    std::optional<WalkEnd> lookWhetherGone(Current& current);
    void noteUnreadable(Current& current, const Queued& folder, int code);
    void sumUp(const Current& current);
    void addLibrary(ProbedFolder found, Seconds stallLimit);
    std::optional<std::string> adviceFor(const DiskPath& refused, Seconds stallLimit);
    std::optional<VolumeInfo> volumeOf(const ProbedFolder& found, Seconds stallLimit);

    FinderServices services_;
    const FinderOptions& options_;
    SharedCancelToken cancel_;
    FindProgressCallback progress_;
    std::function<bool()> keepGoing_;
    FindProgress shown_;
    std::shared_ptr<const std::set<std::string>> mountPoints_;
    std::map<FolderIdentity, int> seen_; ///< Folders, and how many levels below them were searched.
    std::set<std::pair<FolderIdentity, std::int64_t>> known_; ///< Libraries, with the size of the database.
    std::map<std::uint64_t, std::optional<VolumeInfo>> volumes_; ///< By device.
    std::set<std::string> silent_;
    std::set<DiskPath> indirect_; ///< Paths that lead through links, and what lies beneath them.
    std::vector<Link> links_;
};

} // namespace vantorel
