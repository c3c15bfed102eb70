#pragma once

#include "compare/LibraryComparison.h"
#include "discovery/FoundLibrary.h"
#include "export/ExportOutcome.h"
#include "export/ExportPlan.h"
#include "export/ExportVerifier.h"
#include "scan/LibraryScanner.h"

#include <string>
#include <string_view>

namespace vantorel::cli {

/// Values as JSON for scripts: keys are the field names, dates ISO 8601 in UTC with milliseconds, absent
/// values null, enumerations their raw values. Bytes that are no UTF-8 become U+FFFD. Written piece by piece
/// to standard output, since a library of a million items as one tree would take gigabytes. False when
/// standard output could not take it all.
bool printJson(const FindResult& result);
bool printJson(const LibraryScanResult& scan);
bool printJson(const LibraryComparison& comparison);
bool printJson(const ExportPlan& plan);
bool printJson(const ExportOutcome& outcome);
bool printJson(const VerifyResult& result);
bool printErrorJson(std::string_view kind, std::string_view message);

} // namespace vantorel::cli
