#include "sample/MediaFiles.h"

#include <cstdint>
#include <string_view>
#include <utility>

/// A QuickTime file is a row of atoms: 4 bytes length (big-endian, the head of 8 bytes included), 4 bytes
/// type, content, which may be atoms again. "mdat" holds the pictures, "moov" says where in the file each one
/// begins
/// ("stco"), how long it is ("stsz") and how long it is shown ("stts").
namespace vantorel::sample {

namespace {

constexpr std::uint32_t ticksPerSecond = 600;

void append16(std::string& out, std::uint32_t number)
{
    out += static_cast<char>((number >> 8U) & 0xffU);
    out += static_cast<char>(number & 0xffU);
}

void append32(std::string& out, std::uint32_t number)
{
    append16(out, number >> 16U);
    append16(out, number & 0xffffU);
}

std::string number32(std::uint32_t number)
{
    std::string out;
    append32(out, number);
    return out;
}

std::string atom(std::string_view type, std::string_view content)
{
    std::string out = number32(static_cast<std::uint32_t>(content.size() + 8));
    out += type;
    out += content;
    return out;
}

/// An atom that begins with a version byte and three bytes of flags.
std::string versioned(std::string_view type, std::uint32_t flags, std::string_view content)
{
    return atom(type, number32(flags) + std::string(content));
}

/// The unit matrix of a track or film: no turning.
std::string unitMatrix()
{
    std::string out;
    for (const std::uint32_t number : {0x10000U, 0U, 0U, 0U, 0x10000U, 0U, 0U, 0U, 0x40000000U}) {
        append32(out, number);
    }
    return out;
}

std::string filmHeader(std::uint32_t duration)
{
    std::string out(8, '\0'); // Made and changed: not said.
    append32(out, ticksPerSecond);
    append32(out, duration);
    append32(out, 0x10000U); // Ordinary speed,
    append16(out, 0x100U);   // ordinary loudness.
    out += std::string(10, '\0') + unitMatrix() + std::string(24, '\0');
    append32(out, 2); // The next track's number.
    return versioned("mvhd", 0, out);
}

std::string trackHeader(const Film& film, std::uint32_t duration)
{
    std::string out(8, '\0');
    append32(out, 1); // The track's number.
    append32(out, 0);
    append32(out, duration);
    out += std::string(16, '\0') + unitMatrix();
    append32(out, static_cast<std::uint32_t>(film.width) << 16U);
    append32(out, static_cast<std::uint32_t>(film.height) << 16U);
    return versioned("tkhd", 0xf, out);
}

std::string mediaHeader(std::uint32_t duration)
{
    std::string out(8, '\0');
    append32(out, ticksPerSecond);
    append32(out, duration);
    append16(out, 0x55c4U); // Language: undetermined.
    append16(out, 0);
    return versioned("mdhd", 0, out);
}

std::string handler(std::string_view component, std::string_view type, std::string_view name)
{
    std::string out(component);
    out += type;
    out += std::string(12, '\0');
    out += name;
    out += '\0';
    return versioned("hdlr", 0, out);
}

std::string pictureDescription(const Film& film)
{
    std::string entry(6, '\0');
    append16(entry, 1); // The data reference.
    entry += std::string(16, '\0');
    append16(entry, static_cast<std::uint32_t>(film.width));
    append16(entry, static_cast<std::uint32_t>(film.height));
    append32(entry, 0x480000U); // 72 points an inch, both ways.
    append32(entry, 0x480000U);
    append32(entry, 0);
    append16(entry, 1); // Pictures in a sample.
    entry += '\x0c';
    entry += "Photo - JPEG";
    entry += std::string(31 - 12, '\0');
    append16(entry, 24); // Bits a point.
    append16(entry, 0xffffU);
    return versioned("stsd", 0, number32(1) + atom("jpeg", entry));
}

std::string sampleTables(
    const Film& film, std::span<const std::string> pictures, std::uint32_t ticks, std::uint32_t firstOffset)
{
    const auto count = static_cast<std::uint32_t>(pictures.size());
    std::string sizes = number32(0) + number32(count);
    std::string offsets = number32(count);
    std::uint32_t offset = firstOffset;
    for (const std::string& picture : pictures) {
        append32(sizes, static_cast<std::uint32_t>(picture.size()));
        append32(offsets, offset);
        offset += static_cast<std::uint32_t>(picture.size());
    }
    return atom("stbl",
        pictureDescription(film) + versioned("stts", 0, number32(1) + number32(count) + number32(ticks))
            + versioned("stsc", 0, number32(1) + number32(1) + number32(1) + number32(1))
            + versioned("stsz", 0, sizes) + versioned("stco", 0, offsets));
}

/// "meta" with the one key by which a Live Photo's two files find each other.
std::string identifierAtom(std::string_view identifier)
{
    const std::string_view key = "com.apple.quicktime.content.identifier";
    const std::string keys = versioned("keys", 0,
        number32(1) + number32(static_cast<std::uint32_t>(key.size() + 8)) + "mdta" + std::string(key));
    const std::string data = atom("data", number32(1) + number32(0) + std::string(identifier));
    const std::string items =
        atom("ilst", number32(static_cast<std::uint32_t>(data.size() + 8)) + number32(1) + data);
    return atom("meta", handler(std::string(4, '\0'), "mdta", "") + keys + items);
}

std::string filmAtom(const Film& film, std::span<const std::string> pictures, std::uint32_t firstOffset)
{
    const std::uint32_t ticks = ticksPerSecond / static_cast<std::uint32_t>(film.picturesPerSecond);
    const std::uint32_t duration = ticks * static_cast<std::uint32_t>(pictures.size());
    const std::string reference = versioned("dref", 0, number32(1) + versioned("url ", 1, ""));
    const std::string information = atom("minf",
        versioned("vmhd", 1, std::string(8, '\0')) + handler("dhlr", "url ", "") + atom("dinf", reference)
            + sampleTables(film, pictures, ticks, firstOffset));
    const std::string media =
        atom("mdia", mediaHeader(duration) + handler("mhlr", "vide", "Video") + information);
    std::string content = filmHeader(duration) + atom("trak", trackHeader(film, duration) + media);
    if (!film.contentIdentifier.empty()) {
        content += identifierAtom(film.contentIdentifier);
    }
    return atom("moov", content);
}

} // namespace

std::string movieFile(const Film& film, std::span<const std::string> jpegPictures)
{
    const std::string brand = film.isMp4 ? std::string("mp42") : std::string("qt  ");
    const std::string type = atom("ftyp", brand + number32(film.isMp4 ? 0U : 0x20050300U) + brand);
    // The offsets have a fixed length, so a first try tells where the pictures begin.
    const std::size_t begin = type.size() + filmAtom(film, jpegPictures, 0).size() + 8;
    std::string pictures;
    for (const std::string& picture : jpegPictures) {
        pictures += picture;
    }
    return type + filmAtom(film, jpegPictures, static_cast<std::uint32_t>(begin)) + atom("mdat", pictures);
}

} // namespace vantorel::sample
