#pragma once

#include "export/ExportOptions.h"

#include <optional>
#include <string>
#include <string_view>

namespace vantorel {

/// The choices as they are kept between runs of the program: JSON.
std::string savedForm(const ExportOptions& options);
/// None when it does not decode. What is never carried over from an earlier run comes back as it is by
/// default: files stored outside the library, which ask for trust in that one library, and chosen albums,
/// whose keys are that library's.
std::optional<ExportOptions> savedExportOptions(std::string_view saved);

} // namespace vantorel
