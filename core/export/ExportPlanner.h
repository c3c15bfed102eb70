#pragma once

#include "export/ExportOptions.h"
#include "export/ExportPlan.h"
#include "scan/LibraryScanner.h"

#include <optional>
#include <string>

namespace vantorel {

/// Works out which files go where. A function from values to values: no disk, no failure; what is unusual
/// becomes a `SkippedItem` or a note. Planning twice gives the same plan.
ExportPlan planExport(const LibraryScanResult& scan, const ExportOptions& options);

/// The digest by which a run knows the folder of an earlier one: lower-case hexadecimal SHA-256 over the
/// library's name, five of the choices, and every planned file's path, size and source name.
std::string planIdentity(const ExportPlan& plan, const ExportOptions& options);

/// "This library has 1 shared album. It is not exported."; none without one.
std::optional<std::string> sharedAlbumsNote(const LibrarySnapshot& snapshot);

} // namespace vantorel
