#pragma once

#include "disk/SystemCalls.h"

namespace vantorel {

/// What a search needs to know of this system.
struct SystemPlaces {
    DiskPath homes{};       ///< The folder that holds the users' home folders.
    bool hasTmutil = false; ///< The system makes Time Machine backups and lists them.
};

SystemPlaces systemPlaces();

} // namespace vantorel
