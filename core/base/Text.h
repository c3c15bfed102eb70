#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// "1,234": decimal digits in groups of three, whatever the locale.
std::string grouped(std::int64_t count);
/// Decimal byte sizes for people: "Zero KB", "512 bytes", "12 KB", "3.4 MB", "1.25 GB", "2.00 TB".
/// Rounded half up; a value that rounds up to 1,000 of its unit is shown in the next one. No locale.
std::string byteSize(std::int64_t bytes);

std::string lowerAscii(std::string_view text);
std::string upperAscii(std::string_view text);
std::string joined(const std::vector<std::string>& parts, std::string_view separator);

/// The whole text as an integer, or none: no sign but '-', no blanks, nothing behind it, no overflow.
template <std::integral Integer>
std::optional<Integer> parseInteger(std::string_view text, int radix = 10)
{
    Integer value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, radix);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

bool isValidUtf8(std::string_view bytes);
/// Invalid sequences become U+FFFD, one for each maximal invalid part.
std::string repairedUtf8(std::string_view bytes);
/// Text for a terminal or a window: repaired UTF-8 with control characters, escape sequences, line breaks and
/// direction controls made visible ("\x1b" becomes "\\x1b", a line feed "\\n").
std::string displayText(std::string_view bytes);
/// Lower-case hexadecimal digits.
std::string hex(std::string_view bytes);
/// RFC 4648, with padding.
std::string base64(std::string_view bytes);

/// "8-4-4-4-12" hexadecimal digits, either case.
bool isUuid(std::string_view text);
/// The upper-case text of 16 bytes; none for any other length.
std::optional<std::string> uuidText(std::string_view sixteenBytes);
/// A fresh random UUID (version 4), upper case.
std::string randomUuid();

/// The sentence of an errno value for people, in English whatever the locale ("No such file or directory").
std::string errorText(int code);

} // namespace vantorel
