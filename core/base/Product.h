#pragma once

#include <string_view>

/// Names and addresses of the program, in this one place. The host is a reserved one until the owner names
/// another.
namespace vantorel::product {

inline constexpr std::string_view name = "Vantorel";
inline constexpr std::string_view supportAddress = "support@vantorel.example";
inline constexpr std::string_view helpPage = "https://vantorel.example/help/";
inline constexpr std::string_view updateFeed = "https://vantorel.example/appcast.xml";
/// The namespace of the program's own fields in sidecars. Never changed once files with it exist.
inline constexpr std::string_view sidecarNamespace = "https://vantorel.example/ns/vantorel/1.0/";

/// From the build ("0.1.0").
std::string_view version();

} // namespace vantorel::product
