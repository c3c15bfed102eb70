#pragma once

#include "app/model/AppServices.h"
#include "app/model/DiskWaitNotice.h"
#include "app/model/ItemsLook.h"
#include "app/model/Mailbox.h"
#include "app/model/Pace.h"
#include "app/model/Published.h"
#include "app/model/ScannedLibrary.h"

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QtCore/qobject.h>

namespace vantorel {

enum class Screen { onboarding, sources, scanning, results };
enum class ResultTab { overview, albums, notSaved, compare };

/// What the export sheet says of a plan, counted once.
struct PlanSummary {
    std::int64_t photos = 0; ///< Photos and videos, each once.
    std::int64_t copies = 0; ///< Files in folders.
    std::int64_t bytes = 0;

    bool operator==(const PlanSummary&) const = default;
};

/// The one object that drives the application: it holds what every window shows and carries out what the user
/// starts. Windows read and observe its properties and call its actions; every action returns at once.
///
/// Main thread only. Work runs on background threads that know the model only through its mailbox; a result
/// is applied while the token (or, for planning and the inspection of a destination, the generation) that it
/// was asked under is still the current one, and else dropped without a word.
class AppModel final : public QObject {
    Q_OBJECT

    template <typename T>
    using Property = Published<AppModel, T>;

public:
    AppModel(AppEnvironment environment, AppServices services, QObject* parent = nullptr);
    ~AppModel() override;

    const AppEnvironment environment;

    Property<Screen> screen{Screen::onboarding};
    Property<bool> hasFullDiskAccess{false};
    Property<std::shared_ptr<const FindResult>> found{std::make_shared<const FindResult>()};
    Property<bool> isFinding{false};
    Property<std::string> scanTitle{};
    Property<ScanProgress> scanProgress{};         ///< At most some twenty times a second.
    Property<std::vector<ScanStage>> scanStages{}; ///< Those that the scan has come to, each once.
    Property<Pace::Reading> scanPace{};
    Property<DiskWait> scanWait{DiskWait::none};
    Property<std::optional<std::string>> scanError{};
    Property<std::optional<std::string>> scanAdvice{}; ///< What helps on this system; beneath the error.
    Property<std::shared_ptr<const ScannedLibrary>> scanned{}; ///< The finished scan, or none.
    Property<std::optional<FoundLibrary>> scannedLibrary{};
    Property<bool> isStoppingScan{false};
    Property<bool> stopIsSlow{false};
    Property<ResultTab> tab{ResultTab::overview};
    Property<std::optional<OriginalClass>>
        limitedFilter{}; ///< What of the items without a usable original is listed.
    Property<ItemsLook> itemsLook{};

    Property<std::shared_ptr<const LibraryComparison>> comparison{};
    Property<std::optional<FoundLibrary>> comparedWith{};
    Property<bool> isComparing{false};
    Property<ScanProgress> compareProgress{};
    Property<DiskWait> compareWait{DiskWait::none};
    Property<std::optional<std::string>> compareError{};
    Property<std::optional<std::string>> compareAdvice{}; ///< Likewise.

    Property<bool> showExport{false};
    Property<ExportOptions> exportOptions{};
    Property<std::optional<DiskPath>> exportDestination{};
    Property<bool> isExporting{false};
    Property<bool> isStoppingExport{false};
    Property<ExportProgress> exportProgress{};
    Property<Pace::Reading> exportPace{}; ///< In bytes.
    Property<DiskWait> exportWait{DiskWait::none};
    Property<std::shared_ptr<const ExportOutcome>> exportOutcome{};
    Property<bool> outcomeFolderIsThere{false};
    Property<std::shared_ptr<const ExportPlan>> exportPlan{};
    Property<PlanSummary> planSummary{};
    Property<bool> isPlanning{false};
    Property<std::optional<DestinationFacts>> destinationFacts{};
    Property<bool> destinationDidNotAnswer{false};
    Property<std::int64_t> neededBytesThere{0}; ///< On the destination's volume; 0 while that is not known.
    Property<std::optional<std::string>> unfinishedNote{};
    Property<bool> resumesUnfinished{false};

    /// The user leaves the onboarding screen.
    void finishOnboarding();
    /// The welcome step of onboarding was shown.
    bool hasSeenWelcome() const;
    void setWelcomeSeen();
    void recheckFullDiskAccess();
    /// The system told that the program is in front again, or that a volume came or went.
    void applicationBecameActive();
    void volumesChanged();

    void lookForLibraries();
    void chooseLibrary();
    /// Inspects a folder that was chosen or dropped, and scans it when it is a library.
    void openLibrary(const DiskPath& folder);
    void scan(const FoundLibrary& library);
    /// Cancels; says after 3 seconds that the disk is slow; gives the scan up after 12 more.
    void stopScan();
    void setTab(ResultTab chosen);
    /// The items without a usable original, or one class of them.
    void showLimited(std::optional<OriginalClass> filter);
    /// Is remembered.
    void setItemsLook(const ItemsLook& look);
    /// From the results to the list of libraries. What was scanned stays until another library is scanned.
    void showSources();
    /// Back to the results of the last scan, where there is one.
    void showResults();

    void compare(const FoundLibrary& other);
    void chooseLibraryToCompare();
    void stopComparing();

    void openExport();
    void closeExport();
    /// Another choice than the current ones; plans again.
    void setExportOptions(const ExportOptions& options);
    void chooseExportDestination();
    void setExportDestination(const DiskPath& folder);
    /// Everything is there for a start: a current plan with something to save, a destination that answered,
    /// and room.
    bool canStartExport() const;
    void startExport();
    void stopExport();
    /// From an outcome back to the choices.
    void clearOutcome();
    /// Performed once the running export has ended.
    void setQuitAfterExport(std::function<void()> action);

    /// Pieces of work that overlap share one assertion, under the first one's reason.
    void beginActivity(const std::string& reason);
    void endActivity();
    void announce(const std::string& text);

private:
    /// A sentence, and what helps on this system.
    struct Trouble {
        std::string message{};
        std::optional<std::string> advice{};
    };
    using ReadEnd = std::expected<std::shared_ptr<const LibraryScanResult>, Trouble>;
    using ScanEnd = std::expected<std::shared_ptr<const ScannedLibrary>, Trouble>;

    template <typename Result>
    void inBackground(std::function<Result()> work, std::function<void(Result)> apply, Result ifItCannotRun);
    /// A callback for a background thread that brings the newest value to `apply` on the main thread, some
    /// twenty times a second.
    template <typename Value>
    std::function<void(const Value&)> throttled(std::function<void(const Value&)> apply);
    template <typename Value>
    void deliver(
        const std::shared_ptr<LatestValue<Value>>& latest, const std::function<void(const Value&)>& apply);
    std::function<void(const ExportProgress&)> exportProgressOf(const SharedCancelToken& token);

    /// On the main thread, unless the model is gone by then.
    void later(Seconds delay, std::function<void()> action);
    void readSavedOptions();
    static ReadEnd scanInBackground(const CoreWork& core, const DiskPath& library,
        const SharedCancelToken& token, const ScanProgressCallback& progress);
    std::function<void(const ScanProgress&)> scanProgressOf(const SharedCancelToken& token);
    void applyScan(const ScanEnd& end);
    void setScanError(std::optional<std::string> message, std::optional<std::string> advice = {});
    void setCompareError(std::optional<std::string> message, std::optional<std::string> advice = {});
    void endScan();
    void dropComparison();
    void clearExport();
    void endComparison();
    void inspectChosen(const DiskPath& folder, std::function<void(const FoundLibrary&)> use,
        std::function<void(std::string)> refuse);

    void planAgain();
    void startPlanning();
    void inspectDestination();
    void applyFacts(std::optional<DestinationFacts> facts);
    void updateUnfinished();
    void applyOutcome(const std::shared_ptr<const ExportOutcome>& outcome, bool folderIsThere);

    AppServices services_;
    std::shared_ptr<Mailbox> mailbox_;

    SharedCancelToken findToken_{};
    SharedCancelToken scanToken_{};
    SharedCancelToken compareToken_{};
    SharedCancelToken exportToken_{};
    std::uint64_t planGeneration_ = 0;
    std::uint64_t destinationGeneration_ = 0;
    std::uint64_t chosenGeneration_ = 0; ///< Of folders that are inspected after they were chosen.
    bool planningRuns_ = false;          ///< A task is at it, maybe for an older generation.
    ExportOptions plannedOptions_{};     ///< Those that `exportPlan` was made with.
    std::string inspectedFor_{};         ///< The plan's id under which the destination was inspected.
    std::optional<DiskPath> adoptedChoicesFrom_{};
    std::function<void()> quitAfterExport_{};

    Pace scanSpeed_{};
    Pace exportSpeed_{};
    DiskWaitNotice scanNotice_;
    DiskWaitNotice compareNotice_;
    DiskWaitNotice exportNotice_;

    Desktop::Assertion activity_{};
    int activityUsers_ = 0;
    Desktop::Assertion noSuddenTermination_{};
};

} // namespace vantorel
