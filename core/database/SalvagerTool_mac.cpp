#include "database/SalvagerTool.h"

namespace vantorel {

std::vector<DiskPath> salvagerToolPlaces(const SystemCalls&) { return {"/usr/bin/sqlite3"}; }

} // namespace vantorel
