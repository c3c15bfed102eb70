#pragma once

#include "base/Enum.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// How a library stores its data, and which kinds of detail its database could not give.
struct SchemaSummary {
    enum class Feature { albums, folders, captions, keywords, people, favourites, hidden, dates };

    std::optional<std::int64_t> modelVersion{};
    std::string photosVersionText = "unknown";
    bool isTestedVersion = false;
    std::string assetTable{};
    std::vector<Feature> unavailable{}; ///< In the order of the enumeration, each once.

    bool operator==(const SchemaSummary&) const = default;
};

inline constexpr EnumNames<SchemaSummary::Feature, 8> featureNames{{
    {SchemaSummary::Feature::albums, "albums"},
    {SchemaSummary::Feature::folders, "folders"},
    {SchemaSummary::Feature::captions, "captions"},
    {SchemaSummary::Feature::keywords, "keywords"},
    {SchemaSummary::Feature::people, "people"},
    {SchemaSummary::Feature::favourites, "favourites"},
    {SchemaSummary::Feature::hidden, "hidden"},
    {SchemaSummary::Feature::dates, "dates"},
}};
static_assert(inEnumOrder(featureNames));

/// The sentence shown when a kind of detail is unavailable.
std::string_view unavailableSentence(SchemaSummary::Feature feature);

/// `photosVersionText` and `isTestedVersion` from the model version.
SchemaSummary summaryOfModel(std::optional<std::int64_t> modelVersion);

/// The note for a version that was not tested; none for a tested one.
std::optional<std::string> untestedVersionNote(const SchemaSummary& summary);

} // namespace vantorel
