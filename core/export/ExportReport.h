#pragma once

#include "database/model/LibrarySnapshot.h"
#include "export/ExportPlan.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

inline constexpr std::string_view finishedReportName = "Vantorel report.csv";
inline constexpr std::string_view unfinishedReportName = "Vantorel report (not finished).csv";

/// One saved item. The lists have one element for each of its files.
struct ReportRow {
    PlannedItem item{};                ///< Without its files: a million rows are held until the end of a run.
    std::vector<std::string> hashes{}; ///< SHA-256, lower-case hexadecimal.
    std::vector<std::string> paths{};  ///< That the files really got.
    std::vector<std::int64_t> sizes{}; ///< Bytes written.
    std::string sidecar{};

    bool operator==(const ReportRow&) const = default;
};
/// The row of an item of which nothing is told yet.
ReportRow reportRow(const PlannedItem& item, std::string sidecar);

/// The whole CSV text: UTF-8, CR LF, every item of the library, saved or not. Cells are never altered against
/// spreadsheet formulas: a prefix would falsify paths.
std::string reportText(const std::vector<ReportRow>& rows, const std::vector<SkippedItem>& skipped,
    const LibrarySnapshot& snapshot);

/// One line of a report, as far as checking it needs.
struct ReportedItem {
    std::string status{};
    std::vector<std::string> files{};
    std::vector<std::string> hashes{};
    std::vector<std::int64_t> sizes{};
    std::string sidecar{};
    std::string uuid{};

    bool operator==(const ReportedItem&) const = default;
};
/// Reads a report back; none when it is not one (header, field counts, quoting). Cells that join several
/// paths are split by the number of digests, since a name may hold "; ".
std::optional<std::vector<ReportedItem>> parseReport(std::string_view csv);

} // namespace vantorel
