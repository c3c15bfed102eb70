#include "export/ExportReport.h"

#include "base/Date.h"
#include "base/Text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <unordered_map>
#include <utility>

/// The dialect: UTF-8 without a mark at its start; fields separated by ","; every line, the first included,
/// ends with CR LF; a field that holds a comma, a quotation mark, CR or LF stands in quotation marks, with
/// those in it doubled. Fields with several values join them with "; ".

namespace vantorel {

namespace {

enum Column : std::size_t {
    status,
    file,
    album,
    originalName,
    dateCreated,
    favourite,
    hidden,
    caption,
    keywords,
    people,
    sizeBytes,
    digests,
    sidecar,
    detailsLost,
    reason,
    uuid,
    columnCount,
};

constexpr std::array<std::string_view, columnCount> columnNames{"status", "file", "album", "original_name",
    "date_created", "favourite", "hidden", "caption", "keywords", "people", "size_bytes", "sha256", "sidecar",
    "details_lost", "reason", "uuid"};

constexpr std::string_view separator = "; ";
constexpr std::string_view notSaved = "not_saved";
constexpr std::array<std::string_view, 3> savedStatuses{"original", "smaller_copy", "original_size_differs"};

using Fields = std::array<std::string, columnCount>;

std::string_view statusOf(const PlannedItem& item)
{
    return savedStatuses[item.isSmallerCopy ? 1 : item.sizeDiffers ? 2 : 0];
}

void addField(std::string& out, std::string_view field)
{
    if (std::ranges::none_of(field, [](char c) { return c == ',' || c == '"' || c == '\r' || c == '\n'; })) {
        out += field;
        return;
    }
    out += '"';
    for (const char c : field) {
        if (c == '"') {
            out += '"';
        }
        out += c;
    }
    out += '"';
}

template <typename AnyFields>
void addLine(std::string& out, const AnyFields& fields)
{
    for (std::size_t i = 0; i < columnCount; ++i) {
        if (i > 0) {
            out += ',';
        }
        addField(out, fields[i]);
    }
    out += "\r\n";
}

/// What the library says about the item, the same for saved and other lines. Dates have the sidecars' form.
Fields detailsOf(const Asset* asset)
{
    Fields fields;
    if (asset == nullptr) {
        return fields;
    }
    fields[originalName] = asset->originalFileName.value_or("");
    if (asset->dateCreated) {
        fields[dateCreated] = sidecarDate(*asset->dateCreated, asset->timeZoneOffset).value_or("");
    }
    fields[favourite] = asset->isFavorite ? "true" : "false";
    fields[hidden] = asset->isHidden ? "true" : "false";
    fields[caption] = asset->caption.value_or("");
    fields[keywords] = joined(asset->keywords, separator);
    fields[people] = joined(asset->people, separator);
    std::vector<std::string> lost;
    lost.reserve(asset->lostDetails.size());
    for (const auto detail : asset->lostDetails) {
        lost.emplace_back(nameIn(lostDetailNames, detail));
    }
    fields[detailsLost] = joined(lost, separator);
    fields[uuid] = asset->uuid;
    return fields;
}

/// Takes one field off the front of a text in the dialect; the separator or line end behind it stays.
std::optional<std::string> takeField(std::string_view& csv)
{
    std::string field;
    if (!csv.starts_with('"')) {
        field = csv.substr(0, csv.find_first_of(",\"\r\n"));
        csv.remove_prefix(field.size());
        return field;
    }
    csv.remove_prefix(1);
    while (true) {
        const auto quote = csv.find('"');
        if (quote == std::string_view::npos) {
            return std::nullopt;
        }
        field += csv.substr(0, quote);
        csv.remove_prefix(quote + 1);
        if (!csv.starts_with('"')) {
            return field;
        }
        field += '"';
        csv.remove_prefix(1);
    }
}

/// None where a line has another number of fields or something stands between a field and its separator.
std::optional<Fields> takeLine(std::string_view& csv)
{
    Fields fields;
    for (std::size_t i = 0; i < columnCount; ++i) {
        auto field = takeField(csv);
        const std::string_view behind = i + 1 < columnCount ? "," : "\r\n";
        if (!field || !csv.starts_with(behind)) {
            return std::nullopt;
        }
        csv.remove_prefix(behind.size());
        fields[i] = std::move(*field);
    }
    return fields;
}

std::vector<std::string> splitAt(std::string_view text, std::string_view mark)
{
    std::vector<std::string> parts;
    while (true) {
        const auto at = text.find(mark);
        parts.emplace_back(text.substr(0, at));
        if (at == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(at + mark.size());
    }
}

/// Joined paths of files in one folder. A name may hold the separator, but no slash: the separator and the
/// folder together stand only between two paths.
std::vector<std::string> splitPaths(std::string_view text, std::string_view folder)
{
    auto parts = splitAt(text, std::string(separator).append(folder) + "/");
    for (std::size_t i = 1; i < parts.size(); ++i) {
        parts[i].insert(0, std::string(folder) + "/");
    }
    return parts;
}

bool isDigest(std::string_view text)
{
    return text.size() == 64 && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::optional<ReportedItem> itemOf(Fields fields)
{
    ReportedItem item{.status = std::move(fields[status]), .uuid = std::move(fields[uuid])};
    if (item.status == notSaved) {
        return item;
    }
    if (std::ranges::find(savedStatuses, item.status) == savedStatuses.end()) {
        return std::nullopt;
    }
    item.hashes = splitAt(fields[digests], separator);
    if (!std::ranges::all_of(item.hashes, isDigest)) {
        return std::nullopt;
    }
    for (const auto& text : splitAt(fields[sizeBytes], separator)) {
        const auto size = parseInteger<std::int64_t>(text);
        if (!size || *size < 0) {
            return std::nullopt;
        }
        item.sizes.push_back(*size);
    }
    item.sidecar = std::move(fields[sidecar]);
    if (item.hashes.size() == 1) {
        item.files.push_back(std::move(fields[file]));
    } else {
        const auto slash = item.sidecar.rfind('/'); // the sidecar lies beside its files
        item.files = splitPaths(
            fields[file], slash == std::string::npos ? fields[album] : item.sidecar.substr(0, slash));
    }
    if (item.files.size() != item.hashes.size() || item.sizes.size() != item.hashes.size()) {
        return std::nullopt;
    }
    return item;
}

} // namespace

ReportRow reportRow(const PlannedItem& item, std::string sidecar)
{
    return {
        .item = {.assetPK = item.assetPK,
            .assetUUID = item.assetUUID,
            .albumPath = item.albumPath,
            .isSmallerCopy = item.isSmallerCopy,
            .sizeDiffers = item.sizeDiffers},
        .sidecar = std::move(sidecar),
    };
}

std::string reportText(const std::vector<ReportRow>& rows, const std::vector<SkippedItem>& skipped,
    const LibrarySnapshot& snapshot)
{
    std::unordered_map<std::int64_t, const Asset*> assets;
    assets.reserve(snapshot.assets.size());
    for (const auto& asset : snapshot.assets) {
        assets.try_emplace(asset.pk, &asset);
    }
    const auto details = [&](std::int64_t pk) {
        const auto found = assets.find(pk);
        return detailsOf(found == assets.end() ? nullptr : found->second);
    };

    std::string out;
    addLine(out, columnNames);
    for (const auto& row : rows) {
        auto fields = details(row.item.assetPK);
        fields[status] = statusOf(row.item);
        fields[file] = joined(row.paths, separator);
        fields[album] = row.item.albumPath;
        std::vector<std::string> sizes;
        sizes.reserve(row.sizes.size());
        for (const auto size : row.sizes) {
            sizes.push_back(std::to_string(size));
        }
        fields[sizeBytes] = joined(sizes, separator);
        fields[digests] = joined(row.hashes, separator);
        fields[sidecar] = row.sidecar;
        fields[uuid] = row.item.assetUUID;
        addLine(out, fields);
    }
    for (const auto& item : skipped) {
        auto fields = details(item.assetPK);
        fields[status] = notSaved;
        fields[file] = item.name;
        fields[album] = joined(item.albumPaths, separator);
        fields[reason] = item.reason;
        addLine(out, fields);
    }
    return out;
}

std::optional<std::vector<ReportedItem>> parseReport(std::string_view csv)
{
    const auto header = takeLine(csv);
    if (!header || !std::ranges::equal(*header, columnNames)) {
        return std::nullopt;
    }
    std::vector<ReportedItem> items;
    while (!csv.empty()) {
        auto fields = takeLine(csv);
        auto item = fields ? itemOf(std::move(*fields)) : std::nullopt;
        if (!item) {
            return std::nullopt;
        }
        items.push_back(std::move(*item));
    }
    return items;
}

} // namespace vantorel
