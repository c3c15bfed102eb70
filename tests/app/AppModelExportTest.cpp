#include "app/model/QuitFlow.h"
#include "tests/app/AppFixture.h"

#include <gmock/gmock.h>

namespace vantorel {
namespace {

using AppModelPlanning = AppFixture;
using AppModelDestination = AppFixture;
using AppModelExporting = AppFixture;

using testing::ElementsAre;

UnfinishedExport unfinishedExport(const std::string& planID, const ExportOptions& options = {})
{
    return {.folder = "/there/Old export (incomplete)", .planID = planID, .options = options};
}

DestinationFacts holding(UnfinishedExport unfinished)
{
    return {
        .volume = VolumeInfo{.blockSize = 512, .freeBytes = 1'000'000}, .unfinished = std::move(unfinished)};
}

TEST_F(AppModelPlanning, keepsOnlyThePlanOfTheNewestChoices)
{
    auto& app = scannedModel();
    EXPECT_EQ(app.exportPlan()->id, "plain");
    EXPECT_EQ(app.planSummary(), (PlanSummary{.photos = 1, .copies = 1, .bytes = 1000}));

    plan = [](const ExportOptions& options) { return planOf(options.includeHidden ? "hidden" : "none"); };
    app.setExportOptions({.includeHidden = false});
    app.setExportOptions({.includeHidden = true, .includeUnfiled = false});
    app.setExportOptions({.includeHidden = false});
    EXPECT_EQ(workers->waiting(), 1U) << "one planning at a time, however fast somebody clicks";
    plan = [](const ExportOptions& options) {
        return planOf(options.includeHidden ? "hidden" : "second try");
    };
    workers->run();
    EXPECT_TRUE(app.isPlanning());
    EXPECT_EQ(app.exportPlan()->id, "plain") << "planned under choices that are no more";
    workers->run();
    EXPECT_FALSE(app.isPlanning());
    EXPECT_EQ(app.exportPlan()->id, "second try");
    app.setExportOptions(app.exportOptions());
    EXPECT_FALSE(app.isPlanning()) << "nothing was changed";
}

TEST_F(AppModelPlanning, beginsAnewWithAnotherLibrary)
{
    auto& app = readyModel();
    app.setExportOptions({.includeTrashed = true, .includeOutsideFiles = true, .albumPKs = {{7}}});
    app.openExport();
    app.setExportDestination("/there");
    app.scan(library("New"));
    workers->run(1);
    EXPECT_EQ(app.destinationFacts(), std::nullopt) << "asked about the other library";
    EXPECT_EQ(app.exportOptions(), ExportOptions{.includeTrashed = true});
    EXPECT_FALSE(app.showExport());
    EXPECT_EQ(app.exportPlan(), nullptr);
    EXPECT_FALSE(app.canStartExport());
    questions.clear();
    workers->runAll();
    EXPECT_EQ(app.exportPlan()->id, "with deleted");
    EXPECT_EQ(app.exportDestination(), "/there");
    ASSERT_EQ(questions.size(), 1U);
    EXPECT_EQ(questions.front().libraryName, "New")
        << "an unfinished export is looked for under the new name";
    EXPECT_EQ(questions.front().planID, "with deleted");

    app.scan(library("New"));
    workers->runAll();
    EXPECT_TRUE(app.canStartExport()) << "the plan is the same as before; the disk is looked at all the same";
}

TEST_F(AppModelDestination, isTheOneThatWasChosenLast)
{
    auto& app = scannedModel();
    facts["/slow"] = std::nullopt;
    app.setExportDestination("/slow");
    app.setExportDestination("/there");
    workers->run(1);
    EXPECT_TRUE(app.canStartExport());
    workers->run(0);
    EXPECT_FALSE(app.destinationDidNotAnswer()) << "the other folder's answer";

    app.setExportDestination("/slow");
    EXPECT_EQ(app.destinationFacts(), std::nullopt);
    workers->runAll();
    EXPECT_TRUE(app.destinationDidNotAnswer());
    EXPECT_FALSE(app.canStartExport());
    app.setExportDestination("/there");
    EXPECT_FALSE(app.destinationDidNotAnswer());
}

TEST_F(AppModelDestination, isProposedFromTheLastExport)
{
    settings->setText(settingsKeys::exportDestination, "/last");
    auto& app = scannedModel();
    app.openExport();
    EXPECT_TRUE(app.showExport());
    EXPECT_EQ(app.exportDestination(), "/last");
    desktop->answer = "/chosen";
    app.chooseExportDestination();
    app.closeExport();
    app.openExport();
    EXPECT_EQ(app.exportDestination(), "/chosen");
    EXPECT_EQ(desktop->panels.back().what, Desktop::Panel::What::folder);
}

TEST_F(AppModelDestination, needsRoomAndSomethingToSave)
{
    auto& app = readyModel();
    EXPECT_EQ(app.neededBytesThere(), neededBytes(*app.exportPlan(), 512));
    auto tight =
        DestinationFacts{.volume = VolumeInfo{.blockSize = 512, .freeBytes = app.neededBytesThere()}};
    facts["/tight"] = tight;
    app.setExportDestination("/tight");
    workers->runAll();
    EXPECT_TRUE(app.canStartExport()) << "exactly enough";
    --tight.volume->freeBytes;
    facts["/tight"] = tight;
    app.setExportDestination("/tight");
    workers->runAll();
    EXPECT_FALSE(app.canStartExport());
    facts["/refused"] = DestinationFacts{.problem = "That folder is inside the library."};
    app.setExportDestination("/refused");
    workers->runAll();
    EXPECT_FALSE(app.canStartExport());
    plan = [](const ExportOptions&) { return planOf("empty", 0); };
    app.setExportOptions({.includeUnfiled = false});
    app.setExportDestination("/there");
    workers->runAll();
    EXPECT_FALSE(app.canStartExport());
}

TEST_F(AppModelDestination, saysWhatBecomesOfAnUnfinishedExport)
{
    facts["/there"] = holding(unfinishedExport("plain"));
    facts["/there"]->savedKeys = std::make_shared<const std::unordered_set<std::string>>(
        std::unordered_set<std::string>{"Albums/A/1.jpg"});
    auto& app = readyModel();
    EXPECT_TRUE(app.resumesUnfinished());
    EXPECT_EQ(app.unfinishedNote(), "Continues the unfinished export in \"Old export (incomplete)\".");
    EXPECT_EQ(app.neededBytesThere(), 0) << "all of it is saved already";

    app.setExportOptions({.includeTrashed = true});
    workers->runAll();
    EXPECT_FALSE(app.resumesUnfinished());
    EXPECT_EQ(app.unfinishedNote(),
        "These choices differ from the unfinished export in \"Old export (incomplete)\", so a new folder "
        "will be "
        "made.");
    EXPECT_GT(app.neededBytesThere(), 0);
    EXPECT_EQ(questions.back().planID, "with deleted") << "another one may fit this plan";
    EXPECT_TRUE(app.exportOptions().includeTrashed) << "choices are taken over once, and then are the user's";

    facts["/elsewhere"] =
        holding(unfinishedExport("other", {.includeTrashed = true, .includeOutsideFiles = true}));
    facts["/elsewhere"]->unfinished->folder = "/elsewhere/Old export (incomplete)";
    app.setExportDestination("/elsewhere");
    EXPECT_EQ(app.unfinishedNote(), std::nullopt);
    workers->runAll();
    EXPECT_THAT(app.unfinishedNote().value_or(""),
        testing::HasSubstr("also saved files stored outside this library"));
}

TEST_F(AppModelDestination, takesOverTheChoicesOfAnUnfinishedExportOnce)
{
    facts["/there"] = holding(unfinishedExport("with deleted",
        {.includeHidden = false, .includeTrashed = true, .includeOutsideFiles = true, .albumPKs = {{3}}}));
    auto& app = readyModel();
    EXPECT_EQ(app.exportOptions(), (ExportOptions{.includeHidden = false, .includeTrashed = true}))
        << "trust in outside files is given by hand";
    EXPECT_TRUE(app.resumesUnfinished());
    app.setExportOptions({});
    app.setExportDestination("/there");
    workers->runAll();
    EXPECT_EQ(app.exportOptions(), ExportOptions{});
}

TEST_F(AppModelExporting, savesWhatWasPlannedAndRemembersTheChoices)
{
    auto& app = scannedModel();
    app.startExport();
    EXPECT_FALSE(app.isExporting()) << "there is no destination";
    app.setExportOptions({.includeTrashed = true});
    app.setExportDestination("/there");
    app.startExport();
    EXPECT_FALSE(app.isExporting()) << "the plan is not there yet";
    workers->runAll();

    exportSteps = {{.itemsDone = 1, .currentName = "a.jpg", .waitingForDisk = true}};
    outcome.folder = "/there";
    std::vector<DiskWait> waits;
    const auto notifier = app.exportWait.onChange([&] { waits.push_back(app.exportWait()); });
    app.startExport();
    app.startExport();
    EXPECT_TRUE(app.isExporting());
    EXPECT_FALSE(desktop->noSuddenTermination.expired());
    EXPECT_EQ(settings->text(settingsKeys::exportDestination), "/there");
    EXPECT_THAT(settings->bytes(settingsKeys::exportOptions).value_or(""),
        testing::HasSubstr("includeTrashed\":true"));
    app.setExportDestination("/elsewhere");
    EXPECT_EQ(app.exportDestination(), "/there") << "not while it is being written to";

    workers->runAll();
    ASSERT_EQ(exports.size(), 1U);
    EXPECT_EQ(exports.front().plan->id, "with deleted");
    EXPECT_TRUE(exports.front().options.includeTrashed);
    EXPECT_EQ(exports.front().destination, "/there");
    EXPECT_EQ(app.exportProgress().currentName, "a.jpg");
    EXPECT_THAT(waits, ElementsAre(DiskWait::waiting, DiskWait::none));
    EXPECT_TRUE(app.exportOutcome()->isFinished());
    EXPECT_TRUE(app.outcomeFolderIsThere());
    EXPECT_FALSE(app.isExporting());
    EXPECT_TRUE(desktop->noSuddenTermination.expired());
    EXPECT_TRUE(desktop->activity.expired());
    EXPECT_EQ(desktop->activities.back(), "Vantorel is saving files");
}

TEST_F(AppModelExporting, announcesHowItEnded)
{
    struct Row {
        ExportOutcome outcome;
        std::string announced;
    };
    auto& app = readyModel();
    for (const auto& row : {
             Row{{}, "Export finished."},
             Row{{.sourceLimit = "Lost."}, "Export finished, details may be missing."},
             Row{{.sourceLimit = "Lost.", .lostAllAlbums = true}, "Files saved, without albums."},
             Row{{.state = ExportOutcome::Cancelled{}}, "Export not finished."},
             Row{{.state = ExportOutcome::DestinationFull{}}, "Export not finished."},
         }) {
        outcome = row.outcome;
        app.startExport();
        workers->runAll();
        EXPECT_EQ(desktop->announced.back(), row.announced);
    }
}

TEST_F(AppModelExporting, stopsOnceAndQuitsAfterItsEnd)
{
    auto& app = readyModel();
    app.stopExport();
    EXPECT_FALSE(app.isStoppingExport());
    app.startExport();
    app.stopExport();
    EXPECT_TRUE(app.isStoppingExport());
    int quits = 0;
    app.setQuitAfterExport([&] {
        EXPECT_FALSE(app.isExporting());
        EXPECT_NE(app.exportOutcome(), nullptr);
        ++quits;
    });
    outcome.state = ExportOutcome::Cancelled{};
    workers->runAll();
    EXPECT_TRUE(exports.back().cancel->isCancelled());
    EXPECT_FALSE(app.isStoppingExport());
    app.startExport();
    EXPECT_EQ(app.exportOutcome(), nullptr);
    workers->runAll();
    EXPECT_EQ(quits, 1);
}

TEST_F(AppModelExporting, dropsProgressThatComesAfterTheEnd)
{
    auto& app = readyModel();
    app.startExport();
    workers->runAll();
    letProgressCome();
    exports.back().progress({.itemsDone = 99, .waitingForDisk = true});
    workers->runAll();
    EXPECT_NE(app.exportProgress().itemsDone, 99);
    EXPECT_EQ(app.exportWait(), DiskWait::none);
}

TEST_F(AppModelExporting, sharesOneAssertionWithAScanUntilBothEnd)
{
    auto& app = readyModel();
    app.startExport();
    app.scan(library("New"));
    workers->run(1);
    EXPECT_EQ(app.screen(), Screen::results);
    EXPECT_FALSE(desktop->activity.expired());
    EXPECT_EQ(desktop->activities.back(), "Vantorel is saving files") << "the first reason stays";
    EXPECT_FALSE(app.canStartExport());
    workers->run(0);
    EXPECT_TRUE(desktop->activity.expired());
    EXPECT_NE(app.exportOutcome(), nullptr);
}

class TestWindows final : public QuitWindows {
public:
    void askWhetherToQuit(std::function<void(Answer)> answered) override
    {
        ++questions;
        answer = std::move(answered);
    }
    bool closeAttachedSheets() override { return sheetsStayFor-- > 0; }
    void terminate() override { terminations += flow->mayTerminate() ? 1 : 0; }

    QuitFlow* flow = nullptr;
    int questions = 0;
    int sheetsStayFor = 0;
    int terminations = 0;
    std::function<void(Answer)> answer{};
};

class Quitting : public AppFixture {
protected:
    void begin(AppModel& app)
    {
        flow = std::make_unique<QuitFlow>(app, timers, windows);
        windows.flow = flow.get();
    }

    TestWindows windows{};
    std::unique_ptr<QuitFlow> flow{};
};

TEST_F(Quitting, withoutAnExportOnlyWaitsForSheetsToGoAway)
{
    auto& app = scannedModel();
    begin(app);
    app.openExport();
    windows.sheetsStayFor = 3;
    flow->quit();
    EXPECT_FALSE(app.showExport());
    timers->pass(Seconds(0.1));
    EXPECT_EQ(windows.terminations, 0);
    timers->pass(Seconds(0.05));
    EXPECT_EQ(windows.terminations, 1);

    windows.sheetsStayFor = 1000;
    flow->quit();
    timers->pass(Seconds(0.94));
    EXPECT_EQ(windows.terminations, 1);
    timers->pass(Seconds(0.1));
    EXPECT_EQ(windows.terminations, 2) << "a sheet that never goes away does not hold the application open";
    EXPECT_EQ(windows.questions, 0);
}

TEST_F(Quitting, duringAnExportAsksFirstAndEndsAfterTheSafePoint)
{
    auto& app = readyModel();
    begin(app);
    app.startExport();
    EXPECT_FALSE(flow->mayTerminate());
    flow->quit();
    EXPECT_EQ(windows.questions, 1) << "one question at a time";
    windows.answer(QuitWindows::Answer::keepRunning);
    EXPECT_FALSE(app.isStoppingExport());

    EXPECT_FALSE(flow->mayTerminate());
    windows.answer(QuitWindows::Answer::stopAndQuit);
    EXPECT_TRUE(app.isStoppingExport());
    timers->pass(Seconds(1));
    EXPECT_EQ(windows.terminations, 0);
    workers->runAll();
    EXPECT_EQ(windows.terminations, 1);
}

TEST_F(Quitting, withoutTimeForAQuestionStopsAtTheSafePointAndEnds)
{
    auto& app = readyModel();
    begin(app);
    app.startExport();
    flow->quit();
    flow->endSoon();
    flow->endSoon();
    EXPECT_TRUE(app.isStoppingExport());
    windows.answer(QuitWindows::Answer::keepRunning); // the question was taken away
    EXPECT_EQ(windows.terminations, 0);
    workers->runAll();
    EXPECT_EQ(windows.terminations, 1);
    EXPECT_TRUE(exports.back().cancel->isCancelled());
    flow->endSoon();
    EXPECT_EQ(windows.terminations, 2) << "nothing to wait for";
    EXPECT_EQ(windows.questions, 1);
}

TEST_F(Quitting, aSleepWaitsForTheItemThatIsBeingSaved)
{
    auto& app = readyModel();
    begin(app);
    int reached = 0;
    bool isSaving = false;
    const auto sleep = [&] {
        flow->beforeSleep([&] {
            ++reached;
            isSaving = app.isExporting();
        });
    };
    sleep();
    EXPECT_EQ(reached, 1) << "nothing is being saved";
    app.startExport();
    sleep();
    EXPECT_EQ(reached, 1);
    exportSteps = {{.itemsDone = 0, .bytesDone = 7}};
    workers->runAll();
    EXPECT_EQ(reached, 2) << "the export has ended";
    EXPECT_FALSE(isSaving);
    exportSteps = {{.itemsDone = 1}};
    app.startExport();
    sleep();
    workers->runAll();
    EXPECT_EQ(reached, 3);
    EXPECT_TRUE(isSaving) << "the item was whole before the export ended";
}

TEST_F(Quitting, doesNotWaitLongerThanFiveSecondsForTheSafePoint)
{
    auto& app = readyModel();
    begin(app);
    app.startExport();
    flow->quit();
    windows.answer(QuitWindows::Answer::stopAndQuit);
    timers->pass(Seconds(4.9));
    EXPECT_EQ(windows.terminations, 0);
    timers->pass(Seconds(0.2));
    EXPECT_EQ(windows.terminations, 1);
    EXPECT_TRUE(app.isExporting());
    EXPECT_EQ(windows.questions, 1);
}

} // namespace
} // namespace vantorel
