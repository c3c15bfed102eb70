#include "fuse/SickDiskFixture.h"

#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace vantorel::fuse {
namespace {

constexpr int notComplete = 1;
constexpr int nothingRead = 3;

TEST_F(SickDisk, withBadBlocksInTheDatabaseSaysHowMuchIsLost)
{
    source_->set({"error=5 read at=204800+8192 */Photos.sqlite"});
    const Ended ended = scan();
    const auto& snapshot = ended.value["snapshot"];
    EXPECT_NE(snapshot["damage"]["losses"].dump().find(
                  "8 KB of the database could not be read from the disk. What was in those places is lost; "
                  "everything around them was read."),
        std::string::npos)
        << snapshot["damage"] << ended.errors;
    EXPECT_NE(snapshot["damage"]["severity"], "none");
    EXPECT_FALSE(snapshot["damage"]["diskDidNotAnswer"]);
    EXPECT_GE(snapshot["assets"].size(), 40U); // and files whose records may be lost
}

TEST_F(SickDisk, whoseFoldersAreRefusedIsNotTakenForDamaged)
{
    const std::string folder = std::filesystem::path(whole().source(0)).parent_path();
    source_->set({"error=13 opendir */" + folder});
    const Ended scanned = scan();
    EXPECT_EQ(scanned.status, notComplete);
    EXPECT_EQ(scanned.value["originals"]["deniedFolders"], nlohmann::json{folder});
    EXPECT_EQ(scanned.value["originals"]["unreadableFolders"], nlohmann::json::array());
    EXPECT_EQ(scanned.value["snapshot"]["damage"]["severity"], "none");
    EXPECT_NE(scanned.value["snapshot"]["notes"].dump().find("This is about permissions, not damage."),
        std::string::npos);
}

TEST_F(SickDisk, thatGivesNoDatabaseSaysWhy)
{
    struct Row {
        std::string rule;
        std::string kind;
        std::string sentence; ///< Its begin.
    };
    for (const auto& [rule, kind, sentence] : std::vector<Row>{
             {"silent getattr */Family.photoslibrary*", "stalled",
                 "\"Family.photoslibrary\" did not answer, even after a wait of some minutes. This says "
                 "nothing "
                 "about your photos: nothing suggests the library is damaged. If the drive was asleep, give "
                 "it "
                 "a minute. Otherwise check the cable or try another port. Then scan again."},
             {"error=13 * */database*", "accessDenied",
                 "macOS refused access to this library or its database."},
             {"gone read from=3 */Photos.sqlite", "volumeGone",
                 "\"source\" was disconnected. Nothing was changed on it. Connect it again and start over."},
         }) {
        source_->set({rule});
        const Ended ended = scan();
        EXPECT_EQ(ended.status, nothingRead) << rule;
        EXPECT_EQ(ended.value["error"]["kind"], kind) << ended.value;
        EXPECT_EQ(ended.value["error"]["message"].get<std::string>().substr(0, sentence.size()), sentence);
    }
}

TEST_F(SickDisk, thatCannotGiveTheLogSaysWhatIsMissing)
{
    source_->set({"error=5 read */Photos.sqlite-wal"});
    const Ended ended = scan();
    EXPECT_EQ(ended.value["snapshot"]["damage"]["severity"], "walLost");
    EXPECT_NE(ended.value["snapshot"]["notes"].dump().find(
                  "The library's -wal file could not be read, so the newest changes are missing."),
        std::string::npos);
    EXPECT_GE(ended.value["snapshot"]["assets"].size(), 40U);
}

TEST_F(SickDisk, thatFallsSilentOrGoesLeavesACheckThatIsNotWhole)
{
    for (const std::string rule :
        {"silent readdir from=2 */originals/*", "gone readdir from=3 */originals/*"}) {
        source_->set({rule});
        const Ended ended = scan();
        EXPECT_EQ(ended.status, notComplete) << rule;
        EXPECT_EQ(ended.value["originals"]["state"], "interrupted");
        EXPECT_EQ(ended.value["snapshot"]["damage"]["severity"], "none");
        EXPECT_EQ(ended.value["snapshot"]["assets"].size(), 40U);
        EXPECT_NE(ended.value["snapshot"]["notes"].dump().find(
                      "The check of the files was stopped before it finished."),
            std::string::npos);
        source_->set();
    }
}

/// Goes on writing into a library's database, as a running Photos does.
class BusyPhotos {
public:
    explicit BusyPhotos(const std::filesystem::path& database)
        : writing_([this, database] { write(database); })
    {
    }
    ~BusyPhotos()
    {
        hasEnded_ = true;
        writing_.join();
        EXPECT_GT(transactions_, 0);
    }

private:
    void write(const std::filesystem::path& database)
    {
        sqlite3* opened = nullptr;
        EXPECT_EQ(sqlite3_open(database.c_str(), &opened), SQLITE_OK);
        sqlite3_exec(opened, "CREATE TABLE growing(bytes)", nullptr, nullptr, nullptr);
        while (!hasEnded_) {
            const int code = sqlite3_exec(
                opened, "INSERT INTO growing VALUES (zeroblob(9000))", nullptr, nullptr, nullptr);
            transactions_ += code == SQLITE_OK ? 1 : 0;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        sqlite3_close(opened);
    }

    std::atomic<bool> hasEnded_ = false;
    int transactions_ = 0;
    std::thread writing_;
};

TEST_F(SickDisk, whoseDatabaseGrowsMeanwhileIsReadAndSaysSo)
{
    const TemporaryFolder own;
    std::filesystem::copy(whole().folder / "source", own.path(), std::filesystem::copy_options::recursive);
    source_.reset();
    source_.emplace(own.path(), folder_ / "source");
    source_->set({"delay=20 read */Photos.sqlite*"}); // each time of the copy, something is written
    std::optional<BusyPhotos> photos(own / "Family.photoslibrary/database/Photos.sqlite");
    const Ended ended = scan();
    photos.reset();
    const auto& snapshot = ended.value["snapshot"];
    EXPECT_EQ(ended.status, 0) << ended.errors;
    EXPECT_GE(snapshot["assets"].size(), 40U);
    EXPECT_NE(
        snapshot["notes"].dump().find(
            "Photos kept changing this library while it was read, so the newest changes may be missing. "
            "Quit Photos and scan again for an exact result."),
        std::string::npos)
        << snapshot["notes"] << snapshot["damage"];
    EXPECT_TRUE(snapshot["damage"]["severity"] == "none" || snapshot["damage"]["severity"] == "walLost")
        << snapshot["damage"] << snapshot["notes"];
}

} // namespace
} // namespace vantorel::fuse
