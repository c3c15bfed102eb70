#include "app/model/AppModel.h"

#include "app/model/AppModelWork.h"
#include "app/model/FreedInBackground.h"
#include "app/model/MainTimers.h"
#include "app/model/WindowTexts.h"

#include <atomic>

#include <QtCore/qpointer.h>

namespace vantorel {

namespace {

/// After a stop: when it is said that the disk is slow, and how much later the scan is given up.
constexpr Seconds slowStop{3};
constexpr Seconds giveUpAfterSlowStop{12};

/// By that path a library is known from then on, however it was given.
DiskPath withoutTrailingSlash(const DiskPath& path)
{
    return path.has_filename() ? path : path.parent_path();
}

std::optional<std::string> textOrNone(const std::string& text)
{
    return text.empty() ? std::nullopt : std::optional(text);
}

} // namespace

void AppModel::lookForLibraries()
{
    if (findToken_) {
        findToken_->cancel();
    }
    const auto token = std::make_shared<CancelToken>();
    findToken_ = token;
    isFinding.set(true);
    using Result = std::shared_ptr<const FindResult>;
    inBackground<Result>(
        [find = environment.finder.find, token] { return std::make_shared<const FindResult>(find(token)); },
        [this, token](const Result& result) {
            if (findToken_ != token) {
                return;
            }
            findToken_.reset();
            if (result) {
                found.set(result);
            }
            isFinding.set(false);
        },
        nullptr);
}

void AppModel::chooseLibrary()
{
    services_.desktop->choose(
        {.what = Desktop::Panel::What::library,
            .prompt = "Choose Library",
            .message = "Choose a Photos library, or a folder copied from one. It can be on any "
                       "disk. It is only read."},
        [model = QPointer(this)](const std::optional<DiskPath>& folder) {
            if (model && folder) {
                model->openLibrary(*folder);
            }
        });
}

void AppModel::openLibrary(const DiskPath& folder)
{
    setScanError(std::nullopt);
    inspectChosen(
        folder, [this](const FoundLibrary& library) { scan(library); },
        [this](std::string message) { setScanError(std::move(message)); });
}

void AppModel::inspectChosen(const DiskPath& folder, std::function<void(const FoundLibrary&)> use,
    std::function<void(std::string)> refuse)
{
    const auto generation = ++chosenGeneration_;
    using Result = std::expected<FoundLibrary, std::string>;
    inBackground<Result>(
        [inspect = environment.finder.inspect, path = withoutTrailingSlash(folder)] { return inspect(path); },
        [this, generation, use = std::move(use), refuse = std::move(refuse)](const Result& result) {
            if (generation != chosenGeneration_) {
                return;
            }
            if (result) {
                use(*result);
            } else {
                refuse(result.error());
            }
        },
        std::unexpected(std::string(texts::noRoomToWork)));
}

AppModel::ReadEnd AppModel::scanInBackground(const CoreWork& core, const DiskPath& library,
    const SharedCancelToken& token, const ScanProgressCallback& progress)
{
    try {
        return std::make_shared<const LibraryScanResult>(core.scan(library, token, progress));
    } catch (const ReadError& error) {
        return std::unexpected(Trouble{.message = error.message(),
            .advice =
                error.kind() == ReadError::Kind::accessDenied ? core.accessAdvice(library) : std::nullopt});
    }
}

void AppModel::scan(const FoundLibrary& library)
{
    if (scanToken_) {
        endScan();
    }
    ++chosenGeneration_; // a folder that is still being inspected is not wanted any more
    dropComparison();
    clearExport();
    scanned.set(nullptr);
    scannedLibrary.set(library);
    scanTitle.set("Scanning " + library.name);
    scanProgress.set({});
    scanStages.set({});
    scanPace.set({});
    scanSpeed_.restart();
    setScanError(std::nullopt);
    isStoppingScan.set(false);
    stopIsSlow.set(false);
    tab.set(ResultTab::overview);
    limitedFilter.set(std::nullopt);
    screen.set(Screen::scanning);
    beginActivity("Vantorel is scanning a library");

    const auto token = std::make_shared<CancelToken>();
    scanToken_ = token;
    inBackground<ScanEnd>(
        [core = services_.core, start = services_.start, path = library.url, token,
            progress = scanProgressOf(token)] {
            const auto end = scanInBackground(core, path, token, progress);
            if (!end) {
                return ScanEnd(std::unexpected(end.error()));
            }
            auto ended = scannedLibraryOf(*end);
            if (const auto& refused = ended.result->originals.deniedFolders; !refused.empty()) {
                ended.accessAdvice = core.accessAdvice(path / refused.front());
            }
            const auto items = ended.byDate.size();
            return ScanEnd(freedInBackground(std::move(ended), items, start));
        },
        [this, token](const ScanEnd& end) {
            if (scanToken_ == token) {
                applyScan(end);
            }
        },
        std::unexpected(Trouble{.message = texts::noRoomToWork}));
}

/// Stages are noted as they come, on the scan's own thread: of values that follow each other quickly, only
/// the newest reaches this one.
std::function<void(const ScanProgress&)> AppModel::scanProgressOf(const SharedCancelToken& token)
{
    const auto seen = std::make_shared<std::atomic<unsigned>>(0);
    const auto bit = [](ScanStage stage) { return 1U << static_cast<unsigned>(stage); };
    auto apply = throttled<ScanProgress>([this, token, seen, bit](const ScanProgress& value) {
        if (scanToken_ != token) {
            return;
        }
        std::vector<ScanStage> stages;
        for (const auto& [stage, name] : scanStageNames) {
            if ((seen->load() & bit(stage)) != 0) {
                stages.push_back(stage);
            }
        }
        if (value.stage != scanProgress().stage) {
            scanSpeed_.restart();
        }
        scanStages.set(std::move(stages));
        scanProgress.set(value);
        scanPace.set(scanSpeed_.update(value.done, value.total, services_.timers->now()));
        scanNotice_.update(value.waitingForDisk);
    });
    return [seen, bit, apply = std::move(apply)](const ScanProgress& value) {
        seen->fetch_or(bit(value.stage));
        apply(value);
    };
}

/// The running scan is over for the model, whether it ended, was replaced or was given up.
void AppModel::endScan()
{
    scanToken_->cancel();
    scanToken_.reset();
    scanNotice_.update(false);
    isStoppingScan.set(false);
    stopIsSlow.set(false);
    endActivity();
}

void AppModel::applyScan(const ScanEnd& end)
{
    endScan();
    if (end) {
        scanned.set(*end);
        planAgain();
        screen.set(Screen::results);
        announce("Scan finished.");
    } else {
        setScanError(textOrNone(end.error().message), end.error().advice);
        screen.set(Screen::sources);
        lookForLibraries();
    }
}

void AppModel::setScanError(std::optional<std::string> message, std::optional<std::string> advice)
{
    scanAdvice.set(std::move(advice));
    scanError.set(std::move(message));
}

void AppModel::setCompareError(std::optional<std::string> message, std::optional<std::string> advice)
{
    compareAdvice.set(std::move(advice));
    compareError.set(std::move(message));
}

void AppModel::stopScan()
{
    if (!scanToken_ || isStoppingScan()) {
        return;
    }
    const auto token = scanToken_;
    token->cancel();
    isStoppingScan.set(true);
    later(slowStop, [this, token] {
        if (scanToken_ != token) {
            return;
        }
        stopIsSlow.set(true);
        later(giveUpAfterSlowStop, [this, token] {
            if (scanToken_ == token) {
                endScan();
                screen.set(Screen::sources);
            }
        });
    });
}

void AppModel::chooseLibraryToCompare()
{
    services_.desktop->choose(
        {.what = Desktop::Panel::What::library,
            .prompt = "Choose Library",
            .message = "Choose a Photos library, or a folder copied from one. It can be on any "
                       "disk. It is only read."},
        [model = QPointer(this)](const std::optional<DiskPath>& folder) {
            if (!model || !folder) {
                return;
            }
            model->setCompareError(std::nullopt);
            model->inspectChosen(
                *folder, [model](const FoundLibrary& library) { model->compare(library); },
                [model](std::string message) { model->setCompareError(std::move(message)); });
        });
}

void AppModel::compare(const FoundLibrary& other)
{
    if (!scanned()) {
        return;
    }
    const auto source = scanned()->result;
    dropComparison();
    comparedWith.set(other);
    isComparing.set(true);
    beginActivity("Vantorel is comparing libraries");

    const auto token = std::make_shared<CancelToken>();
    compareToken_ = token;
    const auto progress = throttled<ScanProgress>([this, token](const ScanProgress& value) {
        if (compareToken_ == token) {
            compareProgress.set(value);
            compareNotice_.update(value.waitingForDisk);
        }
    });
    struct Compared {
        std::shared_ptr<const LibraryComparison> comparison{};
        Trouble trouble{};
    };
    inBackground<Compared>(
        [core = services_.core, start = services_.start, path = other.url, source, token, progress] {
            const auto end = scanInBackground(core, path, token, progress);
            if (!end) {
                return Compared{.trouble = end.error()};
            }
            auto compared = core.compare(*source, **end);
            const auto items = compared.missingAssetPKs.size() + compared.changedAssets.size();
            return Compared{.comparison = freedInBackground(std::move(compared), items, start)};
        },
        [this, token](const Compared& compared) {
            if (compareToken_ != token) {
                return;
            }
            endComparison();
            if (compared.comparison) {
                comparison.set(compared.comparison);
                announce("Comparison finished.");
            } else {
                setCompareError(textOrNone(compared.trouble.message), compared.trouble.advice);
            }
        },
        Compared{.trouble = {.message = texts::noRoomToWork}});
}

void AppModel::endComparison()
{
    compareToken_->cancel();
    compareToken_.reset();
    compareNotice_.update(false);
    isComparing.set(false);
    endActivity();
}

void AppModel::stopComparing()
{
    if (compareToken_) {
        endComparison();
        comparedWith.set(std::nullopt);
    }
}

void AppModel::dropComparison()
{
    stopComparing();
    comparison.set(nullptr);
    comparedWith.set(std::nullopt);
    compareProgress.set({});
    setCompareError(std::nullopt);
}

} // namespace vantorel
