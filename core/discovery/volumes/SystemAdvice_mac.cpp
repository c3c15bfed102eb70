#include "discovery/volumes/SystemAdvice.h"

namespace vantorel::SystemAdvice {

std::optional<std::string> refused(const SystemCalls&, const DiskPath&) { return std::nullopt; }

std::optional<std::string> lockedVolume() { return std::nullopt; }

std::optional<std::string> unopened(const UnopenedDisk&) { return std::nullopt; }

std::optional<std::string> nothingFound() { return std::nullopt; }

std::optional<std::string> olderBackups() { return std::nullopt; }

} // namespace vantorel::SystemAdvice
