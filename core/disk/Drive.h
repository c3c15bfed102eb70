#pragma once

#include "disk/SystemCalls.h"

#include <optional>
#include <string>

namespace vantorel {

/// The drive behind a path, as far as the system tells.
struct Drive {
    std::string identity{};      ///< Equal for all volumes of one drive; empty: not known.
    std::optional<bool> spins{}; ///< A hard disk: each step to another place on it costs milliseconds.

    bool operator==(const Drive&) const = default;
};

/// Blocks. What cannot be found out stays unknown.
Drive driveOf(const SystemCalls& calls, const DiskPath& path);

/// Whether work on both at once would send the heads of one drive to and fro. Also where that is not known.
bool mayShareHeads(const Drive& one, const Drive& other);

} // namespace vantorel
