#include "compare/IdentifierKeys.h"

#include "base/Text.h"

#include <algorithm>

namespace vantorel {

std::string_view IdentifierKeys::of(const Asset& asset)
{
    // A file that no record claims has its identifier from its name. Where the name carries none, two files
    // "IMG_0001" in different folders are still two photos.
    if (asset.isRecoveredFile && !isUuid(asset.uuid)) {
        return made_.emplace_back(asset.directory + "/" + asset.fileName);
    }
    return upper(asset.uuid);
}

std::string_view IdentifierKeys::of(const Album& album)
{
    return album.uuid ? upper(*album.uuid) : std::string_view{};
}

std::string_view IdentifierKeys::upper(std::string_view identifier)
{
    const bool isUpper = std::ranges::none_of(identifier, [](char c) { return c >= 'a' && c <= 'z'; });
    return isUpper ? identifier : std::string_view(made_.emplace_back(upperAscii(identifier)));
}

} // namespace vantorel
