#include "ReaderFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fmt/format.h>

namespace vantorel {

namespace {

using Columns = ReaderFixture::Columns;
using Generation = ReaderFixture::Generation;
using testing::ElementsAre;
using testing::IsEmpty;

/// "pk under parent" of every album, in the snapshot's order.
std::vector<std::string> tree(const LibrarySnapshot& snapshot)
{
    std::vector<std::string> lines;
    for (const Album& album : snapshot.albums) {
        lines.push_back(album.parentPK ? fmt::format("{} under {}", album.pk, *album.parentPK)
                                       : std::to_string(album.pk));
    }
    return lines;
}

Columns under(std::int64_t parent, int order)
{
    return {{"ZPARENTFOLDER", std::to_string(parent)}, {"Z_FOK_PARENTFOLDER", std::to_string(order)}};
}

std::vector<std::vector<std::string>> namesOf(
    const LibrarySnapshot& snapshot, std::vector<std::string> Asset::* names)
{
    std::vector<std::vector<std::string>> all;
    for (const Asset& asset : snapshot.assets) {
        all.push_back(asset.*names);
    }
    return all;
}

class LibraryReaderLinks : public testing::TestWithParam<Generation> {
protected:
    ReaderFixture library{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(
    Generations, LibraryReaderLinks, testing::Values(Generation::older, Generation::newer));

TEST_P(LibraryReaderLinks, tellsAlbumsApartByKind)
{
    using Kind = Album::Kind;
    const std::vector<std::pair<const char*, Kind>> kinds{{"2", Kind::album}, {"4000", Kind::folder},
        {"3999", Kind::root}, {"1507", Kind::smart}, {"1505", Kind::shared}, {"1508", Kind::other},
        {"3998", Kind::other}, {"1506", Kind::other}, {"0", Kind::other}, {"2.0", Kind::album}};
    std::int64_t pk = 0;
    std::vector<Album> expected;
    for (const auto& [value, kind] : kinds) {
        library.album(++pk, value);
        expected.push_back(plainAlbum(pk, kind));
    }
    library.album(21, "NULL").album(22, "'two'");
    library.album(23, "2", {{"ZTRASHEDSTATE", "1"}, {"ZTITLE", "''"}, {"ZUUID", "NULL"}});
    expected.push_back({.pk = 23, .kind = Kind::album, .isTrashed = true});

    const DatabaseReading reading = library.reading();
    EXPECT_EQ(reading.snapshot.albums, expected);
    EXPECT_EQ(reading.context.userAlbumRows, 4);
    EXPECT_THAT(sentences(reading.snapshot.damage),
        ElementsAre("2 album rows were too damaged to tell what they are and were left out."));
}

TEST_P(LibraryReaderLinks, ordersAlbumsAsTheirFoldersDo)
{
    library.album(1, "3999").album(2, "2", under(1, 3072)).album(3, "4000", under(1, 1024));
    library.album(4, "2", under(3, 2048)).album(5, "4000", under(3, 1024)).album(6, "2", under(5, 1024));
    library
        .album(7, "2", {{"ZPARENTFOLDER", "1"}}) // no order: last
        .album(8, "1507", under(1, 2048))
        .album(9, "1505");
    EXPECT_THAT(tree(library.snapshot()),
        ElementsAre("1", "3 under 1", "5 under 3", "6 under 5", "4 under 3", "8 under 1", "2 under 1",
            "7 under 1", "9"));
}

TEST_P(LibraryReaderLinks, showsAlbumsAtTheTopThatNoFolderHolds)
{
    library.album(1, "3999").album(2, "3998");
    library
        .album(3, "2", under(99, 1))     // the folder's row is lost
        .album(4, "4000", under(98, 1))  // likewise
        .album(5, "1508", under(2, 1))   // the top of the projects is no folder
        .album(6, "2", under(3, 1))      // nor is an album
        .album(7, "1506", under(97, 1))  // not shown, so nobody misses its place
        .album(8, "NULL", under(1, 1))   // left out
        .album(9, "2", under(8, 1))      // and with it the place of this one
        .album(10, "4000", under(11, 1)) // three folders in a circle
        .album(11, "4000", under(12, 1))
        .album(12, "4000", under(10, 1))
        .album(13, "4000", under(13, 1)) // one in itself
        .album(14, "2", under(12, 1));
    const LibrarySnapshot snapshot = library.snapshot();
    // At the top those with an order come first.
    EXPECT_THAT(tree(snapshot),
        ElementsAre(
            "3", "4", "5", "6", "7", "9", "10", "12 under 10", "11 under 12", "14 under 12", "13", "1", "2"));
    EXPECT_THAT(sentences(snapshot.damage),
        ElementsAre("5 albums or folders lost the folder they were in and are shown at the top level.",
            "1 album rows were too damaged to tell what they are and were left out."));
}

TEST_P(LibraryReaderLinks, putsDeeplyNestedFoldersInOrder)
{
    library.album(1, "3999").run(
        "WITH RECURSIVE n(pk) AS (SELECT 2 UNION ALL SELECT pk + 1 FROM n WHERE pk < 30000) INSERT INTO "
        "ZGENERICALBUM (Z_PK, ZKIND, ZPARENTFOLDER) SELECT pk, 4000, pk - 1 FROM n");
    const LibrarySnapshot snapshot = library.snapshot();
    ASSERT_EQ(snapshot.albums.size(), 30'000U);
    EXPECT_EQ(snapshot.albums.back().parentPK, 29'999);
}

TEST_P(LibraryReaderLinks, listsAlbumEntriesInTheirOrderAndCountsLostOnes)
{
    library.photo(1).photo(2).photo(3).photo(4).album(1, "2").album(2, "2").album(3, "2");
    library.entry(1, 3, "1024").entry(1, 1, "2048").entry(1, 2, "512").entry(1, 4, "512");
    library.entry(2, 4, "NULL").entry(2, 2, "NULL").entry(2, 3, "5").entry(2, 99, "1").entry(2, 98, "2");
    library.entry(2, 3, "7");                    // twice: counts once, at its first place
    library.entry(3, 97, "1").entry(77, 1, "1"); // an album of lost photos; an entry of a lost album
    const LibrarySnapshot snapshot = library.snapshot();

    std::vector<std::vector<std::int64_t>> members;
    std::vector<std::int64_t> lost;
    for (const Album& album : snapshot.albums) {
        members.push_back(album.assetPKs);
        lost.push_back(album.lostEntries);
    }
    EXPECT_THAT(members, ElementsAre(ElementsAre(2, 4, 3, 1), ElementsAre(3, 2, 4), IsEmpty()));
    EXPECT_THAT(lost, ElementsAre(0, 2, 1));
    std::vector<std::vector<std::int64_t>> albums;
    for (const Asset& asset : snapshot.assets) {
        albums.push_back(asset.albumPKs);
    }
    EXPECT_THAT(albums, ElementsAre(ElementsAre(1), ElementsAre(1, 2), ElementsAre(1, 2), ElementsAre(1, 2)));
    EXPECT_THAT(sentences(snapshot.damage),
        ElementsAre(
            "3 album entries point at a photo whose record is lost. The albums concerned are marked."));
}

TEST_P(LibraryReaderLinks, marksAPhotoWhoseAlbumsAreAllLost)
{
    library.photo(1).photo(2).album(1, "2").entry(77, 1, "1").entry(77, 2, "1").entry(1, 2, "1");
    const LibrarySnapshot snapshot = library.snapshot();
    EXPECT_THAT(snapshot.assets[0].lostDetails, ElementsAre(Asset::LostDetail::albums));
    EXPECT_THAT(snapshot.assets[1].lostDetails, IsEmpty());
}

TEST_P(LibraryReaderLinks, namesKeywordsSortedAndEachOnce)
{
    library.photo(1).photo(2).photo(3).keyword(1, "Zoo").keyword(2, "Água").keyword(3, "Bär").keyword(
        4, "Zoo");
    library.keyword(5, "");
    for (const std::int64_t keyword : {1, 2, 3, 4, 5, 1}) {
        library.keywordLink(101, keyword);
    }
    library.keywordLink(102, 99).keywordLink(103, 99).keywordLink(103, 3).keywordLink(999, 1);
    const LibrarySnapshot snapshot = library.snapshot();
    EXPECT_THAT(namesOf(snapshot, &Asset::keywords),
        ElementsAre(ElementsAre("Bär", "Zoo", "Água"), IsEmpty(), ElementsAre("Bär")));
    EXPECT_THAT(snapshot.assets[1].lostDetails, ElementsAre(Asset::LostDetail::keywords));
    EXPECT_THAT(snapshot.assets[2].lostDetails, IsEmpty());
    EXPECT_THAT(sentences(snapshot.damage),
        ElementsAre("2 keyword links point at a keyword that is lost, so those photos lost that keyword."));
}

TEST_P(LibraryReaderLinks, namesPeopleThroughMerges)
{
    const auto named = [](const std::string& name) { return Columns{{"ZFULLNAME", "'" + name + "'"}}; };
    const auto merged = [](const std::string& name, int into) {
        return Columns{{"ZFULLNAME", "'" + name + "'"}, {"ZMERGETARGETPERSON", std::to_string(into)}};
    };
    library.person(1, named("Maria")).person(2, {{"ZFULLNAME", "''"}, {"ZDISPLAYNAME", "'Katie'"}});
    library.person(3, merged("Kat", 2))
        .person(4, merged("Kathrin", 3))
        .person(5, named("Maria"))
        .person(6, {});
    library.person(7, merged("Ann", 8)).person(8, merged("Anna", 9)).person(9, merged("Annie", 8));
    library.person(10, merged("Bea", 99)).person(11, merged("Self", 11)).person(12, merged("Lost name", 6));
    std::int64_t pk = 0;
    const auto photoWith = [&](const std::vector<int>& people) {
        library.photo(++pk);
        for (const int person : people) {
            library.face(std::to_string(pk), std::to_string(person));
        }
    };
    photoWith({5, 1, 4});
    photoWith({3, 2});
    photoWith({6, 12});
    photoWith({7});
    photoWith({8});
    photoWith({10});
    photoWith({11});
    const LibrarySnapshot snapshot = library.snapshot();
    EXPECT_THAT(namesOf(snapshot, &Asset::people),
        ElementsAre(ElementsAre("Katie", "Maria"), ElementsAre("Katie"), IsEmpty(), ElementsAre("Anna"),
            ElementsAre("Anna"), ElementsAre("Bea"), ElementsAre("Self")));
    EXPECT_THAT(snapshot.people, ElementsAre("Anna", "Annie", "Bea", "Katie", "Maria", "Self"));
    EXPECT_THAT(snapshot.damage.losses, IsEmpty());
}

TEST_P(LibraryReaderLinks, countsFacesThatLostTheirPhotoOrTheirPerson)
{
    library.photo(1).photo(2).person(1, {{"ZFULLNAME", "'Maria'"}});
    library.face("1", "77").face("2", "1").face("2", "78");
    library.face("99", "1").face("98", "NULL").face("97", "77");
    library.face("NULL", "1").face("NULL", "77").face("1", "NULL"); // training, and never named
    library.face("1", "1", {{"ZHIDDEN", "1"}})
        .face("1", "1", {{"ZISINTRASH", "1"}})
        .face("96", "1", {{"ZHIDDEN", "1"}});
    const LibrarySnapshot snapshot = library.snapshot();
    EXPECT_THAT(namesOf(snapshot, &Asset::people), ElementsAre(IsEmpty(), ElementsAre("Maria")));
    EXPECT_THAT(snapshot.assets[0].lostDetails, ElementsAre(Asset::LostDetail::people));
    EXPECT_THAT(snapshot.assets[1].lostDetails, IsEmpty());
    EXPECT_THAT(sentences(snapshot.damage),
        ElementsAre(
            "2 faces belong to a person whose name record is lost, so those photos may have lost a name.",
            "3 faces belong to a photo whose record is lost."));
}

// A whole library may have albums that are all empty; in a rebuilt one the links are what was lost.
TEST_P(LibraryReaderLinks, takesMissingLinksForALossOnlyInARebuiltDatabase)
{
    library.photo(1).album(1, "2").keyword(1, "Zoo").person(1, {{"ZFULLNAME", "'Maria'"}});
    library.run("UPDATE Z_PRIMARYKEY SET Z_MAX = 7 WHERE Z_NAME IN ('Asset', 'GenericAsset', 'Keyword')");
    const LibrarySnapshot whole = library.snapshot();
    EXPECT_EQ(whole.damage, DamageReport());
    EXPECT_THAT(whole.assets[0].lostDetails, IsEmpty());

    const LibrarySnapshot rebuilt = library.snapshot(SchemaChecks::lenient);
    EXPECT_THAT(sentences(rebuilt.damage),
        ElementsAre("The links between photos and keywords are lost, so no photo shows its keywords.",
            "The links between photos and People are lost, so no photo shows a name.",
            "The links between albums and photos are lost, so the albums show as empty."));
    EXPECT_THAT(rebuilt.assets[0].lostDetails,
        ElementsAre(Asset::LostDetail::keywords, Asset::LostDetail::people, Asset::LostDetail::albums));
    const DamageReport::TableLoss photos{
        .table = library.assets, .purpose = "Photos and videos", .rowsRead = 1, .highestKnownID = 7};
    const DamageReport::TableLoss keywords{
        .table = "ZKEYWORD", .purpose = "Keywords", .rowsRead = 1, .highestKnownID = 7};
    if (GetParam() == Generation::newer) {
        EXPECT_THAT(rebuilt.damage.tables, ElementsAre(photos, keywords));
    } else { // the counter of a sub-entity is not the table's
        EXPECT_THAT(rebuilt.damage.tables, testing::Contains(keywords));
    }
}

TEST_P(LibraryReaderLinks, ignoresAKeyCounterBelowTheRowsThatAreThere)
{
    library.photo(9).run("UPDATE Z_PRIMARYKEY SET Z_MAX = 3 WHERE Z_NAME IN ('Asset', 'GenericAsset')");
    EXPECT_THAT(library.snapshot(SchemaChecks::lenient).damage.tables, IsEmpty());
}

TEST_P(LibraryReaderLinks, readsARebuiltDatabaseWithoutAnAlbumLink)
{
    library.photo(1).album(1, "2").run("DROP TABLE " + library.albumLinks);
    EXPECT_EQ(library.tryReading().error(),
        (DatabaseTrouble{
            .kind = DatabaseTrouble::Kind::unknownLayout, .reason = "no table links albums to photos"}));
    const LibrarySnapshot rebuilt = library.snapshot(SchemaChecks::lenient);
    EXPECT_THAT(rebuilt.schema.unavailable, ElementsAre(SchemaSummary::Feature::albums));
    EXPECT_THAT(rebuilt.assets[0].lostDetails, ElementsAre(Asset::LostDetail::albums));
    EXPECT_EQ(rebuilt.albums.size(), 1U);
}

} // namespace

} // namespace vantorel
