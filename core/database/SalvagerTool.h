#pragma once

#include "database/SalvagerRecovery.h"

#include <expected>
#include <vector>

namespace vantorel {

/// Where a SQLite tool that recovers may be, best first: the system's on macOS; elsewhere this program's own,
/// since distributions build theirs without it, and then the system's.
std::vector<DiskPath> salvagerToolPlaces(const SystemCalls& calls);

/// The first of the tools that brings a row back from a scratch database in the private folder. Neither its
/// exit status nor that it can make a table says that it recovers. `notStarted`: there is none.
std::expected<DiskPath, RecoveryFailure> findSalvagerTool(const ChildProcessRunner& children,
    const std::shared_ptr<const SystemCalls>& calls, const std::vector<DiskPath>& places,
    const DiskPath& folder, const SharedCancelToken& cancel);

/// Removes a database of the private folder with its journal, as far as they are there.
void removeDatabase(const std::shared_ptr<const SystemCalls>& calls, const DiskPath& file);

} // namespace vantorel
