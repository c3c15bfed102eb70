#pragma once

#include "scan/OriginalsLedger.h"
#include "scan/OriginalsWalk.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vantorel {

/// The check of referenced photos: each is looked at where the library says that its file is.
class ReferencedFiles {
public:
    ReferencedFiles(OriginalsWalk& walk, OriginalsLedger& ledger)
        : walk_(walk)
        , ledger_(ledger)
    {
    }

    void check(const std::vector<Asset>& assets);

private:
    struct Outside {
        FileLook look{};
        std::string path{};
    };

    void checkAsset(const Asset& asset);
    void addPartners(const Asset& asset, OriginalEntry& entry);
    /// None: the path leads to a place, or names a type, that is not read.
    std::optional<Outside> lookFor(const std::string& recordedPath, std::optional<std::int64_t> recordedSize);

    OriginalsWalk& walk_;
    OriginalsLedger& ledger_;
};

} // namespace vantorel
