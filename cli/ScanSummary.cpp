#include "cli/ScanSummary.h"

#include "base/Text.h"
#include "database/model/DamageSummary.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <string_view>
#include <vector>

namespace vantorel::cli {

namespace {

/// Rows of counts by text, the most frequent first.
std::vector<std::pair<std::string_view, std::int64_t>> byCount(
    const std::map<std::string_view, std::int64_t>& counts)
{
    std::vector<std::pair<std::string_view, std::int64_t>> rows(counts.begin(), counts.end());
    std::ranges::stable_sort(rows, [](const auto& a, const auto& b) { return a.second > b.second; });
    return rows;
}

struct Numbers {
    std::int64_t photos = 0;
    std::int64_t videos = 0;
    std::int64_t others = 0;
    std::int64_t favorites = 0;
    std::int64_t hidden = 0;
    std::int64_t trashed = 0;
    std::int64_t recovered = 0;
    std::int64_t albums = 0;
    std::int64_t folders = 0;
    std::int64_t smart = 0;
    std::int64_t shared = 0;
    std::int64_t bytesPresent = 0;
    std::map<std::string_view, std::int64_t> statuses{};
};

std::int64_t bytesOf(const OriginalEntry& entry)
{
    if (!entry.file) {
        return 0;
    }
    std::int64_t bytes = entry.file->size;
    for (const auto& companion : entry.file->companions) {
        bytes += companion.size;
    }
    return bytes;
}

Numbers count(const LibraryScanResult& scan)
{
    Numbers n;
    for (const auto& asset : scan.snapshot.assets) {
        ++(asset.kind == Asset::Kind::photo        ? n.photos
                : asset.kind == Asset::Kind::video ? n.videos
                                                   : n.others);
        n.favorites += asset.isFavorite ? 1 : 0;
        n.hidden += asset.isHidden ? 1 : 0;
        n.trashed += asset.isTrashed ? 1 : 0;
        n.recovered += asset.isRecoveredFile ? 1 : 0;
        if (const auto entry = scan.originals.entries.find(asset.pk); entry != scan.originals.entries.end()) {
            ++n.statuses[statusText(entry->second)];
            n.bytesPresent += bytesOf(entry->second);
        }
    }
    for (const auto& album : scan.snapshot.albums) {
        if (album.isTrashed) {
            continue;
        }
        n.albums += album.kind == Album::Kind::album ? 1 : 0;
        n.folders += album.kind == Album::Kind::folder ? 1 : 0;
        n.smart += album.kind == Album::Kind::smart ? 1 : 0;
        n.shared += album.kind == Album::Kind::shared ? 1 : 0;
    }
    return n;
}

void addPart(std::string& line, const std::string& part) { line += line.empty() ? part : ", " + part; }

} // namespace

std::string counted(std::int64_t count, std::string_view one, std::string_view many)
{
    return fmt::format("{} {}", grouped(count), count == 1 ? one : many);
}

std::string scanSummary(const LibraryScanResult& scan, ItemList list)
{
    const auto& snapshot = scan.snapshot;
    const Numbers n = count(scan);
    std::string text;
    const auto out = std::back_inserter(text);

    fmt::format_to(out, "{}\n", displayText(snapshot.name));
    fmt::format_to(out, "Library format: {}\n", snapshot.schema.photosVersionText);
    // How far to trust the numbers is said before them.
    if (const auto line = severityLine(snapshot.damage.severity)) {
        fmt::format_to(out, "{}\n", *line);
    }
    fmt::format_to(out, "\n");

    std::string items = counted(n.photos, "photo", "photos");
    addPart(items, counted(n.videos, "video", "videos"));
    if (n.others > 0) {
        addPart(items, counted(n.others, "item of another kind", "items of another kind"));
    }
    addPart(items, counted(n.albums, "album", "albums"));
    addPart(items, counted(n.folders, "folder", "folders"));
    addPart(items,
        counted(
            static_cast<std::int64_t>(snapshot.people.size()), "person with a name", "people with names"));
    fmt::format_to(out, "  {}\n", items);

    std::string marks;
    const auto mark = [&](std::int64_t value, std::string_view one, std::string_view many) {
        if (value > 0) {
            addPart(marks, counted(value, one, many));
        }
    };
    mark(n.favorites, "favourite", "favourites");
    mark(n.hidden, "hidden", "hidden");
    mark(n.trashed, "in Recently Deleted", "in Recently Deleted");
    mark(n.smart, "smart album", "smart albums");
    mark(n.shared, "shared album", "shared albums");
    mark(n.recovered, "file without a record", "files without a record");
    if (!marks.empty()) {
        fmt::format_to(out, "  {}\n", marks);
    }
    fmt::format_to(out, "  {} in the files that are here\n", byteSize(n.bytesPresent));

    if (!n.statuses.empty()) {
        fmt::format_to(out, "\nOriginals\n");
        for (const auto& [status, value] : byCount(n.statuses)) {
            fmt::format_to(out, "  {:>9}  {}\n", grouped(value), status);
        }
    }
    std::vector<std::string> lines;
    for (const auto& table : snapshot.damage.tables) {
        if (auto line = tableLine(table)) {
            lines.push_back(*std::move(line));
        }
    }
    for (const auto& loss : snapshot.damage.losses) {
        lines.push_back(sentence(loss));
    }
    for (const auto& note : snapshot.notes) {
        if (std::ranges::find(lines, note) == lines.end()) {
            lines.push_back(note);
        }
    }
    if (!lines.empty()) {
        fmt::format_to(out, "\nNotes\n");
        for (const auto& line : lines) {
            fmt::format_to(out, "  {}\n", displayText(line));
        }
    }
    if (list == ItemList::everyProblem) {
        fmt::format_to(out, "\nMissing or limited\n");
        bool any = false;
        for (const auto& asset : snapshot.assets) {
            const auto entry = scan.originals.entries.find(asset.pk);
            if (entry == scan.originals.entries.end()) {
                continue;
            }
            const ItemRow row = itemRow(asset, entry->second);
            if (!row.isFine) {
                fmt::format_to(out, "  {}  {}\n", displayText(row.name), row.status);
                any = true;
            }
        }
        if (!any) {
            fmt::format_to(out, "  Each item in this library has its original file in this copy.\n");
        }
    }
    return text;
}

} // namespace vantorel::cli
