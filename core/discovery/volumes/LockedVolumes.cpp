#include "discovery/volumes/LockedVolumes.h"

#include "base/Text.h"

#include <nlohmann/json.hpp>
#include <plist/plist.h>

#include <cstdint>
#include <optional>
#include <utility>

namespace vantorel {

// diskutil prints an XML property list:
//
//   <dict><key>Containers</key><array><dict> … <key>Volumes</key><array>
//     <dict><key>Name</key><string>Data</string><key>Locked</key><true/> … </dict> …
//
// lsblk prints {"blockdevices": [{"name", "fstype", "label", "partlabel", "children": [...]}]}; an encryption
// that was opened has the opened device among its children.

namespace {

constexpr std::size_t mostOutputBytes = 4u << 20u; // some hundred volumes take 200 KB
constexpr std::size_t mostContainers = 4'096;      // dictionaries and arrays; a nesting is never deeper
constexpr std::size_t mostNames = 1'000;
constexpr int deepestDevice = 16; // disk, partition, array, volume: four
constexpr std::string_view unnamed = "Unnamed volume";

struct PlistFree {
    void operator()(plist_t node) const { plist_free(node); }
};
using OwnedPlist = std::unique_ptr<void, PlistFree>;

std::size_t occurrences(std::string_view text, std::string_view what)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string_view::npos;
        at = text.find(what, at + what.size())) {
        ++count;
    }
    return count;
}

/// The library that reads property lists goes down by recursion: text that could lead it too deep never
/// reaches it, nor does text that declares entities of its own.
bool isHarmless(std::string_view xml)
{
    return xml.size() <= mostOutputBytes && !xml.contains("<!ENTITY")
        && occurrences(xml, "<dict") + occurrences(xml, "<array") <= mostContainers;
}

plist_t valueOf(plist_t dictionary, const char* key, plist_type type)
{
    if (plist_get_node_type(dictionary) != PLIST_DICT) {
        return nullptr;
    }
    plist_t value = plist_dict_get_item(dictionary, key);
    return value != nullptr && plist_get_node_type(value) == type ? value : nullptr;
}

template <typename Visit>
void forEachIn(plist_t array, Visit visit)
{
    const std::uint32_t size = array != nullptr ? plist_array_get_size(array) : 0;
    for (std::uint32_t i = 0; i < size; ++i) {
        visit(plist_array_get_item(array, i));
    }
}

bool isTrue(plist_t boolean)
{
    std::uint8_t value = 0;
    if (boolean != nullptr) {
        plist_get_bool_val(boolean, &value);
    }
    return value != 0;
}

std::string nameOf(plist_t volume)
{
    plist_t name = valueOf(volume, "Name", PLIST_STRING);
    std::uint64_t length = 0;
    const char* text = name != nullptr ? plist_get_string_ptr(name, &length) : nullptr;
    return text != nullptr && length > 0 ? repairedUtf8(std::string_view(text, length))
                                         : std::string(unnamed);
}

using Json = nlohmann::json;

std::optional<std::string> textIn(const Json& device, const char* key)
{
    const auto found = device.find(key);
    if (found == device.end() || !found->is_string() || found->get_ref<const std::string&>().empty()) {
        return std::nullopt;
    }
    return found->get<std::string>();
}

void addLocked(const Json& devices, int depth, std::vector<std::string>& names)
{
    if (!devices.is_array() || depth > deepestDevice) {
        return;
    }
    for (const Json& device : devices) {
        if (!device.is_object() || names.size() >= mostNames) {
            continue;
        }
        const auto children = device.find("children");
        const bool isOpened = children != device.end() && children->is_array() && !children->empty();
        const auto content = textIn(device, "fstype");
        if (!isOpened && (content == "crypto_LUKS" || content == "BitLocker")) {
            const auto label = textIn(device, "label");
            const auto partition = label ? label : textIn(device, "partlabel");
            const auto node = textIn(device, "name");
            names.push_back(partition ? *partition : node ? "/dev/" + *node : std::string(unnamed));
        } else if (isOpened) {
            addLocked(*children, depth + 1, names);
        }
    }
}

} // namespace

LockedVolumesTool diskutilTool()
{
    return {.program = "/usr/sbin/diskutil",
        .arguments = {"apfs", "list", "-plist"},
        .read = lockedVolumesInPlist};
}

LockedVolumesTool lsblkTool()
{
    return {.program = "/usr/bin/lsblk",
        .arguments = {"--json", "--output", "NAME,FSTYPE,LABEL,PARTLABEL"},
        .read = lockedVolumesInLsblk};
}

std::vector<std::string> lockedVolumesInPlist(std::string_view xml)
{
    std::vector<std::string> names;
    if (!isHarmless(xml)) {
        return names;
    }
    plist_t parsed = nullptr;
    plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &parsed);
    const OwnedPlist root(parsed);
    if (!root) {
        return names;
    }
    forEachIn(valueOf(root.get(), "Containers", PLIST_ARRAY), [&](plist_t container) {
        forEachIn(valueOf(container, "Volumes", PLIST_ARRAY), [&](plist_t volume) {
            if (names.size() < mostNames && isTrue(valueOf(volume, "Locked", PLIST_BOOLEAN))) {
                names.push_back(nameOf(volume));
            }
        });
    });
    return names;
}

std::vector<std::string> lockedVolumesInLsblk(std::string_view json)
{
    std::vector<std::string> names;
    if (json.size() > mostOutputBytes) {
        return names;
    }
    const Json root = Json::parse(json, nullptr, false);
    if (root.is_object() && root.contains("blockdevices")) {
        addLocked(root["blockdevices"], 0, names);
    }
    return names;
}

std::vector<std::string> LockedVolumes::list(Seconds timeout, const SharedCancelToken& cancel) const
{
    const auto ended = children_->run({
        .program = tool_.program,
        .arguments = tool_.arguments,
        .timeout = timeout,
        .cancel = cancel,
        .mostOutputBytes = mostOutputBytes,
    });
    if (!ended || ended->exitStatus != 0) {
        return {};
    }
    return tool_.read(ended->output);
}

} // namespace vantorel
