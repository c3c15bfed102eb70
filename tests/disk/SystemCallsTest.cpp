#include "disk/PosixCalls.h"

#include "disk/OpenFile.h"
#include "support/TemporaryFolder.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace vantorel {
namespace {

using namespace std::string_literals;
using Links = SystemCalls::Links;

const SystemCalls& calls() { return *realSystemCalls(); }

OpenFile opened(const DiskPath& path, int flags = O_RDONLY, mode_t mode = 0644)
{
    const auto fd = calls().open(path, flags, mode);
    EXPECT_TRUE(fd) << path << ": " << (fd ? 0 : fd.error());
    return OpenFile(realSystemCalls(), fd.value_or(-1));
}

template <typename T>
int codeOf(const CallResult<T>& result)
{
    return result ? 0 : result.error();
}

std::string firstBytes(int fd)
{
    std::array<std::byte, 64> buffer{};
    const auto got = calls().read(fd, buffer);
    return {reinterpret_cast<const char*>(buffer.data()), got.value_or(0)};
}

/// Long ago and before the last change: a system that writes access times only now and then would write this.
void makeAccessOld(const DiskPath& path)
{
    const std::array<timespec, 2> times{
        timespec{.tv_sec = 1'000'000'000, .tv_nsec = 0}, timespec{.tv_sec = 1'500'000'000, .tv_nsec = 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW), 0);
}

struct Beneath {
    DiskPath relative;
    int flags;
    int code; ///< 0: it opens.

    friend std::ostream& operator<<(std::ostream& out, const Beneath& row)
    {
        return out << row.relative << " with " << row.flags;
    }
};

class OpenBeneath : public testing::TestWithParam<Beneath> {
protected:
    void SetUp() override
    {
        folder_.write("root/a/b/file", "inside");
        folder_.write("outside/file", "outside");
        folder_.makeLink("root/toA", "a");
        folder_.makeLink("root/a/toB", "b");
        folder_.makeLink("root/a/b/toFile", "file");
        folder_.makeLink("root/toOutside", folder_ / "outside");
        folder_.makeLink("root/dangling", "nothing");
        root_ = opened(folder_ / "root", O_RDONLY | O_DIRECTORY);
    }

    TemporaryFolder folder_;
    OpenFile root_;
};

TEST_P(OpenBeneath, refusesLinksAndWaysOutWhicheverWayItGoes)
{
    const auto& [relative, flags, code] = GetParam();
    const auto atOnce = calls().openBeneath(root_.get(), relative, flags, 0644);
    EXPECT_EQ(codeOf(atOnce), code);
    if (atOnce) {
        ASSERT_TRUE(calls().close(*atOnce));
    }
    const auto stepByStep = openBeneathStepByStep(root_.get(), relative, flags, 0644);
    EXPECT_EQ(codeOf(stepByStep), code);
    if (stepByStep) {
        ASSERT_TRUE(calls().close(*stepByStep));
    }
}

constexpr int folderFlags = O_RDONLY | O_DIRECTORY;

INSTANTIATE_TEST_SUITE_P(Paths, OpenBeneath,
    testing::Values(Beneath{"a/b/file", O_RDONLY, 0}, Beneath{"a/b", folderFlags, 0},
        Beneath{"", folderFlags, 0}, Beneath{".", folderFlags, 0}, Beneath{"a/b/new", O_WRONLY | O_CREAT, 0},
        Beneath{"a/b/file", O_WRONLY | O_CREAT | O_EXCL, EEXIST},
        Beneath{"dangling", O_WRONLY | O_CREAT | O_EXCL, EEXIST},
        Beneath{"dangling", O_WRONLY | O_CREAT, ELOOP}, Beneath{"toA/b/file", O_RDONLY, ELOOP},
        Beneath{"a/toB/file", O_RDONLY, ELOOP}, Beneath{"a/toB", folderFlags, ELOOP},
        Beneath{"a/toB", folderFlags | O_NOFOLLOW, ELOOP}, Beneath{"a/b/toFile", O_RDONLY, ELOOP},
        Beneath{"a/b/toFile", O_RDONLY | O_NOFOLLOW, ELOOP}, Beneath{"toOutside/file", O_RDONLY, ELOOP},
        Beneath{"a/../a/b/file", O_RDONLY, EXDEV}, Beneath{"../outside/file", O_RDONLY, EXDEV},
        Beneath{"..", folderFlags, EXDEV}, Beneath{"/etc", folderFlags, EXDEV},
        Beneath{"a//b", folderFlags, EINVAL}, Beneath{"a/", folderFlags, EINVAL},
        Beneath{DiskPath("a\0/b"s), folderFlags, EINVAL}, Beneath{"nothing/file", O_RDONLY, ENOENT},
        Beneath{"a/b/file/more", O_RDONLY, ENOTDIR}, Beneath{"a/b/file", folderFlags, ENOTDIR}));

TEST(SystemCalls, takesOneComponentWhereOneIsAsked)
{
    const TemporaryFolder folder;
    folder.write("a/file", "x");
    const OpenFile here = opened(folder.path(), folderFlags);
    const int fd = here.get();
    for (const auto& [name, code] :
        {std::pair("a/file"s, EINVAL), {""s, EINVAL}, {"..", EXDEV}, {"a\0b"s, EINVAL}}) {
        EXPECT_EQ(codeOf(calls().openAt(fd, name, O_RDONLY)), code);
        EXPECT_EQ(codeOf(calls().statusAt(fd, name)), code);
        EXPECT_EQ(codeOf(calls().makeFolderAt(fd, name, 0755)), code);
        EXPECT_EQ(codeOf(calls().renameAt(fd, "a", fd, name)), code);
        EXPECT_EQ(codeOf(calls().renameExclusiveAt(fd, name, fd, "b")), code);
        EXPECT_EQ(codeOf(calls().unlinkAt(fd, name)), code);
        EXPECT_EQ(codeOf(calls().removeFolderAt(fd, name)), code);
    }
    EXPECT_EQ(codeOf(calls().open(DiskPath("/tmp\0/x"s), O_RDONLY)), EINVAL);
    EXPECT_EQ(codeOf(calls().status(DiskPath("/tmp\0/x"s), Links::followed)), EINVAL);
    EXPECT_EQ(folder.tree(), (std::map<std::string, std::string>{{"a/", ""}, {"a/file", "x"}}));
}

TEST(SystemCalls, leavesDescriptorsToNoChildAndOpensNoneInVain)
{
    const TemporaryFolder folder;
    folder.write("a/file", "x");
    const std::size_t before = openDescriptors();
    {
        const OpenFile here = opened(folder.path(), folderFlags);
        const OpenFile beneath(
            realSystemCalls(), calls().openBeneath(here.get(), "a/file", O_RDONLY).value());
        const OpenFile stepped(
            realSystemCalls(), openBeneathStepByStep(here.get(), "a/file", O_RDONLY, 0).value());
        const OpenFile at(realSystemCalls(), calls().openAt(here.get(), "a", folderFlags).value());
        for (const OpenFile* file : {&here, &beneath, &stepped, &at}) {
            EXPECT_NE(::fcntl(file->get(), F_GETFD) & FD_CLOEXEC, 0);
        }
        const auto reader = calls().openFolderOf(here.get());
        EXPECT_EQ(codeOf(calls().openFolder(folder / "a/file", Links::followed)), ENOTDIR);
        EXPECT_TRUE(calls().realPath(folder.path()));
        EXPECT_TRUE(calls().fileSystemOf(folder.path()));
        EXPECT_EQ(openDescriptors(), before + 5);
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST(SystemCalls, readsWithoutWritingAccessTimes)
{
    const TemporaryFolder folder;
    folder.write("library/file", "content");
    folder.makeLink("library/link", "file");
    const DiskPath library = folder / "library";
    for (const char* name : {"library/file", "library/link", "library"}) {
        makeAccessOld(folder / name);
    }
    const auto accessed = [&](const char* name) {
        return calls().status(folder / name, Links::notFollowed)->accessed;
    };
    const auto before = std::array{accessed("library"), accessed("library/file"), accessed("library/link")};

    const auto reader = calls().openFolder(library, Links::notFollowed);
    ASSERT_TRUE(reader);
    while ((*reader)->next().value()) { }
    const auto root = opened(library, readOnlyOpenFlags() | O_DIRECTORY);
    const auto second = calls().openFolderOf(root.get());
    ASSERT_TRUE(second);
    while ((*second)->next().value()) { }
    const OpenFile file(
        realSystemCalls(), calls().openBeneath(root.get(), "file", readOnlyOpenFlags()).value());
    EXPECT_EQ(firstBytes(file.get()), "content");
    EXPECT_EQ(calls().realPath(library / "file"), library / "file");

    EXPECT_EQ(before, (std::array{accessed("library"), accessed("library/file"), accessed("library/link")}));
}

TEST(SystemCalls, listsTheSameOpenFolderTwice)
{
    const TemporaryFolder folder;
    folder.write("one", "1");
    const auto here = opened(folder.path(), folderFlags);
    for (int i = 0; i < 2; ++i) {
        const auto reader = calls().openFolderOf(here.get());
        ASSERT_TRUE(reader);
        std::set<std::string> names;
        while (const auto name = (*reader)->next().value()) {
            names.insert(*name);
        }
        EXPECT_EQ(names, (std::set<std::string>{".", "..", "one"}));
        EXPECT_EQ((*reader)->statusOf("one")->size, 1);
        EXPECT_EQ(codeOf((*reader)->statusOf("two")), ENOENT);
        EXPECT_EQ(codeOf((*reader)->statusOf("../x")), EINVAL);
    }
}

TEST(SystemCalls, tellsStatusOfLinksAndOfWhatTheyLeadTo)
{
    const TemporaryFolder folder;
    const auto file = folder.write("file", "12345");
    const auto link = folder.makeLink("link", "file");
    const auto status = calls().status(file, Links::notFollowed);
    ASSERT_TRUE(status);
    EXPECT_EQ(status->type, FileStatus::Type::regular);
    EXPECT_EQ(status->size, 5);
    EXPECT_EQ(status->owner, ::geteuid());
    EXPECT_EQ(calls().status(link, Links::followed), status);
    EXPECT_EQ(calls().statusOf(opened(file).get()), status);
    EXPECT_EQ(calls().status(link, Links::notFollowed)->type, FileStatus::Type::link);
    EXPECT_EQ(calls().status(folder.path(), Links::followed)->type, FileStatus::Type::directory);
    EXPECT_EQ(codeOf(calls().status(folder / "file/x", Links::followed)), ENOTDIR);
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(calls().status(folder / "pipe", Links::followed)->type, FileStatus::Type::other);
    EXPECT_TRUE(opened(folder / "pipe", readOnlyOpenFlags()).isOpen()); // and does not wait for a writer
}

TEST(SystemCalls, setsTheModificationTimeAlone)
{
    const TemporaryFolder folder;
    const auto path = folder.write("file", "x");
    makeAccessOld(path);
    const auto file = opened(path, O_RDWR);
    for (const long nanoseconds : {1'234'567'890'123'456'789L, 0L, -86'400'000'000'001L}) {
        const std::chrono::sys_time<std::chrono::nanoseconds> time{std::chrono::nanoseconds(nanoseconds)};
        ASSERT_TRUE(calls().setModified(file.get(), time));
        const auto status = calls().statusOf(file.get());
        EXPECT_EQ(status->modified, time);
        EXPECT_EQ(std::chrono::floor<std::chrono::seconds>(status->accessed).time_since_epoch().count(),
            1'000'000'000);
    }
}

TEST(SystemCalls, survivesTimesBeyondItsOwn)
{
    const TemporaryFolder folder;
    const auto path = folder.write("file", "x");
    const std::array<timespec, 2> times{timespec{.tv_sec = 0, .tv_nsec = 0},
        timespec{.tv_sec = 14'000'000'000, .tv_nsec = 999'999'999}}; // 2413
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
    const auto status = calls().status(path, Links::notFollowed);
    ASSERT_TRUE(status);
    using namespace std::chrono;
    EXPECT_GT(status->modified, sys_days(2038y / 1 / 1)); // where the disk itself stops at the latest
}

TEST(SystemCalls, renamesExclusivelyOnlyOntoNothing)
{
    const TemporaryFolder folder;
    folder.write("a", "A");
    folder.write("b", "B");
    folder.makeLink("dangling", "nothing");
    const auto here = opened(folder.path(), folderFlags);
    EXPECT_EQ(codeOf(calls().renameExclusiveAt(here.get(), "a", here.get(), "b")), EEXIST);
    EXPECT_EQ(codeOf(calls().renameExclusiveAt(here.get(), "a", here.get(), "dangling")), EEXIST);
    EXPECT_EQ(codeOf(calls().renameExclusiveAt(here.get(), "none", here.get(), "c")), ENOENT);
    EXPECT_EQ(codeOf(calls().renameExclusiveAt(here.get(), "a", here.get(), "c")), 0);
    EXPECT_EQ(codeOf(calls().renameAt(here.get(), "c", here.get(), "b")), 0);
    EXPECT_EQ(folder.tree(), (std::map<std::string, std::string>{{"b", "A"}, {"dangling", "-> nothing"}}));
}

TEST(SystemCalls, writesAndReadsPastTheCache)
{
    const TemporaryFolder folder;
    const std::string content = someBytes(3 * 4'096 + 100);
    const auto path = folder.write("file", content);
    const auto file = opened(path, O_RDWR);
    EXPECT_TRUE(calls().sync(file.get()));
    EXPECT_TRUE(calls().fullSync(file.get()));
    EXPECT_TRUE(calls().dropCached(file.get()));
    const auto cold = calls().open(path, readOnlyOpenFlags() | uncachedOpenFlag());
    if (!cold && cold.error() == EINVAL) {
        GTEST_SKIP() << "this file system reads through its cache only";
    }
    ASSERT_TRUE(cold);
    const OpenFile closing(realSystemCalls(), *cold);
    const std::unique_ptr<std::byte, decltype(&std::free)> buffer(
        static_cast<std::byte*>(std::aligned_alloc(4'096, 65'536)), &std::free);
    const auto got = calls().read(*cold, std::span(buffer.get(), 65'536));
    ASSERT_TRUE(got) << got.error();
    EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(buffer.get()), *got), content);
}

TEST(SystemCalls, readsAtAnOffsetAndNothingBeyondTheEnd)
{
    const TemporaryFolder folder;
    const auto file = opened(folder.write("file", "0123456789"));
    std::array<std::byte, 4> buffer{};
    EXPECT_EQ(calls().readAt(file.get(), buffer, 7), 3u);
    EXPECT_EQ(std::memcmp(buffer.data(), "789", 3), 0);
    EXPECT_EQ(calls().readAt(file.get(), buffer, 10), 0u);
    EXPECT_EQ(codeOf(calls().readAt(file.get(), buffer, -1)), EINVAL);
    EXPECT_EQ(codeOf(calls().write(file.get(), buffer)), EBADF);
}

TEST(SystemCalls, resolvesLinksToTheRealPath)
{
    const TemporaryFolder folder;
    folder.write("a/file", "x");
    folder.makeLink("link", "a");
    EXPECT_EQ(calls().realPath(folder / "link/../a/./file"), folder / "a/file");
    EXPECT_EQ(codeOf(calls().realPath(folder / "none")), ENOENT);
    folder.makeLink("dangling", "none");
    EXPECT_EQ(codeOf(calls().realPath(folder / "dangling")), ENOENT);
    EXPECT_EQ(calls().realPath("/"), "/");
}

TEST(SystemCalls, findsAnAttributeUnderThePrefixOfTheSystem)
{
    const TemporaryFolder folder;
    const auto path = folder.write("file", "x");
    const std::string value = someBytes(1'000); // more than the first guess
    const char* name = "com.example:mark";
    EXPECT_EQ(calls().extendedAttribute(path, name).value(), std::nullopt);
#ifdef __APPLE__
    const int set = ::setxattr(path.c_str(), name, value.data(), value.size(), 0, 0);
#else
    const int set = ::setxattr(path.c_str(), "user.com.example:mark", value.data(), value.size(), 0);
#endif
    if (set != 0) {
        GTEST_SKIP() << "this file system keeps no attributes: " << errno;
    }
    EXPECT_EQ(calls().extendedAttribute(path, name).value(), value);
    EXPECT_EQ(codeOf(calls().extendedAttribute(folder / "none", name)), ENOENT);
}

TEST(SystemCalls, locksAgainstEveryOtherOpening)
{
    const TemporaryFolder folder;
    const auto path = folder.write("lock", "");
    auto first = opened(path, O_RDWR);
    const auto second = opened(path, O_RDWR);
    EXPECT_TRUE(calls().tryLock(first.get()));
    EXPECT_EQ(codeOf(calls().tryLock(second.get())), EWOULDBLOCK);
    EXPECT_TRUE(first.close());
    EXPECT_TRUE(calls().tryLock(second.get()));
}

TEST(SystemCalls, readsSystemTextsWhole)
{
    const TemporaryFolder folder;
    const std::string text = someBytes(50'000);
    EXPECT_EQ(calls().systemText(folder.write("text", text)), text);
    EXPECT_EQ(calls().systemText(folder.write("empty", "")), "");
    EXPECT_EQ(codeOf(calls().systemText(folder / "none")), ENOENT);
    EXPECT_EQ(codeOf(calls().systemText(folder.path())), EISDIR);
}

TEST(SystemCalls, tellsOneFileSystemFromAnother)
{
    const TemporaryFolder folder;
    const auto inner = folder.makeFolder("a/b");
    const auto here = calls().fileSystemOf(folder.path());
    ASSERT_TRUE(here);
    EXPECT_EQ(calls().fileSystemOf(inner)->identifier, here->identifier);
    EXPECT_EQ(calls().fileSystemIdentifier(inner), here->identifier);
    EXPECT_NE(calls().fileSystemIdentifier("/dev"), here->identifier);
    EXPECT_FALSE(here->typeName.empty());
    EXPECT_TRUE(folder.path().native().starts_with(here->mountPoint)) << here->mountPoint;
    EXPECT_GT(here->blockSize, 0u);
    EXPECT_GT(here->freeBytes, 0);
    EXPECT_EQ(codeOf(calls().fileSystemOf(folder / "none")), ENOENT);
    EXPECT_EQ(codeOf(calls().fileSystemIdentifier(folder / "none")), ENOENT);
}

TEST(SystemCalls, saysWhetherAFolderMayBeWritten)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(calls().mayWrite(folder.path()));
    EXPECT_EQ(codeOf(calls().mayWrite(folder / "none")), ENOENT);
}

TEST(OpenFile, closesOnceAndTellsWhatClosingSaid)
{
    const TemporaryFolder folder;
    const std::size_t before = openDescriptors();
    auto file = opened(folder.write("a", "A"));
    auto moved = std::move(file);
    EXPECT_FALSE(file.isOpen()); // NOLINT(bugprone-use-after-move): what a moved one holds is the point
    file = opened(folder / "a");
    file = std::move(moved);
    EXPECT_EQ(openDescriptors(), before + 1);
    EXPECT_EQ(firstBytes(file.get()), "A");
    ::close(file.get()); // as if somebody else had
    EXPECT_EQ(codeOf(file.close()), EBADF);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(openDescriptors(), before);
}

} // namespace
} // namespace vantorel
