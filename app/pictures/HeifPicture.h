#pragma once

#include "app/pictures/PictureDecoder.h"

namespace vantorel {

/// Whether this build and the codecs of this system decode HEIC.
bool canDecodeHeif();
/// The main picture of a HEIC file, or the thumbnail in it where that is large enough, fitted into a square
/// of `side` pixels.
DecodedPicture decodeHeif(std::string_view bytes, int side);

} // namespace vantorel
