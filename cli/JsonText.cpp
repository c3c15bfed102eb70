#include "cli/JsonText.h"

#include "cli/JsonAppend.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <type_traits>
#include <utility>
#include <vector>

namespace vantorel::cli {

namespace {

using Json = nlohmann::ordered_json;

/// The raw value of an enumeration.
const auto appendNameIn = [](const auto& names) {
    return [&names](std::string& out, auto value) { appendJson(out, nameIn(names, value)); };
};

void append(std::string& out, const Asset& asset)
{
    JsonObject(out)
        .with("pk", asset.pk)
        .with("uuid", asset.uuid)
        .with("directory", asset.directory)
        .with("fileName", asset.fileName)
        .with("originalFileName", asset.originalFileName)
        .with("title", asset.title)
        .with("caption", asset.caption)
        .with("keywords", asset.keywords)
        .with("people", asset.people)
        .with("isFavorite", asset.isFavorite)
        .with("isHidden", asset.isHidden)
        .with("isTrashed", asset.isTrashed)
        .with("kind", nameIn(assetKindNames, asset.kind))
        .with("isLivePhoto", asset.isLivePhoto)
        .with("hasEdits", asset.hasEdits)
        .with("dateCreated", asset.dateCreated)
        .with("dateModified", asset.dateModified)
        .with("dateAdded", asset.dateAdded)
        .with("timeZoneOffset", asset.timeZoneOffset)
        .with("latitude", asset.latitude)
        .with("longitude", asset.longitude)
        .with("originalFileSize", asset.originalFileSize)
        .with("fingerprint", asset.fingerprint)
        .with("isReferenced", asset.isReferenced)
        .with("isSharedAlbumItem", asset.isSharedAlbumItem)
        .with("isOnlyInCloud", asset.isOnlyInCloud)
        .with("referencedPath", asset.referencedPath)
        .with("referencedPartners", asset.referencedPartners)
        .with("expectsPartner", asset.expectsPartner)
        .with("albumPKs", asset.albumPKs)
        .withWritten("lostDetails",
            [&](std::string& to) { appendJsonList(to, asset.lostDetails, appendNameIn(lostDetailNames)); })
        .with("isRecoveredFile", asset.isRecoveredFile)
        .end();
}

void append(std::string& out, const Album& album)
{
    JsonObject(out)
        .with("pk", album.pk)
        .with("uuid", album.uuid)
        .with("title", album.title)
        .with("kind", nameIn(albumKindNames, album.kind))
        .with("parentPK", album.parentPK)
        .with("isTrashed", album.isTrashed)
        .with("assetPKs", album.assetPKs)
        .with("lostEntries", album.lostEntries)
        .end();
}

void append(std::string& out, const ResolvedFile& file)
{
    JsonObject(out).with("path", file.path).with("size", file.size).end();
}

void append(std::string& out, const OriginalEntry& entry)
{
    const auto appendAny = [](std::string& to, const ResolvedFile& file) { append(to, file); };
    JsonObject(out)
        .with("status", nameIn(originalStatusNames, entry.status))
        .with(
            "reason", entry.reason ? std::optional(nameIn(missingReasonNames, *entry.reason)) : std::nullopt)
        .withWritten("file",
            [&](std::string& to) {
                if (entry.file) {
                    append(to, *entry.file);
                } else {
                    to += "null";
                }
            })
        .withWritten("companions",
            [&](std::string& to) {
                if (entry.file) {
                    appendJsonList(to, entry.file->companions, appendAny);
                } else {
                    to += "[]";
                }
            })
        .with("isStillOfVideo", entry.isStillOfVideo)
        .with("isOutsideLibrary", entry.isOutsideLibrary)
        .with("partnerMissing", entry.partnerMissing)
        .with("refusedPath", entry.refusedPath)
        .with("text", statusText(entry))
        .end();
}

void append(std::string& out, const OriginalsReport::UnknownFile& file)
{
    JsonObject(out)
        .with("uuid", file.uuid)
        .with("directory", file.directory)
        .with("main", file.main)
        .with("companions", file.companions)
        .with("size", file.size)
        .with("modified", Date(file.modified))
        .end();
}

void append(std::string& out, const ChangedAsset& asset)
{
    JsonObject(out)
        .with("sourcePK", asset.sourcePK)
        .with("otherPK", asset.otherPK)
        .with("name", asset.name)
        .withWritten("changes",
            [&](std::string& to) { appendJsonList(to, asset.changes, appendNameIn(assetChangeNames)); })
        .end();
}

void append(std::string& out, const ChangedAlbum& album)
{
    JsonObject(out)
        .with("sourcePK", album.sourcePK)
        .with("otherPK", album.otherPK)
        .with("name", album.name)
        .with("renamedFrom", album.renamedFrom)
        .with("movedFrom", album.movedFrom)
        .with("photosMissingInOther", album.photosMissingInOther)
        .with("photosOnlyInOther", album.photosOnlyInOther)
        .end();
}

void append(std::string& out, const PlannedFile& file)
{
    JsonObject(out)
        .with("source", file.source.native())
        .with("relativePath", file.relativePath)
        .with("size", file.size)
        .end();
}

void append(std::string& out, const PlannedItem& item)
{
    JsonObject(out)
        .with("assetPK", item.assetPK)
        .with("assetUUID", item.assetUUID)
        .with("albumPath", item.albumPath)
        .withWritten("files",
            [&](std::string& to) {
                appendJsonList(
                    to, item.files, [](std::string& list, const PlannedFile& file) { append(list, file); });
            })
        .with("sidecarRelativePath", item.sidecarRelativePath)
        .with("isSmallerCopy", item.isSmallerCopy)
        .with("sizeDiffers", item.sizeDiffers)
        .end();
}

void append(std::string& out, const SkippedItem& item)
{
    JsonObject(out)
        .with("assetPK", item.assetPK)
        .with("name", item.name)
        .with("albumPaths", item.albumPaths)
        .with("reason", item.reason)
        .end();
}

/// Writes text to standard output and remembers whether it all went.
class Output {
public:
    void add(std::string_view text)
    {
        text_ += text;
        if (text_.size() >= writtenAtOnce) {
            write();
        }
    }
    void addJson(const Json& json) { add(json.dump(-1, ' ', false, Json::error_handler_t::replace)); }
    /// What `append` appends to a text.
    template <typename Append>
    void addWith(Append append)
    {
        append(text_);
        add({});
    }
    /// The elements of a long list, one a line.
    template <typename Range>
    void addList(std::string_view key, const Range& range)
    {
        addJson(Json(std::string(key)));
        add(": [");
        bool first = true;
        for (const auto& element : range) {
            add(std::exchange(first, false) ? "\n" : ",\n");
            addWith([&element](std::string& out) { append(out, element); });
        }
        add("]");
    }
    bool finish()
    {
        add("\n");
        write();
        return std::fflush(stdout) == 0 && whole_;
    }

private:
    static constexpr std::size_t writtenAtOnce = 65'536;

    void write()
    {
        whole_ = whole_ && std::fwrite(text_.data(), 1, text_.size(), stdout) == text_.size();
        text_.clear();
    }

    std::string text_;
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
    out.addList("assets", snapshot.assets);
    out.add(",\n");
    out.addList("albums", snapshot.albums);
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
        out.add(key == keys.front() ? "\n\"" : ",\n\"");
        out.addWith([&](std::string& text) {
            appendJson(text, key);
            text += "\": ";
            append(text, originals.entries.at(key));
        });
    }
    out.add("},\n\"state\": ");
    out.addJson(Json(nameIn(originalsStateNames, originals.state)));
    out.add(",\n");
    out.addList("unknownFiles", originals.unknownFiles);
    out.add(",\n");
    out.addList("emptyUnknownFiles", originals.emptyUnknownFiles);
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
    out.addList("changedAssets", comparison.changedAssets);
    add("sameAssetCount", comparison.sameAssetCount);
    add("onlyInOtherAssetCount", comparison.onlyInOtherAssetCount);
    add("missingAlbumPKs", comparison.missingAlbumPKs);
    add("missingFolderPKs", comparison.missingFolderPKs);
    out.add(",\n");
    out.addList("changedAlbums", comparison.changedAlbums);
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
    out.addList("items", plan.items);
    out.add(",\n");
    out.addList("skipped", plan.skipped);
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
    out.addList("skipped", outcome.skipped);
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
