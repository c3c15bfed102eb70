#include "base/Unicode.h"

#include "base/Text.h"
#include "base/Utf8.h"

#include <unicode/brkiter.h>
#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>

#include <algorithm>
#include <cstdlib>
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

icu::StringPiece piece(std::string_view text)
{
    return {text.data(), static_cast<std::int32_t>(text.size())};
}

std::string normalized(const icu::Normalizer2& form, std::string_view text)
{
    UErrorCode status = U_ZERO_ERROR;
    std::string result;
    icu::StringByteSink<std::string> sink(&result);
    form.normalizeUTF8(0, piece(text), sink, nullptr, status);
    check(status);
    return result;
}

const icu::Normalizer2& nfc()
{
    UErrorCode status = U_ZERO_ERROR;
    const auto* form = icu::Normalizer2::getNFCInstance(status);
    check(status);
    return *form;
}

const icu::Normalizer2& nfd()
{
    UErrorCode status = U_ZERO_ERROR;
    const auto* form = icu::Normalizer2::getNFDInstance(status);
    check(status);
    return *form;
}

std::string caseFolded(std::string_view text)
{
    UErrorCode status = U_ZERO_ERROR;
    std::string result;
    icu::StringByteSink<std::string> sink(&result);
    icu::CaseMap::utf8Fold(0, piece(text), sink, nullptr, status);
    check(status);
    return result;
}

/// Full-width and half-width forms become what they are forms of; nothing else changes.
std::string widthFolded(std::string_view text)
{
    UErrorCode status = U_ZERO_ERROR;
    const auto* compatibility = icu::Normalizer2::getNFKCInstance(status);
    check(status);
    return mapScalars(text, [&](char32_t scalar, std::string& out) {
        const auto code = static_cast<UChar32>(scalar);
        const auto type = u_getIntPropertyValue(code, UCHAR_DECOMPOSITION_TYPE);
        icu::UnicodeString mapping;
        if ((type == U_DT_WIDE || type == U_DT_NARROW) && compatibility->getRawDecomposition(code, mapping)) {
            std::string ordinary;
            mapping.toUTF8String(ordinary);
            out += ordinary;
        } else {
            appendScalar(out, scalar);
        }
    });
}

} // namespace

std::string composed(std::string_view text)
{
    return isAscii(text) ? std::string(text) : normalized(nfc(), repairedUtf8(text));
}

std::string decomposed(std::string_view text)
{
    return isAscii(text) ? std::string(text) : normalized(nfd(), repairedUtf8(text));
}

std::string caseFoldedComposed(std::string_view text)
{
    if (isAscii(text)) {
        return lowerAscii(text);
    }
    return normalized(nfc(), caseFolded(normalized(nfd(), repairedUtf8(text))));
}

std::string upperCase(std::string_view text)
{
    if (isAscii(text)) {
        return upperAscii(text);
    }
    UErrorCode status = U_ZERO_ERROR;
    const std::string valid = repairedUtf8(text);
    std::string result;
    icu::StringByteSink<std::string> sink(&result);
    icu::CaseMap::utf8ToUpper("", 0, piece(valid), sink, nullptr, status);
    check(status);
    return result;
}

std::string caseAndWidthFolded(std::string_view text)
{
    if (isAscii(text)) {
        return lowerAscii(text);
    }
    return decomposed(caseFolded(widthFolded(decomposed(text))));
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
    const std::unique_ptr<icu::BreakIterator> characters(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    check(status);
    UText* source = utext_openUTF8(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &status);
    check(status);
    characters->setText(source, status);
    const std::int32_t end = characters->isBoundary(static_cast<std::int32_t>(bytes))
        ? static_cast<std::int32_t>(bytes)
        : characters->preceding(static_cast<std::int32_t>(bytes));
    utext_close(source);
    check(status);
    return text.substr(0, end > 0 ? static_cast<std::size_t>(end) : 0);
}

} // namespace vantorel
