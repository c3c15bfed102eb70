#pragma once

#include "export/Exporter.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace vantorel {

/// What the scan knows of the planned items: their sidecars and names. Only read after it was made.
class SidecarTexts {
public:
    SidecarTexts(std::shared_ptr<const ExportPlan> plan, std::shared_ptr<const LibraryScanResult> scan,
        const ExportOptions& options);

    /// The sidecar of a planned item.
    std::string text(std::size_t item) const;
    /// The photo's name as the library gives it.
    std::string name(std::size_t item) const;

private:
    std::shared_ptr<const ExportPlan> plan_;
    std::shared_ptr<const LibraryScanResult> scan_;
    bool peopleAsKeywords_ = true;
    std::unordered_map<std::int64_t, const Asset*> assets_;             ///< Into the scan.
    std::unordered_map<std::int64_t, std::vector<std::size_t>> copies_; ///< Items by asset.
};

} // namespace vantorel
