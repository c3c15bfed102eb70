#include "cli/RunProgram.h"
#include "support/TemporaryFolder.h"

#include "sample/SampleLibrary.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace vantorel {
namespace {

using nlohmann::json;

/// Twelve photos and an album in one library; another one without them, but with the rest.
class TwoLibraries : public testing::Test {
protected:
    TwoLibraries()
    {
        sample::SamplePlan whole = sample::drawPlan(4, 1);
        whole.pictureWidth = whole.pictureHeight = 16;
        for (std::size_t i = 0; i < whole.items.size(); ++i) {
            whole.items[i] = {.uuid = sample::itemUuid(whole, i, 1), .originalFileName = "Kept.JPG"};
        }
        whole.items[0].originalFileName = "Two\nlines.JPG";
        sample::SamplePlan less = whole;
        less.items[0].caption = "another";
        less.items[1].isTrashed = less.items[1].isFavorite = true;
        less.items[2].original = sample::FileState::missing;
        less.items[3].original = sample::FileState::missing;
        less.items[3].isOnlyInCloud = true;
        whole.albums = {{.title = "Kept", .items = {0, 1}}, {.title = "Gone"}};
        less.albums = {{.title = "Kept", .items = {0, 2}}, {.title = "Gone", .isTrashed = true}};
        for (int i = 0; i < 12; ++i) {
            whole.items.push_back({.originalFileName = "Gone " + std::to_string(i) + ".JPG"});
            whole.albums[1].items.push_back(whole.items.size() - 1);
        }
        sample::writeLibrary(whole, {}, here);
        sample::writeLibrary(less, {}, there);
    }

    Ran compare(std::vector<std::string> options) const
    {
        options.insert(options.begin(), "compare");
        options.push_back(here.string());
        options.push_back(there.string());
        return runVantorel(options);
    }

    TemporaryFolder folder{};
    const std::filesystem::path here = folder / "Here.photoslibrary";
    const std::filesystem::path there = folder / "There.photoslibrary";
};

TEST_F(TwoLibraries, areComparedForPeople)
{
    const auto before = folder.tree();
    const Ran ran = compare({});
    EXPECT_EQ(ran.status, 0) << ran.errors;
    EXPECT_EQ(ran.errors, "");
    for (const char* line : {
             "\nPhotos and videos that are not there (12)\n  Gone 0.JPG",
             "\n  And 2 more.\n",
             "\nAlbums that are not there (1)\n  Gone  12 items\n",
             "\nPhotos and videos that differ (3)\n  Two\\nlines.JPG  caption differs\n",
             "\n  Kept.JPG  favourite differs, in Recently Deleted there\n",
             "\n  Kept.JPG  original missing there\n",
             "\n  Kept  1 item not in it there, 1 item only in it there\n",
             "\nThe same in both: 1 item, 0 albums and folders\n1 item has the original in iCloud there, ",
         }) {
        EXPECT_NE(ran.output.find(line), std::string::npos) << line << "\n" << ran.output;
    }
    EXPECT_EQ(ran.output.find("Gone 10.JPG"), std::string::npos);
    EXPECT_NE(compare({"--list"}).output.find("  Gone 11.JPG\n"), std::string::npos);
    EXPECT_EQ(folder.tree(), before);

    const Ran same = runVantorel({"compare", here.string(), here.string()});
    EXPECT_NE(same.output.find("\nAll that was read of this library is in the other one, without a "
                               "difference.\n\nThe same in both: 16 items, 2 albums and folders\n"),
        std::string::npos)
        << same.output;
}

TEST_F(TwoLibraries, areComparedForScripts)
{
    const Ran ran = compare({"--json"});
    EXPECT_EQ(ran.status, 0) << ran.errors;
    const auto object = nlohmann::ordered_json::parse(ran.output, nullptr, false);
    ASSERT_TRUE(object.is_object()) << ran.output;
    std::string keys;
    for (const auto& [key, value] : object.items()) {
        keys += key + " ";
    }
    EXPECT_EQ(keys,
        "missingAssetPKs deletedHereOnlyCount originalInCloudInOtherCount changedAssets sameAssetCount "
        "onlyInOtherAssetCount missingAlbumPKs missingFolderPKs changedAlbums sameAlbumCount "
        "onlyInOtherAlbumCount matchedByNameAndDate cautions ");
    EXPECT_EQ(object["missingAssetPKs"].size(), 12U);
    ASSERT_EQ(object["changedAssets"].size(), 3U);
    EXPECT_EQ(object["changedAssets"][0]["name"], "Two\nlines.JPG");
    EXPECT_EQ(object["changedAssets"][1]["changes"], (json{"favourite", "trashedInOther"}));
}

TEST_F(TwoLibraries, thatCannotBothBeReadEndWithTheSentenceAndTheName)
{
    const std::string nothing = (folder / "Nothing.photoslibrary").string();
    for (const auto& pair : {std::pair{here.string(), nothing}, std::pair{nothing, here.string()}}) {
        const Ran ran = runVantorel({"compare", "--json", pair.first, pair.second});
        EXPECT_EQ(ran.status, 3);
        EXPECT_EQ(json::parse(ran.output, nullptr, false)["error"]["kind"], "notFound") << ran.output;
        EXPECT_NE(ran.errors.find("\nThis was the library \"" + nothing + "\".\n"), std::string::npos)
            << ran.errors;
    }
    EXPECT_EQ(runVantorel({"compare", here.string()}).status, 2);
}

} // namespace
} // namespace vantorel
