#pragma once

#include "database/model/LibrarySnapshot.h"

#include <cstdint>

namespace vantorel {

/// What one source added to what another gave.
struct SnapshotAdditions {
    std::int64_t photos = 0;  ///< That the other source alone knew.
    std::int64_t albums = 0;  ///< Albums and folders, likewise.
    std::int64_t details = 0; ///< Photos of both of which it gave a lost detail back.

    bool any() const { return photos > 0 || albums > 0 || details > 0; }
    bool operator==(const SnapshotAdditions&) const = default;
};

/// Whether two readings count rows alike (the same database) or each in its own way (a database and
/// journals).
enum class RowIds { same, foreign };

/// Adds to `base` what only `other` knows of the same library: photos, albums and folders, the entries of
/// both, and the details that are lost in `base`. Nothing that `base` knows is replaced. Photos and albums
/// are the same when their identifiers are, photos also when their files are. Linear in both but for sorting.
/// `base` keeps every promise of a snapshot; losses that the additions made good leave its damage report.
SnapshotAdditions addFrom(LibrarySnapshot& base, const LibrarySnapshot& other, RowIds ids);

} // namespace vantorel
