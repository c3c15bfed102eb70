#pragma once

#include "Scratch.h"

#include "export/Exporter.h"

namespace vantorel::fuzz {

/// A library of three photos with its scan and plan, the same in every process, and a place to export it to.
struct UnfinishedLibrary {
    UnfinishedLibrary();

    /// "Lib.photoslibrary", and "Out" to export to.
    ScratchFolder place{};
    LibraryScanResult scan{};
    ExportPlan plan{};

    static std::string bytesOf(const PlannedFile& file) { return "the bytes of " + file.source.native(); }

    /// A real run of the plan.
    ExportOutcome save(const ExportHooks& hooks = {}, const SharedCancelToken& cancel = nullptr) const;
};

} // namespace vantorel::fuzz
