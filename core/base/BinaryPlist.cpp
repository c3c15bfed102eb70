#include "base/BinaryPlist.h"

#include "base/Text.h"
#include "base/Unicode.h"

#include <bit>
#include <limits>

namespace vantorel {

namespace {

constexpr std::string_view magic = "bplist00";
constexpr std::size_t trailerBytes = 32;

enum Marker : unsigned {
    single = 0x0,
    integerMarker = 0x1,
    realMarker = 0x2,
    dateMarker = 0x3,
    dataMarker = 0x4,
    asciiMarker = 0x5,
    utf16Marker = 0x6,
    arrayMarker = 0xA,
    dictionaryMarker = 0xD,
};
constexpr unsigned countFollows = 15;

} // namespace

/// What an object's first bytes say. `count` is bytes, UTF-16 units, elements or pairs, by type.
struct BinaryPlist::Head {
    unsigned marker = 0;
    unsigned low = 0; ///< The lower half of the marker byte.
    std::uint64_t count = 0;
    std::uint64_t content = 0; ///< Position of what follows.
};

std::optional<BinaryPlist> BinaryPlist::open(std::string_view bytes)
{
    if (bytes.size() < magic.size() + trailerBytes + 2 || !bytes.starts_with(magic)) {
        return std::nullopt;
    }
    BinaryPlist list;
    list.bytes_ = bytes;
    const std::size_t trailer = bytes.size() - trailerBytes;
    list.offsetSize_ = static_cast<unsigned char>(bytes[trailer + 6]);
    list.referenceSize_ = static_cast<unsigned char>(bytes[trailer + 7]);
    list.count_ = list.bigEndian(trailer + 8, 8).value_or(0);
    list.top_ = list.bigEndian(trailer + 16, 8).value_or(0);
    list.table_ = list.bigEndian(trailer + 24, 8).value_or(0);
    const bool sizesFit = list.offsetSize_ >= 1 && list.offsetSize_ <= 8 && list.referenceSize_ >= 1
        && list.referenceSize_ <= 8;
    if (!sizesFit || list.table_ <= magic.size() || list.table_ > trailer || list.count_ == 0
        || list.count_ > (trailer - list.table_) / list.offsetSize_ || list.top_ >= list.count_) {
        return std::nullopt;
    }
    return list;
}

std::optional<std::uint64_t> BinaryPlist::bigEndian(std::uint64_t position, std::size_t size) const
{
    if (position > bytes_.size() || bytes_.size() - position < size) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
        value = value << 8U | static_cast<unsigned char>(bytes_[static_cast<std::size_t>(position) + i]);
    }
    return value;
}

std::optional<BinaryPlist::Head> BinaryPlist::head(Object object) const
{
    if (object.index >= count_) {
        return std::nullopt;
    }
    const auto position = bigEndian(table_ + object.index * offsetSize_, offsetSize_);
    // Objects lie between the magic and the offset table, wholly.
    if (!position || *position < magic.size() || *position >= table_) {
        return std::nullopt;
    }
    const unsigned byte = static_cast<unsigned char>(bytes_[static_cast<std::size_t>(*position)]);
    Head head{.marker = byte >> 4U, .low = byte & 15U, .count = byte & 15U, .content = *position + 1};
    std::uint64_t unit = 1;
    switch (head.marker) {
    case single:
        head.count = 0;
        break;
    case integerMarker:
    case realMarker:
    case dateMarker:
        if (head.low > 4) {
            return std::nullopt;
        }
        head.count = std::uint64_t{1} << head.low;
        break;
    case dataMarker:
    case asciiMarker:
    case utf16Marker:
    case arrayMarker:
    case dictionaryMarker:
        if (head.low == countFollows) {
            const auto marker = bigEndian(head.content, 1);
            if (!marker || *marker >> 4U != integerMarker || (*marker & 15U) > 3) {
                return std::nullopt;
            }
            const std::size_t size = std::size_t{1} << (*marker & 15U);
            const auto count = bigEndian(head.content + 1, size);
            if (!count) {
                return std::nullopt;
            }
            head.count = *count;
            head.content += 1 + size;
        }
        unit = head.marker == utf16Marker     ? 2
            : head.marker == arrayMarker      ? referenceSize_
            : head.marker == dictionaryMarker ? 2 * referenceSize_
                                              : 1;
        break;
    default:
        return std::nullopt;
    }
    if (head.content > table_ || head.count > (table_ - head.content) / unit) {
        return std::nullopt;
    }
    return head;
}

std::optional<std::int64_t> BinaryPlist::integer(Object object) const
{
    const auto found = head(object);
    if (!found || found->marker != integerMarker) {
        return std::nullopt;
    }
    // 1, 2 and 4 bytes are unsigned, 8 are signed; 16 are written for what is above the greatest signed
    // 64-bit number.
    if (found->count == 16) {
        const auto high = bigEndian(found->content, 8);
        const auto low = bigEndian(found->content + 8, 8);
        if (!high || !low || *high != 0
            || *low > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
            return std::nullopt;
        }
        return static_cast<std::int64_t>(*low);
    }
    const auto value = bigEndian(found->content, static_cast<std::size_t>(found->count));
    return value ? std::optional(static_cast<std::int64_t>(*value)) : std::nullopt;
}

std::optional<double> BinaryPlist::real(Object object) const
{
    const auto found = head(object);
    if (!found) {
        return std::nullopt;
    }
    if (found->marker == integerMarker) {
        const auto value = integer(object);
        return value ? std::optional(static_cast<double>(*value)) : std::nullopt;
    }
    if (found->marker != realMarker) {
        return std::nullopt;
    }
    const auto bits = bigEndian(found->content, static_cast<std::size_t>(found->count));
    if (found->count == 4 && bits) {
        return static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(*bits)));
    }
    return found->count == 8 && bits ? std::optional(std::bit_cast<double>(*bits)) : std::nullopt;
}

std::optional<bool> BinaryPlist::boolean(Object object) const
{
    const auto found = head(object);
    if (found && found->marker == single && (found->low == 8 || found->low == 9)) {
        return found->low == 9;
    }
    const auto number = integer(object);
    return number ? std::optional(*number != 0) : std::nullopt;
}

std::optional<double> BinaryPlist::date(Object object) const
{
    const auto found = head(object);
    if (!found || found->marker != dateMarker || found->count != 8) {
        return std::nullopt;
    }
    const auto bits = bigEndian(found->content, 8);
    return bits ? std::optional(std::bit_cast<double>(*bits)) : std::nullopt;
}

std::optional<std::string> BinaryPlist::string(Object object) const
{
    const auto found = head(object);
    if (!found) {
        return std::nullopt;
    }
    if (found->marker == asciiMarker) {
        return repairedUtf8(
            bytes_.substr(static_cast<std::size_t>(found->content), static_cast<std::size_t>(found->count)));
    }
    if (found->marker != utf16Marker) {
        return std::nullopt;
    }
    std::string text;
    text.reserve(static_cast<std::size_t>(found->count));
    for (std::uint64_t i = 0; i < found->count; ++i) {
        char32_t scalar = static_cast<char32_t>(bigEndian(found->content + 2 * i, 2).value_or(0));
        if (scalar >= 0xD800 && scalar < 0xDC00 && i + 1 < found->count) {
            const auto next = static_cast<char32_t>(bigEndian(found->content + 2 * (i + 1), 2).value_or(0));
            if (next >= 0xDC00 && next < 0xE000) {
                scalar = 0x10000 + ((scalar - 0xD800) << 10U) + (next - 0xDC00);
                ++i;
            }
        }
        appendScalar(text, scalar); // a lone surrogate becomes U+FFFD
    }
    return text;
}

std::optional<std::string_view> BinaryPlist::data(Object object) const
{
    const auto found = head(object);
    if (!found || found->marker != dataMarker) {
        return std::nullopt;
    }
    return bytes_.substr(static_cast<std::size_t>(found->content), static_cast<std::size_t>(found->count));
}

bool BinaryPlist::isDictionary(Object object) const
{
    const auto found = head(object);
    return found && found->marker == dictionaryMarker;
}

std::optional<BinaryPlist::Object> BinaryPlist::value(Object dictionary, std::string_view key) const
{
    const auto found = head(dictionary);
    if (!found || found->marker != dictionaryMarker) {
        return std::nullopt;
    }
    for (std::uint64_t i = 0; i < found->count; ++i) {
        const auto reference = bigEndian(found->content + i * referenceSize_, referenceSize_);
        const auto name = reference ? head(Object{*reference}) : std::nullopt;
        // Keys that are looked for are ASCII; an ASCII string is compared in place.
        if (!name || name->marker != asciiMarker || name->count != key.size()
            || bytes_.substr(static_cast<std::size_t>(name->content), key.size()) != key) {
            continue;
        }
        const auto value = bigEndian(found->content + (found->count + i) * referenceSize_, referenceSize_);
        return value ? std::optional(Object{*value}) : std::nullopt;
    }
    return std::nullopt;
}

std::optional<std::vector<BinaryPlist::Entry>> BinaryPlist::entries(Object dictionary) const
{
    const auto found = head(dictionary);
    if (!found || found->marker != dictionaryMarker) {
        return std::nullopt;
    }
    std::vector<Entry> result;
    std::uint64_t keyBytes = 0;
    for (std::uint64_t i = 0; i < found->count; ++i) {
        const auto reference = bigEndian(found->content + i * referenceSize_, referenceSize_);
        const auto value = bigEndian(found->content + (found->count + i) * referenceSize_, referenceSize_);
        auto key = reference ? string(Object{*reference}) : std::nullopt;
        if (!key || !value) {
            continue;
        }
        // Keys that all share one long string would take far more memory than the list itself.
        keyBytes += key->size();
        if (keyBytes > 4 * bytes_.size()) {
            return std::nullopt;
        }
        result.push_back({.key = *std::move(key), .value = {*value}});
    }
    return result;
}

std::optional<std::vector<BinaryPlist::Object>> BinaryPlist::elements(Object array) const
{
    const auto found = head(array);
    if (!found || found->marker != arrayMarker) {
        return std::nullopt;
    }
    std::vector<Object> result;
    result.reserve(static_cast<std::size_t>(found->count));
    for (std::uint64_t i = 0; i < found->count; ++i) {
        result.push_back({bigEndian(found->content + i * referenceSize_, referenceSize_).value_or(count_)});
    }
    return result;
}

bool BinaryPlist::visitEntries(
    Object dictionary, const std::function<bool(std::string_view key, Object value)>& visit) const
{
    const auto found = head(dictionary);
    if (!found || found->marker != dictionaryMarker) {
        return false;
    }
    for (std::uint64_t i = 0; i < found->count; ++i) {
        const auto reference = bigEndian(found->content + i * referenceSize_, referenceSize_);
        const auto name = reference ? head(Object{*reference}) : std::nullopt;
        const auto value = bigEndian(found->content + (found->count + i) * referenceSize_, referenceSize_);
        if (!name || name->marker != asciiMarker || !value) {
            continue;
        }
        const std::string_view key =
            bytes_.substr(static_cast<std::size_t>(name->content), static_cast<std::size_t>(name->count));
        if (!visit(key, Object{*value})) {
            break;
        }
    }
    return true;
}

bool BinaryPlist::visitElements(Object array, const std::function<bool(Object)>& visit) const
{
    const auto found = head(array);
    if (!found || found->marker != arrayMarker) {
        return false;
    }
    for (std::uint64_t i = 0; i < found->count; ++i) {
        if (!visit(Object{bigEndian(found->content + i * referenceSize_, referenceSize_).value_or(count_)})) {
            break;
        }
    }
    return true;
}

} // namespace vantorel
