#pragma once

#include "app/model/Desktop.h"
#include "app/model/PictureFile.h"
#include "app/model/SettingsStore.h"
#include "compare/LibraryComparison.h"
#include "discovery/FoundLibrary.h"
#include "disk/CancelToken.h"
#include "export/Exporter.h"
#include "export/UnfinishedExport.h"
#include "scan/LibraryScanner.h"

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>

namespace vantorel {

class MainTimers;

/// The library finder as the model uses it. Both block and are called from background threads.
struct FinderService {
    std::function<FindResult(const SharedCancelToken&)> find{};
    /// A folder that the user chose; else why it cannot be opened, as a sentence.
    std::function<std::expected<FoundLibrary, std::string>(const DiskPath&)> inspect{};
};

/// What `AppModel` is built with.
struct AppEnvironment {
    FinderService finder{};
    /// Whether protected places can be read now. Main thread; a look at one file of the system's disk at
    /// most.
    std::function<bool()> fullDiskAccess{};
    /// Reads what shows an item. Blocks, is called from background threads and outlives the model; none where
    /// no pictures are shown.
    PictureReader readPicture{};
};

/// What was learnt about a folder that was chosen for an export.
struct DestinationFacts {
    std::optional<VolumeInfo> volume{};
    std::optional<UnfinishedExport> unfinished{};
    /// Of an unfinished export that the plan continues: the keys of what its journal has.
    std::shared_ptr<const std::unordered_set<std::string>> savedKeys{};
    /// Why nothing can be saved there, as a sentence.
    std::optional<std::string> problem{};

    bool operator==(const DestinationFacts&) const = default;
};

struct DestinationQuestion {
    DiskPath folder{};
    std::string libraryName{};
    std::string planID{}; ///< "" while nothing is planned yet.
};

/// The core as the model uses it. All of it blocks, is called from background threads and outlives the model.
struct CoreWork {
    /// Throws `ReadError`.
    std::function<LibraryScanResult(const DiskPath&, const SharedCancelToken&, const ScanProgressCallback&)>
        scan{};
    std::function<LibraryComparison(const LibraryScanResult& source, const LibraryScanResult& other)>
        compare{};
    std::function<ExportPlan(const LibraryScanResult&, const ExportOptions&)> plan{};
    /// None when the disk did not answer.
    std::function<std::optional<DestinationFacts>(const DestinationQuestion&)> inspectDestination{};
    std::function<ExportOutcome(const Exporter::Request&)> runExport{};
    std::function<bool(const DiskPath&)> folderIsThere{};
    /// What helps on this system with a folder that was refused; none where the sentence about it says it
    /// all.
    std::function<std::optional<std::string>(const DiskPath&)> accessAdvice{};
};

/// Runs a piece of work on a background thread. False when there is no thread to be had.
using BackgroundStart = std::function<bool(std::function<void()>)>;

struct AppServices {
    CoreWork core{};
    BackgroundStart start{};
    std::shared_ptr<MainTimers> timers{};
    std::shared_ptr<SettingsStore> settings{};
    std::shared_ptr<Desktop> desktop{};
};

} // namespace vantorel
