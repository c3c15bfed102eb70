#include "cli/SmallDisk.h"
#include "fuse/SickDiskFixture.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

namespace vantorel::fuse {
namespace {

constexpr int notComplete = 1;
constexpr int stopped = 130;
constexpr const char* resume =
    "Run the export again and choose the place you chose before, not the \"(incomplete)\" folder. It "
    "continues where it stopped.";
constexpr const char* silentTwice = "The disk stopped answering on this file, also when it was tried again. "
                                    "Run the export again to try it";
constexpr const char* unreadable = "Could not read the file: Input/output error";

std::string notRead(const std::string& count)
{
    return count
        + " could not be read from the disk, so this export is not finished. Everything else is saved and "
          "checked in the \"(incomplete)\" folder, and its report names what is left. Check the connection. "
        + resume;
}

std::size_t countOf(const nlohmann::json& skipped, const std::string& reason)
{
    return static_cast<std::size_t>(
        std::ranges::count_if(skipped, [&](const nlohmann::json& item) { return item["reason"] == reason; }));
}

TEST_F(SickDisk, thatAnswersLateChangesNothing)
{
    stallLimit_ = "60";
    source_->set({"hang read times=1 */Photos.sqlite", "hang readdir times=1 */originals/*"});
    const auto letGo = [this](pid_t) {
        EXPECT_TRUE(source_->waitForHit());
        source_->set();
    };
    Ended scanned = scan(letGo);
    EXPECT_EQ(scanned.status, 0) << scanned.errors;
    scanned.value["snapshot"].erase("libraryURL");
    auto expected = whole().scan;
    expected["snapshot"].erase("libraryURL");
    EXPECT_EQ(scanned.value, expected);

    source_->set({"hang read from=5 times=1 */originals/*"});
    const Ended saved = save(letGo);
    EXPECT_EQ(saved.value["state"], "finished");
    EXPECT_EQ(saved.status, 0);
    EXPECT_EQ(folder_.tree("target"), whole().tree);
    EXPECT_EQ(source_->changes(), 0U); // and nothing at all was changed on the library's disk
}

TEST_F(SickDisk, thatNeverAnswersOnOneFileSavesTheOthers)
{
    source_->set({"hang read /Family.photoslibrary/" + whole().source(2)});
    const Ended ended = save();
    EXPECT_EQ(ended.status, notComplete);
    EXPECT_EQ(ended.value["state"], "someNotRead");
    const std::size_t count = countOf(ended.value["skipped"], silentTwice);
    EXPECT_EQ(ended.value["count"], count);
    EXPECT_EQ(ended.value["message"], notRead(count == 1 ? "1 item" : std::to_string(count) + " items"));
    EXPECT_GE(source_->hits(), 2 * count); // each was tried twice
    EXPECT_EQ(triedLast().size(), count);
    EXPECT_NE(readMe().find("could not be read or checked on the disk. Everything else is here, and "
                            "\"Vantorel report (not finished).csv\""),
        std::string::npos)
        << readMe();
    source_->set();
    expectToContinue();
}

TEST_F(SickDisk, thatNeverAnswersAgainEndsTheExport)
{
    source_->set({"silent read from=4 */originals/*"});
    const Ended ended = save();
    EXPECT_EQ(ended.status, notComplete);
    EXPECT_EQ(ended.value["state"], "stalled");
    EXPECT_EQ(ended.value["message"],
        std::string("A disk stopped answering, even after a wait of some minutes, so the export stopped "
                    "here. What is in the folder is good, but not complete. A sleeping or busy drive can "
                    "come back: wait a moment, or check the connection. ")
            + resume);
    EXPECT_GT(ended.value["exportedItems"], 0);
    source_->set();
    expectToContinue();
}

TEST_F(SickDisk, withABadBlockSavesAllButThatFile)
{
    std::string picture; // the largest, wherever it is saved
    std::vector<std::string> copies;
    for (std::size_t item = 0; item < whole().plan["items"].size(); ++item) {
        if (whole().saved(item).find("panorama") != std::string::npos) {
            picture = whole().source(item);
            copies.push_back(whole().saved(item));
        }
    }
    std::ranges::sort(copies);
    source_->set({"error=5 read at=40960+4096 /Family.photoslibrary/" + picture});
    const Ended ended = save();
    EXPECT_EQ(ended.status, notComplete);
    EXPECT_EQ(ended.value["state"], "someNotRead");
    EXPECT_EQ(ended.value["message"], notRead(std::to_string(copies.size()) + " items"));
    EXPECT_EQ(countOf(ended.value["skipped"], unreadable), copies.size());
    EXPECT_EQ(triedLast(), copies);
    source_->set();
    expectToContinue();
}

TEST_F(SickDisk, thatErrsOnEveryFileIsNotWornOut)
{
    source_->set({"error=5 read from=6 */originals/*"});
    const Ended ended = save();
    EXPECT_EQ(ended.status, notComplete);
    EXPECT_EQ(ended.value["state"], "sourceFailing");
    EXPECT_EQ(ended.value["message"],
        "The disk with the library keeps giving read errors or not answering, so the export stopped. What "
        "is in the folder is not complete. Check the cable or try another port. "
            + std::string(resume) + " The files that failed are tried last.");
    EXPECT_EQ(countOf(ended.value["skipped"], unreadable), 8U);
    EXPECT_GT(countOf(ended.value["skipped"],
                  "Not tried again: the disk kept failing on the files before this one. Run the export again "
                  "to try it"),
        10U);
    EXPECT_EQ(triedLast().size(), 8U);
    source_->set();
    expectToContinue();
}

TEST_F(SickDisk, withAnUnreadableFolderSaysSoAndSavesTheRest)
{
    const std::string folder = std::filesystem::path(whole().source(0)).parent_path();
    source_->set({"error=5 readdir */" + folder});
    const Ended scanned = scan();
    EXPECT_EQ(scanned.status, notComplete);
    EXPECT_EQ(scanned.value["originals"]["state"], "partlyUnreadable");
    EXPECT_EQ(scanned.value["originals"]["unreadableFolders"], nlohmann::json{folder});
    EXPECT_NE(
        scanned.value["snapshot"]["notes"].dump().find("could not be read in full."), std::string::npos);
    const Ended ended = save();
    EXPECT_EQ(ended.status, notComplete);
    EXPECT_EQ(ended.value["state"], "someNotRead");
    EXPECT_NE(ended.value["message"].get<std::string>().find(
                  "could not be read or checked on the disk, so this export is not finished."),
        std::string::npos);
    EXPECT_NE(readMe().find("If the scan reaches more, the export starts a new folder"), std::string::npos);
}

TEST_F(SickDisk, thatDisappearsIsSaidToBeGone)
{
    source_->set({"gone read from=9 */originals/*"});
    const Ended ended = save();
    EXPECT_EQ(ended.status, notComplete);
    EXPECT_EQ(ended.value["state"], "sourceGone");
    EXPECT_EQ(ended.value["message"],
        "The disk with the library was disconnected. The export is not complete. Connect it. "
            + std::string(resume)
            + " If the disk comes back under another name, go back to Libraries and scan it again first.");
    source_->set();
    expectToContinue();
}

TEST_F(SickDisk, whosePlaceAnotherTakesIsGone)
{
    TemporaryFolder other;
    std::optional<FaultyDisk> inItsPlace;
    source_->set({"hang read from=9 times=1 */originals/*"});
    const Ended ended = save([&](pid_t) {
        EXPECT_TRUE(source_->waitForHit());
        source_->detach();
        inItsPlace.emplace(other.path(), folder_ / "source");
        source_->set({"error=6 * *"}); // ENXIO
    });
    EXPECT_EQ(ended.value["state"], "sourceGone") << ended.value["message"];
    EXPECT_EQ(ended.status, notComplete);
    inItsPlace.reset();
    source_.emplace(whole().folder / "source", folder_ / "source");
    expectToContinue();
}

TEST_F(SickDisk, thatFillsUpIsSaidToBeFull)
{
    target_->set({"room=60000 write *"});
    const Ended ended = save();
    EXPECT_EQ(ended.status, notComplete);
    EXPECT_EQ(ended.value["state"], "destinationFull");
    EXPECT_EQ(ended.value["message"],
        "The disk you are saving to is full. The export is not complete. Free some space. "
            + std::string(resume));
    target_->set();
    expectToContinue();
}

TEST_F(SickDisk, thatSomebodyElseFillsIsFull)
{
    const SmallDisk disk(folder_.makeFolder("small"), "size=4m");
    ASSERT_TRUE(disk.isMounted());
    const auto saveThere = [&](const WhileRunning& whileRunning = {}) {
        return runVantorel({"export", *source_ / "Family.photoslibrary", folder_ / "small"}, whileRunning);
    };
    source_->set({"hang read from=9 */originals/*"});
    Ran ran = saveThere([this](pid_t) {
        EXPECT_TRUE(source_->waitForHit());
        std::ofstream(folder_ / "small/film") << std::string(5'000'000, 'x');
        source_->set();
    });
    EXPECT_EQ(ran.status, notComplete);
    EXPECT_NE(ran.output.find("The disk you are saving to is full."), std::string::npos) << ran.output;
    std::filesystem::remove(folder_ / "small/film");
    EXPECT_EQ(saveThere().status, 0);
    EXPECT_EQ(folder_.tree("small"), whole().tree);
}

TEST_F(SickDisk, thatTurnsReadOnlyIsSaidToBe)
{
    target_->set({"readonly write from=30 *"});
    const Ended ended = save();
    EXPECT_EQ(ended.status, notComplete);
    EXPECT_EQ(ended.value["state"], "failed");
    EXPECT_EQ(ended.value["message"],
        "The export stopped: the disk you are saving to became read only. It is not complete. "
            + std::string(resume));
    target_->set();
    expectToContinue();
}

TEST_F(SickDisk, thatIsPulledOutWhileItIsWrittenIsGone)
{
    const std::string gone =
        "The disk you are saving to was disconnected. The export is not complete. Connect "
        "it. "
        + std::string(resume);
    target_->set({"gone write from=30 *"});
    Ended ended = save();
    EXPECT_EQ(ended.status, notComplete);
    EXPECT_EQ(ended.value["state"], "destinationGone");
    EXPECT_EQ(ended.value["message"], gone);

    TemporaryFolder other;
    std::optional<FaultyDisk> inItsPlace;
    target_->set({"hang write from=30 times=1 *"});
    ended = save([&](pid_t) {
        EXPECT_TRUE(target_->waitForHit());
        target_->detach();
        inItsPlace.emplace(other.path(), folder_ / "target");
        target_->set({"error=6 * *"});
    });
    EXPECT_EQ(ended.value["state"], "destinationGone") << ended.value["message"];
    EXPECT_EQ(ended.value["message"], gone);
    EXPECT_TRUE(other.tree().empty()); // nothing of it went to the other disk
    inItsPlace.reset();
    target_.emplace(folder_ / "real target", folder_ / "target");
    expectToContinue();
}

TEST_F(SickDisk, thatNeverTakesAFileEndsTheExport)
{
    target_->set({"hang fsync from=12 *"});
    const Ended ended = save();
    EXPECT_EQ(ended.status, notComplete);
    EXPECT_EQ(ended.value["state"], "stalled");
    target_->set();
    expectToContinue();
}

TEST_F(SickDisk, isNotTakenForADifferenceWhenAnExportIsVerified)
{
    ASSERT_EQ(save().status, 0);
    const auto verify = [this] {
        return runVantorel({"verify", "--stall-limit", "1", folder_ / "target/Family export"});
    };
    const std::string notChecked = "could not be checked. That does not mean that anything is damaged.";
    target_->set({"error=5 read times=1 */" + whole().saved(2)});
    Ran ran = verify();
    EXPECT_EQ(ran.status, notComplete);
    EXPECT_EQ(ran.output.find("1 file " + notChecked), 0U) << ran.output;
    EXPECT_EQ(ran.output.find("from what was saved"), std::string::npos) << ran.output;
    target_->set({"silent read */Albums/*"});
    ran = verify();
    EXPECT_EQ(ran.status, notComplete);
    EXPECT_NE(ran.output.find(notChecked), std::string::npos) << ran.output;
    EXPECT_NE(ran.output.find("The disk stopped answering, so the check ended here."), std::string::npos);
    target_->set();
    EXPECT_EQ(verify().status, 0);
}

TEST_F(SickDisk, doesNotHoldUpCtrlC)
{
    stallLimit_ = "600";
    const auto interrupt = [](FaultyDisk& disk) {
        return [&disk](pid_t process) {
            EXPECT_TRUE(disk.waitForHit());
            kill(process, SIGINT);
        }; // and the disk goes on hanging
    };
    for (const std::string rule : {"hang read */Photos.sqlite", "hang readdir */originals/*"}) {
        source_->set({rule});
        EXPECT_EQ(scan(interrupt(*source_)).status, stopped) << rule;
    }
    source_->set({"hang read from=4 */originals/*"});
    Ended ended = save(interrupt(*source_));
    EXPECT_EQ(ended.status, stopped);
    EXPECT_EQ(ended.value["state"], "cancelled");
    EXPECT_EQ(
        ended.value["message"], "Stopped. What is in the folder is not complete. " + std::string(resume));
    source_->set();
    target_->set({"hang write from=20 *"});
    ended = save(interrupt(*target_));
    EXPECT_EQ(ended.status, stopped);
    EXPECT_EQ(ended.value["state"], "cancelled");
    target_->set();
    expectToContinue();
}

} // namespace
} // namespace vantorel::fuse
