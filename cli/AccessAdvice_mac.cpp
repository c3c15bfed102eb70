#include "cli/AccessAdvice.h"

namespace vantorel::cli {

std::optional<std::string> accessAdvice(const SystemCalls&, const DiskPath&) { return std::nullopt; }

std::optional<std::string> lockedVolumeAdvice() { return std::nullopt; }

} // namespace vantorel::cli
