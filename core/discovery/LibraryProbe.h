#pragma once

#include "discovery/FoundLibrary.h"
#include "disk/FS.h"
#include "disk/Heartbeat.h"

#include <chrono>
#include <compare>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace vantorel {

/// Tells one folder from another whatever the path: the time guards against file systems that make up inode
/// numbers and give one to another folder later.
struct FolderIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::chrono::sys_time<std::chrono::nanoseconds> modified{};

    static FolderIdentity of(const FileStatus& status)
    {
        return {.device = status.device, .inode = status.inode, .modified = status.modified};
    }
    auto operator<=>(const FolderIdentity&) const = default;
};

/// Where Time Machine's folders with several names really are, on an HFS+ disk read by Linux.
///
/// There such a folder shows as an empty regular file whose link count N names the folder
/// MOUNT/.HFS+ Private Directory Data<CR>/dir_N. macOS shows it as the folder that it is.
class SharedFolders {
public:
    /// None to be followed: every path is what it seems.
    SharedFolders() = default;
    /// Of the file system that a path lies on; none where it is not HFS+ or has no such folders. Blocks.
    static SharedFolders on(const SystemCalls& calls, const DiskPath& path);

    bool areThere() const { return !folder_.empty(); }
    /// The folder behind a path whose last component is such a file; else the path itself. Blocks.
    DiskPath resolved(const SystemCalls& calls, DiskPath path) const;

private:
    DiskPath folder_;
};

/// What the looks at one folder gave.
struct ProbedFolder {
    FS::Kind kind = FS::Kind::missing;     ///< Of the folder itself, links followed.
    std::optional<FoundLibrary> library{}; ///< None: not a library. Without its volume and access problem.
    bool isRefused = false;                ///< The library's access problem is yet to be put into words.
    FolderIdentity identity{};
    int code = 0; ///< The first look that failed for another reason than a missing file: errno.
};

/// Looks whether a folder is a library. Blocks; callers run it guarded.
ProbedFolder probeFolder(const SystemCalls& calls, const DiskPath& folder, FoundLibrary::Origin origin,
    const SharedFolders& shared, Heartbeat& heartbeat);

/// Whether a listing holds a name that every library has one of: only then a probe is worth its looks.
bool mayBeLibrary(const FS::PartialList& list);
/// ".photoslibrary", in either case.
bool isNamedLikeLibrary(std::string_view name);

} // namespace vantorel
