#include "disk/Root.h"

#include "support/ManualClock.h"
#include "support/ScriptedCalls.h"
#include "support/TemporaryFolder.h"

#include <array>
#include <cerrno>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>

namespace vantorel {
namespace {

using namespace std::string_literals;
using Links = SystemCalls::Links;
using Tree = std::map<std::string, std::string>;

std::shared_ptr<const Root> rootAt(
    const DiskPath& path, std::shared_ptr<const SystemCalls> calls = realSystemCalls())
{
    auto root = Root::open(std::move(calls), path);
    EXPECT_TRUE(root) << path;
    return root.value_or(nullptr);
}

template <typename T>
int codeOf(const CallResult<T>& result)
{
    return result ? 0 : result.error();
}

int codeOf(const std::expected<FS::PartialList, FS::ListFailure>& list)
{
    return list ? 0 : list.error().code;
}

struct Operation {
    const char* name;
    std::function<int(const Root&, const DiskPath&)> run;
};

/// Each of them on a path beneath the root; 0 or the error number.
const std::array<Operation, 12> operations{{
    {"openFile",
        [](const Root& root, const DiskPath& path) {
            return codeOf(root.openFile(path, readOnlyOpenFlags()));
        }},
    {"create",
        [](const Root& root, const DiskPath& path) {
            return codeOf(root.openFile(path, O_WRONLY | O_CREAT | O_EXCL, 0644));
        }},
    {"status", [](const Root& root, const DiskPath& path) { return codeOf(root.status(path)); }},
    {"list",
        [](const Root& root, const DiskPath& path) {
            FS::ListBox box;
            return codeOf(root.list(path, nullptr, box));
        }},
    {"makeFolder", [](const Root& root, const DiskPath& path) { return codeOf(root.makeFolder(path)); }},
    {"renameFrom", [](const Root& root, const DiskPath& path) { return codeOf(root.rename(path, "moved")); }},
    {"renameTo", [](const Root& root, const DiskPath& path) { return codeOf(root.rename("mine", path)); }},
    {"renameExclusive",
        [](const Root& root, const DiskPath& path) { return codeOf(root.renameExclusive("mine", path)); }},
    {"unlink", [](const Root& root, const DiskPath& path) { return codeOf(root.unlink(path)); }},
    {"removeFolder", [](const Root& root, const DiskPath& path) { return codeOf(root.removeFolder(path)); }},
    {"syncFolder", [](const Root& root, const DiskPath& path) { return codeOf(root.syncFolder(path)); }},
    {"readWhole",
        [](const Root& root, const DiskPath& path) { return codeOf(readWhole(root, path, 1'000)); }},
}};

TEST(Root, refusesPathsThatAreNotBeneathItWithoutACall)
{
    const TemporaryFolder folder;
    folder.write("root/mine", "mine");
    folder.write("outside", "outside");
    const Tree before = folder.tree();
    const auto calls = std::make_shared<ScriptedCalls>();
    const auto root = rootAt(folder / "root", calls);
    for (const auto& [path, code] : {std::pair("../outside"s, EXDEV), {"..", EXDEV}, {"a/../mine", EXDEV},
             {"a/..", EXDEV}, {folder / "outside", EXDEV}, {"/", EXDEV}, {"a//b", EINVAL}, {"mine/", EINVAL},
             {"mi\0ne"s, EINVAL}}) {
        EXPECT_FALSE(isSafeRelativePath(path)) << path;
        const auto callsBefore = calls->log();
        for (const Operation& operation : operations) {
            EXPECT_EQ(operation.run(*root, path), code) << operation.name << " " << path;
        }
        EXPECT_EQ(codeOf(writeDurably(*root, path, "final", "x")), code);
        EXPECT_EQ(calls->log(), callsBefore) << path;
        EXPECT_EQ(codeOf(writeDurably(*root, "temporary", path, "x")), code);
    }
    EXPECT_EQ(folder.tree(), before);
    for (const char* path : {"", "a", "a/b/c", "a..b", "...", "a/ "}) {
        EXPECT_TRUE(isSafeRelativePath(path)) << path;
    }
}

TEST(Root, followsNoLinkOnTheWay)
{
    const TemporaryFolder folder;
    folder.write("root/mine", "mine");
    folder.write("outside/file", "outside");
    folder.makeFolder("outside/empty");
    folder.makeLink("root/link", "../outside");
    folder.makeLink("root/inner", ".");
    const Tree before = folder.tree();
    const auto root = rootAt(folder / "root");
    for (const Operation& operation : operations) {
        for (const char* path : {"link/file", "link/empty", "link/new", "inner/mine", "inner/link/file"}) {
            EXPECT_EQ(operation.run(*root, path), ELOOP) << operation.name << " " << path;
        }
    }
    EXPECT_EQ(root->kind("link/file"), FS::Kind::unavailable);
    EXPECT_EQ(root->kind("link"), FS::Kind::special);
    EXPECT_EQ(folder.tree(), before);
}

TEST(Root, takesTheLastComponentOfALinkForTheLinkItself)
{
    const TemporaryFolder folder;
    folder.write("root/file", "file");
    folder.makeLink("root/toFile", "file");
    folder.makeLink("root/toFolder", ".");
    const auto root = rootAt(folder / "root");
    EXPECT_EQ(codeOf(root->openFile("toFile", O_RDONLY)), ELOOP);
    EXPECT_EQ(codeOf(readWhole(*root, "toFile", 100)), ELOOP);
    FS::ListBox box;
    EXPECT_EQ(root->list("toFolder", nullptr, box).error(),
        (FS::ListFailure{FS::ListFailure::Kind::unavailable, ELOOP}));
    EXPECT_EQ(root->status("toFile")->type, FileStatus::Type::link);
    EXPECT_EQ(codeOf(root->unlink("toFile")), 0);
    EXPECT_EQ(folder.tree("root"), (Tree{{"file", "file"}, {"toFolder", "-> ."}}));
}

TEST(Root, noticesAFolderThatIsSwappedForALink)
{
    for (const Operation& operation : operations) {
        const TemporaryFolder folder;
        folder.write("root/mine", "mine");
        folder.write("root/album/file", "mine");
        folder.write("outside/file", "outside");
        folder.makeFolder("outside/empty");
        const Tree outside = folder.tree("outside");
        const auto root = rootAt(folder / "root");
        EXPECT_EQ(root->kind("album/file"), FS::Kind::regular);
        std::filesystem::rename(folder / "root/album", folder / "root/before");
        folder.makeLink("root/album", "../outside");
        EXPECT_EQ(operation.run(*root, "album/file"), ELOOP) << operation.name;
        EXPECT_EQ(operation.run(*root, "album/new"), ELOOP) << operation.name;
        EXPECT_EQ(operation.run(*root, "album/empty"), ELOOP) << operation.name;
        EXPECT_EQ(folder.tree("outside"), outside) << operation.name;
    }
}

TEST(Root, staysWithItsFolderWhenThatIsRenamed)
{
    const TemporaryFolder folder;
    folder.write("root/file", "mine");
    folder.write("other/file", "other");
    const auto root = rootAt(folder / "root");
    std::filesystem::rename(folder / "root", folder / "moved");
    std::filesystem::rename(folder / "other", folder / "root");
    EXPECT_EQ(readWhole(*root, "file", 100), "mine");
}

TEST(Root, opensThroughALinkOnlyWhereThatIsMeant)
{
    const TemporaryFolder folder;
    folder.write("root/file", "x");
    const auto link = folder.makeLink("link", "root");
    EXPECT_EQ(readWhole(*rootAt(link), "file", 100), "x");
    EXPECT_FALSE(Root::open(realSystemCalls(), link, Links::notFollowed));
    EXPECT_TRUE(Root::open(realSystemCalls(), folder / "root", Links::notFollowed));
    EXPECT_EQ(codeOf(Root::open(realSystemCalls(), folder / "root/file")), ENOTDIR);
    EXPECT_EQ(codeOf(Root::open(realSystemCalls(), folder / "none")), ENOENT);
}

TEST(Root, changesNamesBeneathIt)
{
    const TemporaryFolder folder;
    const auto calls = std::make_shared<ScriptedCalls>();
    const auto root = rootAt(folder.path(), calls);
    EXPECT_EQ(codeOf(root->makeFolder("a")), 0);
    EXPECT_EQ(codeOf(root->makeFolder("a/b")), 0);
    EXPECT_EQ(codeOf(root->makeFolder("a/b")), EEXIST);
    EXPECT_EQ(codeOf(root->makeFolder("x/y")), ENOENT);
    folder.write("a/b/one", "1");
    folder.write("two", "2");
    EXPECT_EQ(codeOf(root->renameExclusive("a/b/one", "two")), EEXIST);
    EXPECT_EQ(codeOf(root->renameExclusive("a/b/one", "a/three")), 0);
    EXPECT_EQ(codeOf(root->rename("a/three", "two")), 0);
    EXPECT_EQ(codeOf(root->removeFolder("a")), ENOTEMPTY);
    EXPECT_EQ(codeOf(root->removeFolder("a/b")), 0);
    EXPECT_EQ(codeOf(root->unlink("none")), ENOENT);
    for (const char* whole : {"", "."}) { // has no name that could be taken away
        EXPECT_EQ(codeOf(root->removeFolder(whole)), EINVAL);
        EXPECT_EQ(codeOf(root->unlink(whole)), EINVAL);
        EXPECT_EQ(codeOf(root->rename(whole, "x")), EINVAL);
        EXPECT_EQ(root->kind(whole), FS::Kind::directory);
        EXPECT_EQ(codeOf(root->syncFolder(whole)), 0);
    }
    EXPECT_EQ(folder.tree(), (Tree{{"a/", ""}, {"two", "1"}}));
    EXPECT_EQ(calls->stillOpen(), std::vector<DiskPath>{folder.path()});
}

struct SyncRow {
    int fullSync;
    int sync;
    int durable; ///< What makeDurable gives.
    int folder;  ///< What syncFolder gives.
};

class Durability : public testing::TestWithParam<SyncRow> { };

TEST_P(Durability, fallsBackOnlyWhereTheFileSystemDoesNotKnowTheCall)
{
    const TemporaryFolder folder;
    const auto file = folder.write("file", "x");
    const auto calls = std::make_shared<ScriptedCalls>();
    const auto root = rootAt(folder.path(), calls);
    if (GetParam().fullSync != 0) {
        calls->fail("fullSync", "*", GetParam().fullSync);
    }
    if (GetParam().sync != 0) {
        calls->on("sync").fail(GetParam().sync);
    }
    const auto opened = root->openFile("file", O_RDWR);
    ASSERT_TRUE(opened);
    EXPECT_EQ(codeOf(makeDurable(*calls, opened->get())), GetParam().durable);
    EXPECT_EQ(codeOf(root->syncFolder("")), GetParam().folder);
}

INSTANTIATE_TEST_SUITE_P(Numbers, Durability,
    testing::Values(SyncRow{0, 0, 0, 0}, SyncRow{ENOTSUP, 0, 0, 0}, SyncRow{ENOTTY, 0, 0, 0},
        SyncRow{EINVAL, 0, 0, 0}, SyncRow{EIO, 0, EIO, EIO}, SyncRow{ENOSPC, 0, ENOSPC, ENOSPC},
        SyncRow{EBADF, 0, EBADF, 0}, SyncRow{EISDIR, 0, EISDIR, 0}));

TEST(WriteDurably, leavesTheOldOrTheNewContentAfterEveryFailure)
{
    for (const int code : {EIO, ENOSPC, EACCES}) {
        for (std::size_t nth = 1;; ++nth) {
            const TemporaryFolder folder;
            folder.write("a/state", "old");
            folder.write("a/state.new", "left over");
            const auto calls = std::make_shared<ScriptedCalls>();
            const auto root = rootAt(folder.path(), calls);
            const auto trouble = calls->on("*").nth(nth).fail(code);
            const auto written = writeDurably(*root, "a/state.new", "a/state", "new content");
            if (trouble.hits() == 0) {
                EXPECT_TRUE(written);
                EXPECT_EQ(folder.tree("a"), (Tree{{"state", "new content"}}));
                EXPECT_GT(nth, 8u);
                break;
            }
            const std::string content = folder.read("a/state");
            EXPECT_TRUE(content == "old" || content == "new content") << "call " << nth << ": " << content;
            if (written) { // closing what was only read, say
                EXPECT_EQ(content, "new content") << "call " << nth;
            }
        }
    }
}

TEST(WriteDurably, syncsTheFileBeforeTheRenameAndTheFolderAfterIt)
{
    const TemporaryFolder folder;
    folder.makeFolder("a");
    const auto calls = std::make_shared<ScriptedCalls>();
    const auto root = rootAt(folder.path(), calls);
    calls->on("write").shorten(3);
    ASSERT_TRUE(writeDurably(*root, "a/t", "a/f", "0123456789"));
    EXPECT_EQ(folder.read("a/f"), "0123456789");
    std::vector<std::string> order;
    for (const ScriptedCalls::Call& call : calls->log()) {
        const bool tells = call.name == "write" || call.name == "fullSync" || call.name == "renameAt";
        if (tells && (order.empty() || order.back() != call.name)) {
            order.push_back(call.name);
        }
    }
    EXPECT_EQ(order, (std::vector<std::string>{"write", "fullSync", "renameAt", "fullSync"}));
}

TEST(WriteDurably, removesTheTemporaryFileWhenTheDiskIsFull)
{
    const TemporaryFolder folder;
    folder.write("state", "old");
    const auto calls = std::make_shared<ScriptedCalls>();
    const auto root = rootAt(folder.path(), calls);
    calls->on("write").room(5);
    EXPECT_EQ(codeOf(writeDurably(*root, "t", "state", "0123456789")), ENOSPC);
    EXPECT_EQ(folder.tree(), (Tree{{"state", "old"}}));
}

TEST(ReadWhole, readsRegularFilesUpToItsBound)
{
    const TemporaryFolder folder;
    const std::string content = someBytes(200'000);
    folder.write("a/file", content);
    folder.write("empty", "");
    const auto calls = std::make_shared<ScriptedCalls>();
    const auto root = rootAt(folder.path(), calls);
    calls->on("read").shorten(70'001);
    EXPECT_EQ(readWhole(*root, "a/file", 200'000), content);
    EXPECT_EQ(codeOf(readWhole(*root, "a/file", 199'999)), EFBIG);
    EXPECT_EQ(readWhole(*root, "empty", 0), "");
    EXPECT_EQ(codeOf(readWhole(*root, "a", 100)), EINVAL);
    EXPECT_EQ(codeOf(readWhole(*root, "", 100)), EINVAL);
    EXPECT_EQ(codeOf(readWhole(*root, "none", 100)), ENOENT);
    // A file that grows after it was looked at is bounded all the same.
    calls->on("statusOf", folder / "a/file").changeStatus([](FileStatus& status) { status.size = 10; });
    EXPECT_EQ(codeOf(readWhole(*root, "a/file", 100'000)), EFBIG);
    calls->on("read").fail(EIO);
    EXPECT_EQ(codeOf(readWhole(*root, "a/file", 200'000)), EIO);
    EXPECT_EQ(calls->stillOpen(), std::vector<DiskPath>{folder.path()});
}

TEST(ReadWhole, beatsAndEndsWhenGivenUp)
{
    const TemporaryFolder folder;
    folder.write("file", someBytes(300'000));
    const auto clock = std::make_shared<ManualClock>();
    Heartbeat heartbeat(clock);
    const auto calls = std::make_shared<ScriptedCalls>();
    const auto root = rootAt(folder.path(), calls);
    int reads = 0;
    calls->on("read").run([&] {
        EXPECT_EQ(heartbeat.silence(), Seconds(0));
        clock->advance(std::chrono::seconds(5));
        if (++reads == 2) {
            heartbeat.giveUp();
        }
    });
    EXPECT_EQ(codeOf(readWhole(*root, "file", 1'000'000, &heartbeat)), ECANCELED);
    EXPECT_EQ(reads, 2);
}

} // namespace
} // namespace vantorel
