#include "disk/FS.h"

#include "support/ManualClock.h"
#include "support/ScriptedCalls.h"
#include "support/TemporaryFolder.h"

#include <cerrno>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace vantorel {
namespace {

using FS::Kind;
using FS::Links;

/// The names and kinds of a listing, and what it counted.
struct Listed {
    std::vector<std::pair<std::string, Kind>> entries{};
    std::int64_t bad = 0;
    std::int64_t denied = 0;
    bool stoppedEarly = false;
    int code = 0;

    bool operator==(const Listed&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Listed& listed)
    {
        for (const auto& [name, kind] : listed.entries) {
            out << name << ":" << static_cast<int>(kind) << " ";
        }
        return out << listed.bad << " bad, " << listed.denied << " denied, code " << listed.code
                   << (listed.stoppedEarly ? ", stopped" : "");
    }
};

Listed summaryOf(const FS::PartialList& list)
{
    Listed listed{.bad = list.badEntries,
        .denied = list.deniedEntries,
        .stoppedEarly = list.stoppedEarly,
        .code = list.code};
    for (const FS::Entry& entry : list.entries) {
        listed.entries.emplace_back(entry.name, entry.kind);
    }
    return listed;
}

std::expected<FS::PartialList, FS::ListFailure> listOf(const SystemCalls& calls, const DiskPath& folder,
    Heartbeat* heartbeat = nullptr, Links links = Links::followed)
{
    FS::ListBox box;
    auto list = FS::list(calls, folder, heartbeat, box, links);
    if (list) {
        EXPECT_EQ(box.taken(), *list); // a waiter that gave up just now loses nothing
    }
    return list;
}

struct Failure {
    int code;
    Kind kind;
    FS::ListFailure::Kind listing;
};

class FailureIsToldApart : public testing::TestWithParam<Failure> { };

TEST_P(FailureIsToldApart, byItsNumber)
{
    const TemporaryFolder folder;
    const auto file = folder.write("file", "x");
    const auto calls = std::make_shared<ScriptedCalls>();
    calls->fail("status", file, GetParam().code);
    calls->fail("openFolder", folder.path(), GetParam().code);
    EXPECT_EQ(FS::kind(*calls, file, Links::notFollowed), GetParam().kind);
    EXPECT_EQ(FS::kind(*calls, file, Links::followed), GetParam().kind);
    EXPECT_EQ(FS::size(*calls, file), std::nullopt);
    const auto list = listOf(*calls, folder.path());
    ASSERT_FALSE(list);
    EXPECT_EQ(list.error(), (FS::ListFailure{GetParam().listing, GetParam().code}));
}

INSTANTIATE_TEST_SUITE_P(Numbers, FailureIsToldApart,
    testing::Values(Failure{EPERM, Kind::denied, FS::ListFailure::Kind::denied},
        Failure{EACCES, Kind::denied, FS::ListFailure::Kind::denied},
        Failure{ENOENT, Kind::missing, FS::ListFailure::Kind::missing},
        Failure{ENOTDIR, Kind::missing, FS::ListFailure::Kind::missing},
        Failure{EIO, Kind::unavailable, FS::ListFailure::Kind::unavailable},
        Failure{ENXIO, Kind::unavailable, FS::ListFailure::Kind::unavailable},
        Failure{ELOOP, Kind::unavailable, FS::ListFailure::Kind::unavailable},
        Failure{ENAMETOOLONG, Kind::unavailable, FS::ListFailure::Kind::unavailable},
        Failure{ESTALE, Kind::unavailable, FS::ListFailure::Kind::unavailable},
        Failure{ETIMEDOUT, Kind::unavailable, FS::ListFailure::Kind::unavailable},
        Failure{EMFILE, Kind::unavailable, FS::ListFailure::Kind::unavailable}));

TEST(FS, tellsKindsWithAndWithoutFollowingLinks)
{
    const TemporaryFolder folder;
    folder.write("file", "12345");
    folder.makeFolder("folder");
    folder.makeLink("toFile", "file");
    folder.makeLink("toFolder", "folder");
    folder.makeLink("dangling", "nothing");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    struct Row {
        const char* name;
        Kind notFollowed;
        Kind followed;
        std::optional<std::int64_t> size;
    };
    const auto& calls = *realSystemCalls();
    for (const Row& row :
        {Row{"file", Kind::regular, Kind::regular, 5}, Row{"folder", Kind::directory, Kind::directory, {}},
            Row{"toFile", Kind::special, Kind::regular, {}},
            Row{"toFolder", Kind::special, Kind::directory, {}},
            Row{"dangling", Kind::special, Kind::missing, {}}, Row{"pipe", Kind::special, Kind::special, {}},
            Row{"nothing", Kind::missing, Kind::missing, {}},
            Row{"file/beneath", Kind::missing, Kind::missing, {}}}) {
        EXPECT_EQ(FS::kind(calls, folder / row.name, Links::notFollowed), row.notFollowed) << row.name;
        EXPECT_EQ(FS::kind(calls, folder / row.name, Links::followed), row.followed) << row.name;
        EXPECT_EQ(FS::size(calls, folder / row.name), row.size) << row.name;
    }
}

TEST(FS, listsByNameInBytes)
{
    const TemporaryFolder folder;
    folder.write("b", "12");
    folder.write("B", "");
    folder.write("a\xcc\x88", "decomposed");
    folder.write("\xc3\xa4", "composed");
    folder.write(".hidden", "");
    folder.makeFolder("a");
    folder.makeLink("link", "b");
    const auto list = listOf(*realSystemCalls(), folder.path());
    ASSERT_TRUE(list);
    EXPECT_EQ(summaryOf(*list),
        (Listed{.entries = {{".hidden", Kind::regular}, {"B", Kind::regular}, {"a", Kind::directory},
                    {"a\xcc\x88", Kind::regular}, {"b", Kind::regular}, {"link", Kind::special},
                    {"\xc3\xa4", Kind::regular}}}));
    const auto status = realSystemCalls()->status(folder / "b", Links::notFollowed);
    EXPECT_EQ(list->entries[4],
        (FS::Entry{.name = "b",
            .kind = Kind::regular,
            .size = 2,
            .modified = std::chrono::floor<std::chrono::seconds>(status->modified)}));
    EXPECT_EQ(listOf(*realSystemCalls(), folder / "b").error(),
        (FS::ListFailure{FS::ListFailure::Kind::missing, ENOTDIR}));
}

TEST(FS, followsALinkToTheFolderOnlyWhereAsked)
{
    const TemporaryFolder folder;
    folder.write("folder/file", "x");
    const auto link = folder.makeLink("link", "folder");
    const auto followed = listOf(*realSystemCalls(), link);
    ASSERT_TRUE(followed);
    EXPECT_EQ(summaryOf(*followed), (Listed{.entries = {{"file", Kind::regular}}}));
    EXPECT_FALSE(listOf(*realSystemCalls(), link, nullptr, Links::notFollowed));
}

struct EntryTrouble {
    const char* what;
    int code;
    Listed expected;

    friend std::ostream& operator<<(std::ostream& out, const EntryTrouble& row) { return out << row.what; }
};

class ListWithTrouble : public testing::TestWithParam<EntryTrouble> { };

TEST_P(ListWithTrouble, keepsTheOtherEntries)
{
    const TemporaryFolder folder;
    for (const char* name : {"a", "b", "c"}) {
        folder.write(name, name);
    }
    const auto calls = std::make_shared<ScriptedCalls>();
    const auto trouble = calls->fail("status", folder / "b", GetParam().code);
    const auto list = listOf(*calls, folder.path());
    ASSERT_TRUE(list);
    EXPECT_EQ(trouble.hits(), 1u);
    EXPECT_EQ(summaryOf(*list), GetParam().expected);
    EXPECT_EQ(calls->stillOpen(), std::vector<DiskPath>{});
}

const std::vector<std::pair<std::string, Kind>> others{{"a", Kind::regular}, {"c", Kind::regular}};

INSTANTIATE_TEST_SUITE_P(Entries, ListWithTrouble,
    testing::Values(EntryTrouble{"vanished", ENOENT, {.entries = others}},
        EntryTrouble{"refused", EACCES, {.entries = others, .denied = 1, .code = EACCES}},
        EntryTrouble{"refusedOtherwise", EPERM, {.entries = others, .denied = 1, .code = EPERM}},
        EntryTrouble{"unreadable", EIO, {.entries = others, .bad = 1, .code = EIO}},
        EntryTrouble{"notAFolderAnyMore", ENOTDIR, {.entries = others, .bad = 1, .code = ENOTDIR}}));

TEST(FS, keepsWhatWasListedBeforeReadingEndedWithAnError)
{
    const TemporaryFolder folder;
    for (int i = 0; i < 10; ++i) {
        folder.write("file" + std::to_string(i), "");
    }
    for (std::size_t nth = 1; nth <= 13; ++nth) { // ten files, two dots, the end
        const auto calls = std::make_shared<ScriptedCalls>();
        const auto trouble = calls->on("nextEntry").nth(nth).fail(EIO);
        const auto list = listOf(*calls, folder.path());
        ASSERT_TRUE(list);
        EXPECT_EQ(trouble.hits(), 1u) << nth;
        EXPECT_TRUE(list->stoppedEarly) << nth;
        EXPECT_EQ(list->code, EIO);
        EXPECT_LT(list->entries.size(), nth);
        EXPECT_GE(list->entries.size() + 3, nth);
    }
}

TEST(FS, beatsOncePerEntryAndEndsWhenGivenUp)
{
    const TemporaryFolder folder;
    for (const char* name : {"a", "b", "c", "d"}) {
        folder.write(name, name);
    }
    const auto clock = std::make_shared<ManualClock>();
    const auto heartbeat = std::make_shared<Heartbeat>(clock);
    const auto calls = std::make_shared<ScriptedCalls>();
    int looks = 0;
    calls->on("status").run([&] {
        EXPECT_EQ(heartbeat->silence(), Seconds(0)) << "the entry before has not beaten";
        clock->advance(std::chrono::seconds(5));
        if (++looks == 3) {
            heartbeat->giveUp();
        }
    });
    FS::ListBox box;
    const auto list = FS::list(*calls, folder.path(), heartbeat.get(), box);
    ASSERT_TRUE(list);
    EXPECT_EQ(list->entries.size(), 3u);
    EXPECT_TRUE(list->stoppedEarly);
    EXPECT_EQ(list->code, 0);
}

TEST(FS, letsAWaiterTakeWhatWasListedSoFar)
{
    const TemporaryFolder folder;
    for (const char* name : {"a", "b", "c"}) {
        folder.write(name, name);
    }
    FS::ListBox box;
    std::vector<std::size_t> seen;
    const auto calls = std::make_shared<ScriptedCalls>();
    calls->on("status").run([&] { seen.push_back(box.taken().entries.size()); });
    ASSERT_TRUE(FS::list(*calls, folder.path(), nullptr, box));
    EXPECT_EQ(seen, (std::vector<std::size_t>{0, 1, 2}));
    EXPECT_EQ(box.taken().entries.size(), 3u);
}

TEST(FS, tellsCloudFilesInListings)
{
    const TemporaryFolder folder;
    folder.write("here", "x");
    folder.write("elsewhere", "x");
    const auto calls = std::make_shared<ScriptedCalls>();
    calls->on("status", "*/elsewhere").cloudFile();
    const auto list = listOf(*calls, folder.path());
    ASSERT_TRUE(list);
    EXPECT_TRUE(list->entries[0].contentElsewhere);
    EXPECT_FALSE(list->entries[1].contentElsewhere);
}

} // namespace
} // namespace vantorel
