#pragma once

#include "cli/ScanSummary.h"
#include "compare/LibraryComparison.h"

namespace vantorel::cli {

/// The two libraries of a comparison.
struct ComparedLibraries {
    const LibraryScanResult& source;
    const LibraryScanResult& other;
};

/// What a comparison found, for people at a terminal; names from the libraries have their control characters
/// made visible. Long lists are cut unless every entry is asked for.
std::string compareSummary(
    const ComparedLibraries& libraries, const LibraryComparison& comparison, ItemList list);

} // namespace vantorel::cli
