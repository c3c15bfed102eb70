#include "app/model/LibraryOverview.h"

#include "base/Text.h"
#include "database/model/DamageSummary.h"

#include <algorithm>
#include <map>
#include <optional>

namespace vantorel {

namespace {

using Status = OriginalEntry::Status;
using Reason = OriginalEntry::MissingReason;

/// What a kind of detail is called in the row that lists those which could not be read.
constexpr EnumNames<SchemaSummary::Feature, 8> featureWords{{
    {SchemaSummary::Feature::albums, "albums"},
    {SchemaSummary::Feature::folders, "folders"},
    {SchemaSummary::Feature::captions, "captions"},
    {SchemaSummary::Feature::keywords, "keywords"},
    {SchemaSummary::Feature::people, "People names"},
    {SchemaSummary::Feature::favourites, "favourites"},
    {SchemaSummary::Feature::hidden, "hidden"},
    {SchemaSummary::Feature::dates, "dates"},
}};
static_assert(inEnumOrder(featureWords));

std::int64_t bytesOf(const ResolvedFile& file)
{
    std::int64_t bytes = file.size;
    for (const auto& companion : file.companions) {
        bytes += companion.size;
    }
    return bytes;
}

void addNotes(LibraryOverview& overview, const LibrarySnapshot& snapshot)
{
    auto& notes = overview.notes;
    const auto add = [&](const std::string& note) {
        if (std::ranges::find(notes, note) == notes.end()) {
            notes.push_back(note);
        }
    };
    if (const auto line = severityLine(snapshot.damage.severity)) {
        add(*line);
    }
    for (const auto& table : snapshot.damage.tables) {
        if (const auto line = tableLine(table)) {
            add(*line);
        }
    }
    for (const auto& loss : snapshot.damage.losses) {
        add(sentence(loss));
    }
    overview.damageNotes = notes.size();
    for (const auto& note : snapshot.notes) {
        add(note);
    }
}

struct Marks {
    std::int64_t others = 0;
    std::int64_t favourites = 0;
    std::int64_t trashed = 0;
    std::int64_t folders = 0;
};

std::vector<LibraryOverview::Row> rowsOf(
    const LibraryOverview& overview, const Marks& marks, const SchemaSummary& schema)
{
    std::vector<LibraryOverview::Row> rows;
    const auto always = [&](std::string label, std::int64_t count) {
        rows.push_back({.label = std::move(label), .value = grouped(count)});
    };
    const auto some = [&](std::string label, std::int64_t count) {
        if (count > 0) {
            always(std::move(label), count);
        }
    };
    const auto count = [&](OriginalClass kind) { return overview.originals[static_cast<std::size_t>(kind)]; };
    some("Items of another kind", marks.others);
    some("Folders", marks.folders);
    some("Favourites", marks.favourites);
    some("Hidden", overview.hidden);
    some("In Recently Deleted", marks.trashed);
    std::vector<std::string> unread;
    for (const auto feature : schema.unavailable) {
        unread.emplace_back(nameIn(featureWords, feature));
    }
    if (!unread.empty()) {
        rows.push_back({.label = "Not read from this source", .value = joined(unread, ", ")});
    }
    always("Original present", count(OriginalClass::present));
    some("Original present, size differs from the database", count(OriginalClass::differs));
    some("Only a smaller copy, the original stayed in iCloud or is lost", count(OriginalClass::smallerCopy));
    some("Original outside the library", count(OriginalClass::elsewhere));
    some("Only in iCloud", count(OriginalClass::onlyInCloud));
    some("Original missing", count(OriginalClass::missing));
    some("Not checked", count(OriginalClass::notChecked));
    rows.push_back({.label = "Size of the files present", .value = byteSize(overview.bytesPresent)});
    return rows;
}

} // namespace

OriginalClass originalClass(const OriginalEntry& entry)
{
    switch (entry.status) {
    case Status::present:
        return OriginalClass::present;
    case Status::presentSizeDiffers:
        return OriginalClass::differs;
    case Status::referenced:
        return OriginalClass::elsewhere;
    case Status::derivativeOnly:
        return OriginalClass::smallerCopy;
    case Status::missing:
        return entry.reason == Reason::onlyInCloud || entry.reason == Reason::sharedAlbumItem
            ? OriginalClass::onlyInCloud
            : OriginalClass::missing;
    case Status::unchecked:
        return OriginalClass::notChecked;
    }
    std::unreachable();
}

bool lacksOriginal(OriginalClass kind)
{
    return kind != OriginalClass::present && kind != OriginalClass::differs
        && kind != OriginalClass::elsewhere;
}

const OriginalEntry& entryOf(const LibraryScanResult& scan, std::int64_t assetPK)
{
    static const OriginalEntry notChecked;
    const auto found = scan.originals.entries.find(assetPK);
    return found == scan.originals.entries.end() ? notChecked : found->second;
}

LibraryOverview overviewOf(const LibraryScanResult& scan)
{
    const auto& snapshot = scan.snapshot;
    LibraryOverview overview{.people = std::ssize(snapshot.people)};
    Marks marks;
    std::map<int, std::int64_t> years;
    for (const auto& asset : snapshot.assets) {
        ++(asset.kind == Asset::Kind::photo        ? overview.photos
                : asset.kind == Asset::Kind::video ? overview.videos
                                                   : marks.others);
        marks.favourites += asset.isFavorite ? 1 : 0;
        marks.trashed += asset.isTrashed ? 1 : 0;
        overview.hidden += asset.isHidden ? 1 : 0;
        if (asset.dateCreated) {
            ++years[gregorianYear(*asset.dateCreated, asset.timeZoneOffset)];
        } else {
            ++overview.withoutYear;
        }
        const auto& entry = entryOf(scan, asset.pk);
        ++overview.originals[static_cast<std::size_t>(originalClass(entry))];
        overview.withoutOriginal += lacksOriginal(originalClass(entry)) ? 1 : 0;
        if (entry.file) {
            overview.bytesPresent += bytesOf(*entry.file);
            overview.outsideFiles += entry.isOutsideLibrary ? 1 : 0;
        }
        if (entry.status != Status::present || entry.partnerMissing || entry.isStillOfVideo) {
            overview.limitedAssets.push_back(asset.pk);
        }
    }
    for (const auto& album : snapshot.albums) {
        overview.albums += album.kind == Album::Kind::album && !album.isTrashed ? 1 : 0;
        marks.folders += album.kind == Album::Kind::folder && !album.isTrashed ? 1 : 0;
    }
    overview.years.assign(years.begin(), years.end());
    overview.rows = rowsOf(overview, marks, snapshot.schema);
    addNotes(overview, snapshot);
    return overview;
}

std::optional<std::string> incompleteScanWarning(const LibraryScanResult& scan)
{
    if (scan.snapshot.damage.diskDidNotAnswer) {
        return "The disk did not answer for this library's database, so this result is not the whole "
               "library. It does "
               "not mean the library is damaged. Connect the disk and scan again before relying on these "
               "numbers.";
    }
    if (scan.originals.state == OriginalsReport::State::interrupted) {
        return "The scan did not finish. Connect the drive and scan again first.";
    }
    return std::nullopt;
}

std::optional<std::string_view> adviceFor(const DamageReport& damage)
{
    if (damage.diskDidNotAnswer) {
        return std::nullopt;
    }
    switch (damage.severity) {
    case DamageReport::Severity::none:
    case DamageReport::Severity::walLost:
        return "You may not need Vantorel just to look at this library: Photos can open a library on another "
               "disk, "
               "free. Hold Option while opening Photos and choose it. Photos can upgrade an older library "
               "when it "
               "opens it, so use a copy.";
    case DamageReport::Severity::fromJournals:
        return "If you want these albums back inside Photos, you may not need Vantorel: copy the library "
               "somewhere "
               "new, delete the database folder in the copy if it has one, and open the copy in Photos. In "
               "our tests, "
               "Photos rebuilt albums, captions, keywords and favourites from the same journals, free. "
               "Vantorel adds "
               "seeing and comparing first, and folders with sidecar files, without changing anything.";
    case DamageReport::Severity::salvaged:
    case DamageReport::Severity::databaseLost:
        return std::nullopt;
    }
    std::unreachable();
}

} // namespace vantorel
