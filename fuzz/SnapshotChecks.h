#pragma once

#include "database/model/LibrarySnapshot.h"

namespace vantorel::fuzz {

/// What holds for every snapshot, whatever it was read from.
void checkSnapshot(const LibrarySnapshot& snapshot);

} // namespace vantorel::fuzz
