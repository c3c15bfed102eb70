#pragma once

#include <string>
#include <string_view>

namespace vantorel {

/// How lists of items look, as the user left them.
struct ItemsLook {
    static constexpr int leastTile = 96; ///< Logical pixels.
    static constexpr int mostTile = 256;

    bool albumsAsGrid = true;
    bool limitedAsGrid = false; ///< There the reasons matter first.
    int tile = 160;             ///< Side of a picture in a grid.
    bool showsPreview = true;

    bool operator==(const ItemsLook&) const = default;
};

std::string savedForm(const ItemsLook& look);
/// What does not decode stays as it is by default.
ItemsLook savedItemsLook(std::string_view saved);

} // namespace vantorel
