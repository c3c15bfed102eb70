// Built where libheif is missing: HEIC pictures then show their smaller copies, which are JPEG, or a
// placeholder.
#include "app/pictures/HeifPicture.h"

namespace vantorel {

bool canDecodeHeif() { return false; }

DecodedPicture decodeHeif(std::string_view, int) { return std::unexpected(DecodeFailure::notAPicture); }

} // namespace vantorel
