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

std::string leftoverSentence(std::int64_t count)
{
    return count == 1
        ? "1 file in the originals folder belongs to no photo in the database. It may be left over "
          "from a deleted photo and is not exported."
        : grouped(count)
            + " files in the originals folder belong to no photo in the database. They may be left over from "
              "deleted photos and are not exported.";
}

LibraryScanResult adoptUnknownFiles(LibraryScanResult scan)
{
    std::int64_t pk = 0;
    for (const auto* files : {&scan.originals.emptyUnknownFiles, &scan.originals.unknownFiles}) {
        for (const OriginalsReport::UnknownFile& file : *files) {
            scan.snapshot.assets.push_back(adopted(file, --pk));
            scan.originals.entries.insert_or_assign(pk, entryOfAdopted(file));
        }
    }
    if (const auto count = std::ssize(scan.originals.unknownFiles); count > 0) {
        scan.snapshot.notes.push_back(grouped(count)
            + " files in the originals folder have lost their database record: the files are saved, without "
              "their album, name, caption or date.");
    }
    return scan;
}

} // namespace

bool recordsAreComplete(const LibrarySnapshot& snapshot)
{
    using Kind = DamageReport::Loss::Kind;
    // A row that was left out may be the record of any file that nobody claims, and an album's entry without
    // a photo shows that there was one more: Photos takes both away together.
    const auto lacksPhotos = [](const DamageReport::Loss& loss) {
        return loss.kind == Kind::invalidPaths || loss.kind == Kind::albumEntriesWithoutPhoto;
    };
    return snapshot.damage.severity == DamageReport::Severity::none
        && std::ranges::none_of(snapshot.damage.losses, lacksPhotos)
        && std::ranges::none_of(
            snapshot.notes, [](const std::string& note) { return note.ends_with(droppedRowsNote); });
}

std::optional<std::string> leftoverNote(const LibraryScanResult& scan)
{
    const auto& assets = scan.snapshot.assets;
    const bool areAdopted = !assets.empty() && assets.back().isRecoveredFile;
    if (scan.originals.unknownFiles.empty() || areAdopted || !recordsAreComplete(scan.snapshot)) {
        return std::nullopt;
    }
    return leftoverSentence(std::ssize(scan.originals.unknownFiles));
}

LibraryScanResult reconciled(LibrarySnapshot snapshot, OriginalsReport report)
{
    const bool readWhole = snapshot.damage.severity == DamageReport::Severity::none;
    const bool stopped = report.state == OriginalsReport::State::interrupted;
    std::ranges::move(problemNotes(report, readWhole, stopped), std::back_inserter(snapshot.notes));

    LibraryScanResult scan{.snapshot = std::move(snapshot), .originals = std::move(report)};
    if (recordsAreComplete(scan.snapshot)) {
        if (auto note = leftoverNote(scan)) {
            scan.snapshot.notes.push_back(std::move(*note));
        }
        return scan;
    }
    return adoptUnknownFiles(std::move(scan));
}

LibraryScanResult withLeftovers(LibraryScanResult scan)
{
    const auto note = leftoverNote(scan);
    if (!note) {
        return scan;
    }
    std::erase(scan.snapshot.notes, *note);
    return adoptUnknownFiles(std::move(scan));
}

} // namespace vantorel
