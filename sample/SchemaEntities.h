#pragma once

#include <array>
#include <string_view>

namespace vantorel::sample {

/// The entities of the store, in the order in which they are numbered from 1: a topmost one's descendants
/// follow it, each with one ">" for every step below the top. With a range of generations as the columns have
/// it.
extern const std::string_view entityNames;

/// Those that are numbered from 16001; their tables begin with "A".
inline constexpr std::array<std::string_view, 3> historyEntities{
    "CHANGE", "TRANSACTION", "TRANSACTIONSTRING"};

/// A table that links two entities' rows: "Z_<owner>SUFFIX (Z_<left>LEFT, Z_<right>RIGHT)", numbers for
/// names.
struct LinkTable {
    enum class Order { none, left, right }; ///< The side whose order Z_FOK_… keeps.

    std::string_view owner;
    std::string_view suffix;
    std::string_view left;
    std::string_view leftSuffix;
    std::string_view right; ///< Empty: the column is named REFLEXIVE.
    std::string_view rightSuffix;
    Order order;
    int firstGeneration;
    int lastGeneration;
};

extern const std::array<LinkTable, 26> linkTables;

} // namespace vantorel::sample
