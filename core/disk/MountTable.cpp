#include "disk/MountTable.h"

#include "base/Text.h"

#include <algorithm>
#include <array>

namespace vantorel {

// One line: "36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 - ext3 /dev/root rw,errors=continue"
// id, parent's id, device, root, mount point, options of the mount, any number of tags, "-", type, source,
// options of the file system. Blank, tab, line feed and backslash are written as three octal digits.

namespace {

constexpr std::size_t fieldsBeforeTags = 6;
constexpr std::size_t fieldsAfterDash = 2; // the options behind them may be missing

/// Without an empty last part: a source may be "", which leaves two blanks in a row.
std::vector<std::string_view> split(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(separator), text.size());
        parts.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

void addOptions(std::vector<std::string>& options, std::string_view text)
{
    for (const std::string_view option : split(text, ',')) {
        options.push_back(undoOctalEscapes(option));
    }
}

std::optional<Mount> parseLine(std::string_view line)
{
    const auto fields = split(line, ' ');
    if (fields.size() < fieldsBeforeTags) {
        return std::nullopt;
    }
    const auto dash = std::find(fields.begin() + fieldsBeforeTags, fields.end(), "-");
    if (fields.end() - dash <= static_cast<std::ptrdiff_t>(fieldsAfterDash)) {
        return std::nullopt;
    }
    const auto id = parseInteger<std::uint64_t>(fields[0]);
    const auto device = split(fields[2], ':');
    if (!id || device.size() != 2) {
        return std::nullopt;
    }
    const auto deviceMajor = parseInteger<std::uint32_t>(device[0]);
    const auto deviceMinor = parseInteger<std::uint32_t>(device[1]);
    if (!deviceMajor || !deviceMinor) {
        return std::nullopt;
    }
    Mount mount{
        .id = *id,
        .deviceMajor = *deviceMajor,
        .deviceMinor = *deviceMinor,
        .root = undoOctalEscapes(fields[3]),
        .mountPoint = undoOctalEscapes(fields[4]),
        .typeName = undoOctalEscapes(dash[1]),
        .device = undoOctalEscapes(dash[2]),
    };
    if (!mount.mountPoint.starts_with('/')) { // an empty one would seem to hold every path
        return std::nullopt;
    }
    addOptions(mount.options, fields[5]);
    if (fields.end() - dash > static_cast<std::ptrdiff_t>(fieldsAfterDash) + 1) {
        addOptions(mount.options, dash[3]);
    }
    return mount;
}

bool contains(std::string_view mountPoint, std::string_view path)
{
    if (mountPoint == "/") {
        return path.starts_with('/');
    }
    return path.starts_with(mountPoint)
        && (path.size() == mountPoint.size() || path[mountPoint.size()] == '/');
}

bool isOctalDigit(char digit) { return digit >= '0' && digit <= '7'; }

} // namespace

std::string undoOctalEscapes(std::string_view text)
{
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEscape = text[i] == '\\' && text.size() - i > 3 && text[i + 1] >= '0'
            && text[i + 1] <= '3' && isOctalDigit(text[i + 2]) && isOctalDigit(text[i + 3]);
        if (!isEscape) {
            bytes.push_back(text[i]);
            continue;
        }
        const int value = (text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0');
        bytes.push_back(static_cast<char>(value));
        i += 3;
    }
    return bytes;
}

std::vector<Mount> parseMountTable(std::string_view text)
{
    std::vector<Mount> table;
    for (const std::string_view line : split(text, '\n')) {
        if (auto mount = parseLine(line)) {
            table.push_back(std::move(*mount));
        }
    }
    return table;
}

const Mount* mountOf(const std::vector<Mount>& table, std::optional<std::uint64_t> id, std::string_view path)
{
    const Mount* longest = nullptr;
    for (const Mount& mount : table) {
        if (id && mount.id == *id) {
            return &mount;
        }
        const bool isLonger = longest == nullptr || mount.mountPoint.size() >= longest->mountPoint.size();
        if (isLonger && contains(mount.mountPoint, path)) {
            longest = &mount;
        }
    }
    return longest;
}

bool ignoresOwnership(const Mount& mount)
{
    constexpr std::array<std::string_view, 4> withoutOwners{"vfat", "msdos", "exfat", "fuse.exfat"};
    if (std::ranges::find(withoutOwners, mount.typeName) != withoutOwners.end()) {
        return true;
    }
    const auto has = [&](std::string_view option) {
        return std::ranges::find(mount.options, option) != mount.options.end();
    };
    // cifs names the owner that it would use for servers that tell none, and says so.
    return !has("noforceuid") && std::ranges::any_of(mount.options, [](const std::string& option) {
        return option.starts_with("uid=");
    });
}

bool isNetworkFileSystem(std::string_view typeName)
{
    // macOS, the Linux kernel, FUSE, shares of virtual machines
    constexpr std::array<std::string_view, 40> names{"webdav", "afpfs", "ftp", "nfs", "nfs4", "cifs", "smbfs",
        "smb2", "smb3", "9p", "afs", "ceph", "coda", "davfs", "davfs2", "glusterfs", "lustre", "ncpfs",
        "orangefs", "beegfs", "gpfs", "virtiofs", "vboxsf", "vmhgfs", "prl_fs", "fuse.sshfs",
        "fuse.gvfsd-fuse", "fuse.rclone", "fuse.s3fs", "fuse.s3ql", "fuse.curlftpfs", "fuse.davfs",
        "fuse.davfs2", "fuse.davfs_fuse", "fuse.ceph", "fuse.ceph-fuse", "fuse.glusterfs", "fuse.vmhgfs-fuse",
        "fuse.smbnetfs", "fuse.kio-fuse"};
    return std::ranges::find(names, typeName) != names.end();
}

} // namespace vantorel
