#include "fuse/FaultyDisk.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <future>
#include <iterator>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vantorel::fuse {
namespace {

/// What reading the first bytes of a file gives: 0 or the error number.
int readError(const std::filesystem::path& path, off_t offset = 0)
{
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    char byte = 0;
    const bool isRead = fd >= 0 && pread(fd, &byte, 1, offset) == 1;
    const int error = isRead ? 0 : errno;
    if (fd >= 0) {
        close(fd);
    }
    return error;
}

class FaultyDiskTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (const auto reason = FaultyDisk::whyNot()) {
            GTEST_SKIP() << *reason;
        }
        folder_.write("real/a/one", someBytes(20'000));
        folder_.write("real/b/two", someBytes(100));
        disk_.emplace(folder_ / "real", folder_ / "mount");
    }

    TemporaryFolder folder_;
    std::optional<FaultyDisk> disk_;
};

TEST_F(FaultyDiskTest, passesAFolderThroughAndCountsEveryChange)
{
    EXPECT_EQ(folder_.tree("mount"), folder_.tree("real"));
    EXPECT_GE(disk_->count(Operation::read), 2U);
    EXPECT_EQ(disk_->changes(), 0U);
    folder_.write("mount/c/three", "new");
    std::filesystem::rename(*disk_ / "c/three", *disk_ / "c/four");
    std::filesystem::last_write_time(*disk_ / "c/four", std::filesystem::file_time_type());
    std::filesystem::permissions(*disk_ / "c/four", std::filesystem::perms::owner_read);
    std::filesystem::remove(*disk_ / "b/two");
    EXPECT_EQ(folder_.tree("mount"), folder_.tree("real"));
    EXPECT_TRUE(folder_.has("real/c/four"));
    for (const auto& [operation, times] : std::vector<std::pair<Operation, int>>{{Operation::mkdir, 1},
             {Operation::create, 1}, {Operation::write, 1}, {Operation::rename, 1}, {Operation::utimens, 1},
             {Operation::chmod, 1}, {Operation::unlink, 1}}) {
        EXPECT_EQ(disk_->count(operation), times) << nameIn(operationNames, operation);
    }
    EXPECT_EQ(disk_->changes(), 7U);
}

TEST_F(FaultyDiskTest, errsWhereItIsTold)
{
    disk_->set(
        {"error=5 read at=8192+4096 */one", "error=13 opendir /b", "error=5 read from=2 times=1 */two"});
    EXPECT_EQ(readError(*disk_ / "a/one", 0), 0);
    EXPECT_EQ(readError(*disk_ / "a/one", 8'191), 0);
    EXPECT_EQ(readError(*disk_ / "a/one", 12'287), EIO);
    EXPECT_EQ(readError(*disk_ / "a/one", 12'288), 0);
    EXPECT_EQ(disk_->hits(0), 1U);
    EXPECT_THROW(std::filesystem::directory_iterator(*disk_ / "b"), std::filesystem::filesystem_error);
    EXPECT_EQ(readError(*disk_ / "b/two"), 0);
    EXPECT_EQ(readError(*disk_ / "b/two"), EIO);
    EXPECT_EQ(readError(*disk_ / "b/two"), 0);
    disk_->set({"gone read */two"});
    EXPECT_EQ(readError(*disk_ / "a/one"), 0);
    EXPECT_EQ(readError(*disk_ / "b/two"), ENXIO);
    EXPECT_EQ(readError(*disk_ / "a/one"), ENXIO);
    disk_->set();
    EXPECT_EQ(readError(*disk_ / "a/one"), 0);
}

TEST_F(FaultyDiskTest, fillsUpAndTurnsReadOnly)
{
    disk_->set({"room=150 write *"});
    const int fd = open((*disk_ / "full").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    const std::string bytes = someBytes(100);
    EXPECT_EQ(write(fd, bytes.data(), 100), 100);
    EXPECT_EQ(write(fd, bytes.data(), 100), 50);
    EXPECT_EQ(write(fd, bytes.data(), 100), -1);
    EXPECT_EQ(errno, ENOSPC);
    close(fd);
    disk_->set({"readonly mkdir /last"});
    EXPECT_EQ(mkdir((*disk_ / "first").c_str(), 0755), 0);
    EXPECT_EQ(mkdir((*disk_ / "last").c_str(), 0755), -1);
    EXPECT_EQ(errno, EROFS);
    EXPECT_EQ(unlink((*disk_ / "full").c_str()), -1);
    EXPECT_EQ(readError(*disk_ / "full"), 0);
}

TEST_F(FaultyDiskTest, keepsWhoeverAsksWaitingUntilItIsLetGo)
{
    disk_->set({"hang read */one"});
    auto reading = std::async(std::launch::async, [path = *disk_ / "a/one"] { return readError(path); });
    ASSERT_TRUE(disk_->waitForHit());
    EXPECT_EQ(readError(*disk_ / "b/two"), 0); // others are served meanwhile
    EXPECT_EQ(reading.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    disk_->set();
    EXPECT_EQ(reading.get(), 0);

    disk_->set({"silent read */two"});
    auto late = std::async(std::launch::async, [path = *disk_ / "b/two"] { return readError(path); });
    ASSERT_TRUE(disk_->waitForHit());
    disk_.reset(); // its end lets go, too
    EXPECT_NE(late.get(), 0);
    EXPECT_TRUE(folder_.tree("mount").empty());
}

} // namespace
} // namespace vantorel::fuse
