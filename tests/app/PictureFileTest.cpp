#include "app/model/PictureFile.h"
#include "app/model/PictureFiles.h"
#include "tests/support/ManualClock.h"
#include "tests/support/ScriptedCalls.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <filesystem>

#include <sys/stat.h>

namespace vantorel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

constexpr const char* uuid = "A0000000-0000-4000-8000-000000000001";

std::string derivative(const std::string& suffix)
{
    return std::string("resources/derivatives/A/") + uuid + suffix;
}

std::string small() { return std::string("resources/derivatives/masters/A/") + uuid + "_4_5005_c.jpeg"; }

std::string original() { return std::string("originals/A/") + uuid + ".heic"; }

OriginalEntry present(const std::string& path)
{
    return {.status = OriginalEntry::Status::present, .file = ResolvedFile{.path = path, .size = 1000}};
}

TEST(PictureFiles, beginWithTheSmallestThatIsLargeEnough)
{
    const Asset asset{.uuid = uuid};
    const auto entry = present(original());
    EXPECT_EQ(pictureFiles(asset, entry, 160).front(), small());
    EXPECT_EQ(pictureFiles(asset, entry, 512).front(), derivative("_1_105_c.jpeg"));
    EXPECT_THAT(pictureFiles(asset, entry, 4000), Contains(original()));
    EXPECT_EQ(pictureFiles(asset, entry, 512).back(), small()) << "the small one where there is nothing else";

    const Asset edited{.uuid = uuid, .hasEdits = true};
    EXPECT_EQ(pictureFiles(edited, entry, 160).front(), small());
    const auto large = pictureFiles(edited, entry, 4000);
    EXPECT_EQ(large.front(), std::string("resources/renders/A/") + uuid + "_1_201_a.jpeg");
    EXPECT_LT(std::ranges::find(large, small()), std::ranges::find(large, original()))
        << "small, but with the edit";
}

TEST(PictureFiles, neverLeadOutOfTheLibrary)
{
    for (const auto* hostile :
        {"../../etc/passwd", "/etc/passwd", "", "A0000000-0000-4000-8000-00000000000/../../../../x"}) {
        const Asset asset{.uuid = hostile, .directory = "../..", .fileName = "x", .isSharedAlbumItem = true};
        EXPECT_THAT(pictureFiles(asset, {}, 160), ElementsAre()) << hostile;
    }
    auto outside = present("/Volumes/Other/a.jpeg");
    outside.isOutsideLibrary = true;
    EXPECT_THAT(pictureFiles({.uuid = uuid}, outside, 160), Not(Contains("/Volumes/Other/a.jpeg")));
    EXPECT_THAT(pictureFiles({.uuid = uuid, .kind = Asset::Kind::video}, present("originals/A/a.mov"), 160),
        Not(Contains("originals/A/a.mov")))
        << "a film is no picture";
}

class PictureReading : public testing::Test {
protected:
    PictureRead read(const std::vector<std::string>& files, SharedCancelToken cancel = nullptr)
    {
        return readPicture(
            CoreServices{.calls = calls, .clock = clock, .children = nullptr, .temporary = nullptr},
            {
                .library = library,
                .files = files,
                .isWanted = [](std::string_view beginning) { return beginning.starts_with("picture"); },
                .cancel = std::move(cancel),
            });
    }
    PictureTrouble trouble(const std::vector<std::string>& files, SharedCancelToken cancel = nullptr)
    {
        const auto result = read(files, std::move(cancel));
        EXPECT_FALSE(result.has_value());
        return result ? PictureTrouble::noFile : result.error();
    }

    TemporaryFolder folder{};
    DiskPath library = folder.makeFolder("a.photoslibrary");
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<ScriptedCalls> calls = std::make_shared<ScriptedCalls>(clock);
};

TEST_F(PictureReading, takesTheFirstThatIsAnOrdinaryPictureInTheLibrary)
{
    folder.write("secret.jpeg", "picture of another");
    folder.makeLink("a.photoslibrary/link.jpeg", folder / "secret.jpeg");
    folder.makeLink("a.photoslibrary/linked", folder.path());
    folder.makeFolder("a.photoslibrary/folder.jpeg");
    folder.write("a.photoslibrary/empty.jpeg", "");
    folder.write("a.photoslibrary/film.jpeg", "film");
    ASSERT_EQ(mkfifo((library / "pipe.jpeg").c_str(), 0600), 0);
    const std::string content = "picture" + someBytes(3'000'000);
    folder.write("a.photoslibrary/good.jpeg", content);

    EXPECT_EQ(trouble({"link.jpeg"}), PictureTrouble::refused);
    EXPECT_EQ(trouble({"linked/secret.jpeg"}), PictureTrouble::refused);
    EXPECT_EQ(trouble({"../secret.jpeg"}), PictureTrouble::refused);
    EXPECT_EQ(trouble({"folder.jpeg", "pipe.jpeg", "empty.jpeg", "none.jpeg"}), PictureTrouble::noFile);
    EXPECT_EQ(trouble({"film.jpeg"}), PictureTrouble::notAPicture);
    const auto good = read({"link.jpeg", "folder.jpeg", "pipe.jpeg", "film.jpeg", "good.jpeg", "none.jpeg"});
    ASSERT_TRUE(good.has_value());
    EXPECT_EQ(good->position, 4U);
    EXPECT_EQ(good->bytes, content);
    EXPECT_TRUE(calls->stillOpen().empty());
}

TEST_F(PictureReading, takesNoMemoryForWhatIsTooLarge)
{
    const auto huge = folder.write("a.photoslibrary/huge.jpeg", "picture");
    std::filesystem::resize_file(huge, mostPictureBytes + 1);
    EXPECT_EQ(trouble({"huge.jpeg"}), PictureTrouble::tooLarge);
    EXPECT_EQ(calls->count("read"), 0U);
}

TEST_F(PictureReading, tellsTheDiskFromTheFile)
{
    folder.write("a.photoslibrary/a.jpeg", "picture");
    calls->on("read", "*/a.jpeg").nth(1).fail(EIO);
    EXPECT_EQ(trouble({"a.jpeg"}), PictureTrouble::readError);
    EXPECT_TRUE(read({"a.jpeg"}).has_value()) << "the next try";

    auto cancel = std::make_shared<CancelToken>();
    cancel->cancel();
    EXPECT_EQ(trouble({"a.jpeg"}, cancel), PictureTrouble::cancelled);

    calls->removeRules();
    const auto hang = calls->on("read", "*/a.jpeg").hang();
    EXPECT_EQ(trouble({"a.jpeg"}), PictureTrouble::silent);
    EXPECT_GT(hang.hits(), 0U);
    clock->endHangs();
    calls->removeRules();
    std::filesystem::rename(library, folder / "gone");
    EXPECT_EQ(trouble({"a.jpeg"}), PictureTrouble::diskGone);
}

} // namespace
} // namespace vantorel
