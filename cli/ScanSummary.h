#pragma once

#include "scan/LibraryScanner.h"

#include <string>

namespace vantorel::cli {

enum class ItemList { countsOnly, everyProblem };

/// What a scan found, for people at a terminal. Names from the library have their control characters made
/// visible.
std::string scanSummary(const LibraryScanResult& scan, ItemList list);

/// "1 photo", "12,408 photos"
std::string counted(std::int64_t count, std::string_view one, std::string_view many);

} // namespace vantorel::cli
