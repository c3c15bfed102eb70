#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

namespace vantorel {

/// One table per enumeration gives each enumerator its text; index == value is checked while compiling:
/// `static_assert(inEnumOrder(severityNames))`.
template <typename Enum, std::size_t count>
using EnumNames = std::array<std::pair<Enum, std::string_view>, count>;

template <typename Enum, std::size_t count>
constexpr bool inEnumOrder(const EnumNames<Enum, count>& names)
{
    for (std::size_t i = 0; i < count; ++i) {
        if (static_cast<std::size_t>(names[i].first) != i) {
            return false;
        }
    }
    return true;
}

template <typename Enum, std::size_t count>
constexpr std::string_view nameIn(const EnumNames<Enum, count>& names, Enum value)
{
    return names[static_cast<std::size_t>(value)].second;
}

/// None when no enumerator has that text.
template <typename Enum, std::size_t count>
constexpr std::optional<Enum> valueIn(const EnumNames<Enum, count>& names, std::string_view text)
{
    for (const auto& [value, name] : names) {
        if (name == text) {
            return value;
        }
    }
    return std::nullopt;
}

} // namespace vantorel
