#pragma once

#include "disk/SystemCalls.h"
#include "support/TemporaryFolder.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vantorel {

/// A tool on this machine whose `.recover` works, if there is one; scripts/build-sqlite-tool makes it.
std::optional<DiskPath> recoveringTool();

/// Every row of a table as SQL literals; none where the table cannot be read.
std::optional<std::multiset<std::string>> rowsOf(const DiskPath& database, const std::string& table);
/// The first column of a query, as text.
std::vector<std::string> valuesOf(const DiskPath& database, const std::string& sql);

} // namespace vantorel
