#include "base/Unicode.h"

#include "base/Text.h"
#include "base/Utf8.h"

// The C interface: it is the one that the ICU of macOS has too, where UTF-16 units would be plain numbers
// otherwise.
#define UCHAR_TYPE char16_t
#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utext.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <new>

namespace vantorel {

namespace {

bool isAscii(std::string_view text)
{
    return std::ranges::all_of(text, [](char c) { return static_cast<signed char>(c) >= 0; });
}

/// The data are part of the ICU library: without them nothing that this program does would be right, and the
/// only failure that is left is memory.
void check(UErrorCode status)
{
    if (U_FAILURE(status)) {
        throw std::bad_alloc();
    }
}

std::u16string wide(std::string_view validUtf8)
{
    std::u16string text;
    text.reserve(validUtf8.size());
    for (std::size_t at = 0; at < validUtf8.size();) {
        const Utf8Step step = utf8Step(validUtf8, at);
        if (step.scalar >= 0x10000) {
            text += static_cast<char16_t>(0xD800 + ((step.scalar - 0x10000) >> 10U));
            text += static_cast<char16_t>(0xDC00 + ((step.scalar - 0x10000) & 0x3FFU));
        } else {
            text += static_cast<char16_t>(step.scalar);
        }
        at += step.length;
    }
    return text;
}

std::string narrow(std::u16string_view text)
{
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t scalar = text[i];
        if (scalar >= 0xD800 && scalar < 0xDC00 && i + 1 < text.size()) {
            scalar = 0x10000 + ((scalar - 0xD800) << 10U) + (static_cast<char32_t>(text[++i]) - 0xDC00);
        }
        appendScalar(result, scalar);
    }
    return result;
}

/// Calls an ICU function that fills a buffer and tells the length it needs, with a buffer that is long
/// enough.
template <typename Fill>
std::u16string filled(std::size_t likelyLength, Fill fill)
{
    std::u16string buffer(likelyLength + 8, u'\0');
    while (true) {
        UErrorCode status = U_ZERO_ERROR;
        const std::int32_t length = fill(buffer.data(), static_cast<std::int32_t>(buffer.size()), &status);
        if (status == U_BUFFER_OVERFLOW_ERROR) {
            buffer.resize(static_cast<std::size_t>(length) + 1);
            continue;
        }
        check(status);
        buffer.resize(static_cast<std::size_t>(length));
        return buffer;
    }
}

std::int32_t lengthOf(const std::u16string& text) { return static_cast<std::int32_t>(text.size()); }

std::u16string normalized(const UNormalizer2* form, const std::u16string& text)
{
    return filled(text.size() * 2, [&](char16_t* out, std::int32_t size, UErrorCode* status) {
        return unorm2_normalize(form, text.data(), lengthOf(text), out, size, status);
    });
}

using FormGetter = const UNormalizer2* (*)(UErrorCode*);

const UNormalizer2* form(FormGetter getter)
{
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2* found = getter(&status);
    check(status);
    return found;
}

const UNormalizer2* nfc() { return form(&unorm2_getNFCInstance); }
const UNormalizer2* nfd() { return form(&unorm2_getNFDInstance); }

std::u16string caseFolded(const std::u16string& text)
{
    return filled(text.size() * 2, [&](char16_t* out, std::int32_t size, UErrorCode* status) {
        return u_strFoldCase(out, size, text.data(), lengthOf(text), U_FOLD_CASE_DEFAULT, status);
    });
}

/// Full-width and half-width forms become what they are forms of; nothing else changes.
std::u16string widthFolded(const std::u16string& text)
{
    const UNormalizer2* compatibility = form(&unorm2_getNFKCInstance);
    std::u16string result;
    result.reserve(text.size());
    for (const char16_t unit : text) {
        // All of these forms lie in the first plane.
        const auto type = u_getIntPropertyValue(unit, UCHAR_DECOMPOSITION_TYPE);
        std::array<char16_t, 32> mapping{};
        UErrorCode status = U_ZERO_ERROR;
        const std::int32_t length = type == U_DT_WIDE || type == U_DT_NARROW
            ? unorm2_getRawDecomposition(
                  compatibility, unit, mapping.data(), static_cast<std::int32_t>(mapping.size()), &status)
            : -1;
        if (length > 0 && U_SUCCESS(status)) {
            result.append(mapping.data(), static_cast<std::size_t>(length));
        } else {
            result += unit;
        }
    }
    return result;
}

} // namespace

std::string composed(std::string_view text)
{
    return isAscii(text) ? std::string(text) : narrow(normalized(nfc(), wide(text)));
}

std::string decomposed(std::string_view text)
{
    return isAscii(text) ? std::string(text) : narrow(normalized(nfd(), wide(text)));
}

std::string caseFoldedComposed(std::string_view text)
{
    if (isAscii(text)) {
        return lowerAscii(text);
    }
    return narrow(normalized(nfc(), caseFolded(normalized(nfd(), wide(text)))));
}

std::string upperCase(std::string_view text)
{
    if (isAscii(text)) {
        return upperAscii(text);
    }
    const std::u16string source = wide(text);
    return narrow(filled(source.size() * 2, [&](char16_t* out, std::int32_t size, UErrorCode* status) {
        return u_strToUpper(out, size, source.data(), lengthOf(source), "", status);
    }));
}

std::string lowerCase(std::string_view text)
{
    if (isAscii(text)) {
        return lowerAscii(text);
    }
    const std::u16string source = wide(text);
    return narrow(filled(source.size() * 2, [&](char16_t* out, std::int32_t size, UErrorCode* status) {
        return u_strToLower(out, size, source.data(), lengthOf(source), "", status);
    }));
}

bool isSameText(std::string_view a, std::string_view b)
{
    return a == b || ((!isAscii(a) || !isAscii(b)) && composed(a) == composed(b));
}

std::string caseAndWidthFolded(std::string_view text)
{
    if (isAscii(text)) {
        return lowerAscii(text);
    }
    return narrow(normalized(nfd(), caseFolded(widthFolded(normalized(nfd(), wide(text))))));
}

std::string mapScalars(
    std::string_view text, const std::function<void(char32_t scalar, std::string& out)>& map)
{
    std::string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const Utf8Step step = utf8Step(text, at);
        map(step.scalar, result);
        at += step.length;
    }
    return result;
}

void appendScalar(std::string& out, char32_t scalar)
{
    const auto add = [&](char32_t byte) { out += static_cast<char>(static_cast<unsigned char>(byte)); };
    if (scalar > 0x10FFFF || (scalar >= 0xD800 && scalar < 0xE000)) {
        scalar = 0xFFFD;
    }
    if (scalar < 0x80) {
        add(scalar);
    } else if (scalar < 0x800) {
        add(0xC0U | scalar >> 6U);
        add(0x80U | (scalar & 0x3FU));
    } else if (scalar < 0x10000) {
        add(0xE0U | scalar >> 12U);
        add(0x80U | (scalar >> 6U & 0x3FU));
        add(0x80U | (scalar & 0x3FU));
    } else {
        add(0xF0U | scalar >> 18U);
        add(0x80U | (scalar >> 12U & 0x3FU));
        add(0x80U | (scalar >> 6U & 0x3FU));
        add(0x80U | (scalar & 0x3FU));
    }
}

bool isUnassigned(char32_t scalar) { return u_charType(static_cast<UChar32>(scalar)) == U_UNASSIGNED; }

std::string_view prefixOfWholeCharacters(std::string_view text, std::size_t bytes)
{
    if (text.size() <= bytes) {
        return text;
    }
    if (isAscii(text.substr(0, bytes + 1)) && text[bytes] != '\n') {
        return text.substr(0, bytes);
    }
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UBreakIterator, decltype(&ubrk_close)> characters(
        ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status), &ubrk_close);
    check(status);
    const std::unique_ptr<UText, decltype(&utext_close)> source(
        utext_openUTF8(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &status), &utext_close);
    check(status);
    ubrk_setUText(characters.get(), source.get(), &status);
    check(status);
    // Asked about a place inside a character's bytes, the iterator steps over the character before it too.
    while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0U) == 0x80U) {
        --bytes;
    }
    const auto limit = static_cast<std::int32_t>(bytes);
    const std::int32_t end =
        ubrk_isBoundary(characters.get(), limit) ? limit : ubrk_preceding(characters.get(), limit);
    return text.substr(0, end > 0 ? static_cast<std::size_t>(end) : 0);
}

} // namespace vantorel
