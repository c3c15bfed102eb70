#include "database/model/SchemaSummary.h"

#include <array>
#include <utility>

#include <fmt/format.h>

namespace vantorel {

namespace {

using Feature = SchemaSummary::Feature;

constexpr EnumNames<Feature, 8> unavailableSentences{{
    {Feature::albums, "Albums could not be read from this library."},
    {Feature::folders,
        "Album folders could not be read from this library, so albums are shown without their folders."},
    {Feature::captions, "Captions could not be read from this library."},
    {Feature::keywords, "Keywords could not be read from this library."},
    {Feature::people, "People names could not be read from this library."},
    {Feature::favourites, "Favourites could not be read from this library."},
    {Feature::hidden, "Hidden state could not be read from this library."},
    {Feature::dates, "Dates could not be read from this library."},
}};
static_assert(inEnumOrder(unavailableSentences));

struct ModelRange {
    std::int64_t first;
    std::int64_t last;
    std::string_view text;
};

/// Photos numbered its models in thousands up to 19999; since then a generation has a million numbers.
constexpr std::array<ModelRange, 8> testedModels{{
    {13'000, 13'999, "Photos 5 (macOS 10.15)"},
    {14'000, 14'999, "Photos 6 (macOS 11)"},
    {15'000, 15'999, "Photos 7 (macOS 12)"},
    {16'000, 16'999, "Photos 8 (macOS 13)"},
    {17'000, 17'999, "Photos 9 (macOS 14)"},
    {18'000, 18'999, "Photos 10 (macOS 15)"},
    {19'000, 19'999, "Photos 11 (macOS 26)"},
    {270'000'000, 270'999'999, "Photos 12 (macOS 27)"},
}};

} // namespace

std::string_view unavailableSentence(SchemaSummary::Feature feature)
{
    return nameIn(unavailableSentences, feature);
}

SchemaSummary summaryOfModel(std::optional<std::int64_t> modelVersion)
{
    SchemaSummary summary;
    summary.modelVersion = modelVersion;
    if (!modelVersion) {
        return summary;
    }
    for (const ModelRange& range : testedModels) {
        if (*modelVersion >= range.first && *modelVersion <= range.last) {
            summary.photosVersionText = range.text;
            summary.isTestedVersion = true;
            return summary;
        }
    }
    summary.photosVersionText = fmt::format("a newer version of Photos (model {})", *modelVersion);
    return summary;
}

std::optional<std::string> untestedVersionNote(const SchemaSummary& summary)
{
    if (summary.isTestedVersion) {
        return std::nullopt;
    }
    return fmt::format(
        "This library was written by {}, which Vantorel has not been tested with yet. Its layout "
        "passed every check, but compare a few photos with what you expect.",
        summary.photosVersionText);
}

} // namespace vantorel
