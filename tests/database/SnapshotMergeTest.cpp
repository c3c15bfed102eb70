#include "database/SnapshotMerge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace vantorel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Detail = Asset::LostDetail;
using LossKind = DamageReport::Loss::Kind;

Asset photo(std::int64_t pk, const std::string& uuid, std::vector<std::int64_t> albums = {})
{
    Asset asset;
    asset.pk = pk;
    asset.uuid = uuid;
    asset.directory = "A";
    asset.fileName = uuid + ".jpeg";
    asset.albumPKs = std::move(albums);
    return asset;
}

Album album(std::int64_t pk, const std::string& uuid, std::vector<std::int64_t> assets = {},
    std::optional<std::int64_t> parent = {}, Album::Kind kind = Album::Kind::album)
{
    Album made;
    made.pk = pk;
    made.uuid = uuid;
    made.title = uuid;
    made.kind = kind;
    made.parentPK = parent;
    made.assetPKs = std::move(assets);
    return made;
}

/// What every reader of a snapshot relies on.
void expectPromisesKept(const LibrarySnapshot& snapshot)
{
    std::map<std::int64_t, const Album*> albums;
    for (const Album& each : snapshot.albums) {
        EXPECT_TRUE(albums.emplace(each.pk, &each).second) << each.pk;
        if (each.parentPK) {
            EXPECT_TRUE(albums.contains(*each.parentPK)) << "a folder stands before what it holds";
        }
    }
    std::set<std::pair<std::int64_t, std::int64_t>> byAlbum;
    std::set<std::pair<std::int64_t, std::int64_t>> byAsset;
    std::int64_t last = 0;
    for (const Asset& each : snapshot.assets) {
        EXPECT_GT(each.pk, last);
        last = each.pk;
        for (const std::int64_t owner : each.albumPKs) {
            EXPECT_TRUE(byAsset.emplace(owner, each.pk).second);
        }
    }
    for (const Album& each : snapshot.albums) {
        for (const std::int64_t member : each.assetPKs) {
            EXPECT_TRUE(byAlbum.emplace(each.pk, member).second);
        }
    }
    EXPECT_EQ(byAlbum, byAsset);
}

TEST(SnapshotMerge, addsWhatOnlyTheOtherKnowsAndReplacesNothing)
{
    LibrarySnapshot base;
    base.assets = {photo(2, "two", {7}), photo(std::numeric_limits<std::int64_t>::max(), "last")};
    base.assets[0].caption = "kept";
    base.albums = {album(7, "shared album", {2})};
    base.albums[0].lostEntries = 2;

    LibrarySnapshot other;
    other.assets = {photo(1, "new", {11, 12}), photo(2, "two", {11}), photo(3, "renamed"), photo(4, "last")};
    other.assets[1].caption = "other";
    other.assets[2].fileName = "two.jpeg"; // the same file under another identifier
    other.albums = {album(10, "folder", {}, {}, Album::Kind::folder), album(12, "inside", {1}, 10),
        album(11, "shared album", {2, 1}), album(13, "made by Photos", {}, {}, Album::Kind::other)};

    EXPECT_EQ(addFrom(base, other, RowIds::foreign), (SnapshotAdditions{.photos = 1, .albums = 2}));
    expectPromisesKept(base);
    ASSERT_EQ(base.assets.size(), 3U);
    EXPECT_EQ(base.assets[0].caption, "kept");
    EXPECT_EQ(base.assets[1].uuid, "new");
    ASSERT_EQ(base.albums.size(), 3U);
    EXPECT_THAT(base.albums[0].assetPKs, ElementsAre(2, base.assets[1].pk));
    EXPECT_EQ(base.albums[0].lostEntries, 1);
    EXPECT_EQ(base.albums[1].title, "folder");
    EXPECT_EQ(base.albums[2].parentPK, base.albums[1].pk);

    LibrarySnapshot again = base;
    EXPECT_FALSE(addFrom(again, base, RowIds::same).any());
    EXPECT_EQ(again, base);
}

TEST(SnapshotMerge, givesLostDetailsBackAndTakesTheirLossesAway)
{
    LibrarySnapshot base;
    base.assets = {photo(1, "a"), photo(2, "b")};
    base.assets[0].lostDetails = {Detail::originalName, Detail::caption, Detail::keywords, Detail::albums};
    base.assets[1].lostDetails = {Detail::originalName, Detail::people, Detail::albums};
    base.albums = {album(5, "x")};
    base.schema.unavailable = {SchemaSummary::Feature::keywords, SchemaSummary::Feature::hidden};
    base.damage.losses = {makeLoss(LossKind::photosWithoutDetails, 2), makeLoss(LossKind::captionsLost, 1),
        makeLinksLost(LostLinks::albums), makeLoss(LossKind::facesWithoutPhoto, 3)};

    LibrarySnapshot other;
    other.assets = {photo(9, "a", {4}), photo(8, "b")};
    other.assets[0].originalFileName = "IMG_1.JPG";
    other.assets[0].caption = "A caption";
    other.assets[0].keywords = {"sea"};
    other.assets[1].lostDetails = {Detail::originalName, Detail::people};
    other.albums = {album(4, "x", {9})};

    EXPECT_EQ(addFrom(base, other, RowIds::foreign), (SnapshotAdditions{.details = 1}));
    expectPromisesKept(base);
    EXPECT_EQ(base.assets[0].originalFileName, "IMG_1.JPG");
    EXPECT_EQ(base.assets[0].caption, "A caption");
    EXPECT_THAT(base.assets[0].keywords, ElementsAre("sea"));
    EXPECT_THAT(base.assets[0].albumPKs, ElementsAre(5));
    EXPECT_THAT(base.assets[0].lostDetails, IsEmpty());
    EXPECT_THAT(base.assets[1].lostDetails, ElementsAre(Detail::originalName, Detail::people));
    EXPECT_THAT(base.schema.unavailable, ElementsAre(SchemaSummary::Feature::hidden));
    EXPECT_EQ(base.damage.losses,
        (std::vector{makeLoss(LossKind::photosWithoutDetails, 1), makeLoss(LossKind::facesWithoutPhoto, 3)}));
}

TEST(SnapshotMerge, putsAlbumsBackIntoAFolderThatWasLostButMakesNoCircle)
{
    LibrarySnapshot base;
    base.albums = {album(1, "inside"), album(3, "own", {}, {}, Album::Kind::folder)};
    LibrarySnapshot other;
    other.albums = {album(1, "inside", {}, 2), album(2, "lost", {}, 3, Album::Kind::folder),
        album(3, "own", {}, 2, Album::Kind::folder)};
    EXPECT_EQ(addFrom(base, other, RowIds::same), (SnapshotAdditions{.albums = 1}));
    expectPromisesKept(base);
    const auto inside = std::ranges::find(base.albums, "inside", [](const Album& a) { return a.title; });
    EXPECT_EQ(inside->parentPK, 2);
}

} // namespace
} // namespace vantorel
