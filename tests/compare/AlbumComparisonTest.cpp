#include "compare/CompareFixture.h"

#include <gtest/gtest.h>

namespace vantorel {
namespace {

using Feature = SchemaSummary::Feature;

/// Albums alone are looked at.
std::string albumsOf(const CompareFixture& here, const CompareFixture& there)
{
    LibraryComparison comparison = compared(here, there);
    comparison.sameAssetCount = 0;
    comparison.onlyInOtherAssetCount = 0;
    comparison.deletedHereOnlyCount = 0;
    comparison.missingAssetPKs.clear();
    return described(comparison);
}

Album& in(Album& album, std::int64_t folder)
{
    album.parentPK = folder;
    return album;
}

TEST(Albums, arePairedByIdentifierThenByTheirPathOfNames)
{
    CompareFixture here;
    CompareFixture there;
    here.folder("Trips").uuid = "F1";              // 1
    in(here.album("Rome"), 1).uuid = "a1";         // 2
    in(here.album("Caf\xC3\xA9"), 1).uuid = "A2";  // 3
    here.album("rome").uuid = "A3";                // 4: case makes another path
    here.album("Twice").uuid = "A4";               // 5
    here.album("Twice").uuid = "A5";               // 6
    here.folder("Same name, other kind");          // 7
    there.album("Rome").uuid = "X";                // 1: another place
    in(there.album("Cafe\xCC\x81"), 5).uuid = "Y"; // 2: by path
    in(there.album("Roma"), 5).uuid = "A1";        // 3: by identifier
    there.album("Twice").uuid = "Z";               // 4: once
    there.folder("Trips").uuid = "W";              // 5: by path
    there.album("Same name, other kind");          // 6
    EXPECT_EQ(albumsOf(here, there),
        "missing albums 4 6; missing folders 7; album 2-3 renamed Roma; same albums 3; only there albums 2");
}

TEST(Albums, inTheSameFolderUnderANewNameHaveNotMoved)
{
    CompareFixture here;
    CompareFixture there;
    here.folder("Trips").uuid = "F1";
    in(here.album("Rome"), 1).uuid = "A1";
    here.album("Top").uuid = "A2";
    in(here.album("Inner"), 1).uuid = "A3";
    there.folder("Travels").uuid = "F1"; // 1
    in(there.album("Rome"), 1).uuid = "A1";
    in(there.album("Top"), 4).uuid = "A2";
    in(there.folder("Old"), 1); // 4
    there.album("Inner").uuid = "A3";
    EXPECT_EQ(albumsOf(here, there),
        "album 1-1 renamed Travels; album 3-3 moved Travels/Old; album 4-5 moved ; same albums 1; only there "
        "albums 1");
    there.scan.snapshot.schema.unavailable = {Feature::folders};
    EXPECT_EQ(albumsOf(here, there), "album 1-1 renamed Travels; same albums 3; only there albums 1");
}

TEST(Albums, thatPhotosMadeOrThatWereDeletedTakeNoPart)
{
    CompareFixture here;
    for (const auto kind : {Album::Kind::other, Album::Kind::root, Album::Kind::smart, Album::Kind::shared}) {
        here.album("Not compared").kind = kind;
    }
    here.album("Deleted").isTrashed = true;
    in(here.album("At the top"), 2).uuid = "A"; // in the invisible top folder
    CompareFixture there;
    there.album("At the top").uuid = "A";
    there.album("Deleted").uuid = "B";
    EXPECT_EQ(albumsOf(here, there), "same albums 1; only there albums 1");
    EXPECT_EQ(albumsOf(there, here), "missing albums 2; same albums 1");
}

TEST(Albums, countTheirPhotosThroughThePairsOfItems)
{
    CompareFixture here;
    CompareFixture there;
    for (const char* id : {"A", "B", "C", "D", "E"}) {
        here.item(id);
    }
    there.item("E"); // 1
    there.item("F"); // 2
    there.item("B"); // 3
    there.item("A"); // 4
    there.item("C"); // 5
    here.album("Mixed", {1, 2, 4, 2, 99});
    there.album("Mixed", {4, 1, 2, 4, 99});
    here.album("Same in another order", {1, 2});
    there.album("Same in another order", {3, 4});
    here.album("Grown", {1});
    there.album("Grown", {4, 5});
    // B is there, but not in it; D is not there; E and F are only in it there.
    EXPECT_EQ(albumsOf(here, there), "album 1-1 missing 2 only 2; album 3-3 only 1; same albums 1");
    EXPECT_EQ(albumsOf(there, here), "album 1-1 missing 2 only 2; album 3-3 missing 1; same albums 1");

    here.scan.snapshot.assets[3].isTrashed = true;                           // D
    there.scan.snapshot.assets[2].lostDetails = {Asset::LostDetail::albums}; // B: nobody knows
    here.scan.snapshot.assets[4].lostDetails = {Asset::LostDetail::albums};  // E
    EXPECT_EQ(albumsOf(here, there), "album 1-1 only 1; album 3-3 only 1; same albums 1");
    there.scan.snapshot.schema.unavailable = {Feature::albums};
    EXPECT_EQ(albumsOf(here, there), "same albums 3");
}

TEST(Albums, ofHostileLibrariesAreNamedInBounds)
{
    CompareFixture here;
    CompareFixture there;
    here.album("Deep").uuid = "A";
    for (int i = 1; i <= 30; ++i) {
        Album& folder = there.folder(std::string(1'000, 'x'));
        folder.parentPK = i == 1 ? 30 : i - 1; // the first is in the last: a circle
    }
    in(there.album("Deep"), 30).uuid = "A";
    const LibraryComparison comparison = compared(here, there);
    ASSERT_EQ(comparison.changedAlbums.size(), 1U);
    const auto& place = comparison.changedAlbums[0].movedFrom.value();
    EXPECT_EQ(place.size(), 17U);
    EXPECT_EQ(place.front(), "\xE2\x80\xA6");
    EXPECT_EQ(place.back(), std::string(200, 'x') + "\xE2\x80\xA6");
}

} // namespace
} // namespace vantorel
