#include "database/PrivateDatabaseCopy.h"

#include "support/ManualClock.h"
#include "support/ScriptedCalls.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <tuple>
#include <vector>

namespace vantorel {
namespace {

using Kind = CopyFailure::Kind;
using Files = std::map<std::string, std::string>;
using Notes = std::vector<std::string>;
using namespace std::chrono_literals;

const std::string unsettled =
    "Photos kept changing this library while it was read, so the newest changes may be "
    "missing. Quit Photos and scan again for an exact result.";
const std::string logLost = "The library's -wal file could not be read, so the newest changes are missing.";

class PrivateDatabaseCopyTest : public testing::Test {
protected:
    PrivateDatabaseCopyTest()
    {
        write("Photos.sqlite", database);
        write("Photos.sqlite-wal", log);
        write("Photos.sqlite-shm", "index");
        folder.makeFolder("private");
        place = *TemporaryFiles::create(calls, folder / "private");
        request.library = *Root::open(calls, folder / "Old.photoslibrary");
        request.place = place;
        request.stallLimit = Seconds(20);
        request.cancel = std::make_shared<CancelToken>();
    }

    std::filesystem::path path(const std::string& name) const
    {
        return folder / "Old.photoslibrary/database" / name;
    }
    void write(const std::string& name, const std::string& bytes) const
    {
        folder.write("Old.photoslibrary/database/" + name, bytes);
    }
    auto copy() { return copyDatabase(clock, request); }
    /// Files of a copy by name.
    Files filesOf(const PrivateDatabaseCopy& copied) const
    {
        return folder.tree(copied.folder.lexically_relative(folder.path()));
    }
    /// What lies in the private place now.
    Files leftovers() const
    {
        return folder.tree(place->temporaryDirectory().lexically_relative(folder.path()));
    }

    const std::string database = someBytes(2'500'000, 1);
    const std::string log = someBytes(70'000, 2);
    TemporaryFolder folder;
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<ScriptedCalls> calls = std::make_shared<ScriptedCalls>(clock);
    std::shared_ptr<TemporaryFiles> place;
    DatabaseCopyRequest request;
};

TEST_F(PrivateDatabaseCopyTest, holdsEveryByteAndGoesWithItsObject)
{
    const Files before = folder.tree("Old.photoslibrary");
    std::vector<std::pair<std::int64_t, std::int64_t>> progress;
    request.onBytes = [&](std::int64_t done, std::int64_t total) { progress.emplace_back(done, total); };
    {
        const auto copied = copy();
        ASSERT_TRUE(copied);
        EXPECT_EQ((*copied)->database, (*copied)->folder / "Photos.sqlite");
        EXPECT_TRUE(filesOf(**copied)
            == (Files{
                {"Photos.sqlite", database}, {"Photos.sqlite-wal", log}, {"Photos.sqlite-shm", "index"}}));
        EXPECT_EQ(std::tuple((*copied)->notes, (*copied)->badBytes, (*copied)->walUnreadable,
                      (*copied)->didNotSettle),
            std::tuple(Notes{}, 0, false, false));
    }
    EXPECT_EQ(leftovers(), Files{});
    const std::int64_t total = 2'500'000 + 70'000 + 5;
    EXPECT_EQ(progress.front(), std::pair(std::int64_t{0}, total));
    EXPECT_EQ(progress.back(), std::pair(total, total));
    EXPECT_TRUE(folder.tree("Old.photoslibrary") == before);

    std::filesystem::remove(path("Photos.sqlite-wal"));
    std::filesystem::remove(path("Photos.sqlite-shm"));
    const auto alone = copy();
    ASSERT_TRUE(alone);
    EXPECT_TRUE(filesOf(**alone) == (Files{{"Photos.sqlite", database}}));
    EXPECT_EQ((*alone)->notes, Notes{});
}

TEST_F(PrivateDatabaseCopyTest, isRefusedForWhatIsNoFileInsideTheLibrary)
{
    const CopyFailure link{
        .kind = Kind::refused, .reason = "its database is a link, not a file, so it is not read"};
    const CopyFailure outside{.kind = Kind::refused,
        .reason = "its database folder leads outside the library, so it is not read",
        .code = ELOOP};
    const CopyFailure folderInstead{.kind = Kind::refused, .reason = "Photos.sqlite is not a regular file"};
    const auto missing = [](int code) { return CopyFailure{.kind = Kind::missing, .code = code}; };
    folder.write("elsewhere/Photos.sqlite", database);
    const auto toLibrary = [this](const char* name) { return folder / "Old.photoslibrary" / name; };
    const auto clear = [&] { std::filesystem::remove_all(toLibrary("database")); };
    struct Row {
        const char* what;
        std::function<void()> prepare;
        CopyFailure failure;
    };
    const std::vector<Row> rows{
        {"a link to a file",
            [&] {
                std::filesystem::remove(path("Photos.sqlite"));
                std::filesystem::create_symlink(folder / "elsewhere/Photos.sqlite", path("Photos.sqlite"));
            },
            link},
        {"a folder in its place",
            [&] {
                std::filesystem::remove(path("Photos.sqlite"));
                std::filesystem::create_directory(path("Photos.sqlite"));
            },
            folderInstead},
        {"companions alone", [&] { std::filesystem::remove(path("Photos.sqlite")); }, missing(ENOENT)},
        {"no folder", clear, missing(ENOENT)},
        {"a file in the folder's place", [&] { folder.write("Old.photoslibrary/database", "x"); },
            missing(ENOTDIR)},
        {"a folder that leads outside",
            [&] {
                clear();
                std::filesystem::create_directory_symlink(folder / "elsewhere", toLibrary("database"));
            },
            outside},
        {"a link back into the library",
            [&] {
                clear();
                folder.write("Old.photoslibrary/other/Photos.sqlite", database);
                std::filesystem::create_directory_symlink("other", toLibrary("database"));
            },
            outside},
    };
    for (const Row& row : rows) {
        row.prepare();
        const auto copied = copy();
        ASSERT_FALSE(copied) << row.what;
        EXPECT_EQ(copied.error(), row.failure) << row.what << ": " << copied.error().reason;
        EXPECT_EQ(leftovers(), Files{}) << row.what;
    }
}

TEST_F(PrivateDatabaseCopyTest, tellsADiskThatRefusesFailsHangsOrGoesAwayApart)
{
    const std::string file = "*/database/Photos.sqlite";
    const std::string readError = "the disk gave an error for the database file";
    struct Row {
        const char* what;
        std::function<ScriptedCalls::Rule()> disturb;
        CopyFailure failure;
    };
    const auto gone = [this] { calls->on("fileSystemIdentifier").from(2).otherFileSystem(99); };
    const std::vector<Row> rows{
        {"no permission to look", [&] { return calls->fail("status", file, EACCES); },
            {.kind = Kind::denied, .code = EACCES}},
        {"no permission to open", [&] { return calls->fail("openBeneath", file, EPERM); },
            {.kind = Kind::denied, .code = EPERM}},
        {"an error at the look", [&] { return calls->fail("status", file, EIO); },
            {.kind = Kind::unreadable, .reason = readError, .code = EIO}},
        {"errors for every byte", [&] { return calls->fail("read", file, EIO); },
            {.kind = Kind::unreadable, .reason = "the disk gave errors for all of it"}},
        {"errors that each take a minute", [&] { return calls->on("read", file).delay(60s).fail(EIO); },
            {.kind = Kind::unreadable, .reason = readError + " while reading it", .code = EIO}},
        {"silence at the look", [&] { return calls->on("status", file).hang(); },
            {.kind = Kind::notAnswering}},
        {"silence at the opening", [&] { return calls->on("openBeneath", file).hang(); },
            {.kind = Kind::notAnswering}},
        {"silence while reading", [&] { return calls->on("read", file).from(2).hang(); },
            {.kind = Kind::notAnswering}},
        {"another volume, nothing there",
            [&] {
                gone();
                return calls->fail("status", file, ENOENT);
            },
            {.kind = Kind::gone, .code = ENOENT}},
        {"another volume while reading",
            [&] {
                gone();
                return calls->on("read", file).from(2).fail(ENXIO);
            },
            {.kind = Kind::gone, .code = ENXIO}},
        {"another volume, silence",
            [&] {
                gone();
                return calls->on("read", file).from(2).hang();
            },
            {.kind = Kind::gone}},
        {"gone while the log is read",
            [&] {
                gone();
                return calls->fail("read", file + "-wal", ENXIO);
            },
            {.kind = Kind::gone, .code = ENXIO}},
        {"the private place is full", [&] { return calls->on("write", "*private*").room(1'200'000); },
            {.kind = Kind::writeFailed,
                .reason = "this Mac could not write the private copy (No space left on device)",
                .code = ENOSPC}},
        {"the private place hangs", [&] { return calls->on("write", "*private*").nth(2).hang(); },
            {.kind = Kind::writeFailed,
                .reason = "this Mac could not write the private copy (its disk did not answer)"}},
        {"a file larger than the private place",
            [&] {
                return calls->on("status", file).changeStatus([](FileStatus& status) {
                    status.size = 1LL << 59;
                });
            },
            {.kind = Kind::noSpace, .neededBytes = (1LL << 59) + 70'005 + (64LL << 20)}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        const auto rule = row.disturb();
        auto copied = copy();
        EXPECT_GT(rule.hits(), 0U);
        calls->removeRules();
        clock->endHangs();
        ASSERT_FALSE(copied);
        copied.error().freeBytes = 0; // the machine's own
        EXPECT_EQ(copied.error(), row.failure)
            << static_cast<int>(copied.error().kind) << " " << copied.error().reason << copied.error().code;
        EXPECT_EQ(leftovers(), Files{});
    }
}

TEST_F(PrivateDatabaseCopyTest, fillsUnreadableStretchesOfTheDatabaseWithZeros)
{
    request.hooks.readFault = [](const std::string& file, std::int64_t offset, std::size_t size) {
        const std::int64_t bad = 1'048'576 + 3 * 4'096;
        const bool hit = file == "Photos.sqlite" && offset < bad + 2 * 4'096
            && offset + static_cast<std::int64_t>(size) > bad;
        return hit ? std::optional(EIO) : std::nullopt;
    };
    const auto copied = copy();
    ASSERT_TRUE(copied);
    std::string expected = database;
    expected.replace(1'048'576 + 3 * 4'096, 8'192, 8'192, '\0');
    EXPECT_TRUE(filesOf(**copied)["Photos.sqlite"] == expected);
    EXPECT_EQ((*copied)->badBytes, 8'192);
    EXPECT_EQ((*copied)->notes, Notes{}); // the reader words it
}

TEST_F(PrivateDatabaseCopyTest, goesOnWithoutACompanionThatCannotBeRead)
{
    const std::string logFile = "*/Photos.sqlite-wal";
    const std::string indexFile = "*/Photos.sqlite-shm";
    const auto indexNote = [](const std::string& why) {
        return "Photos.sqlite-shm file could not be read (" + why + "), so the newest changes are missing.";
    };
    const Files withoutLog{{"Photos.sqlite", database}, {"Photos.sqlite-shm", "index"}};
    const Files withoutIndex{{"Photos.sqlite", database}, {"Photos.sqlite-wal", log}};
    struct Row {
        const char* what;
        std::function<void()> disturb;
        Files files;
        Notes notes;
    };
    const std::vector<Row> rows{
        {"no permission for the log", [&] { calls->fail("openBeneath", logFile, EACCES); }, withoutLog,
            {logLost}},
        {"an error at the look", [&] { calls->fail("status", logFile, EIO); }, withoutLog, {logLost}},
        // A log with a hole in it would be an older state than the pages merged from behind the hole.
        {"one bad place in the log", [&] { calls->on("read", logFile).at(50'000).fail(EIO); }, withoutLog,
            {logLost}},
        {"silence", [&] { calls->on("read", logFile).hang(); }, withoutLog, {logLost}},
        {"silence after its header", [&] { calls->on("read", logFile).nth(2).hang(); }, withoutLog,
            {logLost}},
        {"an error that goes away", [&] { calls->on("read", logFile).nth(2).fail(EIO); },
            {{"Photos.sqlite", database}, {"Photos.sqlite-wal", log}, {"Photos.sqlite-shm", "index"}}, {}},
        {"an error in the index", [&] { calls->fail("read", indexFile, EIO); }, withoutIndex,
            {indexNote("Input/output error")}},
        {"silence of the index", [&] { calls->on("read", indexFile).hang(); }, withoutIndex,
            {indexNote("the disk did not answer")}},
        {"a link as the log",
            [&] {
                std::filesystem::rename(path("Photos.sqlite-wal"), folder / "wal");
                std::filesystem::create_symlink(folder / "wal", path("Photos.sqlite-wal"));
            },
            withoutLog, {logLost}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        row.disturb();
        const auto copied = copy();
        calls->removeRules();
        clock->endHangs();
        ASSERT_TRUE(copied) << copied.error().reason;
        EXPECT_TRUE(filesOf(**copied) == row.files);
        EXPECT_EQ((*copied)->notes, row.notes);
        EXPECT_EQ((*copied)->walUnreadable, row.notes == Notes{logLost});
        EXPECT_FALSE((*copied)->didNotSettle);
    }
}

TEST_F(PrivateDatabaseCopyTest, isMadeAgainWhenTheFilesChanged)
{
    int tries = 0;
    const auto inPlace = [this](const std::string& name, std::streamoff at, const std::string& bytes) {
        const auto modified = std::filesystem::last_write_time(path(name));
        std::fstream file(path(name), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(at).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        file.close();
        std::filesystem::last_write_time(path(name), modified);
    };
    struct Row {
        const char* what;
        std::function<void()> change;
        bool isOne; ///< A change of the database's state.
    };
    const std::vector<Row> rows{
        {"the database grows", [&] { std::ofstream(path("Photos.sqlite"), std::ios::app) << "more"; }, true},
        {"the log grows", [&] { std::ofstream(path("Photos.sqlite-wal"), std::ios::app) << "more"; }, true},
        {"the log is merged and emptied", [&] { std::ofstream(path("Photos.sqlite-wal")).close(); }, true},
        {"the log goes away", [&] { std::filesystem::remove(path("Photos.sqlite-wal")); }, true},
        {"a log comes", [&] { write("Photos.sqlite-wal", log); }, true},
        // Where the disk's times are coarse, only its header tells.
        {"the log is begun anew, unseen in its time", [&] { inPlace("Photos.sqlite-wal", 16, "new salt"); },
            true},
        {"another database under the name",
            [&] {
                write("new", database);
                std::filesystem::last_write_time(
                    path("new"), std::filesystem::last_write_time(path("Photos.sqlite")));
                std::filesystem::rename(path("new"), path("Photos.sqlite"));
            },
            true},
        {"the log's index changes", [&] { write("Photos.sqlite-shm", "other index"); }, false},
        {"the log's index goes away", [&] { std::filesystem::remove(path("Photos.sqlite-shm")); }, false},
        {"nothing", [] {}, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        tries = 0;
        request.hooks.afterFirstLook = [&] {
            if (++tries == 1) {
                row.change();
            }
        };
        const auto copied = copy();
        ASSERT_TRUE(copied) << copied.error().reason;
        EXPECT_EQ(tries, row.isOne ? 2 : 1);
        EXPECT_FALSE((*copied)->didNotSettle);
        EXPECT_EQ((*copied)->notes, Notes{});
        EXPECT_TRUE(filesOf(**copied) == folder.tree("Old.photoslibrary/database"));
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(place->temporaryDirectory()), {}), 1);
    }

    tries = 0;
    request.hooks.afterFirstLook = [&] {
        ++tries;
        std::ofstream(path("Photos.sqlite-wal"), std::ios::app) << "more";
    };
    const auto copied = copy();
    ASSERT_TRUE(copied);
    EXPECT_EQ(tries, 3);
    EXPECT_TRUE((*copied)->didNotSettle);
    EXPECT_EQ((*copied)->notes, Notes{unsettled});

    // The database itself goes away and comes back.
    tries = 0;
    request.hooks.afterFirstLook = [&] {
        if (++tries == 1) {
            std::filesystem::remove(path("Photos.sqlite"));
            calls->on("status", "*/Photos.sqlite").nth(1).run([this] { write("Photos.sqlite", database); });
        }
    };
    EXPECT_TRUE(copy());
    request.hooks.afterFirstLook = [&] { std::filesystem::remove(path("Photos.sqlite")); };
    const auto lost = copy();
    ASSERT_FALSE(lost);
    EXPECT_EQ(lost.error().kind, Kind::missing);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(place->temporaryDirectory()), {}), 1)
        << "only the copy that is still held";
}

TEST_F(PrivateDatabaseCopyTest, endsWhenTheUserStops)
{
    request.hooks.afterFirstLook = [this] { request.cancel->cancel(); };
    EXPECT_EQ(copy().error(), CopyFailure{.kind = Kind::cancelled});

    request.cancel = std::make_shared<CancelToken>();
    request.hooks.afterFirstLook = {};
    calls->on("read", "*/Photos.sqlite").from(2).run([this] { request.cancel->cancel(); }).hang();
    EXPECT_EQ(copy().error(), CopyFailure{.kind = Kind::cancelled});
    EXPECT_EQ(leftovers(), Files{});
}

TEST_F(PrivateDatabaseCopyTest, showsAndHidesTheNoticeAndTellsNothingAfterItsEnd)
{
    bool ended = false;
    std::vector<bool> notices;
    request.onSilence = [&](bool shown) {
        EXPECT_FALSE(ended);
        notices.push_back(shown);
    };
    request.onBytes = [&](std::int64_t, std::int64_t) { EXPECT_FALSE(ended); };
    calls->on("read", "*/Photos.sqlite").nth(2).delay(15s);
    EXPECT_TRUE(copy());
    EXPECT_EQ(notices, (std::vector<bool>{true, false}));

    notices.clear();
    calls->on("write", "*private*").nth(1).hang();
    EXPECT_FALSE(copy());
    ended = true;
    EXPECT_EQ(notices, (std::vector<bool>{true, false}));
    calls->removeRules();
    clock->endHangs(); // the worker that was left behind goes on
}

} // namespace
} // namespace vantorel
