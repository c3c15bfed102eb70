#pragma once

#include "export/ExportOutcome.h"
#include "export/ExportPlan.h"

#include <string>

namespace vantorel {

/// "READ ME.txt" of a finished export: what was saved, how folders and files are named, what the sidecars
/// hold, and the plan's notes (smart and shared albums among them). The same plan and the same outcome give
/// the same text, whatever the run was like.
std::string readMeFinished(const ExportPlan& plan, const ExportOutcome& outcome);

} // namespace vantorel
