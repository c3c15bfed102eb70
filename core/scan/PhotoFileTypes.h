#pragma once

#include <algorithm>
#include <array>
#include <string_view>

namespace vantorel {

/// The file types that count as a photo or a video, in this one list: for saving under their own extension
/// and for reading files that a library points at elsewhere.
struct PhotoFileType {
    std::string_view extension; ///< Lower case.
    bool isVideo = false;
};

inline constexpr std::array<PhotoFileType, 54> photoFileTypes{{
    {"3fr"},
    {"3g2", true},
    {"3gp", true},
    {"arw"},
    {"avi", true},
    {"avif"},
    {"bmp"},
    {"cr2"},
    {"cr3"},
    {"crw"},
    {"dcr"},
    {"dng"},
    {"dv", true},
    {"erf"},
    {"gif"},
    {"heic"},
    {"heif"},
    {"hif"},
    {"iiq"},
    {"jp2"},
    {"jpe"},
    {"jpeg"},
    {"jpg"},
    {"kdc"},
    {"m2ts", true},
    {"m4v", true},
    {"mef"},
    {"mkv", true},
    {"mos"},
    {"mov", true},
    {"mp4", true},
    {"mpeg", true},
    {"mpg", true},
    {"mrw"},
    {"mts", true},
    {"nef"},
    {"nrw"},
    {"orf"},
    {"pdf"},
    {"pef"},
    {"png"},
    {"psd"},
    {"raf"},
    {"rw2"},
    {"rwl"},
    {"sr2"},
    {"srf"},
    {"srw"},
    {"tif"},
    {"tiff"},
    {"webm", true},
    {"webp"},
    {"wmv", true},
    {"x3f"},
}};
static_assert(std::ranges::is_sorted(photoFileTypes, {}, &PhotoFileType::extension));

/// The extension is given in lower case, without its dot.
constexpr bool isPhotoOrVideoExtension(std::string_view lowerCase)
{
    return std::ranges::binary_search(photoFileTypes, lowerCase, {}, &PhotoFileType::extension);
}

constexpr bool isVideoExtension(std::string_view lowerCase)
{
    const auto found = std::ranges::lower_bound(photoFileTypes, lowerCase, {}, &PhotoFileType::extension);
    return found != photoFileTypes.end() && found->extension == lowerCase && found->isVideo;
}

} // namespace vantorel
