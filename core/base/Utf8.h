#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vantorel {

/// One step through UTF-8: the scalar value at `at`, and how many bytes it takes. `isValid` is false for a
/// maximal invalid part (a cut, overlong or surrogate sequence, a stray byte), whose `scalar` is U+FFFD.
struct Utf8Step {
    char32_t scalar = 0xFFFD;
    std::size_t length = 1;
    bool isValid = false;
};

constexpr Utf8Step utf8Step(std::string_view text, std::size_t at)
{
    const auto byte = [&](std::size_t i) {
        return static_cast<unsigned>(static_cast<unsigned char>(text[at + i]));
    };
    const unsigned lead = byte(0);
    if (lead < 0x80) {
        return {lead, 1, true};
    }
    const std::size_t length = lead >= 0xC2 && lead < 0xE0 ? 2
        : lead >= 0xE0 && lead < 0xF0                      ? 3
        : lead >= 0xF0 && lead < 0xF5                      ? 4
                                                           : 0;
    if (length == 0) {
        return {};
    }
    char32_t scalar = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        // The second byte's range keeps out overlong forms, surrogates and what lies above U+10FFFF.
        const unsigned least = i > 1 ? 0x80U : lead == 0xE0 ? 0xA0U : lead == 0xF0 ? 0x90U : 0x80U;
        const unsigned most = i > 1 ? 0xBFU : lead == 0xED ? 0x9FU : lead == 0xF4 ? 0x8FU : 0xBFU;
        if (at + i >= text.size() || byte(i) < least || byte(i) > most) {
            return {0xFFFD, i, false};
        }
        scalar = scalar << 6U | (byte(i) & 0x3FU);
    }
    return {scalar, length, true};
}

} // namespace vantorel
