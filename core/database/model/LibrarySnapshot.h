#pragma once

#include "database/model/Album.h"
#include "database/model/Asset.h"
#include "database/model/DamageReport.h"
#include "database/model/SchemaSummary.h"
#include "disk/SystemCalls.h"

#include <string>
#include <vector>

namespace vantorel {

/// Everything that one scan learned about one Photos library. A plain value, only read from then on.
struct LibrarySnapshot {
    DiskPath libraryURL{};             ///< The library package that was read, as it was named.
    std::string name{};                ///< Shown for the library: the folder's name without its extension.
    std::vector<Asset> assets{};       ///< Ascending `pk`; adopted files behind them.
    std::vector<Album> albums{};       ///< Siblings in the order of their folder; see the reader.
    std::vector<std::string> people{}; ///< Sorted, each once.
    SchemaSummary schema{};
    DamageReport damage{};
    std::vector<std::string> notes{}; ///< Sentences for the user, in the order in which they arose.

    bool operator==(const LibrarySnapshot&) const = default;
};

} // namespace vantorel
