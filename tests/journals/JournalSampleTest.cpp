#include "JournalFixture.h"

#include "sample/ExpectedSnapshot.h"
#include "sample/SampleLibrary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

namespace vantorel {
namespace {

/// What journals can give of a database's snapshot: nothing of shared albums and their items, of what Photos
/// makes for itself, and of People. Keys are made comparable: an asset's or album's place in its list.
struct Comparable {
    std::vector<Asset> assets{}; ///< By identifier.
    std::vector<Album> albums{};

    bool operator==(const Comparable&) const = default;
};

Comparable comparable(
    std::vector<Asset> assets, const std::vector<Album>& albums, const std::set<std::string>& journalled)
{
    Comparable result;
    std::erase_if(assets, [](const Asset& asset) { return asset.isSharedAlbumItem; });
    std::ranges::sort(assets, {}, &Asset::uuid);
    std::map<std::int64_t, std::int64_t> assetKeys;
    for (Asset& asset : assets) {
        const std::int64_t key = asset.pk;
        asset.pk = static_cast<std::int64_t>(assetKeys.size()) + 1;
        assetKeys[key] = asset.pk;
        asset.people.clear();
        asset.lostDetails.clear();
        asset.isOnlyInCloud = false; // journals only say that the cloud has it
    }
    std::map<std::int64_t, std::int64_t> albumKeys;
    for (const Album& album : albums) {
        if (journalled.contains(album.uuid.value_or(""))) {
            albumKeys.emplace(album.pk, static_cast<std::int64_t>(albumKeys.size()) + 1);
        }
    }
    for (Album album : albums) {
        if (!albumKeys.contains(album.pk)) {
            continue;
        }
        album.pk = albumKeys.at(album.pk);
        album.parentPK = album.parentPK ? std::optional(albumKeys[*album.parentPK]) : std::nullopt;
        std::erase_if(album.assetPKs, [&](std::int64_t key) { return !assetKeys.contains(key); });
        for (std::int64_t& key : album.assetPKs) {
            key = assetKeys.at(key);
        }
        result.albums.push_back(std::move(album));
    }
    for (Asset& asset : assets) {
        std::vector<std::int64_t> keys;
        for (const std::int64_t key : asset.albumPKs) {
            if (albumKeys.contains(key)) {
                keys.push_back(albumKeys.at(key));
            }
        }
        asset.albumPKs = keys;
    }
    result.assets = std::move(assets);
    return result;
}

class JournalsOfGeneration : public testing::TestWithParam<int> { };

TEST_P(JournalsOfGeneration, replayToTheStateOfTheDatabase)
{
    const TemporaryFolder disk;
    const DiskPath library = disk / "Sample.photoslibrary";
    sample::SamplePlan plan = sample::drawPlan(60, 7);
    plan.pictureWidth = 16;
    plan.pictureHeight = 12;
    const sample::WriteOptions options{.generation = GetParam(), .seed = 7};
    sample::writeLibrary(plan, options, library);
    const auto root = Root::open(realSystemCalls(), library);
    ASSERT_TRUE(root);
    const auto read = JournalReader::read({.library = *root, .clock = systemClock()});
    ASSERT_TRUE(read);

    LibrarySnapshot expected = sample::expectedSnapshot(plan, options, library);
    std::map<std::string, const Asset*> byIdentifier;
    for (const Asset& asset : read->assets) {
        byIdentifier[asset.uuid] = &asset;
    }
    for (Asset& asset : expected.assets) {
        // Payloads of the newest versions have no fingerprint.
        const auto found = byIdentifier.find(asset.uuid);
        if (GetParam() >= 10 && found != byIdentifier.end() && !found->second->fingerprint) {
            asset.fingerprint.reset();
        }
    }
    std::set<std::string> journalled;
    for (const Album& album : read->albums) {
        journalled.insert(album.uuid.value_or(""));
    }
    for (const Album& album : expected.albums) {
        const bool isUsers = album.kind != Album::Kind::other && album.kind != Album::Kind::shared;
        EXPECT_TRUE(!isUsers || journalled.contains(album.uuid.value_or(""))) << album.title.value_or("-");
    }
    EXPECT_EQ(comparable(read->assets, read->albums, journalled),
        comparable(expected.assets, expected.albums, journalled));
    EXPECT_EQ(read->damage.losses, std::vector<DamageReport::Loss>{});
    const auto model = GetParam() > 5 ? std::optional(sample::modelVersion(GetParam())) : std::nullopt;
    EXPECT_EQ(read->schema.modelVersion, model);
    EXPECT_GT(read->assets.size(), 50U);
    EXPECT_GT(read->albums.size(), 10U);
}

INSTANTIATE_TEST_SUITE_P(Samples, JournalsOfGeneration, testing::Values(5, 6, 9, 10, 12));

} // namespace
} // namespace vantorel
