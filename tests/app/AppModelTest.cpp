#include "tests/app/AppFixture.h"

#include <gmock/gmock.h>

namespace vantorel {
namespace {

using AppModelStart = AppFixture;
using AppModelFinding = AppFixture;
using AppModelScanning = AppFixture;
using AppModelComparing = AppFixture;

using testing::ElementsAre;

TEST_F(AppModelStart, asksNothingOfTheDisksBeforeTheUserHasReadWhy)
{
    auto& app = freshModel();
    app.volumesChanged();
    app.applicationBecameActive();
    EXPECT_EQ(app.screen(), Screen::onboarding);
    EXPECT_EQ(workers->waiting(), 0U);
    EXPECT_TRUE(app.hasFullDiskAccess()) << "the access step shows it live";

    app.finishOnboarding();
    EXPECT_EQ(app.screen(), Screen::sources);
    EXPECT_TRUE(app.isFinding());
    EXPECT_TRUE(settings->flag(settingsKeys::onboardingDone));
}

TEST_F(AppModelStart, looksForLibrariesAfterOnboarding)
{
    auto& app = model();
    EXPECT_EQ(app.screen(), Screen::sources);
    EXPECT_EQ(probes, 1);
    EXPECT_FALSE(app.isFinding());
    EXPECT_EQ(app.found()->libraries.front().name, "Found 1");
}

TEST_F(AppModelStart, takesOverSavedChoicesButNeverTrustInOutsideFiles)
{
    struct Row {
        std::string saved;
        ExportOptions expected;
    };
    const std::string flags =
        R"("includeHidden":false,"includeTrashed":true,"includeSmallerCopies":true,)"
        R"("includeUnfiled":true,"includeRecoveredFiles":true,"peopleAsKeywords":false)";
    const ExportOptions kept{.includeHidden = false, .includeTrashed = true, .peopleAsKeywords = false};
    for (const auto& [saved, expected] : {
             Row{"{" + flags + R"(,"includeOutsideFiles":true})", kept},
             Row{"{" + flags + R"(,"includeOutsideFiles":false,"albumPKs":[4]})", kept},
             Row{"{" + flags + "}", {}},
             Row{"{\"includeHidden\":", {}},
             Row{"", {}},
         }) {
        settings->setBytes(settingsKeys::exportOptions, saved);
        EXPECT_EQ(freshModel().exportOptions(), expected) << saved;
    }
}

TEST_F(AppModelFinding, looksAgainWhenAccessOrVolumesChangeAndDropsTheOlderLook)
{
    auto& app = model();
    app.applicationBecameActive();
    EXPECT_FALSE(app.isFinding()) << "nothing changed";

    access = false;
    app.applicationBecameActive();
    EXPECT_FALSE(app.hasFullDiskAccess());
    app.volumesChanged();
    ASSERT_EQ(workers->waiting(), 2U);

    workers->run(1);
    EXPECT_EQ(app.found()->libraries.front().name, "Found 2");
    EXPECT_FALSE(app.isFinding());
    workers->run();
    EXPECT_EQ(app.found()->libraries.front().name, "Found 2") << "a late result";
    EXPECT_TRUE(findTokens.back()->isCancelled());
}

TEST_F(AppModelFinding, scansAChosenLibraryAndRefusesOtherFolders)
{
    auto& app = model();
    app.chooseLibrary();
    EXPECT_EQ(workers->waiting(), 0U) << "nothing was chosen";
    EXPECT_EQ(desktop->panels.front().prompt, "Choose Library");

    desktop->answer = "/disk/Holiday/";
    refusal = "";
    app.chooseLibrary();
    workers->runAll();
    EXPECT_EQ(
        app.scanError(), "\"Holiday\" is not a Photos library: it has no database and no originals folder.");
    EXPECT_EQ(app.screen(), Screen::sources);

    refusal = "\"Holiday\" did not answer in time.";
    app.chooseLibrary();
    workers->runAll();
    EXPECT_EQ(app.scanError(), refusal) << "silence is not told as something else";

    refusal = "none";
    app.openLibrary("/disk/First.photoslibrary");
    app.openLibrary("/disk/Second.photoslibrary");
    workers->runAll();
    EXPECT_EQ(app.scannedLibrary()->name, "Second");
    EXPECT_EQ(app.scanError(), std::nullopt);
    EXPECT_EQ(scanTokens.size(), 1U);

    app.openLibrary("/disk/First.photoslibrary");
    app.scan(library("Third"));
    workers->runAll();
    EXPECT_EQ(app.scannedLibrary()->name, "Third") << "chosen after the one that was still looked at";
}

TEST_F(AppModelScanning, showsTheResultsOfAScan)
{
    auto& app = model();
    app.setTab(ResultTab::compare);
    app.scan(library("Old"));
    EXPECT_EQ(app.screen(), Screen::scanning);
    EXPECT_EQ(app.tab(), ResultTab::overview);
    EXPECT_EQ(app.scanTitle(), "Scanning Old");
    EXPECT_FALSE(desktop->activity.expired());
    workers->run();
    EXPECT_EQ(app.screen(), Screen::results);
    EXPECT_EQ(app.scanned()->result->snapshot.name, "Old");
    EXPECT_TRUE(desktop->activity.expired());
    EXPECT_THAT(desktop->activities, ElementsAre("Vantorel is scanning a library"));
    EXPECT_THAT(desktop->announced, ElementsAre("Scan finished."));

    app.showSources();
    EXPECT_EQ(app.screen(), Screen::sources);
    app.showResults();
    EXPECT_EQ(app.screen(), Screen::results) << "nothing has to be read again";
}

TEST_F(AppModelScanning, tellsWhyAScanFailedAndLooksAgain)
{
    auto& app = model();
    scanError = ReadError::volumeGone("RED");
    app.scan(library("Old"));
    workers->run();
    EXPECT_EQ(app.scanError(), scanError->message());
    EXPECT_EQ(app.scanAdvice(), std::nullopt);
    EXPECT_EQ(app.screen(), Screen::sources);
    EXPECT_TRUE(app.isFinding());
    EXPECT_TRUE(desktop->activity.expired());

    workers->runAll();
    workers->noThreads = true;
    app.scan(library("Old"));
    EXPECT_EQ(app.screen(), Screen::scanning);
    workers->runAll();
    EXPECT_EQ(app.screen(), Screen::sources);
    EXPECT_TRUE(app.scanError().has_value());
}

TEST_F(AppModelScanning, dropsTheScanThatASecondOneReplaced)
{
    auto& app = model();
    for (const auto* name : {"First", "Second", "Third"}) {
        app.scan(library(name));
    }
    EXPECT_FALSE(desktop->activity.expired());
    const auto endLate = [&] {
        scanSteps = {{.done = 99, .waitingForDisk = true}};
        workers->run(0);
        scanSteps.clear();
        EXPECT_TRUE(scanTokens.back()->isCancelled());
        EXPECT_NE(app.scanProgress().done, 99);
        EXPECT_EQ(app.scanWait(), DiskWait::none);
    };
    endLate();
    EXPECT_EQ(app.screen(), Screen::scanning) << "the third one still runs";
    workers->run(1);
    EXPECT_EQ(app.scanned()->result->snapshot.name, "Third");
    EXPECT_TRUE(desktop->activity.expired()) << "one end for each begin";
    endLate();
    EXPECT_EQ(app.scanned()->result->snapshot.name, "Third");
    EXPECT_EQ(app.screen(), Screen::results);
}

TEST_F(AppModelScanning, givesUpAStoppedScanThatNeverAnswers)
{
    auto& app = model();
    app.scan(library("Old"));
    app.stopScan();
    app.stopScan();
    EXPECT_TRUE(app.isStoppingScan());
    timers->pass(Seconds(2.9));
    EXPECT_FALSE(app.stopIsSlow());
    timers->pass(Seconds(0.2));
    EXPECT_TRUE(app.stopIsSlow());
    timers->pass(Seconds(11.8));
    EXPECT_EQ(app.screen(), Screen::scanning);
    timers->pass(Seconds(0.2));
    EXPECT_EQ(app.screen(), Screen::sources);
    EXPECT_FALSE(app.isStoppingScan());
    EXPECT_FALSE(app.stopIsSlow());
    EXPECT_TRUE(desktop->activity.expired());

    workers->run();
    EXPECT_TRUE(scanTokens.front()->isCancelled());
    EXPECT_EQ(app.screen(), Screen::sources);
    EXPECT_EQ(app.scanError(), std::nullopt) << "the late end changes nothing";
    EXPECT_FALSE(app.isFinding());
}

TEST_F(AppModelScanning, aStopThatIsAnsweredLeavesTheNextScanAlone)
{
    auto& app = model();
    for (const Seconds answeredAfter : {Seconds(1), Seconds(5)}) {
        app.scan(library("Old"));
        app.stopScan();
        timers->pass(answeredAfter);
        workers->runAll();
        EXPECT_EQ(app.screen(), Screen::sources);
        EXPECT_EQ(app.scanError(), std::nullopt);

        app.scan(library("New"));
        timers->pass(Seconds(60));
        EXPECT_EQ(app.screen(), Screen::scanning);
        EXPECT_FALSE(app.stopIsSlow());
        workers->runAll();
    }
}

TEST_F(AppModelScanning, endsWithTheModel)
{
    auto& app = model();
    app.scan(library("Old"));
    app.stopScan();
    app.lookForLibraries();
    freshModel(); // in its place
    timers->pass(Seconds(20));
    workers->run(1);
    EXPECT_TRUE(findTokens.back()->isCancelled()) << "nobody waits for it any more";
}

TEST_F(AppModelScanning, bringsTheNewestProgressNowAndThen)
{
    auto& app = model();
    std::vector<std::int64_t> seen;
    const auto notifier = app.scanProgress.onChange([&] { seen.push_back(app.scanProgress().done); });
    scanSteps = {
        {.done = 1}, {.done = 2}, {.stage = ScanStage::checkingFiles, .done = 3, .waitingForDisk = true}};
    app.scan(library("Old"));
    workers->run();
    EXPECT_THAT(seen, ElementsAre(3)) << "three values, one letter";
    EXPECT_THAT(app.scanStages(), ElementsAre(ScanStage::copyingDatabase, ScanStage::checkingFiles))
        << "a stage that was over at once counts";
    letProgressCome();
    EXPECT_EQ(seen.size(), 1U);
}

TEST_F(AppModelScanning, saysSoWhenADiskStaysSilentForLong)
{
    std::vector<DiskWait> told;
    DiskWaitNotice notice(timers, [&](DiskWait wait) { told.push_back(wait); });
    notice.update(true);
    timers->pass(Seconds(29));
    notice.update(true);
    notice.update(false);
    notice.update(true);
    timers->pass(Seconds(29));
    EXPECT_THAT(told, ElementsAre(DiskWait::waiting, DiskWait::none, DiskWait::waiting))
        << "a new wait begins anew";
    timers->pass(Seconds(2));
    EXPECT_EQ(told.back(), DiskWait::waitingLong);

    auto& app = model();
    scanSteps = {{.waitingForDisk = true}};
    std::vector<DiskWait> shown;
    const auto notifier = app.scanWait.onChange([&] { shown.push_back(app.scanWait()); });
    app.scan(library("Old"));
    workers->run();
    EXPECT_THAT(shown, ElementsAre(DiskWait::waiting, DiskWait::none)) << "gone with the scan";
}

TEST_F(AppModelComparing, comparesWithAnotherLibrary)
{
    auto& app = scannedModel();
    app.compare(library("Today"));
    EXPECT_TRUE(app.isComparing());
    workers->runAll();
    EXPECT_FALSE(app.isComparing());
    EXPECT_THAT(app.comparison()->cautions, ElementsAre("Old with Today"));
    EXPECT_EQ(desktop->announced.back(), "Comparison finished.");
    EXPECT_EQ(desktop->activities.back(), "Vantorel is comparing libraries");

    scanError = ReadError::accessDenied();
    app.compare(library("Locked"));
    EXPECT_EQ(app.comparison(), nullptr);
    workers->runAll();
    EXPECT_EQ(app.compareError(), scanError->message());
    EXPECT_EQ(app.compareAdvice(), "It is Locked that refuses.");
    app.scan(library("Barred"));
    workers->runAll();
    EXPECT_EQ(app.scanAdvice(), "It is Barred that refuses.");
    app.scan(library("Old"));
    EXPECT_EQ(app.scanAdvice(), std::nullopt);
    workers->runAll();
    EXPECT_TRUE(desktop->activity.expired());
}

TEST_F(AppModelComparing, endsWithItsScanItsStopOrTheNextComparison)
{
    auto& app = scannedModel();
    app.compare(library("A"));
    app.compare(library("B"));
    scanSteps = {{.done = 99, .waitingForDisk = true}};
    const auto showsNothingLate = [&] {
        workers->run();
        EXPECT_TRUE(scanTokens.back()->isCancelled());
        EXPECT_NE(app.compareProgress().done, 99);
        EXPECT_EQ(app.compareWait(), DiskWait::none);
    };
    showsNothingLate(); // of A, while B runs
    app.stopComparing();
    EXPECT_FALSE(app.isComparing());
    EXPECT_TRUE(desktop->activity.expired());
    showsNothingLate();
    app.compare(library("C"));
    app.scan(library("New"));
    EXPECT_FALSE(app.isComparing());
    EXPECT_EQ(app.comparedWith(), std::nullopt);
    workers->runAll();
    EXPECT_EQ(app.comparison(), nullptr) << "late results";
    EXPECT_TRUE(desktop->activity.expired());
    EXPECT_EQ(app.screen(), Screen::results);
}

} // namespace
} // namespace vantorel
