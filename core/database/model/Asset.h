#pragma once

#include "base/Date.h"
#include "base/Enum.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vantorel {

/// One photo or video. A plain value; nothing in it refers back to the database. A library has a million of
/// them: what is small stands together.
struct Asset {
    enum class Kind : std::uint8_t { photo, video, other };
    /// Details that are known to be lost. A lost detail is empty in the asset, not guessed.
    enum class LostDetail { originalName, caption, keywords, people, albums, dates };

    std::int64_t pk =
        0; ///< Row id; unique within one snapshot. Negative: adopted from a file without a record.
    std::string uuid{};      ///< The key by which two libraries are compared.
    std::string directory{}; ///< Of the original, relative to the originals folder; empty when unknown. Bytes
                             ///< as stored.
    std::string fileName{};  ///< Of the original, as the library stores it.
    std::optional<std::string> originalFileName{}; ///< At import.
    std::optional<std::string> title{};
    std::optional<std::string> caption{};
    std::vector<std::string> keywords{}; ///< Sorted, each once, none empty.
    std::vector<std::string> people{};   ///< Sorted, each once, none empty.
    bool isFavorite = false;
    bool isHidden = false;
    bool isTrashed = false; ///< In Recently Deleted.
    Kind kind = Kind::photo;
    bool isLivePhoto = false;
    bool hasEdits = false;
    std::optional<Date> dateCreated{};
    std::optional<Date> dateModified{};
    std::optional<Date> dateAdded{};
    std::optional<std::int64_t> timeZoneOffset{};   ///< Seconds east of UTC.
    std::optional<double> latitude{};               ///< Degrees.
    std::optional<double> longitude{};              ///< Degrees.
    std::optional<std::int64_t> originalFileSize{}; ///< Bytes, above 0.
    std::optional<std::string> fingerprint{};
    bool isReferenced = false;      ///< The original lives outside the library.
    bool isSharedAlbumItem = false; ///< From a shared album: no stored original.
    bool isOnlyInCloud = false;     ///< The original was kept only in iCloud.
    bool expectsPartner = false;    ///< A paired file should lie beside the original.
    bool isRecoveredFile = false;   ///< Made from a file in the originals folder that has no record.
    std::optional<std::string> referencedPath{};
    std::vector<std::string> referencedPartners{};
    std::vector<std::int64_t> albumPKs{};
    std::set<LostDetail> lostDetails{};

    bool operator==(const Asset&) const = default;
};

inline constexpr EnumNames<Asset::Kind, 3> assetKindNames{{
    {Asset::Kind::photo, "photo"},
    {Asset::Kind::video, "video"},
    {Asset::Kind::other, "other"},
}};
static_assert(inEnumOrder(assetKindNames));

inline constexpr EnumNames<Asset::LostDetail, 6> lostDetailNames{{
    {Asset::LostDetail::originalName, "originalName"},
    {Asset::LostDetail::caption, "caption"},
    {Asset::LostDetail::keywords, "keywords"},
    {Asset::LostDetail::people, "people"},
    {Asset::LostDetail::albums, "albums"},
    {Asset::LostDetail::dates, "dates"},
}};
static_assert(inEnumOrder(lostDetailNames));

} // namespace vantorel
