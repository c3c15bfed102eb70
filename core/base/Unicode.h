#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace vantorel {

/// All of these take UTF-8 (repaired first where it is invalid), depend on no locale, and are ICU's work.

/// Composed form (NFC).
std::string composed(std::string_view text);
/// Decomposed form (NFD).
std::string decomposed(std::string_view text);
/// Composed form of the full case folding: names that differ only in case or Unicode form give one key. For
/// finding files; unique names for an export have their own, stricter key.
std::string caseFoldedComposed(std::string_view text);
/// Locale-independent upper and lower case.
std::string upperCase(std::string_view text);
std::string lowerCase(std::string_view text);
/// Whether both are the same text whatever their Unicode form.
bool isSameText(std::string_view a, std::string_view b);
/// NFD, then case folding and width folding (full-width and half-width forms to the ordinary ones), then NFD
/// again; diacritics stay.
std::string caseAndWidthFolded(std::string_view text);
/// Maps every scalar value; the mapping appends what it becomes to `out`.
std::string mapScalars(
    std::string_view text, const std::function<void(char32_t scalar, std::string& out)>& map);
void appendScalar(std::string& out, char32_t scalar);
/// Noncharacters and code points that this Unicode version does not assign.
bool isUnassigned(char32_t scalar);
/// The longest prefix of whole grapheme clusters that takes at most `bytes` bytes.
std::string_view prefixOfWholeCharacters(std::string_view text, std::size_t bytes);

} // namespace vantorel
