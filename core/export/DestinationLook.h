#pragma once

#include "export/ExportChecks.h"

namespace vantorel {

/// By which a folder is known under whatever path it is reached: another spelling, a second mount.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;

    bool operator==(const FileIdentity&) const = default;
};
inline FileIdentity identityOf(const FileStatus& status)
{
    return {.device = status.device, .inode = status.inode};
}

/// The looks at the folder that the user chose, before anything is written there.
struct DestinationLook {
    std::shared_ptr<const SystemCalls> calls{};
    DiskPath path{}; ///< As the user named it.
    FileIdentity library{};
    std::string libraryName{};
    std::string planID{};

    /// The destination's part of a `CheckedStart`, or why nothing can be saved there. Blocks.
    std::expected<CheckedStart, std::string> run(Heartbeat& heartbeat) const;
};

} // namespace vantorel
