#include "discovery/volumes/MountNotices.h"
#include "support/ManualClock.h"
#include "support/TemporaryFolder.h"

#include <condition_variable>
#include <deque>
#include <mutex>

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

namespace vantorel {
namespace {

constexpr std::string_view drive = "32 24 8:17 / /media/anna/Old ro - hfsplus /dev/sdb1 ro\n";
constexpr std::string_view otherDrive = "33 24 8:33 / /media/anna/Old ro - hfsplus /dev/sdc1 ro\n";
constexpr std::string_view service = "40 24 0:70 / /run/lock rw - tmpfs tmpfs rw\n";

/// Gives the tables of a list, one for each change, then waits to be ended.
class GivenTables final : public MountNotices {
public:
    explicit GivenTables(std::deque<std::string> tables)
        : tables_(std::move(tables))
    {
    }
    bool wait() override
    {
        std::unique_lock hold(lock_);
        if (tables_.size() > 1) {
            tables_.pop_front();
            return true;
        }
        allGiven_ = true;
        changed_.notify_all();
        changed_.wait(hold, [&] { return ended_; });
        return false;
    }
    void end() override
    {
        const std::scoped_lock hold(lock_);
        ended_ = true;
        changed_.notify_all();
    }
    std::string table() override
    {
        const std::scoped_lock hold(lock_);
        return tables_.front();
    }
    void waitUntilAllGiven()
    {
        std::unique_lock hold(lock_);
        changed_.wait(hold, [&] { return allGiven_; });
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    std::deque<std::string> tables_;
    bool allGiven_ = false;
    bool ended_ = false;
};

TEST(VolumeChanges, tellOfDrivesThatComeAndGoAlone)
{
    const std::string none(service);
    const auto notices = std::make_shared<GivenTables>(std::deque<std::string>{
        none, none + std::string(drive), std::string(drive), std::string(otherDrive), none, "", "garbage"});
    int calls = 0; // only changed by the watch's thread, read after its end
    auto watch = watchMountTable(notices, [&] { ++calls; });
    ASSERT_TRUE(watch);
    notices->waitUntilAllGiven();
    watch.reset();
    ManualClock::waitForThreads();
    EXPECT_EQ(calls, 3); // mounted, another one in its place, unmounted
}

TEST(VolumeChanges, areToldByTheKernel)
{
    const TemporaryFolder folder;
    const auto notices = systemMountNotices(realSystemCalls());
    ASSERT_TRUE(notices);
    EXPECT_NE(notices->table(), "");
    if (::mount("none", folder.path().c_str(), "tmpfs", 0, "size=16k") == 0) {
        EXPECT_TRUE(notices->wait());
        EXPECT_NE(notices->table().find(folder.path().string()), std::string::npos);
        EXPECT_EQ(::umount(folder.path().c_str()), 0);
        EXPECT_TRUE(notices->wait());
    }
    notices->end();
    EXPECT_FALSE(notices->wait());
    EXPECT_TRUE(watchVolumeChanges(realSystemCalls(), [] { }));
    ManualClock::waitForThreads(); // the end of the watch ends its thread
}

} // namespace
} // namespace vantorel
