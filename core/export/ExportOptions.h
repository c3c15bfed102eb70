#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace vantorel {

/// The user's choices for one export.
struct ExportOptions {
    bool includeHidden = true;
    bool includeTrashed = false;
    bool includeSmallerCopies = true;
    bool includeUnfiled = true;
    bool includeRecoveredFiles = true;
    bool peopleAsKeywords = true;
    bool includeOutsideFiles = false;
    std::optional<std::set<std::int64_t>> albumPKs{}; ///< Present: only these albums and their photos.

    bool operator==(const ExportOptions&) const = default;
};

/// Keys are exactly the field names; an absent `albumPKs` is left out.
nlohmann::json toJson(const ExportOptions& options);
/// The seven flags are required; `albumPKs` may be absent or null. None when it does not fit.
std::optional<ExportOptions> exportOptionsFromJson(const nlohmann::json& json);

} // namespace vantorel
