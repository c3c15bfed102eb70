#pragma once

#include "sample/DatabaseWriter.h"
#include "sample/FileWriter.h"

namespace vantorel::sample {

/// Writes the change journals of a library: of each kind a snapshot and a change file, which together give
/// the library as it is. The snapshots hold an older state, and objects that were removed since.
void writeJournals(const LibraryContent& content, FileWriter& files);

} // namespace vantorel::sample
