#include "journals/JournalRecords.h"

#include "base/Digest.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <vector>

#include <zlib.h>

// A journal file is a sequence of records without gaps. A record: the byte 0x40; the CRC-16 of the header,
// big-endian; a byte that is 0; the header's length; the header; the payload. The header is in the wire
// encoding of protocol buffers:
//   1 type   2 identifier (16 bytes)   3 identifier as decimal digits, in place of 2   4 payload version
//   5 payload length   6 CRC-32 of the payload   7 (repeated) name of a key that became empty
//
// A record with a CRC-32 is taken when that is right, also when the CRC-16 is wrong: the texts of a photo
// under a damaged identifier are worth more than nothing. Removals and changes that only clear keys have
// neither payload nor CRC-32; the CRC-16 alone vouches for them. Behind anything else the next record is
// looked for at the next 0x40.

namespace vantorel {

namespace {

constexpr char marker = '\x40';
constexpr std::size_t prefixBytes = 5;
constexpr std::size_t identifierBytes = 16;
constexpr std::size_t positionsBetweenChecks = 4096;
constexpr unsigned clearedField = 7;

enum Wire : unsigned { varint = 0, eightBytes = 1, lengthDelimited = 2, fourBytes = 5 };

std::uint8_t byteAt(std::string_view bytes, std::size_t at) { return static_cast<std::uint8_t>(bytes[at]); }

/// One field after the other of a header.
class Fields {
public:
    struct Field {
        std::uint64_t number = 0;
        unsigned wire = varint;
        std::uint64_t value = 0;  ///< Of a varint.
        std::string_view bytes{}; ///< Of a length-delimited one.
    };

    explicit Fields(std::string_view header)
        : rest_(header)
    {
    }

    /// None at the end, and where the header is invalid.
    std::optional<Field> next()
    {
        if (rest_.empty()) {
            return std::nullopt;
        }
        const auto key = number();
        if (!key) {
            return std::nullopt;
        }
        Field field{.number = *key >> 3U, .wire = static_cast<unsigned>(*key & 7U)};
        switch (field.wire) {
        case varint:
            if (const auto value = number()) {
                field.value = *value;
                return field;
            }
            return std::nullopt;
        case eightBytes:
            return skip(8) ? std::optional(field) : std::nullopt;
        case fourBytes:
            return skip(4) ? std::optional(field) : std::nullopt;
        case lengthDelimited:
            if (const auto length = number(); length && *length <= rest_.size()) {
                field.bytes = rest_.substr(0, static_cast<std::size_t>(*length));
                rest_.remove_prefix(field.bytes.size());
                return field;
            }
            break;
        default:
            break;
        }
        isValid_ = false;
        return std::nullopt;
    }

    bool isValid() const { return isValid_; }

private:
    std::optional<std::uint64_t> number()
    {
        constexpr std::size_t mostBytes = 10;
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < mostBytes && i < rest_.size(); ++i) {
            const std::uint64_t bits = byteAt(rest_, i) & 0x7FU;
            value |= i * 7 < 64 ? bits << (i * 7) : 0;
            if ((byteAt(rest_, i) & 0x80U) == 0) {
                rest_.remove_prefix(i + 1);
                return value;
            }
        }
        isValid_ = false;
        return std::nullopt;
    }

    bool skip(std::size_t count)
    {
        isValid_ = isValid_ && rest_.size() >= count;
        rest_.remove_prefix(std::min(count, rest_.size()));
        return isValid_;
    }

    std::string_view rest_;
    bool isValid_ = true;
};

struct Header {
    std::uint64_t type = JournalRecord::whole;
    std::optional<std::string_view> identifier{};
    std::optional<std::string_view> number{};
    std::uint64_t payloadBytes = 0;
    std::optional<std::uint32_t> crc{};
    bool clears = false;
};

/// None for an invalid header.
std::optional<Header> parsed(std::string_view bytes)
{
    constexpr auto mostPayload = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    Header header;
    Fields fields(bytes);
    while (const auto field = fields.next()) {
        if (field->number == 1 && field->wire == varint) {
            header.type = field->value;
        } else if (field->number == 2 && field->wire == lengthDelimited) {
            if (field->bytes.size() != identifierBytes) {
                return std::nullopt;
            }
            header.identifier = field->bytes;
        } else if (field->number == 3 && field->wire == lengthDelimited) {
            header.number = field->bytes;
        } else if (field->number == 5 && field->wire == varint) {
            if (field->value > mostPayload) { // negative
                return std::nullopt;
            }
            header.payloadBytes = field->value;
        } else if (field->number == 6 && field->wire == varint) {
            header.crc = static_cast<std::uint32_t>(field->value);
        } else if (field->number == clearedField && field->wire == lengthDelimited) {
            header.clears = true;
        }
    }
    return fields.isValid() ? std::optional(header) : std::nullopt;
}

bool isNumber(std::string_view text)
{
    return !text.empty()
        && std::ranges::all_of(text, [](char digit) { return digit >= '0' && digit <= '9'; });
}

/// The CRC-32 of stretches of one file. A file that is made to harm holds a header at every few bytes, each
/// with a long payload: once that shows, sums over the file's start are kept, from which that of any stretch
/// follows in a bounded time.
class PayloadSums {
public:
    explicit PayloadSums(std::string_view bytes)
        : bytes_(bytes)
    {
    }

    std::uint32_t of(std::size_t position, std::size_t length)
    {
        if (summed_ <= alwaysSummed + 4 * bytes_.size()) {
            summed_ += length;
            return crc32(bytes_.substr(position, length));
        }
        const std::uint32_t before = upTo(position);
        const std::uint32_t whole = upTo(position + length);
        return static_cast<std::uint32_t>(crc32_combine(before, 0, static_cast<z_off_t>(length))) ^ whole;
    }

private:
    static constexpr std::size_t alwaysSummed = 1 << 20;
    static constexpr std::size_t step = 8192;

    static std::uint32_t continued(std::uint32_t sum, std::string_view bytes)
    {
        return static_cast<std::uint32_t>(
            ::crc32(sum, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
    }

    std::uint32_t upTo(std::size_t end)
    {
        while (sums_.size() <= end / step) {
            const std::string_view last = bytes_.substr((sums_.size() - 1) * step, step);
            sums_.push_back(continued(sums_.back(), last));
        }
        return continued(sums_[end / step], bytes_.substr(end / step * step, end % step));
    }

    std::string_view bytes_;
    std::size_t summed_ = 0;
    std::vector<std::uint32_t> sums_{0}; ///< Of the first 0, `step`, 2 * `step` ... bytes.
};

class Walker {
public:
    Walker(std::string_view bytes, JournalNames names)
        : bytes_(bytes)
        , names_(names)
        , sums_(bytes)
    {
    }

    struct Found {
        JournalRecord record{};
        std::size_t end = 0;
        bool isEmpty = false; ///< A right sum over no payload, and a header that vouches for nothing.
    };

    std::optional<Found> recordAt(std::size_t at)
    {
        if (bytes_[at] != marker || bytes_.size() - at < prefixBytes || bytes_[at + 4] == 0) {
            return std::nullopt;
        }
        const std::size_t headerBytes = byteAt(bytes_, at + 4);
        if (bytes_.size() - at - prefixBytes < headerBytes) {
            return std::nullopt;
        }
        const std::string_view content = bytes_.substr(at + prefixBytes, headerBytes);
        const auto header = parsed(content);
        const auto identifier = header ? identifierOf(*header) : std::nullopt;
        if (!identifier) {
            return std::nullopt;
        }
        const std::size_t begin = at + prefixBytes + headerBytes;
        if (header->payloadBytes > bytes_.size() - begin) {
            return std::nullopt;
        }
        const auto length = static_cast<std::size_t>(header->payloadBytes);
        const bool isTaken =
            header->crc ? sums_.of(begin, length) == *header->crc : vouchedByHeader(*header, at, content);
        if (!isTaken) {
            return std::nullopt;
        }
        const bool isEmpty = length == 0 && !vouchedByHeader(*header, at, content);
        return Found{.record = {.type = header->type,
                         .identifier = *identifier,
                         .payload = bytes_.substr(begin, length),
                         .header = content,
                         .position = at},
            .end = begin + length,
            .isEmpty = isEmpty};
    }

private:
    std::optional<std::string_view> identifierOf(const Header& header) const
    {
        if (names_ == JournalNames::identifiers) {
            return header.identifier;
        }
        return header.number && isNumber(*header.number) ? header.number : std::nullopt;
    }

    /// A removal or a clearing, which have no CRC-32.
    bool vouchedByHeader(const Header& header, std::size_t at, std::string_view content) const
    {
        const bool hasForm = (header.type == JournalRecord::removal && !header.clears)
            || (header.type == JournalRecord::change && header.clears);
        const unsigned stored = byteAt(bytes_, at + 1) * 256U + byteAt(bytes_, at + 2);
        return header.payloadBytes == 0 && hasForm && crc16Arc(content) == stored;
    }

    std::string_view bytes_;
    JournalNames names_;
    PayloadSums sums_;
};

} // namespace

void JournalRecord::visitCleared(const std::function<void(std::string_view key)>& visit) const
{
    Fields fields(header);
    while (const auto field = fields.next()) {
        if (field->number == clearedField && field->wire == lengthDelimited) {
            visit(field->bytes);
        }
    }
}

JournalWalk walkJournal(std::string_view bytes, JournalNames names, const SharedCancelToken& cancel,
    const std::function<bool(const JournalRecord&)>& take)
{
    JournalWalk walk;
    Walker walker(bytes, names);
    std::size_t nextCheck = 0;
    for (std::size_t at = 0; at < bytes.size();) {
        if (at >= nextCheck) {
            if (isCancelled(cancel)) {
                walk.cancelled = true;
                return walk;
            }
            nextCheck = at + positionsBetweenChecks;
        }
        std::size_t next = 0;
        bool isLost = true;
        if (const auto found = walker.recordAt(at)) {
            isLost = !found->isEmpty && !take(found->record);
            next = found->end;
        } else {
            const std::string_view ahead = bytes.substr(at + 1, positionsBetweenChecks);
            next = at + 1 + std::min(ahead.find(marker), ahead.size());
        }
        walk.lostBytes += isLost ? static_cast<std::int64_t>(next - at) : 0;
        at = next;
    }
    return walk;
}

} // namespace vantorel
