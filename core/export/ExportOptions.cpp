#include "export/ExportOptions.h"

#include <array>
#include <limits>
#include <utility>

#include <nlohmann/json.hpp>

namespace vantorel {

namespace {

constexpr std::array<std::pair<const char*, bool ExportOptions::*>, 7> flags{{
    {"includeHidden", &ExportOptions::includeHidden},
    {"includeTrashed", &ExportOptions::includeTrashed},
    {"includeSmallerCopies", &ExportOptions::includeSmallerCopies},
    {"includeUnfiled", &ExportOptions::includeUnfiled},
    {"includeRecoveredFiles", &ExportOptions::includeRecoveredFiles},
    {"peopleAsKeywords", &ExportOptions::peopleAsKeywords},
    {"includeOutsideFiles", &ExportOptions::includeOutsideFiles},
}};
constexpr const char* albumsKey = "albumPKs";

/// None for what is no whole number or does not fit.
std::optional<std::int64_t> wholeNumber(const nlohmann::json& json)
{
    if (!json.is_number_integer()) {
        return std::nullopt;
    }
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (json.is_number_unsigned() && json.get<std::uint64_t>() > most) {
        return std::nullopt;
    }
    return json.get<std::int64_t>();
}

} // namespace

nlohmann::json toJson(const ExportOptions& options)
{
    auto json = nlohmann::json::object();
    for (const auto& [key, flag] : flags) {
        json[key] = options.*flag;
    }
    if (options.albumPKs) {
        json[albumsKey] = *options.albumPKs;
    }
    return json;
}

std::optional<ExportOptions> exportOptionsFromJson(const nlohmann::json& json)
{
    if (!json.is_object()) {
        return std::nullopt;
    }
    ExportOptions options;
    for (const auto& [key, flag] : flags) {
        const auto found = json.find(key);
        if (found == json.end() || !found->is_boolean()) {
            return std::nullopt;
        }
        options.*flag = found->get<bool>();
    }
    const auto albums = json.find(albumsKey);
    if (albums == json.end() || albums->is_null()) {
        return options;
    }
    if (!albums->is_array()) {
        return std::nullopt;
    }
    options.albumPKs.emplace();
    for (const auto& album : *albums) {
        const auto pk = wholeNumber(album);
        if (!pk) {
            return std::nullopt;
        }
        options.albumPKs->insert(*pk);
    }
    return options;
}

} // namespace vantorel
