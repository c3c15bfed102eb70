#pragma once

#include "database/model/DamageReport.h"

#include <optional>
#include <string>

namespace vantorel {

/// The severity's sentence as it stands above the result of a scan: where most was lost it also says that
/// what was found can be saved. None for an intact library.
std::optional<std::string> severityLine(DamageReport::Severity severity);

} // namespace vantorel
