#include "sample/Journals.h"

#include "sample/JournalFile.h"
#include "sample/JournalObjects.h"
#include "sample/LibraryFiles.h"
#include "sample/Random.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace vantorel::sample {

namespace {

enum Purpose : std::uint64_t { removedAssets = 951, removedAlbums, removedPeople, removedImports };

using Type = JournalRecord::Type;
using Dictionary = PlistValue::Dictionary;

constexpr double lastWritten = 740'000'000; ///< June 2024, in seconds since 2001.
constexpr std::size_t mostRemoved = 50;

/// Both files of one kind.
struct Journal {
    Journal(FileWriter& files, std::string_view kind)
        : snapshot(files, fmt::format("{}-snapshot", kind))
        , change(files, fmt::format("{}-change", kind))
    {
    }
    void close()
    {
        snapshot.close();
        change.close();
    }

    JournalFile snapshot;
    JournalFile change;
};

JournalRecord whole(std::string_view uuid, Dictionary payload, std::int64_t version = 1)
{
    return {.type = Type::whole,
        .identifier = uuidBytes(uuid),
        .payloadVersion = version,
        .payload = std::move(payload)};
}

JournalRecord changed(std::string_view uuid, Dictionary payload, std::int64_t version = 1)
{
    JournalRecord record = whole(uuid, std::move(payload), version);
    record.type = Type::change;
    return record;
}

JournalRecord cleared(std::string_view uuid, std::vector<std::string> keys, std::int64_t version = 1)
{
    return {.type = Type::change,
        .identifier = uuidBytes(uuid),
        .payloadVersion = version,
        .cleared = std::move(keys)};
}

JournalRecord removed(std::string_view uuid)
{
    return {.type = Type::removal, .identifier = uuidBytes(uuid)};
}

void replace(Dictionary& payload, std::string_view name, PlistValue value)
{
    const auto found =
        std::ranges::find(payload, name, [](const auto& entry) { return std::string_view(entry.first); });
    if (found != payload.end()) {
        found->second = std::move(value);
    } else {
        payload.emplace_back(std::string(name), std::move(value));
    }
}

void removeKey(Dictionary& payload, std::string_view name)
{
    std::erase_if(payload, [&](const auto& entry) { return entry.first == name; });
}

/// Copies of the keys as they are now, for a change record.
Dictionary only(const Dictionary& payload, std::initializer_list<std::string_view> names)
{
    Dictionary part;
    for (const auto& [name, value] : payload) {
        if (std::ranges::find(names, name) != names.end()) {
            part.emplace_back(name, value);
        }
    }
    return part;
}

class JournalWriter {
public:
    JournalWriter(const LibraryContent& content, FileWriter& files)
        : content_(content)
        , files_(files)
    {
    }

    void write()
    {
        writeAssets();
        writeAlbums();
        writeFolders();
        writeKeywords();
        writeSmartAndProjects();
        writeImports();
        writePeople();
        writeVolumes();
        writeMigrations();
        writeEmptyKinds();
        writeToken();
    }

private:
    std::string drawnId(Purpose purpose, std::size_t index) const
    {
        Random random(mixedSeed(content_.options.seed, purpose, index));
        return drawnUuid(random);
    }
    void writeKindFile(std::string_view kind, std::int64_t version);
    void writeAssets();
    void writeAsset(Journal& journal, std::size_t index);
    void writeAlbums();
    void writeFolders();
    void writeKeywords();
    void writeSmartAndProjects();
    void writeImports();
    void writePeople();
    void writeFaces();
    void writeVolumes();
    void writeMigrations();
    void writeEmptyKinds();
    void writeToken();

    const LibraryContent& content_;
    FileWriter& files_;
};

void JournalWriter::writeKindFile(std::string_view kind, std::int64_t version)
{
    files_.write(fmt::format("resources/journals/{}.plist", kind),
        xmlPlist({{"coalesceDate", xmlDate(lastWritten - 4e6)},
            {"coalescePayloadVersion", xmlInteger(version)}, {"currentPayloadVersion", xmlInteger(version)},
            {"snapshotChecksum", xmlText("")}, {"snapshotDate", xmlDate(lastWritten - 9e7)},
            {"snapshotPayloadVersion", xmlInteger(version)}}),
        libraryTime);
}

void JournalWriter::writeAssets()
{
    const std::int64_t version = assetPayloadVersion(content_.options.generation);
    Journal journal(files_, "Asset");
    const std::size_t count = content_.plan.items.size();
    // Photos that were deleted long ago: their records stand until the snapshot is written anew.
    const std::size_t gone = count == 0 ? 0 : std::min(count / 40 + 1, mostRemoved);
    for (std::size_t i = 0; i < gone; ++i) {
        Dictionary payload = assetPayload(content_, i % count, version);
        const std::string uuid = drawnId(removedAssets, i);
        replace(payload, "filename", uuid + ".jpeg");
        replace(payload, "directory", uuid.substr(0, 1));
        (i % 3 == 2 ? journal.change : journal.snapshot).add(whole(uuid, std::move(payload), version));
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (!content_.plan.items[i].isSharedAlbumItem) {
            writeAsset(journal, i);
        }
    }
    for (std::size_t i = 0; i < gone; ++i) {
        journal.change.add(removed(drawnId(removedAssets, i)));
    }
    journal.close();
    writeKindFile("Asset", version);
}

void JournalWriter::writeAsset(Journal& journal, std::size_t index)
{
    const SampleItem& item = content_.plan.items[index];
    const std::string& uuid = content_.rows.items[index].uuid;
    const std::int64_t newest = assetPayloadVersion(content_.options.generation);
    // Records of an earlier Photos stay as they are when the next one takes over.
    const std::int64_t older = earlierPayloadVersion(content_.options.generation);
    const std::int64_t version = index % 5 == 4 ? older : newest;
    Dictionary payload = assetPayload(content_, index, version);
    if (index % 10 == 7) {
        journal.change.add(whole(uuid, std::move(payload), version));
        return;
    }
    if (index % 6 == 1) {
        Dictionary before = payload;
        replace(before, "favorite", flagValue(!item.isFavorite, version));
        replace(before, "title", "before it had its title");
        journal.snapshot.add(whole(uuid, std::move(before), version));
        Dictionary change = only(payload, {"title"});
        change.emplace_back("favorite", flagValue(item.isFavorite, newest));
        if (newest >= 300) {
            change.emplace_back("adjustmentsState", content_.rows.items[index].adjustmentsState);
        }
        journal.change.add(changed(uuid, std::move(change), newest));
        if (!item.title) {
            journal.change.add(cleared(uuid, {"title"}, newest));
        }
    } else if (index % 8 == 2) {
        Dictionary before = payload;
        before.emplace_back("hdrGain", 0.25);
        if (item.keywords.empty() && !content_.rows.keywords.empty()) {
            replace(before, "keywords",
                PlistValue::Data{
                    uuidBytes(content_.rows.keywords[index % content_.rows.keywords.size()].uuid)});
            journal.change.add(cleared(uuid, {"keywords"}, newest));
        }
        journal.snapshot.add(whole(uuid, std::move(before), version));
        journal.change.add(cleared(uuid, {"hdrGain"}, newest));
    } else if (index % 8 == 5) {
        Dictionary before = payload;
        replace(before, "originalFilename", "before.jpg");
        removeKey(before, "description");
        journal.snapshot.add(whole(uuid, std::move(before), version));
        journal.change.add(
            changed(uuid, only(payload, {"originalFilename", "description", "modificationDate"}), newest));
    } else {
        journal.snapshot.add(whole(uuid, std::move(payload), version));
    }
}

void JournalWriter::writeAlbums()
{
    Journal journal(files_, "Album");
    std::size_t number = 0;
    for (const AlbumRow& album : content_.rows.albums) {
        if (album.kind != 2) {
            continue;
        }
        const std::span<const AlbumRow::Member> members(album.members);
        Dictionary now = albumPayload(content_, album, members);
        switch (number++ % 4) {
        case 0: { // Something was added since: the list is written anew.
            journal.snapshot.add(
                whole(album.uuid, albumPayload(content_, album, members.first(members.size() / 2))));
            Dictionary change = only(now, {"assets", "customSortKey"});
            journal.change.add(changed(album.uuid, std::move(change)));
            break;
        }
        case 1: {
            Dictionary before = now;
            replace(before, "title", "untitled album");
            const bool wasFilled = album.members.empty() && !content_.rows.items.empty();
            if (wasFilled) {
                before.emplace_back("assets", PlistValue::Data{uuidBytes(content_.rows.items.front().uuid)});
            }
            journal.snapshot.add(whole(album.uuid, std::move(before)));
            JournalRecord record = changed(album.uuid, only(now, {"title"}));
            if (wasFilled) {
                record.cleared = {"assets"};
            }
            journal.change.add(record);
            break;
        }
        case 2:
            journal.change.add(whole(album.uuid, std::move(now)));
            break;
        default:
            journal.snapshot.add(whole(album.uuid, std::move(now)));
            break;
        }
    }
    AlbumRow gone{.kind = 2, .title = "Deleted for good"};
    for (std::size_t i = 0; i < 2; ++i) {
        journal.snapshot.add(whole(drawnId(removedAlbums, i), albumPayload(content_, gone, {})));
        journal.change.add(removed(drawnId(removedAlbums, i)));
    }
    journal.close();
    writeKindFile("Album", 1);
}

void JournalWriter::writeFolders()
{
    Journal journal(files_, "Folder");
    std::size_t number = 0;
    for (const AlbumRow& folder : content_.rows.albums) {
        const bool isRoot = folder.kind == 3999 || folder.kind == 3998;
        if (!isRoot && folder.kind != 4000) {
            continue;
        }
        const std::size_t children = journalledChildren(content_, folder).size();
        Dictionary now = folderPayload(content_, folder, children);
        if (folder.kind == 3999) {
            journal.snapshot.add(whole(folder.uuid, folderPayload(content_, folder, children / 2)));
            journal.change.add(changed(folder.uuid, only(now, {"childCollections"})));
        } else if (children == 0 && !isRoot) {
            // Emptied since then.
            Dictionary before = now;
            before.emplace_back("childCollections", PlistValue::Data{uuidBytes(drawnId(removedAlbums, 0))});
            journal.snapshot.add(whole(folder.uuid, std::move(before)));
            JournalRecord record = changed(folder.uuid, only(now, {"title"}));
            record.cleared = {"childCollections"}; // A change and a clearing in one record.
            journal.change.add(record);
        } else if (number++ % 2 == 0) {
            Dictionary before = now;
            replace(before, "title", "new folder");
            journal.snapshot.add(whole(folder.uuid, std::move(before)));
            journal.change.add(whole(folder.uuid, std::move(now))); // The whole object once more.
        } else {
            journal.snapshot.add(whole(folder.uuid, std::move(now)));
        }
    }
    journal.close();
    writeKindFile("Folder", 1);
}

void JournalWriter::writeKeywords()
{
    Journal journal(files_, "Keyword");
    for (std::size_t i = 0; i < content_.rows.keywords.size(); ++i) {
        const KeywordRow& keyword = content_.rows.keywords[i];
        (i % 5 == 3 ? journal.change : journal.snapshot)
            .add(whole(keyword.uuid, Dictionary{{"title", keyword.title}}));
    }
    journal.close();
    writeKindFile("Keyword", 1);
}

void JournalWriter::writeSmartAndProjects()
{
    Journal smart(files_, "FetchingAlbum");
    Journal projects(files_, "ProjectAlbum");
    for (const AlbumRow& album : content_.rows.albums) {
        if (album.kind == 1507) {
            Dictionary before = albumPayload(content_, album, {});
            replace(before, "inTrash", !album.isTrashed);
            smart.snapshot.add(whole(album.uuid, std::move(before), 2));
            smart.change.add(changed(album.uuid, Dictionary{{"inTrash", album.isTrashed}}, 2));
        } else if (album.kind == 1508) {
            projects.snapshot.add(whole(album.uuid, albumPayload(content_, album, album.members)));
        }
    }
    AlbumRow gone{.kind = 1507, .title = "A rule of long ago", .isSmart = true};
    smart.snapshot.add(whole(drawnId(removedAlbums, 9), albumPayload(content_, gone, {}), 2));
    smart.change.add(removed(drawnId(removedAlbums, 9)));
    smart.close();
    projects.close();
    writeKindFile("FetchingAlbum", 2);
    writeKindFile("ProjectAlbum", 1);
}

void JournalWriter::writeImports()
{
    Journal journal(files_, "ImportSession");
    std::size_t session = 0;
    for (const AlbumRow& album : content_.rows.albums) {
        if (album.kind == 1506) {
            (session % 2 == 0 ? journal.snapshot : journal.change)
                .add(whole(album.uuid, importPayload(content_, session)));
            ++session;
        }
    }
    journal.snapshot.add(whole(drawnId(removedImports, 0), Dictionary{{"kind", 1506}, {"inTrash", false}}));
    journal.change.add(removed(drawnId(removedImports, 0)));
    journal.close();
    writeKindFile("ImportSession", 1);
}

void JournalWriter::writePeople()
{
    Journal journal(files_, "Person");
    std::size_t number = 0;
    for (const PersonRow& person : content_.rows.people) {
        if (person.fullName.value_or("").empty() && person.displayName.value_or("").empty()) {
            continue;
        }
        Dictionary now = personPayload(content_, person);
        if (number++ % 3 == 1) {
            Dictionary before = now;
            before.emplace_back("uri", "someone in the address book");
            journal.snapshot.add(whole(person.uuid, std::move(before)));
            journal.change.add(cleared(person.uuid, {"uri", "contactDict"}));
            journal.change.add(whole(person.uuid, std::move(now)));
        } else {
            journal.snapshot.add(whole(person.uuid, std::move(now)));
        }
    }
    for (std::size_t i = 0; i < 3; ++i) {
        journal.change.add(removed(drawnId(removedPeople, i))); // Never recorded, being nameless.
    }
    journal.close();
    writeKindFile("Person", 1);
    writeFaces();
}

void JournalWriter::writeFaces()
{
    Journal journal(files_, "DetectedFace");
    std::size_t number = 0;
    for (const FaceRow& face : content_.rows.faces) {
        if (!face.person || !face.item || content_.plan.items[*face.item].isSharedAlbumItem) {
            continue;
        }
        Dictionary now = facePayload(content_, face);
        if (number++ % 4 == 2) {
            Dictionary before = now;
            before.emplace_back("personBeingKeyFace",
                PlistValue::Data{uuidBytes(content_.rows.people.at(*face.person).uuid)});
            journal.snapshot.add(whole(face.uuid, std::move(before)));
            journal.change.add(whole(face.uuid, std::move(now))); // Without that key now: it replaces.
        } else {
            journal.snapshot.add(whole(face.uuid, std::move(now)));
        }
    }
    journal.close();
    writeKindFile("DetectedFace", 1);
}

void JournalWriter::writeVolumes()
{
    Journal journal(files_, "FileSystemVolume");
    for (const VolumeRow& volume : content_.rows.volumes) {
        journal.snapshot.add(whole(volume.uuid,
            Dictionary{{"name", volume.name}, {"volumeUuid", PlistValue::Data{uuidBytes(volume.uuid)}}}));
    }
    journal.close();
    writeKindFile("FileSystemVolume", 1);
}

void JournalWriter::writeMigrations()
{
    if (content_.options.generation == 5) {
        return;
    }
    Journal journal(files_, "MigrationHistory");
    std::int64_t source = 0;
    for (int generation = 5; generation <= content_.options.generation; ++generation) {
        const std::int64_t model =
            generation == content_.options.generation && content_.options.changes.modelVersion
            ? *content_.options.changes.modelVersion
            : modelVersion(generation);
        JournalRecord record{.identifier = std::to_string(generation - 5),
            .isNumbered = true,
            .payload = Dictionary{{"modelVersion", model}, {"sourceModelVersion", source},
                {"migrationDate", PlistValue::Date{lastWritten - 3e7 * (12 - generation)}},
                {"migrationType", generation == 5 ? 2 : 1}, {"storeUUID", content_.rows.storeUuid},
                {"origin", 0}}};
        source = model;
        (generation + 1 < content_.options.generation ? journal.snapshot : journal.change).add(record);
    }
    journal.close();
    writeKindFile("MigrationHistory", 1);
}

void JournalWriter::writeEmptyKinds()
{
    struct EmptyKind {
        std::string_view name;
        int firstGeneration;
    };
    static constexpr std::array<EmptyKind, 4> kinds{{{"Memory", 5}, {"DeferredRebuildFace", 5},
        {"SocialGroup", 10}, {"AssetResourceUploadJobConfiguration", 11}}};
    for (const EmptyKind& kind : kinds) {
        if (content_.options.generation >= kind.firstGeneration) {
            JournalFile file(files_, fmt::format("{}-snapshot", kind.name));
            file.close();
            writeKindFile(kind.name, 1);
        }
    }
}

void JournalWriter::writeToken()
{
    files_.write("resources/journals/HistoryToken.plist",
        binaryPlist(Dictionary{{"$archiver", "NSKeyedArchiver"}, {"$version", 100'000},
            {"$objects", PlistValue::Array{"$null", content_.rows.storeUuid, 516}}}),
        libraryTime);
}

} // namespace

void writeJournals(const LibraryContent& content, FileWriter& files)
{
    JournalWriter(content, files).write();
}

} // namespace vantorel::sample
