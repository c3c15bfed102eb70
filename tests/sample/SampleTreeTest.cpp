#include "SampleFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>

#include <sys/stat.h>

namespace vantorel::sample {

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Key;
using testing::Not;

/// Modification times of everything in a library, in seconds.
std::map<std::string, std::int64_t> times(const SampleFixture& sample)
{
    std::map<std::string, std::int64_t> found;
    for (const auto& [name, bytes] : sample.folder.tree()) {
        struct stat status{};
        EXPECT_EQ(::lstat((sample.folder / name).c_str(), &status), 0) << name;
        found[name] = status.st_mtime;
    }
    return found;
}

std::string failure(const SamplePlan& plan, const WriteOptions& options, const DiskPath& folder)
{
    try {
        writeLibrary(plan, options, folder);
        return "nothing";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

class SampleTree : public testing::TestWithParam<int> { };

TEST_P(SampleTree, isTheSameForTheSameSeedAndAnotherForAnother)
{
    const WriteOptions options{.generation = GetParam(), .seed = 5};
    const SampleFixture first(options);
    const SampleFixture second(options);
    const auto tree = first.folder.tree();
    EXPECT_GT(tree.size(), 200U);
    EXPECT_EQ(tree, second.folder.tree());
    EXPECT_EQ(times(first), times(second));

    const SampleFixture other({.generation = GetParam(), .seed = 6});
    std::set<std::string> shared;
    for (const auto& [name, bytes] : other.folder.tree()) {
        const auto same = tree.find(name);
        if (same != tree.end() && same->second == bytes && bytes.size() > 800) {
            shared.insert(name);
        }
    }
    EXPECT_EQ(shared, std::set<std::string>{}) << "Nothing of substance is the same under another seed.";
}

INSTANTIATE_TEST_SUITE_P(Generations, SampleTree, testing::Values(5, 8, 11));

TEST(SampleTreeNames, followTheGeneration)
{
    const auto hasShared = [](int generation, const std::string& folder) {
        return SampleFixture({.generation = generation}).folder.has("Sample.photoslibrary/" + folder);
    };
    EXPECT_TRUE(hasShared(7, "resources/cloudsharing/data"));
    EXPECT_FALSE(hasShared(7, "scopes/cloudsharing"));
    EXPECT_TRUE(hasShared(8, "scopes/cloudsharing/data"));
    EXPECT_FALSE(hasShared(8, "resources/cloudsharing"));
}

TEST(SampleTreeFiles, areThereAsThePlanSays)
{
    SamplePlan plan;
    plan.pictureWidth = 24;
    plan.pictureHeight = 18;
    plan.items = {
        {.uuid = "A0000000-0000-4000-8000-000000000000"},
        {.uuid = "A1000000-0000-4000-8000-000000000000", .original = FileState::missing},
        {.uuid = "A2000000-0000-4000-8000-000000000000",
            .hasSmallerCopies = false,
            .original = FileState::empty},
        {.uuid = "A3000000-0000-4000-8000-000000000000", .original = FileState::otherSize},
        {.uuid = "B0000000-0000-4000-8000-000000000000", .isLivePhoto = true},
        {.uuid = "B1000000-0000-4000-8000-000000000000", .hasRawPartner = true},
        {.uuid = "B2000000-0000-4000-8000-000000000000", .isLivePhoto = true, .partnerIsMissing = true},
        {.uuid = "C0000000-0000-4000-8000-000000000000", .hasEdits = true},
        {.uuid = "C1000000-0000-4000-8000-000000000000", .isOnlyInCloud = true},
        {.uuid = "C2000000-0000-4000-8000-000000000000",
            .isReferenced = true,
            .referencedVolume = "Attic",
            .referencedRelativePath = "a/b.jpg"},
        {.uuid = "C3000000-0000-4000-8000-000000000000",
            .kind = SampleItem::Kind::video,
            .extension = "mov",
            .hasSmallerCopies = false},
    };
    plan.strayFiles = {"D/D0000000-0000-4000-8000-000000000000.jpeg"};
    const SampleFixture sample(plan, {});
    std::map<std::string, std::size_t> sizes;
    for (const auto& [name, bytes] : sample.folder.tree("Sample.photoslibrary")) {
        const bool isMedia = name.starts_with("originals/") || name.starts_with("resources/derivatives/")
            || name.starts_with("resources/renders/");
        if (isMedia && !name.ends_with('/')) {
            sizes[name] = bytes.size();
        }
    }
    const auto tail = [](const std::string& start) { return start + "000000-0000-4000-8000-000000000000"; };
    std::set<std::string> expected{"resources/derivatives/thumbs/thumbnailConfiguration"};
    for (const std::string name : {"A0", "A2", "A3", "B0", "B1", "B2", "C0", "D0"}) {
        expected.insert("originals/" + name.substr(0, 1) + "/" + tail(name) + ".jpeg");
    }
    for (const std::string name : {"A0", "A1", "A3", "B0", "B1", "B2", "C0", "C1", "C2"}) {
        const std::string letter = name.substr(0, 1);
        expected.insert("resources/derivatives/" + letter + "/" + tail(name) + "_1_105_c.jpeg");
        expected.insert("resources/derivatives/masters/" + letter + "/" + tail(name) + "_4_5005_c.jpeg");
    }
    expected.insert("originals/C/" + tail("C3") + ".mov");
    expected.insert("originals/B/" + tail("B0") + "_3.mov");
    expected.insert("originals/B/" + tail("B1") + "_4.dng");
    expected.insert("resources/derivatives/B/" + tail("B1") + "_1_100_o.jpeg");
    expected.insert("resources/renders/C/" + tail("C0") + "_1_201_a.jpeg");
    expected.insert("resources/renders/C/" + tail("C0") + ".plist");
    std::set<std::string> found;
    for (const auto& [name, size] : sizes) {
        found.insert(name);
    }
    EXPECT_EQ(found, expected);
    EXPECT_EQ(sizes["originals/A/" + tail("A2") + ".jpeg"], 0U);

    const DatabaseQuestions database(sample, DatabaseQuestions::Log::used);
    const auto recorded = [&](const std::string& uuid) {
        return database.one(
            "SELECT b.ZORIGINALFILESIZE FROM ZASSET a JOIN ZADDITIONALASSETATTRIBUTES b ON b.ZASSET = "
            "a.Z_PK WHERE a.ZUUID = '"
            + tail(uuid) + "'");
    };
    EXPECT_EQ(recorded("A0"), std::to_string(sizes["originals/A/" + tail("A0") + ".jpeg"]));
    EXPECT_NE(recorded("A3"), std::to_string(sizes["originals/A/" + tail("A3") + ".jpeg"]));
}

TEST(SampleTreeFiles, shareContentsAsHardLinks)
{
    SamplePlan plan = SampleFixture::smallPlan(0, 1);
    plan.items.assign(900, SampleItem{});
    const SampleFixture sample(plan, {.withJournals = false, .hardLinkedFiles = true});
    const auto status = [&](std::size_t index) {
        const std::string name = storedFileName(plan, index, 1);
        struct stat found{};
        EXPECT_EQ(::stat((sample.library() / "originals" / name.substr(0, 1) / name).c_str(), &found), 0);
        return found;
    };
    EXPECT_EQ(status(0).st_ino, status(800).st_ino);
    EXPECT_NE(status(0).st_ino, status(1).st_ino);
    EXPECT_EQ(status(0).st_nlink, 3U);
    EXPECT_EQ(DatabaseQuestions(sample, DatabaseQuestions::Log::used)
                  .one("SELECT count(DISTINCT ZORIGINALFILESIZE) <= 400 AND min(ZORIGINALFILESIZE) > 0 FROM "
                       "ZADDITIONALASSETATTRIBUTES"),
        "1");
}

TEST(SampleTreeRefusals, areSentences)
{
    const TemporaryFolder folder;
    folder.makeFolder("there.photoslibrary");
    EXPECT_THAT(
        failure({}, {}, folder / "there.photoslibrary"), HasSubstr("could not be written: File exists."));
    EXPECT_THAT(failure({}, {}, folder / "a/b.photoslibrary"),
        HasSubstr("could not be written: No such file or directory."));
    EXPECT_EQ(
        failure({}, {.generation = 13}, folder / "c"), "There is no generation 13: 5 to 12 can be written.");
    const SamplePlan dangling{.albums = {{.title = "Lost", .items = {0}}}};
    EXPECT_EQ(failure(dangling, {}, folder / "d"), "The plan's album 0 names an item that it lacks.");
    EXPECT_EQ(folder.tree(), (std::map<std::string, std::string>{{"there.photoslibrary/", ""}}))
        << "What is refused leaves nothing behind.";
}

TEST(SampleTreeSizes, reachFromNoItemToAFew)
{
    for (const std::size_t assets : {0U, 1U, 3U, 39U}) {
        const SampleFixture sample({.seed = 9}, assets);
        EXPECT_EQ(DatabaseQuestions(sample, DatabaseQuestions::Log::used).one("SELECT count(*) FROM ZASSET"),
            std::to_string(assets));
    }
}

} // namespace

} // namespace vantorel::sample
