#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace vantorel::sample {

/// A row of the album table that Photos makes in every library.
struct BuiltInAlbum {
    std::string_view entity;
    std::int64_t kind;
    std::int64_t order; ///< Among the children of the root folder; 0: no parent.
    std::string_view title;
    int firstGeneration;
    int lastGeneration;
};

inline constexpr std::array<BuiltInAlbum, 47> builtInAlbums{{
    {"FetchingAlbum", 1621, 75, "", 5, 12},
    {"FetchingAlbum", 1613, 12, "", 5, 12},
    {"FetchingAlbum", 1615, 92, "", 5, 12},
    {"Album", 3573, 0, "progress-fs-import", 5, 12},
    {"FetchingAlbum", 1627, 112, "", 5, 12},
    {"Album", 3571, 0, "progress-sync", 5, 12},
    {"FetchingAlbum", 1605, 80, "", 5, 12},
    {"FetchingAlbum", 1628, 11, "", 5, 12},
    {"FetchingAlbum", 1623, 78, "", 5, 12},
    {"FetchingAlbum", 1626, 285, "", 5, 12},
    {"FetchingAlbum", 1622, 115, "", 5, 12},
    {"FetchingAlbum", 1611, 270, "", 5, 12},
    {"FetchingAlbum", 1608, 0, "", 5, 12},
    {"FetchingAlbum", 1552, 170, "", 5, 12},
    {"Folder", 4006, 33, "", 5, 12},
    {"FetchingAlbum", 1606, 60, "", 5, 12},
    {"FetchingAlbum", 1625, 0, "", 5, 12},
    {"Album", 4002, 128, "", 5, 12},
    {"Album", 4001, 153, "", 5, 12},
    {"FetchingAlbum", 1607, 0, "", 5, 12},
    {"FetchingAlbum", 1624, 275, "", 5, 12},
    {"FetchingAlbum", 1609, 30, "", 5, 12},
    {"FetchingAlbum", 1612, 280, "", 5, 12},
    {"FetchingAlbum", 1618, 110, "", 5, 12},
    {"FetchingAlbum", 1602, 0, "", 5, 12},
    {"FetchingAlbum", 1614, 100, "", 5, 12},
    {"FetchingAlbum", 1600, 0, "", 5, 12},
    {"Album", 4003, 147, "", 5, 12},
    {"FetchingAlbum", 1617, 70, "", 5, 12},
    {"FetchingAlbum", 1619, 50, "", 5, 12},
    {"FetchingAlbum", 1610, 91, "", 5, 12},
    {"Folder", 4005, 161, "", 5, 12},
    {"FetchingAlbum", 1616, 15, "", 5, 12},
    {"Folder", 4004, 141, "", 5, 12},
    {"FetchingAlbum", 1620, 76, "", 5, 12},
    {"Album", 3572, 0, "progress-ota-restore", 5, 12},
    {"FetchingAlbum", 1629, 20, "", 7, 9},
    {"FetchingAlbum", 1630, 117, "", 7, 12},
    {"FetchingAlbum", 1631, 93, "", 7, 12},
    {"FetchingAlbum", 1632, 94, "", 7, 12},
    {"FetchingAlbum", 1634, 290, "", 8, 12},
    {"FetchingAlbum", 1636, 21, "", 8, 12},
    {"FetchingAlbum", 1637, 95, "", 8, 12},
    {"FetchingAlbum", 1639, 79, "", 10, 12},
    {"FetchingAlbum", 1640, 291, "", 10, 12},
    {"FetchingAlbum", 1641, 295, "", 10, 12},
    {"FetchingAlbum", 1642, 300, "", 11, 12},
}};

} // namespace vantorel::sample
