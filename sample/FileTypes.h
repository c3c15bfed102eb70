#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace vantorel::sample {

/// A type of files: older generations keep it as a row of its own, newer ones as a code.
struct FileType {
    std::string_view extension;
    std::string_view identifier;
    std::string_view code;
};

inline constexpr std::array<FileType, 9> fileTypes{{
    {"jpeg", "public.jpeg", "1"},
    {"heic", "public.heic", "3"},
    {"png", "public.png", "6"},
    {"tiff", "public.tiff", "8"},
    {"dng", "com.adobe.raw-image", "9"},
    {"cr2", "com.canon.cr2-raw-image", "11"},
    {"mov", "com.apple.quicktime-movie", "23"},
    {"mp4", "public.mpeg-4", "24"},
    {"aae", "com.apple.photos.apple-adjustment-envelope", "25"},
}};

/// Index of the type of an extension; JPEG's where it is none of these.
inline std::size_t fileTypeIndex(std::string_view extension)
{
    const auto* found = std::ranges::find(fileTypes, extension, &FileType::extension);
    return found == fileTypes.end() ? 0 : static_cast<std::size_t>(found - fileTypes.begin());
}

} // namespace vantorel::sample
