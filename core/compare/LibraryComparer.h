#pragma once

#include "compare/LibraryComparison.h"
#include "scan/LibraryScanner.h"

namespace vantorel {

/// Tells what one library has that another has not, or has differently. Works on two finished scans and reads
/// nothing from a disk; what it cannot know it says as a caution. Any thread; does not throw.
class LibraryComparer {
public:
    static LibraryComparison compare(const LibraryScanResult& source, const LibraryScanResult& other);
};

} // namespace vantorel
