#pragma once

#include "base/Enum.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// What one item can differ in between two libraries.
enum class AssetChange {
    caption,
    keywords,
    people,
    favourite,
    hidden,
    title,
    date,
    trashedInOther,
    originalMissingInOther,
};

inline constexpr EnumNames<AssetChange, 9> assetChangeNames{{
    {AssetChange::caption, "caption"},
    {AssetChange::keywords, "keywords"},
    {AssetChange::people, "people"},
    {AssetChange::favourite, "favourite"},
    {AssetChange::hidden, "hidden"},
    {AssetChange::title, "title"},
    {AssetChange::date, "date"},
    {AssetChange::trashedInOther, "trashedInOther"},
    {AssetChange::originalMissingInOther, "originalMissingInOther"},
}};
static_assert(inEnumOrder(assetChangeNames));

/// An item that both libraries have, with differences.
struct ChangedAsset {
    std::int64_t sourcePK = 0;
    std::int64_t otherPK = 0;
    std::string name{};                 ///< For display.
    std::vector<AssetChange> changes{}; ///< In the order of the enumeration, never empty.

    bool operator==(const ChangedAsset&) const = default;
};

/// An album or folder that both libraries have, with differences.
struct ChangedAlbum {
    /// The names of the folders that hold it there, from the top; none of them: at the top level. For
    /// display: a name that is long is cut, and of very many only the innermost are named.
    using Place = std::vector<std::string>;

    std::int64_t sourcePK = 0;
    std::int64_t otherPK = 0;
    std::string name{};
    std::optional<std::string> renamedFrom{}; ///< Its name there, where that is another one.
    std::optional<Place> movedFrom{};         ///< Where it is there, where that is another folder.
    /// Its items that the album there has not; not counted: those in Recently Deleted, and those of which is
    /// not known there which albums they were in. The same the other way round for the next.
    std::int64_t photosMissingInOther = 0;
    std::int64_t photosOnlyInOther = 0;

    bool operator==(const ChangedAlbum&) const = default;
};

/// What one library (the source) has that another has not, or has differently. Keys are those of the source
/// unless they say otherwise. "Albums and folders" are ordinary ones that were not deleted: neither smart nor
/// shared ones nor what Photos makes for itself.
struct LibraryComparison {
    std::vector<std::int64_t> missingAssetPKs{};
    std::int64_t deletedHereOnlyCount = 0; ///< In Recently Deleted here, absent there; not in the list.
    std::int64_t originalInCloudInOtherCount = 0; ///< Original here, in iCloud there: no difference.
    std::vector<ChangedAsset> changedAssets{};
    std::int64_t sameAssetCount = 0;
    std::int64_t onlyInOtherAssetCount = 0;
    std::vector<std::int64_t> missingAlbumPKs{};
    std::vector<std::int64_t> missingFolderPKs{};
    std::vector<ChangedAlbum> changedAlbums{};
    std::int64_t sameAlbumCount = 0;        ///< Albums and folders.
    std::int64_t onlyInOtherAlbumCount = 0; ///< Albums and folders.
    std::int64_t matchedByNameAndDate = 0;
    std::vector<std::string> cautions{}; ///< Sentences that limit what the result means.

    bool operator==(const LibraryComparison&) const = default;
};

/// "caption differs", "original missing there": what is shown beside a changed item.
std::string_view changeLabel(AssetChange change);
/// The same for an album: "named \"Roma\" there", "at the top level there", "2 items not in it there".
std::vector<std::string> changeLabels(const ChangedAlbum& album);
/// The counts that explain a result, as sentences: what is only in the other library, what is in iCloud there
/// or deleted here, what was matched by name, date and size. Only those above 0.
std::vector<std::string> countSentences(const LibraryComparison& comparison);

} // namespace vantorel
