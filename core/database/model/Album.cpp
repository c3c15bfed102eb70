#include "database/model/Album.h"

namespace vantorel {

std::string_view untitled(const Album& album)
{
    return album.kind == Album::Kind::folder ? "Untitled Folder" : "Untitled Album";
}

std::string shownTitle(const Album& album)
{
    return album.title && !album.title->empty() ? *album.title : std::string(untitled(album));
}

} // namespace vantorel
