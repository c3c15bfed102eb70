#pragma once

#include "database/SalvagerDatabase.h"

#include <cstdint>

namespace vantorel {

struct OrphanRows {
    std::int64_t rehomed = 0;    ///< Put into their tables.
    std::int64_t unassigned = 0; ///< No table could be told for them.

    bool operator==(const OrphanRows&) const = default;
};

/// Puts the rows of the recovery's table "lost_and_found" back into the tables that they come from, as far as
/// it can be told. A row that is already there is never overwritten. Without that table nothing is done.
SalvagerDatabase::Result<OrphanRows> rehomeOrphans(SalvagerDatabase& database);

} // namespace vantorel
