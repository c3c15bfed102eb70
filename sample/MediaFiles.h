#pragma once

#include "sample/Picture.h"

#include <span>
#include <string>

namespace vantorel::sample {

/// A film of JPEG pictures, one after the other: "ftyp", "moov", "mdat", as QuickTime or, with `isMp4`, as
/// MPEG-4 brand. `contentIdentifier` ties a Live Photo's video to its still; may be empty.
struct Film {
    int width = 0;
    int height = 0;
    int picturesPerSecond = 6;
    bool isMp4 = false;
    std::string contentIdentifier{};
};
std::string movieFile(const Film& film, std::span<const std::string> jpegPictures);

/// A small RAW file as cameras write it: TIFF with one uncompressed strip; "dng" has its version tags,
/// anything else the marks of a CR2.
std::string rawFile(const Picture& picture, const std::string& extension);

} // namespace vantorel::sample
