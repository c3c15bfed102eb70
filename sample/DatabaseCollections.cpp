#include "sample/DatabaseWriter.h"

#include "sample/FileTypes.h"
#include "sample/Random.h"

#include <algorithm>

namespace vantorel::sample {

namespace {

enum Purpose : std::uint64_t { momentId = 301, listId = 302 };

constexpr double aDayLongAgo =
    594'000'000; ///< In October 2019: Photos' own albums are as old as the library.

void insertAlbums(SampleDatabase& database, const LibraryContent& content)
{
    RowInserter albums(database, content.layout, content.layout.tableOf("GenericAlbum"));
    for (const AlbumRow& album : content.rows.albums) {
        const auto order = album.parentPk != 0 ? std::optional(album.order) : std::nullopt;
        const auto trashedDate = album.isTrashed ? std::optional(aDayLongAgo + 1e7) : std::nullopt;
        const auto cloudId = album.isShared ? std::optional(album.uuid) : std::nullopt;
        const std::string rule = "\x0a\x06sample" + album.uuid;
        const auto query = album.isSmart ? Value{Blob{rule}} : Value{};
        const std::size_t count = album.members.size();
        albums.insert({{"Z_PK", album.pk}, {"Z_ENT", content.layout.number(album.entity)}, {"Z_OPT", 4},
            {"ZUUID", album.uuid}, {"ZTITLE", album.title}, {"ZKIND", album.kind},
            {"ZPARENTFOLDER", key(album.parentPk)}, {"Z_FOK_PARENTFOLDER", order},
            {"ZTRASHEDSTATE", album.isTrashed}, {"ZTRASHEDDATE", trashedDate},
            {"ZCUSTOMSORTKEY", album.sortKey}, {"ZCUSTOMSORTASCENDING", 1}, {"ZISOWNED", 0},
            {"ZCLOUDGUID", cloudId}, {"ZUSERQUERYDATA", query}, {"ZCACHEDCOUNT", count},
            {"ZCACHEDPHOTOSCOUNT", count}, {"ZCACHEDVIDEOSCOUNT", 0}, {"ZCREATIONDATE", aDayLongAgo},
            {"ZISPINNED", 0}, {"ZISPROTOTYPE", 0}, {"ZPENDINGITEMSCOUNT", 0}, {"ZCLOUDLOCALSTATE", 0},
            {"ZCLOUDDELETESTATE", 0}, {"ZPRIVACYSTATE", 0}, {"ZDUPLICATETYPE", 0}});
    }
}

/// Photos' lists of albums: a link table that looks much like that of albums and photos.
void insertAlbumLists(SampleDatabase& database, const LibraryContent& content)
{
    RowInserter lists(database, content.layout, content.layout.tableOf("AlbumList"));
    const Layout::Link link = content.layout.link("GenericAlbum", "ALBUMLISTS");
    RowInserter links(database, content.layout, link.table);
    for (std::int64_t list = 1; list <= 7; ++list) {
        Random random(mixedSeed(content.options.seed, listId, static_cast<std::uint64_t>(list)));
        lists.insert({{"Z_PK", list}, {"Z_ENT", content.layout.number("AlbumList")}, {"Z_OPT", 1},
            {"ZIDENTIFIER", list}, {"ZUUID", drawnUuid(random)}});
    }
    std::int64_t order = 1024;
    for (const AlbumRow& album : content.rows.albums) {
        if (album.kind == 2 || album.isShared) {
            links.insert({{link.left, album.pk}, {link.right, album.isShared ? 3 : 2}, {link.order, order}});
            order += 1024;
        }
    }
}

void insertPeople(SampleDatabase& database, const LibraryContent& content)
{
    RowInserter people(database, content.layout, content.layout.tableOf("Person"));
    const Layout::Link candidates = content.layout.link("Person", "MERGECANDIDATES");
    RowInserter merges(database, content.layout, candidates.table);
    for (const PersonRow& person : content.rows.people) {
        const bool isNamed = person.fullName.value_or("") != "" || person.displayName.value_or("") != "";
        const int verified = person.mergeTargetPk != 0 ? -2 : isNamed ? 1 : 0;
        people.insert({{"Z_PK", person.pk}, {"Z_ENT", content.layout.number("Person")}, {"Z_OPT", 2},
            {"ZFULLNAME", person.fullName}, {"ZDISPLAYNAME", person.displayName},
            {"ZMERGETARGETPERSON", key(person.mergeTargetPk)}, {"ZPERSONUUID", person.uuid}, {"ZTYPE", 0},
            {"ZVERIFIEDTYPE", verified}, {"ZCLOUDVERIFIEDTYPE", verified}, {"ZFACECOUNT", person.faces},
            {"ZDETECTIONTYPE", 1}, {"ZMANUALORDER", person.pk}, {"ZKEYFACEPICKSOURCE", 0}});
        if (!isNamed) {
            merges.insert({{candidates.left, person.pk}, {candidates.right, content.rows.people.front().pk}});
        }
    }
}

void insertNamedThings(SampleDatabase& database, const LibraryContent& content)
{
    const Layout& layout = content.layout;
    RowInserter keywords(database, layout, layout.tableOf("Keyword"));
    for (const KeywordRow& keyword : content.rows.keywords) {
        keywords.insert({{"Z_PK", keyword.pk}, {"Z_ENT", layout.number("Keyword")}, {"Z_OPT", 1},
            {"ZTITLE", keyword.title}, {"ZUUID", keyword.uuid}});
    }
    RowInserter volumes(database, layout, layout.tableOf("FileSystemVolume"));
    for (const VolumeRow& volume : content.rows.volumes) {
        volumes.insert({{"Z_PK", volume.pk}, {"Z_ENT", layout.number("FileSystemVolume")}, {"Z_OPT", 1},
            {"ZNAME", volume.name}, {"ZUUID", volume.uuid}, {"ZVOLUMEUUIDSTRING", volume.uuid}});
    }
    RowInserter types(database, layout, layout.tableOf("UniformTypeIdentifier"));
    for (std::size_t i = 0; i < fileTypes.size(); ++i) {
        types.insert({{"Z_PK", i + 1}, {"Z_ENT", layout.number("UniformTypeIdentifier")}, {"Z_OPT", 1},
            {"ZIDENTIFIER", fileTypes[i].identifier}});
    }
    RowInserter moments(database, layout, layout.tableOf("Moment"));
    for (std::size_t i = 0; i < content.rows.importSessions.size(); ++i) {
        Random random(mixedSeed(content.options.seed, momentId, i));
        moments.insert({{"Z_PK", i + 1}, {"Z_ENT", layout.number("Moment")}, {"Z_OPT", 1},
            {"ZCACHEDCOUNT", 1}, {"ZTIMEZONEOFFSET", 0}, {"ZTRASHEDSTATE", 0}, {"ZUUID", drawnUuid(random)}});
    }
}

} // namespace

void insertCollections(SampleDatabase& database, const LibraryContent& content)
{
    insertAlbums(database, content);
    insertAlbumLists(database, content);
    insertPeople(database, content);
    insertNamedThings(database, content);
}

void insertMemberships(
    SampleDatabase& database, const LibraryContent& content, std::size_t first, std::size_t last)
{
    const Layout::Link link = content.layout.link("Album", "ASSETS");
    RowInserter links(database, content.layout, link.table);
    const Layout::Link keyLink = content.layout.link("GenericAlbum", "KEYASSETS");
    RowInserter keyAssets(database, content.layout, keyLink.table);
    for (const AlbumRow& album : content.rows.albums) {
        // The table's rows are in no particular order: the order column alone tells.
        std::vector<AlbumRow::Member> members = album.members;
        std::ranges::sort(members, {}, [](const AlbumRow::Member& member) { return member.item % 97; });
        for (const AlbumRow::Member& member : members) {
            if (member.item < first || member.item >= last) {
                continue;
            }
            const std::int64_t assetPk = content.rows.items[member.item].pk;
            links.insert({{link.left, album.pk}, {link.right, assetPk}, {link.order, member.order}});
            if (member.item == album.members.front().item) {
                keyAssets.insert({{keyLink.left, album.pk}, {keyLink.right, assetPk}, {keyLink.order, 1024}});
            }
        }
    }
}

} // namespace vantorel::sample
