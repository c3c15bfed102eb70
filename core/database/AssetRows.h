#pragma once

#include "database/DatabaseSteps.h"
#include "database/ReadState.h"

namespace vantorel {

/// Reads the rows of the asset table: assets with kinds, flags, dates and places, in ascending order. A row
/// without a usable id or file name is left out and counted. Rows that Photos does not show (hidden bursts,
/// parts of duplicates, shared items) are kept: their files are real.
void readAssetRows(ReadState& state, const DatabaseSteps::Worker& worker);

} // namespace vantorel
