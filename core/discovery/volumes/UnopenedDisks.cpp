#include "discovery/volumes/UnopenedDisks.h"

#include <nlohmann/json.hpp>

#include <optional>

namespace vantorel {

namespace {

using Json = nlohmann::json;
using Format = UnopenedDisk::Format;

constexpr std::size_t mostOutputBytes = 4u << 20u;
constexpr std::size_t mostDisks = 1'000;
constexpr int deepestDevice = 16;

// Types of GPT partitions. lsblk writes them in lower case.
constexpr std::string_view apfsType = "7c3457ef-0000-11aa-aa11-00306543ecac";
constexpr std::string_view coreStorageType = "53746f72-6167-11aa-aa11-00306543ecac";
constexpr std::string_view extendedType = "48465300-0000-11aa-aa11-00306543ecac";

std::string textIn(const Json& device, const char* key)
{
    const auto found = device.find(key);
    return found != device.end() && found->is_string() ? found->get<std::string>() : std::string();
}

/// The type is that of the partition table; a disk without one has none. A Mac's own partitions for starting
/// have the same contents under other types.
std::optional<Format> formatOf(const Json& device)
{
    const auto content = textIn(device, "fstype");
    const auto type = textIn(device, "parttype");
    if (type == coreStorageType && content != "hfsplus") {
        return Format::encryptedMac;
    }
    if (content == "apfs" && (type.empty() || type == apfsType)) {
        return Format::apfs;
    }
    const bool isOldTable = type == "0xaf"; // of an MBR
    if (content == "hfsplus" && (type.empty() || type == extendedType || isOldTable)) {
        return Format::macOSExtended;
    }
    return std::nullopt;
}

void add(const Json& devices, int depth, std::vector<UnopenedDisk>& disks)
{
    if (!devices.is_array() || depth > deepestDevice) {
        return;
    }
    for (const Json& device : devices) {
        if (!device.is_object() || disks.size() >= mostDisks || !textIn(device, "mountpoint").empty()) {
            continue;
        }
        if (const auto children = device.find("children"); children != device.end() && !children->empty()) {
            add(*children, depth + 1, disks);
        } else if (const auto format = formatOf(device)) {
            std::string name = textIn(device, "label");
            name = name.empty() ? textIn(device, "partlabel") : name;
            disks.push_back(
                {.name = name.empty() ? "/dev/" + textIn(device, "name") : name, .format = *format});
        }
    }
}

} // namespace

std::vector<UnopenedDisk> unopenedDisksInLsblk(std::string_view json)
{
    std::vector<UnopenedDisk> disks;
    if (json.size() > mostOutputBytes) {
        return disks;
    }
    const Json root = Json::parse(json, nullptr, false);
    if (root.is_object() && root.contains("blockdevices")) {
        add(root["blockdevices"], 0, disks);
    }
    return disks;
}

} // namespace vantorel
