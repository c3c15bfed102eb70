#include "cli/JsonText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <type_traits>
#include <vector>

namespace vantorel::cli {

namespace {

using Json = nlohmann::ordered_json;

/// Writes text to standard output and remembers whether it all went.
class Output {
public:
    void add(std::string_view text)
    {
        whole_ = whole_ && std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    }
    void addJson(const Json& json) { add(json.dump(-1, ' ', false, Json::error_handler_t::replace)); }
    /// The elements of a long list, one a line.
    template <typename Range, typename Convert>
    void addList(std::string_view key, const Range& range, Convert convert)
    {
        addJson(Json(std::string(key)));
        add(": [");
        bool first = true;
        for (const auto& element : range) {
            add(first ? "\n" : ",\n");
            first = false;
            addJson(convert(element));
        }
        add("]");
    }
    bool finish()
    {
        add("\n");
        return std::fflush(stdout) == 0 && whole_;
    }

private:
    bool whole_ = true;
};

template <typename T>
Json orNull(const std::optional<T>& value)
{
    return value ? Json(*value) : Json(nullptr);
}
Json orNull(const std::optional<Date>& date) { return date ? Json(isoMilliseconds(*date)) : Json(nullptr); }
Json orNull(const std::optional<DiskPath>& path) { return path ? Json(path->native()) : Json(nullptr); }

Json toJson(const VolumeInfo& volume)
{
    return {
        {"mountPoint", volume.mountPoint},
        {"name", volume.name},
        {"fileSystem", nameIn(fileSystemNames, volume.fileSystem)},
        {"rawFileSystemName", volume.rawFileSystemName},
        {"isReadOnly", volume.isReadOnly},
        {"ignoresOwnership", volume.ignoresOwnership},
        {"isEncrypted", volume.isEncrypted},
        {"isLocal", volume.isLocal},
        {"isRemovable", volume.isRemovable},
        {"isRootVolume", volume.isRootVolume},
        {"blockSize", volume.blockSize},
        {"freeBytes", volume.freeBytes},
    };
}

Json toJson(const FoundLibrary& library)
{
    std::optional<Date> modified;
    if (library.databaseModified) {
        modified = std::chrono::time_point_cast<Date::duration>(*library.databaseModified);
    }
    return {
        {"url", library.url.native()},
        {"name", library.name},
        {"origin", nameIn(libraryOriginNames, library.origin)},
        {"format", nameIn(libraryFormatNames, library.format)},
        {"volume", library.volume ? toJson(*library.volume) : Json(nullptr)},
        {"databaseBytes", orNull(library.databaseBytes)},
        {"databaseModified", orNull(modified)},
        {"accessProblem", orNull(library.accessProblem)},
        {"databaseExcludedFromBackups", library.databaseExcludedFromBackups},
        {"hasJournals", library.hasJournals},
    };
}

Json toJson(const Asset& asset)
{
    Json lost = Json::array();
    for (const auto detail : asset.lostDetails) {
        lost.push_back(nameIn(lostDetailNames, detail));
    }
    return {
        {"pk", asset.pk},
        {"uuid", asset.uuid},
        {"directory", asset.directory},
        {"fileName", asset.fileName},
        {"originalFileName", orNull(asset.originalFileName)},
        {"title", orNull(asset.title)},
        {"caption", orNull(asset.caption)},
        {"keywords", asset.keywords},
        {"people", asset.people},
        {"isFavorite", asset.isFavorite},
        {"isHidden", asset.isHidden},
        {"isTrashed", asset.isTrashed},
        {"kind", nameIn(assetKindNames, asset.kind)},
        {"isLivePhoto", asset.isLivePhoto},
        {"hasEdits", asset.hasEdits},
        {"dateCreated", orNull(asset.dateCreated)},
        {"dateModified", orNull(asset.dateModified)},
        {"dateAdded", orNull(asset.dateAdded)},
        {"timeZoneOffset", orNull(asset.timeZoneOffset)},
        {"latitude", orNull(asset.latitude)},
        {"longitude", orNull(asset.longitude)},
        {"originalFileSize", orNull(asset.originalFileSize)},
        {"fingerprint", orNull(asset.fingerprint)},
        {"isReferenced", asset.isReferenced},
        {"isSharedAlbumItem", asset.isSharedAlbumItem},
        {"isOnlyInCloud", asset.isOnlyInCloud},
        {"referencedPath", orNull(asset.referencedPath)},
        {"referencedPartners", asset.referencedPartners},
        {"expectsPartner", asset.expectsPartner},
        {"albumPKs", asset.albumPKs},
        {"lostDetails", std::move(lost)},
        {"isRecoveredFile", asset.isRecoveredFile},
    };
}

Json toJson(const Album& album)
{
    return {
        {"pk", album.pk},
        {"uuid", orNull(album.uuid)},
        {"title", orNull(album.title)},
        {"kind", nameIn(albumKindNames, album.kind)},
        {"parentPK", orNull(album.parentPK)},
        {"isTrashed", album.isTrashed},
        {"assetPKs", album.assetPKs},
        {"lostEntries", album.lostEntries},
    };
}

Json toJson(const SchemaSummary& schema)
{
    Json unavailable = Json::array();
    for (const auto feature : schema.unavailable) {
        unavailable.push_back(nameIn(featureNames, feature));
    }
    return {
        {"modelVersion", orNull(schema.modelVersion)},
        {"photosVersionText", schema.photosVersionText},
        {"isTestedVersion", schema.isTestedVersion},
        {"assetTable", schema.assetTable},
        {"unavailable", std::move(unavailable)},
    };
}

Json toJson(const DamageReport& damage)
{
    Json tables = Json::array();
    for (const auto& table : damage.tables) {
        tables.push_back({
            {"table", table.table},
            {"purpose", table.purpose},
            {"rowsRead", table.rowsRead},
            {"highestKnownID", orNull(table.highestKnownID)},
            {"unreadable", table.unreadable},
        });
    }
    Json losses = Json::array();
    for (const auto& loss : damage.losses) {
        losses.push_back(
            {{"kind", nameIn(lossKindNames, loss.kind)}, {"count", loss.count}, {"message", loss.message}});
    }
    return {
        {"severity", nameIn(severityNames, damage.severity)},
        {"method", orNull(damage.method)},
        {"tables", std::move(tables)},
        {"losses", std::move(losses)},
        {"rowsRehomed", damage.rowsRehomed},
        {"diskDidNotAnswer", damage.diskDidNotAnswer},
    };
}

Json toJson(const ResolvedFile& file) { return {{"path", file.path}, {"size", file.size}}; }

Json toJson(const OriginalEntry& entry)
{
    Json companions = Json::array();
    if (entry.file) {
        for (const auto& companion : entry.file->companions) {
            companions.push_back(toJson(companion));
        }
    }
    return {
        {"status", nameIn(originalStatusNames, entry.status)},
        {"reason", entry.reason ? Json(nameIn(missingReasonNames, *entry.reason)) : Json(nullptr)},
        {"file", entry.file ? toJson(*entry.file) : Json(nullptr)},
        {"companions", std::move(companions)},
        {"isStillOfVideo", entry.isStillOfVideo},
        {"isOutsideLibrary", entry.isOutsideLibrary},
        {"partnerMissing", entry.partnerMissing},
        {"refusedPath", orNull(entry.refusedPath)},
        {"text", statusText(entry)},
    };
}

Json toJson(const OriginalsReport::UnknownFile& file)
{
    return {
        {"uuid", file.uuid},
        {"directory", file.directory},
        {"main", file.main},
        {"companions", file.companions},
        {"size", file.size},
        {"modified", isoMilliseconds(file.modified)},
    };
}

Json toJson(const ChangedAsset& asset)
{
    Json changes = Json::array();
    for (const auto change : asset.changes) {
        changes.push_back(nameIn(assetChangeNames, change));
    }
    return {
        {"sourcePK", asset.sourcePK},
        {"otherPK", asset.otherPK},
        {"name", asset.name},
        {"changes", std::move(changes)},
    };
}

Json toJson(const ChangedAlbum& album)
{
    return {
        {"sourcePK", album.sourcePK},
        {"otherPK", album.otherPK},
        {"name", album.name},
        {"renamedFrom", orNull(album.renamedFrom)},
        {"movedFrom", orNull(album.movedFrom)},
        {"photosMissingInOther", album.photosMissingInOther},
        {"photosOnlyInOther", album.photosOnlyInOther},
    };
}

Json toJson(const PlannedItem& item)
{
    Json files = Json::array();
    for (const auto& file : item.files) {
        files.push_back(
            {{"source", file.source.native()}, {"relativePath", file.relativePath}, {"size", file.size}});
    }
    return {
        {"assetPK", item.assetPK},
        {"assetUUID", item.assetUUID},
        {"albumPath", item.albumPath},
        {"files", std::move(files)},
        {"sidecarRelativePath", item.sidecarRelativePath},
        {"isSmallerCopy", item.isSmallerCopy},
        {"sizeDiffers", item.sizeDiffers},
    };
}

Json toJson(const SkippedItem& item)
{
    return {{"assetPK", item.assetPK}, {"name", item.name}, {"albumPaths", item.albumPaths},
        {"reason", item.reason}};
}

const auto anyToJson = [](const auto& value) { return toJson(value); };

} // namespace

bool printJson(const LibraryScanResult& scan)
{
    const auto& snapshot = scan.snapshot;
    const auto& originals = scan.originals;
    Output out;
    out.add("{\"snapshot\": {\"libraryURL\": ");
    out.addJson(Json(snapshot.libraryURL.native()));
    out.add(", \"name\": ");
    out.addJson(Json(snapshot.name));
    out.add(",\n");
    out.addList("assets", snapshot.assets, anyToJson);
    out.add(",\n");
    out.addList("albums", snapshot.albums, anyToJson);
    out.add(",\n\"people\": ");
    out.addJson(Json(snapshot.people));
    out.add(",\n\"schema\": ");
    out.addJson(toJson(snapshot.schema));
    out.add(",\n\"damage\": ");
    out.addJson(toJson(snapshot.damage));
    out.add(",\n\"notes\": ");
    out.addJson(Json(snapshot.notes));
    out.add("},\n\"originals\": {\"entries\": {");
    std::vector<std::int64_t> keys;
    keys.reserve(originals.entries.size());
    for (const auto& [key, entry] : originals.entries) {
        keys.push_back(key);
    }
    std::ranges::sort(keys);
    for (const std::int64_t key : keys) {
        out.add(key == keys.front() ? "\n" : ",\n");
        out.addJson(Json(std::to_string(key)));
        out.add(": ");
        out.addJson(toJson(originals.entries.at(key)));
    }
    out.add("},\n\"state\": ");
    out.addJson(Json(nameIn(originalsStateNames, originals.state)));
    out.add(",\n");
    out.addList("unknownFiles", originals.unknownFiles, anyToJson);
    out.add(",\n");
    out.addList("emptyUnknownFiles", originals.emptyUnknownFiles, anyToJson);
    out.add(",\n\"unreadableFolders\": ");
    out.addJson(Json(originals.unreadableFolders));
    out.add(",\n\"deniedFolders\": ");
    out.addJson(Json(originals.deniedFolders));
    out.add("}}");
    return out.finish();
}

bool printJson(const LibraryComparison& comparison)
{
    Output out;
    const auto add = [&out](std::string_view key, const Json& value) {
        out.add(",\n");
        out.addJson(Json(std::string(key)));
        out.add(": ");
        out.addJson(value);
    };
    out.add("{\"missingAssetPKs\": ");
    out.addJson(Json(comparison.missingAssetPKs));
    add("deletedHereOnlyCount", comparison.deletedHereOnlyCount);
    add("originalInCloudInOtherCount", comparison.originalInCloudInOtherCount);
    out.add(",\n");
    out.addList("changedAssets", comparison.changedAssets, anyToJson);
    add("sameAssetCount", comparison.sameAssetCount);
    add("onlyInOtherAssetCount", comparison.onlyInOtherAssetCount);
    add("missingAlbumPKs", comparison.missingAlbumPKs);
    add("missingFolderPKs", comparison.missingFolderPKs);
    out.add(",\n");
    out.addList("changedAlbums", comparison.changedAlbums, anyToJson);
    add("sameAlbumCount", comparison.sameAlbumCount);
    add("onlyInOtherAlbumCount", comparison.onlyInOtherAlbumCount);
    add("matchedByNameAndDate", comparison.matchedByNameAndDate);
    add("cautions", comparison.cautions);
    out.add("}");
    return out.finish();
}

bool printJson(const ExportPlan& plan)
{
    Output out;
    out.add("{\"libraryName\": ");
    out.addJson(Json(plan.libraryName));
    out.add(",\n\"folders\": ");
    out.addJson(Json(plan.folders));
    out.add(",\n");
    out.addList("items", plan.items, anyToJson);
    out.add(",\n");
    out.addList("skipped", plan.skipped, anyToJson);
    out.add(",\n\"notes\": ");
    out.addJson(Json(plan.notes));
    out.add(",\n\"id\": ");
    out.addJson(Json(plan.id));
    out.add(",\n\"sizeEstimate\": ");
    out.addJson(Json(sizeEstimate(plan)));
    out.add("}");
    return out.finish();
}

bool printJson(const ExportOutcome& outcome)
{
    Json count = nullptr;
    Json reason = nullptr;
    Json needed = nullptr;
    Json free = nullptr;
    std::visit(
        [&](const auto& state) {
            using State = std::decay_t<decltype(state)>;
            if constexpr (std::is_same_v<State, ExportOutcome::SomeNotRead>) {
                count = state.count;
            } else if constexpr (std::is_same_v<State, ExportOutcome::Failed>
                || std::is_same_v<State, ExportOutcome::CannotStart>) {
                reason = state.reason;
            } else if constexpr (std::is_same_v<State, ExportOutcome::NotEnoughSpace>) {
                needed = state.needed;
                free = state.free;
            }
        },
        outcome.state);
    const Json head{
        {"state", stateName(outcome.state)},
        {"count", count},
        {"reason", reason},
        {"needed", needed},
        {"free", free},
        {"title", title(outcome)},
        {"message", message(outcome)},
        {"folder", orNull(outcome.folder)},
        {"exportedItems", outcome.exportedItems},
        {"exportedAssets", outcome.exportedAssets},
        {"bytesWritten", outcome.bytesWritten},
        {"notes", outcome.notes},
        {"reportCSV", orNull(outcome.reportCSV)},
        {"sourceLimit", orNull(outcome.sourceLimit)},
        {"lostAllAlbums", outcome.lostAllAlbums},
        {"scanGaps", outcome.scanGaps},
    };
    Output out;
    std::string text = head.dump(-1, ' ', false, Json::error_handler_t::replace);
    text.pop_back(); // the closing brace: the long list goes in before it
    out.add(text);
    out.add(",\n");
    out.addList("skipped", outcome.skipped, anyToJson);
    out.add("}");
    return out.finish();
}

bool printJson(const FindResult& result)
{
    Json libraries = Json::array();
    for (const auto& library : result.libraries) {
        libraries.push_back(toJson(library));
    }
    Json issues = Json::array();
    for (const auto& issue : result.issues) {
        issues.push_back({{"kind", nameIn(findIssueNames, issue.kind)}, {"message", issue.message}});
    }
    Json unreachable = Json::array();
    for (const auto& pick : result.unreachablePicks) {
        unreachable.push_back(pick.native());
    }
    Output out;
    out.addJson(Json{
        {"libraries", std::move(libraries)},
        {"issues", std::move(issues)},
        {"unreachablePicks", std::move(unreachable)},
    });
    return out.finish();
}

bool printJson(const VerifyResult& result)
{
    Json differences = Json::array();
    for (const auto& difference : result.differences) {
        differences.push_back({{"path", difference.path},
            {"trouble", nameIn(verifyTroubleNames, difference.trouble)}, {"text", difference.text}});
    }
    Output out;
    out.addJson(Json{
        {"itemsChecked", result.itemsChecked},
        {"filesChecked", result.filesChecked},
        {"bytesChecked", result.bytesChecked},
        {"differences", std::move(differences)},
        {"isFinishedExport", result.isFinishedExport},
        {"wasCancelled", result.wasCancelled},
        {"source", result.source},
    });
    return out.finish();
}

bool printErrorJson(std::string_view kind, std::string_view message)
{
    Output out;
    out.addJson(Json{{"error", {{"kind", kind}, {"message", message}}}});
    return out.finish();
}

} // namespace vantorel::cli
