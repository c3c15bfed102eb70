#include "sample/MediaFiles.h"

#include <cstdint>
#include <map>
#include <string_view>

/// TIFF, little-endian: "II", 42, the position of a list of entries (tag, type, count, value or its
/// position), in ascending order of tags.
namespace vantorel::sample {

namespace {

enum Type : std::uint16_t { bytes = 1, ascii = 2, shorts = 3, longs = 4 };

struct Entry {
    Type type = shorts;
    std::uint32_t count = 1;
    std::string value{}; ///< More than 4 bytes go behind the list.
};

std::string little(std::uint32_t number, int size)
{
    std::string out;
    for (int i = 0; i < size; ++i) {
        out += static_cast<char>((number >> (8 * i)) & 0xffU);
    }
    return out;
}

Entry shortEntry(std::uint32_t number) { return {.type = shorts, .count = 1, .value = little(number, 2)}; }
Entry longEntry(std::uint32_t number) { return {.type = longs, .count = 1, .value = little(number, 4)}; }
Entry textEntry(std::string_view text)
{
    std::string value(text);
    value += '\0';
    return {.type = ascii, .count = static_cast<std::uint32_t>(value.size()), .value = std::move(value)};
}

} // namespace

std::string rawFile(const Picture& picture, const std::string& extension)
{
    const bool isDng = extension == "dng";
    const std::string pixels = pixelBytes(picture);
    std::map<std::uint16_t, Entry> entries;
    entries[0x00fe] = longEntry(0);
    entries[0x0100] = longEntry(static_cast<std::uint32_t>(picture.width()));
    entries[0x0101] = longEntry(static_cast<std::uint32_t>(picture.height()));
    entries[0x0102] = {.type = shorts, .count = 3, .value = little(8, 2) + little(8, 2) + little(8, 2)};
    entries[0x0103] = shortEntry(1); // Not compressed.
    entries[0x0106] = shortEntry(2); // RGB.
    entries[0x010f] = textEntry("Imaginary Optics");
    entries[0x0110] = textEntry(isDng ? "Walnut 2" : "Walnut 1");
    entries[0x0111] = longEntry(0); // Where the strip is: set below.
    entries[0x0112] = shortEntry(1);
    entries[0x0115] = shortEntry(3);
    entries[0x0116] = longEntry(static_cast<std::uint32_t>(picture.height()));
    entries[0x0117] = longEntry(static_cast<std::uint32_t>(pixels.size()));
    if (isDng) {
        entries[0xc612] = {.type = bytes, .count = 4, .value = std::string("\1\4\0\0", 4)};
        entries[0xc613] = {.type = bytes, .count = 4, .value = std::string("\1\1\0\0", 4)};
        entries[0xc614] = textEntry("Imaginary Optics Walnut 2");
    }
    const std::string head = isDng ? std::string("II\x2a\0\x08\0\0\0", 8)
                                   : std::string("II\x2a\0\x10\0\0\0"
                                                 "CR\x02\0\0\0\0\0",
                                         16);
    const std::size_t behindList = head.size() + 2 + entries.size() * 12 + 4;
    std::size_t behindValues = behindList;
    for (const auto& [tag, entry] : entries) {
        behindValues += entry.value.size() > 4 ? (entry.value.size() + 1) / 2 * 2 : 0;
    }
    entries[0x0111] = longEntry(static_cast<std::uint32_t>(behindValues));
    std::string list = little(static_cast<std::uint32_t>(entries.size()), 2);
    std::string values;
    for (const auto& [tag, entry] : entries) {
        list += little(tag, 2) + little(entry.type, 2) + little(entry.count, 4);
        if (entry.value.size() <= 4) {
            list += entry.value + std::string(4 - entry.value.size(), '\0');
        } else {
            list += little(static_cast<std::uint32_t>(behindList + values.size()), 4);
            values += entry.value + std::string(entry.value.size() % 2, '\0');
        }
    }
    return head + list + little(0, 4) + values + pixels;
}

} // namespace vantorel::sample
