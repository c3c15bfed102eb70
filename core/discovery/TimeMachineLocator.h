#pragma once

#include "base/Clock.h"
#include "disk/SystemCalls.h"

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace vantorel {

class FolderWalk;

/// Searches Time Machine backups for libraries: the newest first, the preferred user's home folders of all
/// of them before everything else.
///
/// A backup is a folder named by its date that holds one folder for each backed-up volume, which in turn
/// hold "Users/NAME". On an HFS+ disk all of them lie in "Backups.backupdb/COMPUTER"; on an APFS disk each
/// is a snapshot, and the dated folder is its top.
class TimeMachineLocator {
public:
    struct Options {
        std::string preferredUserName{};
        Seconds directoryTimeout{20}; ///< For each guarded look.
        int maxDepth = 8;             ///< Folder levels below a backup.
        Seconds total{180};           ///< For all backups together.
        Seconds tmutil{30};
    };

    /// `roots`: backups, or "Backups.backupdb" folders.
    TimeMachineLocator(std::vector<DiskPath> roots, Options options)
        : roots_(std::move(roots))
        , options_(std::move(options))
    {
    }

    /// Adds what it finds to the walk's result.
    void locate(FolderWalk& walk) const;

private:
    struct Run;

    std::vector<DiskPath> roots_;
    Options options_;
};

} // namespace vantorel
