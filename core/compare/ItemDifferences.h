#pragma once

#include "compare/LibraryComparison.h"
#include "database/model/Asset.h"
#include "database/model/SchemaSummary.h"
#include "scan/OriginalsReport.h"

#include <vector>

namespace vantorel {

/// Kinds of detail that both libraries could give.
struct ComparableDetails {
    ComparableDetails(const SchemaSummary& here, const SchemaSummary& there);

    bool albums; ///< Which photos are in them.
    bool folders;
    bool captions;
    bool keywords;
    bool people;
    bool favourites;
    bool hidden;
    bool dates;
};

/// What the records of two paired items differ in, in the order of the enumeration; the original is not among
/// it. A detail that a library could not give, or that an item is known to have lost, is not compared; nor is
/// anything of a file without a record. Texts that differ only in Unicode form are the same.
std::vector<AssetChange> recordChanges(
    const Asset& here, const Asset& there, const ComparableDetails& comparable);

/// What has become of an original that is here.
enum class OriginalThere {
    noDifference, ///< It is there too, or is not here either, or nobody knows: not checked, refused, not
                  ///< read.
    missing,
    inCloud, ///< Photos kept it only in iCloud there.
};

/// The item and what the disk says about its original; no entry: it was not checked.
struct ItemOriginal {
    const Asset& asset;
    const OriginalEntry* entry = nullptr;
};
OriginalThere originalThere(const OriginalEntry* here, const ItemOriginal& there);

} // namespace vantorel
