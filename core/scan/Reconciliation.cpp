#include "scan/LibraryScanner.h"

#include "base/Text.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace vantorel {

namespace {

/// A file whose record is lost, as an asset of its own. Nothing is known of it but the file.
Asset adopted(const OriginalsReport::UnknownFile& file, std::int64_t pk)
{
    using Lost = Asset::LostDetail;
    Asset asset;
    asset.pk = pk;
    asset.uuid = file.uuid;
    asset.directory = file.directory;
    asset.fileName = file.main.substr(file.main.rfind('/') + 1);
    asset.lostDetails = {
        Lost::originalName, Lost::caption, Lost::keywords, Lost::people, Lost::albums, Lost::dates};
    asset.isRecoveredFile = true;
    return asset;
}

OriginalEntry entryOfAdopted(const OriginalsReport::UnknownFile& file)
{
    if (file.size == 0) {
        return {.status = OriginalEntry::Status::missing, .reason = OriginalEntry::MissingReason::emptyFile};
    }
    ResolvedFile found{.path = file.main, .size = file.size};
    for (std::size_t i = 0; i < file.companions.size(); ++i) {
        found.companions.push_back({.path = file.companions[i], .size = file.companionSizes[i]});
    }
    return {.status = OriginalEntry::Status::present, .file = std::move(found)};
}

std::string leftoverNote(std::int64_t count)
{
    return count == 1
        ? "1 file in the originals folder belongs to no photo in the database. It may be left over "
          "from a deleted photo and is not exported."
        : grouped(count)
            + " files in the originals folder belong to no photo in the database. They may be left over from "
              "deleted photos and are not exported.";
}

} // namespace

LibraryScanResult reconciled(LibrarySnapshot snapshot, OriginalsReport report)
{
    const bool readWhole = snapshot.damage.severity == DamageReport::Severity::none;
    const bool stopped = report.state == OriginalsReport::State::interrupted;
    std::ranges::move(problemNotes(report, readWhole, stopped), std::back_inserter(snapshot.notes));

    if (readWhole) {
        if (!report.unknownFiles.empty()) {
            snapshot.notes.push_back(leftoverNote(std::ssize(report.unknownFiles)));
        }
        return {.snapshot = std::move(snapshot), .originals = std::move(report)};
    }

    std::int64_t pk = 0;
    for (const auto* files : {&report.emptyUnknownFiles, &report.unknownFiles}) {
        for (const OriginalsReport::UnknownFile& file : *files) {
            snapshot.assets.push_back(adopted(file, --pk));
            report.entries.insert_or_assign(pk, entryOfAdopted(file));
        }
    }
    if (!report.unknownFiles.empty()) {
        snapshot.notes.push_back(grouped(std::ssize(report.unknownFiles))
            + " files in the originals folder have lost their database record: the files are saved, without "
              "their album, name, caption or date.");
    }
    return {.snapshot = std::move(snapshot), .originals = std::move(report)};
}

} // namespace vantorel
