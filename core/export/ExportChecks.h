#pragma once

#include "discovery/volumes/VolumeInfo.h"
#include "discovery/volumes/VolumeWatch.h"
#include "disk/Drive.h"
#include "export/DiskSteps.h"
#include "export/UnfinishedExport.h"

#include <expected>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vantorel {

/// An unfinished export that this run continues, and what it says of itself.
struct ContinuedExport {
    std::shared_ptr<const Root> root{};
    std::string folderName{};
    std::vector<JournalEntry> journal{};
    bool journalIsTorn = false;      ///< Its last line has no end: the next one must not be joined to it.
    std::set<std::string> tryLast{}; ///< Planned paths.
    ExportOptions options{};
};

/// What the checks opened and learned on both disks. Nothing was written yet.
struct CheckedStart {
    std::shared_ptr<const Root> library{};
    std::shared_ptr<const Root> destination{};
    std::shared_ptr<const VolumeWatch> libraryWatch{};
    std::shared_ptr<const VolumeWatch> destinationWatch{};
    VolumeInfo volume{}; ///< Of the destination.
    Drive libraryDrive{};
    Drive destinationDrive{};
    std::optional<ContinuedExport> continued{};
};

/// Whether an export may start. Only reads; every look at a disk is guarded.
std::expected<CheckedStart, ExportOutcome::State> checkStart(const CoreServices& services,
    const DiskSteps& steps, const Exporter::Request& request, const ExportPlan& plan);

} // namespace vantorel
