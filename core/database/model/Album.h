#pragma once

#include "base/Enum.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// One album, folder or other collection.
struct Album {
    enum class Kind {
        other,  ///< Not shown as an album.
        album,  ///< A list of photos.
        folder, ///< Holds albums and folders.
        root,   ///< The library's invisible top folder.
        smart,  ///< A rule, not a list of photos.
        shared, ///< Counted, not exported.
    };

    std::int64_t pk = 0;
    std::optional<std::string> uuid{};
    std::optional<std::string> title{};
    Kind kind = Kind::other;
    std::optional<std::int64_t> parentPK{}; ///< A folder or root of the same snapshot; none at the top.
    bool isTrashed = false;
    std::vector<std::int64_t> assetPKs{}; ///< In album order; every one is an asset of the same snapshot.
    std::int64_t lostEntries = 0;         ///< Entries whose photo's record is lost.

    bool operator==(const Album&) const = default;
};

inline constexpr EnumNames<Album::Kind, 6> albumKindNames{{
    {Album::Kind::other, "other"},
    {Album::Kind::album, "album"},
    {Album::Kind::folder, "folder"},
    {Album::Kind::root, "root"},
    {Album::Kind::smart, "smart"},
    {Album::Kind::shared, "shared"},
}};
static_assert(inEnumOrder(albumKindNames));

/// What stands for the title of one that has none.
std::string_view untitled(const Album& album);
/// The title, or what stands for an empty one.
std::string shownTitle(const Album& album);

} // namespace vantorel
