#include "sample/JournalFile.h"

#include "sample/LibraryFiles.h"

#include "base/Digest.h"

#include <fmt/format.h>

#include <stdexcept>

/// A record: the byte 0x40, the CRC-16 of the header (big-endian), a zero byte, the header's length, the
/// header, the payload. The header is in the wire encoding of protocol buffers: 1 type, 2 identifier (16
/// bytes) or 3 (digits), 4 version, 5 length and 6 CRC-32 of the payload, 7 each cleared key. Removals have 1
/// and 2 alone.
namespace vantorel::sample {

namespace {

enum Wire : unsigned { varint = 0, bytes = 2 };

void appendVarint(std::string& out, std::uint64_t number)
{
    while (number >= 0x80) {
        out += static_cast<char>((number & 0x7fU) | 0x80U);
        number >>= 7U;
    }
    out += static_cast<char>(number);
}

void appendNumber(std::string& out, unsigned field, std::uint64_t number)
{
    appendVarint(out, (field << 3U) | varint);
    appendVarint(out, number);
}

void appendBytes(std::string& out, unsigned field, std::string_view content)
{
    appendVarint(out, (field << 3U) | bytes);
    appendVarint(out, content.size());
    out += content;
}

} // namespace

std::string journalBytes(const JournalRecord& record)
{
    const std::string payload = record.payload ? binaryPlist(*record.payload) : std::string{};
    std::string header;
    appendNumber(header, 1, static_cast<std::uint64_t>(record.type));
    appendBytes(header, record.isNumbered ? 3 : 2, record.identifier);
    if (record.type != JournalRecord::Type::removal) {
        appendNumber(header, 4, static_cast<std::uint64_t>(record.payloadVersion));
    }
    if (!payload.empty()) {
        appendNumber(header, 5, payload.size());
        appendNumber(header, 6, crc32(payload));
    }
    for (const std::string& name : record.cleared) {
        appendBytes(header, 7, name);
    }
    if (header.size() > 0xff) {
        throw std::runtime_error("A journal record's header is too long to be written.");
    }
    const std::uint16_t check = crc16Arc(header);
    std::string out("@");
    out += static_cast<char>(check >> 8U);
    out += static_cast<char>(check & 0xffU);
    out += '\0';
    out += static_cast<char>(header.size());
    return out + header + payload;
}

JournalFile::JournalFile(FileWriter& files, std::string_view name)
    : files_(files)
    , path_(DiskPath("resources/journals") / fmt::format("{}.plj", name))
    , file_(files.root() / path_)
{
}

void JournalFile::close()
{
    file_.close();
    files_.setModified(path_, libraryTime);
}

std::string uuidBytes(std::string_view text)
{
    std::string out;
    unsigned value = 0;
    int digits = 0;
    for (const char c : text) {
        if (c == '-') {
            continue;
        }
        const unsigned digit =
            c <= '9' ? static_cast<unsigned>(c - '0') : (static_cast<unsigned>(c) | 0x20U) - 'a' + 10U;
        value = (value << 4U) | (digit & 0xfU);
        if (++digits % 2 == 0) {
            out += static_cast<char>(value & 0xffU);
        }
    }
    return out;
}

} // namespace vantorel::sample
