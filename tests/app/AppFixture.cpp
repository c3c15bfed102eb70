#include "tests/app/AppFixture.h"

#include "tests/app/TestApplication.h"

namespace vantorel {

namespace {

void deliverLetters() { QCoreApplication::sendPostedEvents(); }

} // namespace

void TestTimers::after(Seconds delay, std::function<void()> action)
{
    due_.emplace((now_ + delay).count(), std::move(action));
}

void TestTimers::pass(Seconds time)
{
    const Seconds end = now_ + time;
    while (!due_.empty() && due_.begin()->first <= end.count() + 1e-9) {
        now_ = Seconds(due_.begin()->first);
        const auto action = std::move(due_.begin()->second);
        due_.erase(due_.begin());
        action();
    }
    now_ = end;
}

bool TestWorkers::start(std::function<void()> work)
{
    if (!noThreads) {
        work_.push_back(std::move(work));
    }
    return !noThreads;
}

void TestWorkers::run(std::size_t n)
{
    ASSERT_LT(n, work_.size()) << "no such work was started";
    const auto work = std::move(work_[n]);
    work_.erase(work_.begin() + static_cast<std::ptrdiff_t>(n));
    work();
    deliverLetters();
}

void TestWorkers::runAll()
{
    deliverLetters();
    while (!work_.empty()) {
        run();
    }
}

bool TestSettings::flag(std::string_view key) const
{
    const auto found = values.find(std::string(key));
    return found != values.end() && found->second == "true";
}

std::optional<std::string> TestSettings::bytes(std::string_view key) const
{
    const auto found = values.find(std::string(key));
    return found == values.end() ? std::nullopt : std::optional(found->second);
}

void TestDesktop::choose(const Panel& panel, std::function<void(std::optional<DiskPath>)> chosen)
{
    panels.push_back(panel);
    chosen(answer);
}

Desktop::Assertion TestDesktop::beginActivity(const std::string& reason)
{
    EXPECT_TRUE(activity.expired()) << "two assertions at once";
    activities.push_back(reason);
    auto assertion = std::make_shared<int>(0);
    activity = assertion;
    return assertion;
}

Desktop::Assertion TestDesktop::preventSuddenTermination()
{
    auto assertion = std::make_shared<int>(0);
    noSuddenTermination = assertion;
    return assertion;
}

AppFixture::AppFixture()
{
    makeTestApplication();
    plan = [](const ExportOptions& options) {
        return planOf(options.includeTrashed ? "with deleted" : "plain");
    };
}

FoundLibrary AppFixture::library(const std::string& name)
{
    return {.url = "/disk/" + name + ".photoslibrary", .name = name};
}

ExportPlan AppFixture::planOf(const std::string& id, std::int64_t photos)
{
    ExportPlan plan{.libraryName = "Old", .id = id};
    for (std::int64_t pk = 1; pk <= photos; ++pk) {
        const std::string path = "Albums/A/" + std::to_string(pk) + ".jpg";
        plan.items.push_back({.assetPK = pk, .files = {{.source = "x", .relativePath = path, .size = 1000}}});
    }
    return plan;
}

AppModel& AppFixture::freshModel()
{
    AppEnvironment environment{
        .finder = {
            .find =
                [this](const SharedCancelToken& token) {
                    findTokens.push_back(token);
                    return FindResult{.libraries = {library("Found " + std::to_string(findTokens.size()))}};
                },
            .inspect = [this](const DiskPath& folder) -> std::expected<FoundLibrary, std::string> {
                if (refusal == "none") {
                    return library(folder.stem().native());
                }
                return std::unexpected(
                    refusal.empty() ? FindTexts::notALibrary(folder.filename().native()).message : refusal);
            },
        },
        .fullDiskAccess =
            [this] {
                ++probes;
                return access;
            },
    };
    CoreWork core{
        .scan =
            [this](const DiskPath& folder, const SharedCancelToken& token,
                const ScanProgressCallback& progress) {
                scanTokens.push_back(token);
                for (const auto& step : scanSteps) {
                    progress(step);
                }
                if (token->isCancelled()) {
                    throw ReadError::cancelled();
                }
                if (scanError) {
                    throw *scanError;
                }
                auto result = contents;
                result.snapshot.name = folder.stem().native();
                return result;
            },
        .compare =
            [](const LibraryScanResult& source, const LibraryScanResult& other) {
                return LibraryComparison{.cautions = {source.snapshot.name + " with " + other.snapshot.name}};
            },
        .plan = [this](const LibraryScanResult&, const ExportOptions& options) { return plan(options); },
        .inspectDestination = [this](const DestinationQuestion& question) -> std::optional<DestinationFacts> {
            questions.push_back(question);
            const auto known = facts.find(question.folder.native());
            return known != facts.end()
                ? known->second
                : DestinationFacts{.volume = VolumeInfo{.blockSize = 512, .freeBytes = 1'000'000}};
        },
        .runExport =
            [this](const Exporter::Request& request) {
                exports.push_back(request);
                for (const auto& step : exportSteps) {
                    request.progress(step);
                }
                return outcome;
            },
        .folderIsThere = [](const DiskPath& folder) { return folder == "/there"; },
        .accessAdvice =
            [](const DiskPath& folder) { return "It is " + folder.stem().native() + " that refuses."; },
    };
    model_ = std::make_unique<AppModel>(std::move(environment),
        AppServices{
            .core = std::move(core),
            .start =
                [workers = std::weak_ptr(workers)](std::function<void()> work) {
                    const auto open = workers.lock(); // what waits there may hold this in turn
                    return open && open->start(std::move(work));
                },
            .timers = timers,
            .settings = settings,
            .desktop = desktop,
        });
    return *model_;
}

AppModel& AppFixture::model()
{
    settings->setFlag(settingsKeys::onboardingDone, true);
    freshModel();
    workers->runAll();
    return *model_;
}

AppModel& AppFixture::scannedModel()
{
    model().scan(library("Old"));
    workers->runAll();
    return *model_;
}

AppModel& AppFixture::readyModel()
{
    scannedModel().setExportDestination("/there");
    workers->runAll();
    return *model_;
}

void AppFixture::letProgressCome() { timers->pass(Seconds(0.05)); }

} // namespace vantorel
