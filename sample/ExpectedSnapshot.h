#pragma once

#include "database/model/LibrarySnapshot.h"
#include "sample/SampleLibrary.h"

namespace vantorel::sample {

/// What a right reading of the database of the library that `writeLibrary` makes from the same plan and
/// options gives: every asset and album with its key, in the order of `LibrarySnapshot`, and the people. The
/// notes and the damage report's tables, which tell about the reading, are left empty. Tables and columns
/// that were left out of the layout are not taken into account.
///
/// Draws the pictures once more, for their sizes and fingerprints.
LibrarySnapshot expectedSnapshot(const SamplePlan& plan, const WriteOptions& options, const DiskPath& folder);

} // namespace vantorel::sample
