#include "app/model/SavedOptions.h"

#include <nlohmann/json.hpp>

namespace vantorel {

std::string savedForm(const ExportOptions& options) { return toJson(options).dump(); }

std::optional<ExportOptions> savedExportOptions(std::string_view saved)
{
    const auto json = nlohmann::json::parse(saved, nullptr, false);
    auto options = json.is_discarded() ? std::nullopt : exportOptionsFromJson(json);
    if (options) {
        options->includeOutsideFiles = false;
        options->albumPKs.reset();
    }
    return options;
}

} // namespace vantorel
