#include "export/SafeNames.h"

#include "base/Text.h"
#include "base/Unicode.h"
#include "scan/PhotoFileTypes.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vantorel {

namespace {

constexpr std::array<std::string_view, 22> deviceNames{"CON", "PRN", "AUX", "NUL", "COM1", "COM2", "COM3",
    "COM4", "COM5", "COM6", "COM7", "COM8", "COM9", "LPT1", "LPT2", "LPT3", "LPT4", "LPT5", "LPT6", "LPT7",
    "LPT8", "LPT9"};

bool isAscii(std::string_view text)
{
    return std::ranges::all_of(text, [](char c) { return static_cast<signed char>(c) >= 0; });
}

constexpr bool isForbidden(char32_t scalar) { return std::u32string_view(U"\"*/:<>?\\|").contains(scalar); }

constexpr bool becomesSpace(char32_t scalar)
{
    return scalar < 0x20 || scalar == 0x7F || (scalar >= 0x202A && scalar <= 0x202E)
        || (scalar >= 0x2066 && scalar <= 0x2069);
}

/// What stands for each ASCII character in a name.
constexpr std::array<char, 0x80> asciiReplaced = [] {
    std::array<char, 0x80> result{};
    for (std::size_t i = 0; i < result.size(); ++i) {
        const auto scalar = static_cast<char32_t>(i);
        result[i] = isForbidden(scalar) ? '-' : becomesSpace(scalar) ? ' ' : static_cast<char>(i);
    }
    return result;
}();

/// Every character that some disk format, shell or window refuses or misreads becomes "-" or a space.
std::string replaced(std::string_view name)
{
    if (isAscii(name)) {
        std::string result(name);
        for (char& c : result) {
            c = asciiReplaced[static_cast<unsigned char>(c)];
        }
        return result;
    }
    return mapScalars(composed(name), [](char32_t scalar, std::string& out) {
        if (isForbidden(scalar) || (scalar >= 0x80 && isUnassigned(scalar))) {
            out += '-';
        } else if (becomesSpace(scalar)) {
            out += ' ';
        } else {
            appendScalar(out, scalar);
        }
    });
}

/// Runs of spaces become one; spaces and dots at both ends go.
std::string trimmed(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    for (std::size_t from = 0; from < text.size();) {
        const auto space = std::min(text.find(' ', from), text.size() - 1);
        result += text.substr(from, space + 1 - from);
        from = std::min(text.find_first_not_of(' ', space + 1), text.size());
    }
    const auto first = result.find_first_not_of(". ");
    if (first == std::string::npos) {
        return {};
    }
    result.erase(result.find_last_not_of(". ") + 1);
    result.erase(0, first);
    return result;
}

/// No character outside ASCII has an upper case in these names, so ASCII is enough.
bool isDeviceName(std::string_view name)
{
    const auto base = name.substr(0, name.find('.'));
    return base.size() <= 4 && std::ranges::find(deviceNames, upperAscii(base)) != deviceNames.end();
}

/// Georgian and old Cyrillic letters that disks treat as one, and invisible characters that they leave out.
void appendFolded(char32_t scalar, std::string& out)
{
    static constexpr std::array<char32_t, 9> cyrillic{
        0x432, 0x434, 0x43E, 0x441, 0x442, 0x442, 0x44A, 0x463, 0xA64B}; // of U+1C80 to U+1C88
    const auto within = [scalar](char32_t first, char32_t last) { return scalar >= first && scalar <= last; };
    if (within(0x200C, 0x200F) || within(0x202A, 0x202E) || within(0x206A, 0x206F) || scalar == 0xFEFF) {
        return;
    }
    if (within(0x10A0, 0x10C5)) {
        scalar += 48;
    } else if (scalar == 0x10C7 || scalar == 0x2D27) {
        scalar = 0x10F7;
    } else if (scalar == 0x10CD || scalar == 0x2D2D) {
        scalar = 0x10FD;
    } else if (within(0x2D00, 0x2D25)) {
        scalar -= 7216;
    } else if (within(0x1C90, 0x1CBA) || within(0x1CBD, 0x1CBF)) {
        scalar -= 3008;
    } else if (within(0x1C80, 0x1C88)) {
        scalar = cyrillic[scalar - 0x1C80];
    }
    appendScalar(out, scalar);
}

struct Parts {
    std::string_view stem;
    std::string_view extension; ///< Empty: there is none.
};

Parts partsOf(std::string_view name)
{
    const auto dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0) {
        return {name, {}};
    }
    const auto extension = name.substr(dot + 1);
    if (extension.empty() || extension.find_first_of(" /") != std::string_view::npos) {
        return {name, {}};
    }
    return {name.substr(0, dot), extension};
}

/// Spellings of one type.
std::string normalizedExtension(std::string_view extension)
{
    auto lower = lowerAscii(extension);
    if (lower == "jpg" || lower == "jpe") {
        return "jpeg";
    }
    return lower == "tif" ? "tiff" : lower;
}

/// A file of a type that is not known is saved with both its own extension and "dat", so that no viewer opens
/// it by mistake.
SafeNames::StemAndExtension withSafeExtension(std::string_view stem, std::string_view extension)
{
    SafeNames::StemAndExtension result{
        .stem = std::string(stem), .extension = SafeNames::clean(extension, "dat")};
    const auto lower = lowerAscii(result.extension);
    if (!SafeNames::isKnownExtension(lower) && lower != "dat") {
        result.extension += ".dat";
        result.addedDat = true;
    }
    return result;
}

std::string numbered(std::int64_t number) { return " (" + std::to_string(number) + ")"; }

/// The key of a name put together from parts is put together from their keys: between them stand only
/// characters that compose, reorder and fold with nothing (a dot, a bracket, U+0001).
std::string keyOf(const std::string& stemKey, std::int64_t number, std::string_view dotAndExtensionKey)
{
    auto key = stemKey;
    if (number > 1) {
        key += numbered(number);
    }
    return key += dotAndExtensionKey;
}

} // namespace

namespace SafeNames {

std::string clean(std::string_view name, std::string_view fallback)
{
    auto result = trimmed(replaced(name));
    if (result.empty()) {
        result = fallback;
    }
    if (isDeviceName(result)) {
        result.insert(0, "_");
    }
    if (result.size() > mostBytes) {
        result.resize(prefixOfWholeCharacters(result, mostBytes).size());
        result.erase(result.find_last_not_of(". ") + 1); // npos + 1 is 0: nothing is left
        if (result.empty()) {
            result = "Untitled";
        }
    }
    return result;
}

std::string comparisonKey(std::string_view name)
{
    if (isAscii(name)) {
        return lowerAscii(name);
    }
    return caseAndWidthFolded(mapScalars(name, appendFolded));
}

StemAndExtension split(std::string_view recordedName, std::string_view diskName)
{
    const auto recorded = partsOf(recordedName);
    const auto disk = partsOf(diskName);
    const bool recordedCounts = !recorded.extension.empty()
        && (disk.extension.empty()
            || normalizedExtension(recorded.extension) == normalizedExtension(disk.extension));
    return withSafeExtension(recorded.stem, recordedCounts ? recorded.extension : disk.extension);
}

StemAndExtension companionExtension(std::string_view diskName)
{
    const auto disk = partsOf(diskName);
    return withSafeExtension(disk.stem, lowerAscii(disk.extension));
}

bool isKnownExtension(std::string_view lowerCase) { return isPhotoOrVideoExtension(lowerCase); }

} // namespace SafeNames

std::string FolderNames::allocate(const std::string& cleaned)
{
    const auto key = SafeNames::comparisonKey(cleaned);
    if (used_.insert(key).second) {
        return cleaned;
    }
    auto& next = next_.try_emplace(key, 2).first->second;
    while (!used_.insert(keyOf(key, next, "")).second) {
        ++next;
    }
    return cleaned + numbered(next++);
}

void FolderNames::reserve(std::string_view name) { used_.insert(SafeNames::comparisonKey(name)); }

NameAllocator::Names NameAllocator::allocate(const std::string& stem, const std::string& extension,
    const std::vector<std::string>& companionExtensions)
{
    const auto stemKey = SafeNames::comparisonKey(stem);
    const auto mainKey = "." + SafeNames::comparisonKey(extension);
    const auto number = freeNumber(stemKey, mainKey);

    Names names{.stem = number == 1 ? stem : stem + numbered(number)};
    names.main = names.stem + "." + extension;
    names.sidecar = names.stem + ".xmp";
    used_.insert(keyOf(stemKey, number, mainKey));
    used_.insert(keyOf(stemKey, number, ".xmp"));

    const auto givenKey = keyOf(stemKey, number, "");
    std::unordered_map<std::string, std::int64_t> nextCompanion; // many companions may have one extension
    for (const auto& companion : companionExtensions) {
        const auto companionKey = "." + SafeNames::comparisonKey(companion);
        auto& attempt = nextCompanion.try_emplace(companionKey, 1).first->second;
        while (!used_.insert(keyOf(givenKey, attempt, companionKey)).second) {
            ++attempt;
        }
        names.companions.push_back(names.stem + (attempt == 1 ? "" : numbered(attempt)) + "." + companion);
        ++attempt;
    }
    return names;
}

/// The least number with which neither the file's name nor its sidecar's is taken.
std::int64_t NameAllocator::freeNumber(const std::string& stemKey, const std::string& mainKey)
{
    if (!used_.contains(stemKey + ".xmp") && !used_.contains(stemKey + mainKey)) {
        return 1; // as for most: nothing needs to be remembered of it
    }
    auto& next = next_.try_emplace(stemKey + '\x01' + mainKey.substr(1), 1).first->second;
    // Photos of one stem and ever other extensions would each count through all the sidecars before them.
    auto& sidecarsTakenBelow = sidecarsTakenBelow_.try_emplace(stemKey, 1).first->second;

    auto number = std::max(next, sidecarsTakenBelow);
    while (true) {
        const bool sidecarTaken = used_.contains(keyOf(stemKey, number, ".xmp"));
        if (sidecarTaken && number == sidecarsTakenBelow) {
            ++sidecarsTakenBelow;
        }
        if (!sidecarTaken && !used_.contains(keyOf(stemKey, number, mainKey))) {
            break;
        }
        ++number;
    }
    next = number + 1;
    return number;
}

void NameAllocator::reserve(std::string_view name) { used_.insert(SafeNames::comparisonKey(name)); }

} // namespace vantorel
