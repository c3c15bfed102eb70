#pragma once

#include "compare/ItemDifferences.h"
#include "compare/ItemPairs.h"
#include "compare/LibraryComparison.h"
#include "database/model/LibrarySnapshot.h"

namespace vantorel {

/// Compares the albums and folders of two libraries whose items are paired, and writes what it finds into the
/// album fields of the result. Takes any list: parents that are not there or go in circles, chains of any
/// depth, one key or identifier twice. Where a library could not give folders or the photos of albums, these
/// are not compared. Linear in both lists and the entries of their albums.
void compareAlbums(const LibrarySnapshot& here, const LibrarySnapshot& there, const ItemPairs& pairs,
    const ComparableDetails& comparable, LibraryComparison& result);

} // namespace vantorel
