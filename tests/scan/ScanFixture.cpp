#include "scan/ScanFixture.h"

#include <fmt/format.h>

namespace vantorel {

namespace {

std::string describedFile(const ResolvedFile& file)
{
    std::string text = fmt::format("{}:{}", file.path, file.size);
    for (const ResolvedFile& companion : file.companions) {
        text += " + " + describedFile(companion);
    }
    return text;
}

} // namespace

std::string idOf(char letter, int number)
{
    return fmt::format("{}0000000-0000-4000-8000-{:012}", letter, number);
}

std::string described(const OriginalEntry& entry)
{
    std::string text(nameIn(originalStatusNames, entry.status));
    if (entry.reason) {
        text += fmt::format("/{}", nameIn(missingReasonNames, *entry.reason));
    }
    if (entry.file) {
        text += " " + describedFile(*entry.file);
    }
    text += entry.isStillOfVideo ? " stillOfVideo" : "";
    text += entry.isOutsideLibrary ? " outside" : "";
    text += entry.partnerMissing ? " partnerMissing" : "";
    return text + (entry.refusedPath ? " refused " + *entry.refusedPath : "");
}

std::map<std::int64_t, std::string> described(const OriginalsReport& report)
{
    std::map<std::int64_t, std::string> entries;
    for (const auto& [pk, entry] : report.entries) {
        entries[pk] = described(entry);
    }
    return entries;
}

std::vector<std::string> described(const std::vector<OriginalsReport::UnknownFile>& files)
{
    std::vector<std::string> lines;
    for (const auto& file : files) {
        std::string line = fmt::format("{} in {}: {}:{}", file.uuid, file.directory, file.main, file.size);
        for (std::size_t i = 0; i < file.companions.size(); ++i) {
            line += fmt::format(" + {}:{}", file.companions[i], file.companionSizes.at(i));
        }
        lines.push_back(line);
    }
    return lines;
}

Asset& ScanFixture::add(char letter, int number, std::optional<std::int64_t> size)
{
    Asset asset;
    asset.pk = number;
    asset.uuid = idOf(letter, number);
    asset.directory = std::string(1, letter);
    asset.fileName = asset.uuid + ".jpeg";
    asset.originalFileSize = size;
    return snapshot.assets.emplace_back(std::move(asset));
}

void ScanFixture::file(const std::string& path, std::size_t bytes, const std::string& identifier)
{
    std::string filled = path;
    if (const std::size_t gap = filled.find("{}"); gap != std::string::npos) {
        filled.replace(gap, 2, identifier);
    }
    disk.write("My.photoslibrary/" + filled, std::string(bytes, 'x'));
}

OriginalsReport ScanFixture::inspect()
{
    OriginalsInspector inspector({.calls = calls, .clock = clock, .children = nullptr, .temporary = nullptr});
    inspector.stallTimeout = limit;
    inspector.beforeListing = [this](const DiskPath& folder) {
        listed.push_back(folder.lexically_relative(snapshot.libraryURL).native());
        if (onListing) {
            onListing(listed.back());
        }
    };
    return inspector.inspect(snapshot, cancel, [this](const ScanProgress& now) { progress.push_back(now); });
}

} // namespace vantorel
