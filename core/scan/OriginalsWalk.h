#pragma once

#include "database/LibraryReader.h"
#include "discovery/volumes/VolumeWatch.h"
#include "disk/CancelToken.h"
#include "disk/FS.h"
#include "disk/Guarded.h"
#include "disk/Root.h"
#include "scan/ListingsAhead.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vantorel {

/// What looking into a folder gave. Without a failure and whole, the folder holds these entries and no
/// others.
struct Looked {
    FS::PartialList list{}; ///< What was listed, also when it ended early.
    std::optional<FS::ListFailure> failed{};
    bool escapes = false; ///< A link stands in its place or on the way: it is not followed.
    bool silent = false;  ///< The disk did not answer in time.

    bool isUnreadable() const
    {
        return silent || list.stoppedEarly || list.badEntries > 0
            || (failed && failed->kind == FS::ListFailure::Kind::unavailable && !escapes);
    }
    bool isDenied() const
    {
        return list.deniedEntries > 0 || (failed && failed->kind == FS::ListFailure::Kind::denied);
    }
    bool isMissing() const { return failed && failed->kind == FS::ListFailure::Kind::missing && !escapes; }
};

/// What a look at one file outside the library gave.
struct FileLook {
    enum class Outcome { found, missing, denied, unreadable, notAFile };
    Outcome outcome = Outcome::missing;
    std::int64_t size = 0;

    bool operator==(const FileLook&) const = default;
};

/// The guarded looks of one inspection, and the reasons to end it early. Used by one thread; what its workers
/// touch they own.
class OriginalsWalk {
public:
    enum class Stop {
        gone,      ///< The library's disk, or another one stands in its place.
        cancelled, ///< By the user.
        silent,    ///< Too many listings in a row did not answer.
    };
    struct Settings {
        DiskPath base; ///< The library package.
        Seconds limit{90};
        SharedCancelToken cancel{};
        std::function<void(const DiskPath&)> beforeListing{};
        std::function<void(bool)> onSilence{};
        std::shared_ptr<ListingsAhead> ahead{}; ///< What was listed already; none needed.
    };

    OriginalsWalk(CoreServices services, Settings settings);

    /// Chooses among the names of a folder before anything else is asked of them. Owns what it needs: a
    /// worker may outlive the walk.
    using Wanted = std::function<bool(std::string_view name)>;

    /// Lists a folder of the library ("originals/A"), or what is wanted of it. After a stop it asks nothing
    /// and gives nothing.
    Looked look(const std::string& relative, const Wanted& wanted = {});
    /// Looks at one file by its absolute path, no link followed anywhere on the way. A disk that was silent
    /// twice is not asked again.
    FileLook lookAt(const std::string& path);
    /// Where the disk of "/Volumes/<name>/…" may be found otherwise; each name is looked for once.
    const std::vector<std::string>& mountPointsOf(const std::string& volumeName);
    /// Whether the library lies on a disk of Mac OS Extended that Linux reads: hard links of folders, which
    /// Time Machine makes, appear there as empty files.
    bool showsFolderLinksAsFiles();

    std::optional<Stop> stopped() const { return stop_; }

private:
    struct Held;

    template <typename Work>
    auto run(Seconds limit, Work work);

    CoreServices services_;
    Settings settings_;
    std::function<bool()> keepGoing_;
    std::shared_ptr<Held> held_;
    int stalls_ = 0;
    int silentInARow_ = 0;
    std::optional<Stop> stop_{};
    std::unordered_map<std::string, int> silentLooks_{}; ///< By disk.
    std::unordered_map<std::string, std::vector<std::string>> mountPoints_{};
    std::optional<bool> showsFolderLinksAsFiles_{};
};

} // namespace vantorel
