#pragma once

#include "disk/SystemCalls.h"

#include <optional>
#include <string>

namespace vantorel::cli {

/// What helps on this system when a folder was refused: a line beneath the sentence that speaks of macOS
/// settings. None on macOS, where the sentence says it all.
std::optional<std::string> accessAdvice(const SystemCalls& calls, const DiskPath& path);

/// The same beneath the sentence of a locked volume.
std::optional<std::string> lockedVolumeAdvice();

} // namespace vantorel::cli
