#pragma once

#include "scan/LibraryScanner.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantorel {

/// The state of an original in the few classes that a chart and a badge can tell apart.
enum class OriginalClass { present, differs, smallerCopy, elsewhere, onlyInCloud, missing, notChecked };
inline constexpr std::size_t originalClassCount = 7;

/// "present", "size differs", ...: what stands beside a number.
inline constexpr EnumNames<OriginalClass, originalClassCount> originalClassNames{{
    {OriginalClass::present, "present"},
    {OriginalClass::differs, "size differs"},
    {OriginalClass::smallerCopy, "smaller copy"},
    {OriginalClass::elsewhere, "outside the library"},
    {OriginalClass::onlyInCloud, "only in iCloud"},
    {OriginalClass::missing, "missing"},
    {OriginalClass::notChecked, "not checked"},
}};
static_assert(inEnumOrder(originalClassNames));

OriginalClass originalClass(const OriginalEntry& entry);
/// Counts as "without original" in lists of albums: neither in the library nor where it points to.
bool lacksOriginal(OriginalClass kind);
/// Of an asset of the scan; one without an entry was not checked.
const OriginalEntry& entryOf(const LibraryScanResult& scan, std::int64_t assetPK);

/// What the overview of a finished scan shows, counted once. A function from values to values; slow enough
/// with a million items to be worked out in the background.
struct LibraryOverview {
    struct Row {
        std::string label{};
        std::string value{};
        bool operator==(const Row&) const = default;
    };

    std::int64_t photos = 0;
    std::int64_t videos = 0;
    std::int64_t albums = 0;
    std::int64_t people = 0;
    std::int64_t bytesPresent = 0;
    std::int64_t hidden = 0;
    std::int64_t outsideFiles = 0; ///< Files that the library points at and that are there.
    std::array<std::int64_t, originalClassCount> originals{};
    std::int64_t withoutOriginal = 0;
    std::vector<std::pair<int, std::int64_t>>
        years{}; ///< Items per year, ascending, years without items left out.
    std::int64_t withoutYear = 0;
    std::vector<Row> rows{};
    std::vector<std::string> notes{}; ///< Damage lines first, then the notes of the scan; each once.
    std::size_t damageNotes = 0;      ///< How many of the notes are damage lines.
    std::vector<std::int64_t>
        limitedAssets{}; ///< Keys of the items without a usable original, in stored order.

    bool operator==(const LibraryOverview&) const = default;
};

LibraryOverview overviewOf(const LibraryScanResult& scan);

/// The line over results that are not the whole library; none for others.
std::optional<std::string> incompleteScanWarning(const LibraryScanResult& scan);
/// "Do you need this?": what else may help with a library in this state; none where nothing else does.
std::optional<std::string_view> adviceFor(const DamageReport& damage);

} // namespace vantorel
