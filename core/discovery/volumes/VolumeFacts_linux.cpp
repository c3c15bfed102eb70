#include "discovery/volumes/VolumeFacts.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <sys/sysmacros.h>

namespace vantorel {

// A block device has a folder in /sys, within those of the hardware that leads to it:
//
//   /sys/devices/pci0000:00/…/usb1/1-2/1-2:1.0/host4/target4:0:0/4:0:0:0/block/sdb/sdb1
//
// "sdb1/dev" holds "8:17", "sdb/removable" 0 or 1, "1-2/removable" a word. A mapped device lies in
// /sys/devices/virtual/block/dm-0; "dm/uuid" begins with the name of the program that made it, and "slaves/"
// has links to the devices beneath. /run/udev/data/b8:17 holds what was found on the device as lines
// "E:ID_FS_TYPE=exfat"; /dev/disk/by-label has a link for each label, awkward bytes as "\x20".

namespace {

constexpr int deepestMapping = 8; // file system on logical volume on encryption on array: four
constexpr std::size_t probedBytes = 2'048;

std::string trimmed(std::string text)
{
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0) {
        text.pop_back();
    }
    return text;
}

std::string textOf(const SystemCalls& calls, const DiskPath& file)
{
    auto text = calls.systemText(file);
    return text ? trimmed(std::move(*text)) : std::string();
}

std::vector<std::string> namesIn(const SystemCalls& calls, const DiskPath& folder)
{
    std::vector<std::string> names;
    const auto reader = calls.openFolder(folder, SystemCalls::Links::followed);
    if (!reader) {
        return names;
    }
    for (;;) {
        auto name = (*reader)->next();
        if (!name || !*name) {
            return names;
        }
        if (**name != "." && **name != "..") {
            names.push_back(*std::move(*name));
        }
    }
}

/// The device's folder in /sys. By its name where it has one, since file systems over several devices show a
/// number of their own; by number where the name is not one of /dev ("/dev/root").
std::optional<DiskPath> blockFolder(
    const SystemCalls& calls, const DiskPath& path, const FileSystemStatus& fileSystem)
{
    if (fileSystem.device.starts_with("/dev/")) {
        if (const auto device = calls.realPath(fileSystem.device)) {
            if (auto folder = calls.realPath(DiskPath("/sys/class/block") / device->filename())) {
                return std::move(*folder);
            }
        }
    }
    const auto status = calls.status(path, SystemCalls::Links::followed);
    if (!status || ::major(status->device) == 0) {
        return std::nullopt;
    }
    const std::string number =
        std::to_string(::major(status->device)) + ":" + std::to_string(::minor(status->device));
    auto folder = calls.realPath("/sys/dev/block/" + number);
    return folder ? std::optional<DiskPath>(std::move(*folder)) : std::nullopt;
}

/// "usb1", "fw0": a bus whose disks are plugged in from outside.
bool isPluggableBus(std::string_view component)
{
    for (const std::string_view bus : {"usb", "fw"}) {
        if (component.starts_with(bus) && component.size() > bus.size()
            && std::ranges::all_of(
                component.substr(bus.size()), [](char c) { return c >= '0' && c <= '9'; })) {
            return true;
        }
    }
    return false;
}

/// From the partition up to the bus: the disk says whether its medium can be taken out (1), a port whether
/// what hangs on it can ("removable"), a card reader's slot what card it holds.
bool isRemovableDrive(const SystemCalls& calls, const DiskPath& block)
{
    for (DiskPath folder = block; folder.has_relative_path() && folder != "/sys/devices" && folder != "/sys";
        folder = folder.parent_path()) {
        const std::string removable = textOf(calls, folder / "removable");
        if (removable == "1" || removable == "removable" || textOf(calls, folder / "type") == "SD"
            || isPluggableBus(folder.filename().native())) {
            return true;
        }
    }
    return false;
}

/// Adds what is true of a device or of one beneath it.
void lookThrough(const SystemCalls& calls, const DiskPath& block, int depth, VolumeFacts& facts)
{
    facts.isEncrypted = facts.isEncrypted || textOf(calls, block / "dm/uuid").starts_with("CRYPT-");
    facts.isRemovable = facts.isRemovable || isRemovableDrive(calls, block);
    if (depth >= deepestMapping) {
        return;
    }
    for (const std::string& name : namesIn(calls, block / "slaves")) {
        if (const auto beneath = calls.realPath(block / "slaves" / name)) {
            lookThrough(calls, *beneath, depth + 1, facts);
        }
    }
}

int hexValue(char digit)
{
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
}

std::string undoHexEscapes(std::string_view text)
{
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEscape = text.substr(i).starts_with("\\x") && text.size() - i > 3
            && hexValue(text[i + 2]) >= 0 && hexValue(text[i + 3]) >= 0;
        if (isEscape) {
            bytes.push_back(static_cast<char>(hexValue(text[i + 2]) * 16 + hexValue(text[i + 3])));
            i += 3;
        } else {
            bytes.push_back(text[i]);
        }
    }
    return bytes;
}

std::string labelOf(const SystemCalls& calls, const DiskPath& device)
{
    const DiskPath labels = "/dev/disk/by-label";
    for (const std::string& name : namesIn(calls, labels)) {
        const auto labelled = calls.realPath(labels / name);
        if (labelled && *labelled == device) {
            return undoHexEscapes(name);
        }
    }
    return {};
}

/// What was found on the device when it appeared.
std::string formatByUdev(const SystemCalls& calls, const DiskPath& block)
{
    constexpr std::string_view key = "E:ID_FS_TYPE=";
    const std::string data = textOf(calls, "/run/udev/data/b" + textOf(calls, block / "dev"));
    for (std::string_view rest = data; !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        if (line.starts_with(key)) {
            return std::string(line.substr(key.size()));
        }
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    }
    return {};
}

/// The marks that the formats leave at the start of a device. Only root and members of the group that owns
/// the disks may look.
std::string formatByLooking(const SystemCalls& calls, const DiskPath& device)
{
    const auto fd = calls.open(device, O_RDONLY | O_NONBLOCK);
    if (!fd) {
        return {};
    }
    std::array<std::byte, probedBytes> start{};
    const auto got = calls.readAt(*fd, start, 0);
    std::ignore = calls.close(*fd); // only read from
    const std::string_view bytes(reinterpret_cast<const char*>(start.data()), got ? *got : 0);
    struct Mark {
        std::size_t offset;
        std::string_view text;
        std::string_view type;
    };
    constexpr std::array<Mark, 7> marks{
        {{3, "EXFAT   ", "exfat"}, {3, "NTFS    ", "ntfs"}, {82, "FAT32   ", "vfat"}, {54, "FAT1", "vfat"},
            {1'024, "H+", "hfsplus"}, {1'024, "HX", "hfsplus"}, {32, "NXSB", "apfs"}}};
    for (const Mark& mark : marks) {
        if (bytes.size() > mark.offset && bytes.substr(mark.offset).starts_with(mark.text)) {
            return std::string(mark.type);
        }
    }
    return {};
}

} // namespace

VolumeFacts volumeFacts(const SystemCalls& calls, const DiskPath& path, const FileSystemStatus& fileSystem)
{
    VolumeFacts facts;
    // File systems that encrypt what they keep in folders of another one.
    constexpr std::array<std::string_view, 4> encrypting{
        "ecryptfs", "fuse.encfs", "fuse.gocryptfs", "fuse.cryfs"};
    facts.isEncrypted = std::ranges::find(encrypting, fileSystem.typeName) != encrypting.end();
    const auto block = blockFolder(calls, path, fileSystem);
    if (!block) {
        return facts;
    }
    lookThrough(calls, *block, 0, facts);
    const DiskPath device = DiskPath("/dev") / block->filename();
    facts.name = labelOf(calls, device);
    if (fileSystem.typeName == "fuseblk") {
        const std::string found = formatByUdev(calls, *block);
        facts.fileSystem = fileSystemKind(found.empty() ? formatByLooking(calls, device) : found);
    }
    return facts;
}

} // namespace vantorel
