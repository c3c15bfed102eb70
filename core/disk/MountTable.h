#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// One line of Linux's /proc/self/mountinfo, its escapes undone.
struct Mount {
    std::uint64_t id = 0;
    std::uint32_t deviceMajor = 0; ///< 0 for file systems without a block device of their own (also btrfs).
    std::uint32_t deviceMinor = 0;
    std::string root{}; ///< What of the file system is mounted: "/" unless a bind mount or a subvolume.
    std::string mountPoint{};
    std::vector<std::string> options{}; ///< Of the mount and of the file system: "ro", "uid=1000", ...
    std::string typeName{};             ///< "ext4", "fuse.sshfs", ...
    std::string device{};               ///< "/dev/sdb1", "//server/share", "tmpfs", ...

    bool operator==(const Mount&) const = default;
};

/// The lines of a mount table in order. Lines that are not understood are left out.
std::vector<Mount> parseMountTable(std::string_view text);

/// "\040" and its like become the bytes that they stand for.
std::string undoOctalEscapes(std::string_view text);

/// The mount that a path lies on: the one with the id, where it is known and listed; else the longest mount
/// point that contains the path (absolute, links resolved), the later line where one covers another.
const Mount* mountOf(const std::vector<Mount>& table, std::optional<std::uint64_t> id, std::string_view path);

/// Whether the owners that files show are not the ones stored with them: they come from the mount, or the
/// format stores none.
bool ignoresOwnership(const Mount& mount);

/// Whether a type name of statfs (macOS) or of mountinfo (Linux) stands for a disk reached over a network or
/// shared by a virtual machine's host.
bool isNetworkFileSystem(std::string_view typeName);

} // namespace vantorel
