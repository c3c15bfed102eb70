#include "app/model/RealServices.h"
#include "tests/app/AppFixture.h"
#include "tests/support/ManualClock.h"

#include <chrono>
#include <thread>

#include <QtCore/qcoreapplication.h>

namespace vantorel {
namespace {

/// The model over work that really runs beside it and ends in any order. What these tests ask for holds
/// whatever the order is; the thread sanitizer looks at the rest.
class AppModelThreads : public AppFixture {
protected:
    ~AppModelThreads() override
    {
        app.reset();
        ManualClock::waitForThreads();
    }

    void open()
    {
        const auto work = [](const SharedCancelToken& token, const std::function<void(int)>& step) {
            for (int i = 1; i <= 40; ++i) {
                step(i);
                if (token->isCancelled()) {
                    return false;
                }
                std::this_thread::yield();
            }
            return true;
        };
        CoreWork core{
            .scan =
                [work](const DiskPath& folder, const SharedCancelToken& token,
                    const ScanProgressCallback& progress) {
                    const bool isWhole = work(token,
                        [&](int i) { progress({.done = i, .total = 40, .waitingForDisk = i % 7 == 0}); });
                    if (!isWhole) {
                        throw ReadError::cancelled();
                    }
                    LibraryScanResult result;
                    result.snapshot.name = folder.stem().native();
                    return result;
                },
            .compare =
                [](const LibraryScanResult& source, const LibraryScanResult& other) {
                    return LibraryComparison{
                        .cautions = {source.snapshot.name + " with " + other.snapshot.name}};
                },
            .plan = [](const LibraryScanResult&,
                        const ExportOptions& options) { return planOf(idOf(options), 20); },
            .inspectDestination = [](const DestinationQuestion& question) -> std::optional<DestinationFacts> {
                std::this_thread::yield();
                return DestinationFacts{.problem = question.folder.native()};
            },
            .runExport =
                [work](const Exporter::Request& request) {
                    const bool isWhole = work(
                        request.cancel, [&](int i) { request.progress({.itemsDone = i, .bytesDone = i}); });
                    return isWhole ? ExportOutcome{} : ExportOutcome{.state = ExportOutcome::Cancelled{}};
                },
            .folderIsThere = [](const DiskPath&) { return true; },
            .accessAdvice = [](const DiskPath&) { return std::optional<std::string>(); },
        };
        AppEnvironment environment{
            .finder = {.find = [](const SharedCancelToken&) { return FindResult{}; },
                .inspect = [](const DiskPath& folder) -> std::expected<FoundLibrary, std::string> {
                    return library(folder.stem().native());
                }},
            .fullDiskAccess = [] { return true; },
        };
        settings->setFlag(settingsKeys::onboardingDone, true);
        app = std::make_unique<AppModel>(std::move(environment),
            AppServices{.core = std::move(core),
                .start = startOnThread,
                .timers = timers,
                .settings = settings,
                .desktop = desktop});
    }
    static std::string idOf(const ExportOptions& options)
    {
        return options.includeTrashed ? "with deleted" : "plain";
    }
    void turn()
    {
        QCoreApplication::sendPostedEvents();
        timers->pass(Seconds(0.05));
        std::this_thread::yield();
    }
    void until(const std::function<bool()>& condition)
    {
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (!condition()) {
            ASSERT_LT(std::chrono::steady_clock::now(), giveUp);
            turn();
        }
    }

    std::unique_ptr<AppModel> app{};
};

TEST_F(AppModelThreads, showTheNewestScanAndComparison)
{
    open();
    for (int i = 0; i < 30; ++i) {
        app->scan(library("Scan " + std::to_string(i)));
        app->lookForLibraries();
        if (i % 3 == 0) {
            app->stopScan();
        }
        turn();
    }
    app->openLibrary("/disk/Last.photoslibrary");
    const auto isLast = [&] { return app->scannedLibrary()->name == "Last"; }; // an earlier one may end first
    until([&] { return isLast() && app->screen() == Screen::results && !app->isFinding(); });
    EXPECT_EQ(app->scanned()->result->snapshot.name, "Last");
    for (int i = 0; i < 10; ++i) {
        app->compare(library("Other " + std::to_string(i)));
        turn();
    }
    until([&] { return !app->isComparing(); });
    EXPECT_EQ(app->comparison()->cautions.front(), "Last with Other 9");
    EXPECT_TRUE(desktop->activity.expired());
}

TEST_F(AppModelThreads, planInspectAndSaveSideBySide)
{
    open();
    app->scan(library("Old"));
    until([&] { return app->screen() == Screen::results; });
    for (int i = 0; i < 21; ++i) {
        app->setExportOptions({.includeTrashed = i % 2 == 0});
        app->setExportDestination("/there/" + std::to_string(i));
        turn();
    }
    until([&] { return !app->isPlanning() && app->destinationFacts(); });
    EXPECT_EQ(app->exportPlan()->id, "with deleted");
    EXPECT_EQ(app->destinationFacts()->problem, "/there/20");

    app->startExport();
    app->compare(library("Today"));
    until([&] { return app->exportProgress().itemsDone > 0; });
    app->stopExport();
    until([&] { return !app->isExporting() && !app->isComparing(); });
    ASSERT_NE(app->exportOutcome(), nullptr);
    EXPECT_NE(app->comparison(), nullptr);
    EXPECT_TRUE(desktop->activity.expired());
}

TEST_F(AppModelThreads, mayOutliveTheModel)
{
    for (int i = 0; i < 10; ++i) {
        open();
        app->scan(library("Old"));
        app->lookForLibraries();
        for (int k = 0; k < i; ++k) {
            turn();
        }
        app.reset();
    }
    ManualClock::waitForThreads();
    QCoreApplication::sendPostedEvents();
    EXPECT_TRUE(desktop->activity.expired());
}

} // namespace
} // namespace vantorel
