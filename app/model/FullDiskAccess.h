#pragma once

#include "disk/SystemCalls.h"

namespace vantorel {

/// Whether one of two files that macOS shows only with Full Disk Access can be opened beneath the home
/// folder: the first that exists, else the first anyway. Nothing is read.
bool canOpenProtectedFile(const SystemCalls& calls, const DiskPath& home);

/// Whether the program can read protected places now. A system without such a gate says yes: trouble shows
/// there as a refused folder.
bool hasFullDiskAccess(const SystemCalls& calls);
/// Whether there is such a gate at all.
bool systemGuardsPrivacy();

} // namespace vantorel
