#pragma once

#include "scan/LibraryScanner.h"

#include <string>
#include <vector>

namespace vantorel {

/// What limits a comparison of the two, as sentences: about the source, about the other library, about the
/// checks of their files.
std::vector<std::string> comparisonCautions(const LibraryScanResult& source, const LibraryScanResult& other);

} // namespace vantorel
