#include "base/Text.h"

#include "base/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <random>
#include <utility>

namespace vantorel {

namespace {

constexpr std::string_view lowerDigits = "0123456789abcdef";
constexpr std::string_view upperDigits = "0123456789ABCDEF";
constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

std::string hexadecimal(std::string_view bytes, std::string_view digits)
{
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += digits[value >> 4U];
        text += digits[value & 15U];
    }
    return text;
}

constexpr std::array<bool, 256> makeHexDigits()
{
    std::array<bool, 256> digits{};
    for (const std::string_view known : {lowerDigits, upperDigits}) {
        for (const char c : known) {
            digits[static_cast<unsigned char>(c)] = true;
        }
    }
    return digits;
}
constexpr auto hexDigits = makeHexDigits();

std::string uuidForm(std::string_view sixteenBytes)
{
    std::string text = hexadecimal(sixteenBytes, upperDigits);
    for (const std::size_t position : {8U, 13U, 18U, 23U}) {
        text.insert(position, 1, '-');
    }
    return text;
}

/// Calls `visit(step, bytes)` for every scalar value and every maximal invalid part.
template <typename Visit>
void eachScalar(std::string_view text, Visit visit)
{
    for (std::size_t at = 0; at < text.size();) {
        const Utf8Step step = utf8Step(text, at);
        visit(step, text.substr(at, step.length));
        at += step.length;
    }
}

bool changesReadingDirection(char32_t scalar)
{
    return (scalar >= 0x202A && scalar <= 0x202E) || (scalar >= 0x2066 && scalar <= 0x2069)
        || scalar == 0x200E || scalar == 0x200F || scalar == 0x061C;
}

} // namespace

std::string grouped(std::int64_t count)
{
    std::string digits = fmt::format("{}", count);
    const std::size_t first = count < 0 ? 1 : 0;
    for (std::size_t position = digits.size(); position > first + 3;) {
        position -= 3;
        digits.insert(position, 1, ',');
    }
    return digits;
}

std::string byteSize(std::int64_t bytes)
{
    if (bytes <= 0) {
        return "Zero KB";
    }
    if (bytes < 1000) {
        return fmt::format("{} bytes", bytes);
    }
    struct Unit {
        std::uint64_t bytes;
        int decimals;
        std::string_view name;
    };
    constexpr std::array<Unit, 4> units{
        {{1000, 0, "KB"}, {1'000'000, 1, "MB"}, {1'000'000'000, 2, "GB"}, {1'000'000'000'000, 2, "TB"}}};
    constexpr std::array<std::uint64_t, 3> powers{1, 10, 100};
    for (const auto& unit : units) {
        const std::uint64_t scale = powers.at(static_cast<std::size_t>(unit.decimals));
        const std::uint64_t step = unit.bytes / scale; // what the last digit shown stands for
        const std::uint64_t value = (static_cast<std::uint64_t>(bytes) + step / 2) / step;
        if (value >= 1000 * scale && unit.bytes != units.back().bytes) {
            continue;
        }
        if (unit.decimals == 0) {
            return fmt::format("{} {}", value, unit.name);
        }
        return fmt::format("{}.{:0{}} {}", value / scale, value % scale, unit.decimals, unit.name);
    }
    std::unreachable();
}

std::string lowerAscii(std::string_view text)
{
    std::string result(text);
    std::ranges::transform(
        result, result.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return result;
}

std::string upperAscii(std::string_view text)
{
    std::string result(text);
    std::ranges::transform(
        result, result.begin(), [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    return result;
}

std::string joined(const std::vector<std::string>& parts, std::string_view separator)
{
    std::string result;
    for (const auto& part : parts) {
        if (&part != &parts.front()) {
            result += separator;
        }
        result += part;
    }
    return result;
}

bool isValidUtf8(std::string_view bytes)
{
    if (std::ranges::all_of(bytes, [](char c) { return static_cast<signed char>(c) >= 0; })) {
        return true;
    }
    bool valid = true;
    eachScalar(bytes, [&](const Utf8Step& step, std::string_view) { valid = valid && step.isValid; });
    return valid;
}

std::string repairedUtf8(std::string_view bytes)
{
    if (isValidUtf8(bytes)) {
        return std::string(bytes);
    }
    std::string result;
    result.reserve(bytes.size());
    eachScalar(bytes, [&](const Utf8Step& step, std::string_view part) {
        result += step.isValid ? part : replacementCharacter;
    });
    return result;
}

std::string displayText(std::string_view bytes)
{
    std::string result;
    result.reserve(bytes.size());
    eachScalar(bytes, [&](const Utf8Step& step, std::string_view part) {
        const char32_t scalar = step.scalar;
        if (!step.isValid) {
            result += replacementCharacter;
        } else if (scalar == '\n') {
            result += "\\n";
        } else if (scalar == '\r') {
            result += "\\r";
        } else if (scalar == '\t') {
            result += "\\t";
        } else if (scalar < 0x20 || scalar == 0x7F) {
            result += fmt::format("\\x{:02x}", static_cast<unsigned>(scalar));
        } else if ((scalar >= 0x80 && scalar < 0xA0) || scalar == 0x2028 || scalar == 0x2029
            || changesReadingDirection(scalar)) {
            result += fmt::format("\\u{:04x}", static_cast<unsigned>(scalar));
        } else {
            result += part;
        }
    });
    return result;
}

std::string hex(std::string_view bytes) { return hexadecimal(bytes, lowerDigits); }

std::string base64(std::string_view bytes)
{
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t here = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t value = 0;
        for (std::size_t j = 0; j < 3; ++j) {
            value = value << 8U | (j < here ? static_cast<unsigned char>(bytes[i + j]) : 0U);
        }
        for (std::size_t j = 0; j < 4; ++j) {
            text += j <= here ? digits[value >> (18 - 6 * j) & 63U] : '=';
        }
    }
    return text;
}

bool isUuid(std::string_view text)
{
    if (text.size() != 36 || text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-') {
        return false;
    }
    // Asked of every file and every record: all digits are looked at without a branch for each.
    int digits = 0;
    for (const char c : text) {
        digits += hexDigits[static_cast<unsigned char>(c)] ? 1 : 0;
    }
    return digits == 32;
}

std::optional<std::string> uuidText(std::string_view sixteenBytes)
{
    if (sixteenBytes.size() != 16) {
        return std::nullopt;
    }
    return uuidForm(sixteenBytes);
}

std::string randomUuid()
{
    static thread_local std::random_device device;
    std::string bytes;
    while (bytes.size() < 16) {
        const std::uint32_t value = device();
        for (unsigned shift = 0; shift < 32; shift += 8) {
            bytes += static_cast<char>(value >> shift & 255U);
        }
    }
    bytes[6] = static_cast<char>((static_cast<unsigned char>(bytes[6]) & 0x0FU) | 0x40U);
    bytes[8] = static_cast<char>((static_cast<unsigned char>(bytes[8]) & 0x3FU) | 0x80U);
    return uuidForm(bytes);
}

std::string errorText(int code)
{
    // strerror follows the locale that a window toolkit may have set; sentences here never do.
    static constexpr std::array<std::pair<int, std::string_view>, 32> texts{{
        {EPERM, "Operation not permitted"},
        {ENOENT, "No such file or directory"},
        {EIO, "Input/output error"},
        {ENXIO, "No such device or address"},
        {EBADF, "Bad file descriptor"},
        {EAGAIN, "Resource temporarily unavailable"},
        {ENOMEM, "Cannot allocate memory"},
        {EACCES, "Permission denied"},
        {EBUSY, "Device or resource busy"},
        {EEXIST, "File exists"},
        {EXDEV, "Not beneath the folder"},
        {ENODEV, "No such device"},
        {ENOTDIR, "Not a directory"},
        {EISDIR, "Is a directory"},
        {EINVAL, "Invalid argument"},
        {ENFILE, "Too many open files in system"},
        {EMFILE, "Too many open files"},
        {EFBIG, "File too large"},
        {ENOSPC, "No space left on device"},
        {EROFS, "Read-only file system"},
        {EMLINK, "Too many links"},
        {ENAMETOOLONG, "File name too long"},
        {ENOSYS, "Function not implemented"},
        {ENOTEMPTY, "Directory not empty"},
        {ELOOP, "A link where none is followed"},
        {EDQUOT, "Disk quota exceeded"},
        {ESTALE, "Stale file handle"},
        {ETIMEDOUT, "Connection timed out"},
        {ENOTSUP, "Operation not supported"},
        {EILSEQ, "Illegal byte sequence"},
        {ENOTCONN, "Not connected"},
        {EOVERFLOW, "Value too large"},
    }};
    for (const auto& [number, text] : texts) {
        if (number == code) {
            return std::string(text);
        }
    }
    return fmt::format("error {}", code);
}

} // namespace vantorel
