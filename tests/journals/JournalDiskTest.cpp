#include "JournalFixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

namespace vantorel {
namespace {

using Failure = JournalReader::Failure;
using Lines = std::vector<std::string>;

/// Photos in both files, an album and a keyword.
struct Filled : JournalFixture {
    Filled()
    {
        write("Asset-snapshot", {wholeRecord(1, photo({{"keywords", idList({80})}}))});
        write("Asset-change", {wholeRecord(2, photo())});
        write("Album-snapshot", {wholeRecord(10, collection(2, "Trip", {{"assets", idList({1, 2})}}))});
        write("Folder-snapshot", {wholeRecord(20, {{"kind", 3999}, {"childCollections", idList({10})}})});
        write("Keyword-change", {wholeRecord(80, {{"title", "Sun"}})});
    }
};

const std::string unread = " of the journal files could not be read from the disk, so some albums, keywords "
                           "or recent changes may be "
                           "missing.";
const std::string lostKeyword =
    "1 keyword links point at a keyword that is lost, so those photos lost that keyword.";

TEST(JournalDisk, countsFilesThatItDoesNotGive)
{
    struct Row {
        const char* call;
        const char* journal;
        int code;
        std::size_t photos, albums;
        Lines told;
    };
    const std::vector<Row> rows{
        {"open", "Album-snapshot", EIO, 2, 1, {"1" + unread}},
        {"read", "Album-snapshot", EIO, 2, 1, {"1" + unread}},
        {"status", "Album-snapshot", EIO, 2, 1, {"1" + unread}},
        {"read", "Keyword-change", EACCES, 2, 2, {lostKeyword, "1" + unread}},
        {"read", "Asset-change", EIO, 1, 2,
            {"1 album entries point at a photo whose record is lost. The albums concerned are marked.",
                "1" + unread}},
        {"open", "Folder-snapshot", ELOOP, 2, 1, {"1" + unread}},
        {"open", "Album-snapshot", ENOENT, 2, 1, {}}, // gone since it was looked at
    };
    for (const Row& row : rows) {
        Filled journals;
        const auto rule = journals.calls->fail(row.call, journals.pathOf(row.journal), row.code);
        const auto result = journals.result();
        EXPECT_GT(rule.hits(), 0U) << row.journal;
        EXPECT_EQ(result.assets.size(), row.photos) << row.journal;
        EXPECT_EQ(result.albums.size(), row.albums) << row.journal;
        EXPECT_FALSE(result.damage.diskDidNotAnswer);
        if (row.code != ENOENT) {
            EXPECT_EQ(told(result), row.told) << row.call << " " << row.journal;
        }
        EXPECT_EQ(journals.calls->stillOpen().size(), 0U);
    }
}

TEST(JournalDisk, failsWhereItGivesNoPhotos)
{
    const std::vector<std::tuple<const char*, const char*, int, Failure>> rows{
        {"read", "Asset-*", EIO, Failure::unreadable},
        {"status", "Asset-*", EIO, Failure::unreadable},
        {"open", "Asset-*", EACCES, Failure::refused},
        {"status", "Asset-*", EPERM, Failure::refused},
        {"open", "Asset-*", ELOOP, Failure::refused},
    };
    for (const auto& [call, journal, code, failure] : rows) {
        Filled journals;
        journals.calls->fail(call, journals.pathOf(journal), code);
        const auto read = journals.read();
        ASSERT_FALSE(read) << call;
        EXPECT_EQ(read.error(), failure) << call << " " << code;
    }
}

TEST(JournalDisk, followsNoLinkOutOfTheLibrary)
{
    Filled journals;
    const auto asset = journals.pathOf("Asset-snapshot");
    journals.disk.write("elsewhere.plj", wholeRecord(5, photo()));
    std::filesystem::remove(asset);
    journals.remove("Asset");
    std::filesystem::create_symlink(journals.disk / "elsewhere.plj", asset);
    EXPECT_EQ(journals.read().error(), Failure::refused);

    Filled moved;
    const auto folder = moved.disk / "My.photoslibrary/resources";
    std::filesystem::rename(folder, moved.disk / "resources");
    std::filesystem::create_directory_symlink(moved.disk / "resources", folder);
    EXPECT_EQ(moved.read().error(), Failure::refused);
}

TEST(JournalDisk, isWaitedForAndThenGivenUp)
{
    Filled slow;
    slow.calls->on("read", slow.pathOf("Album-snapshot")).nth(1).delay(std::chrono::seconds(20));
    EXPECT_EQ(slow.result().albums.size(), 2U);
    EXPECT_EQ(slow.silences, (std::vector{true, false}));

    Filled silent;
    silent.calls->on("read", silent.pathOf("Album-snapshot")).hang();
    const auto result = silent.result();
    EXPECT_TRUE(result.damage.diskDidNotAnswer);
    EXPECT_EQ(told(result), Lines{"1" + unread});
    EXPECT_EQ(result.albums.size(), 1U);
    EXPECT_EQ(result.assets.at(0).keywords, std::vector<std::string>{"Sun"});
}

TEST(JournalDisk, isNotWaitedForOnceMoreAfterTwoSilences)
{
    Filled journals;
    journals.write("Album-change", {removed(11)});
    journals.calls->on("read", journals.pathOf("Album-*")).hang();
    const auto before = journals.clock->uptime();
    const auto result = journals.result();
    const auto waited = journals.clock->uptime() - before;
    EXPECT_EQ(told(result), Lines{"3" + unread}); // the folders were not asked for any more
    EXPECT_GE(waited, std::chrono::seconds(50));  // 30, then 20
    EXPECT_LE(waited, std::chrono::seconds(52));
}

TEST(JournalDisk, thatStaysSilentIsNoDamage)
{
    for (const char* call : {"read", "status"}) {
        Filled journals;
        journals.calls->on(call, journals.pathOf("Asset-*")).hang();
        const auto read = journals.read();
        ASSERT_FALSE(read);
        EXPECT_EQ(read.error(), Failure::notAnswering) << call;
    }
}

TEST(JournalDisk, isLeftWhenTheUserStops)
{
    for (const char* journal : {"Asset-snapshot", "Album-snapshot"}) {
        Filled journals;
        const auto rule =
            journals.calls->on("read", journals.pathOf(journal)).run([&] { journals.cancel->cancel(); });
        const auto read = journals.read();
        EXPECT_EQ(rule.hits(), 1U);
        ASSERT_FALSE(read);
        EXPECT_EQ(read.error(), Failure::cancelled);
    }
    Filled before;
    before.cancel->cancel();
    EXPECT_EQ(before.read().error(), Failure::cancelled);
}

TEST(JournalDisk, tellsWhetherThereAreJournalsWithPhotos)
{
    const auto presence = [](JournalFixture& journals) {
        return journalPresence(**Root::open(journals.calls, journals.disk / "My.photoslibrary"));
    };
    Filled filled;
    EXPECT_EQ(presence(filled), JournalPresence::present);
    filled.calls->fail("status", filled.pathOf("Asset-snapshot"), EIO);
    EXPECT_EQ(presence(filled), JournalPresence::present); // the other one
    filled.calls->fail("status", filled.pathOf("Asset-change"), EACCES);
    EXPECT_EQ(presence(filled), JournalPresence::unclear);
    JournalFixture empty;
    EXPECT_EQ(presence(empty), JournalPresence::absent);
    empty.remove("Asset");
    EXPECT_EQ(presence(empty), JournalPresence::absent);
}

} // namespace
} // namespace vantorel
