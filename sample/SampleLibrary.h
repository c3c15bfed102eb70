#pragma once

#include "disk/SystemCalls.h"
#include "sample/SamplePlan.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace vantorel::sample {

/// Departures from the layout of a generation, for tests of schema resolution.
struct LayoutChanges {
    std::int64_t entityNumberShift = 0; ///< Added to every entity number, in the tables' names too.
    bool reverseColumns = false;        ///< Every table's columns but the key in the opposite order.
    std::set<std::string> withoutTables{};
    std::map<std::string, std::set<std::string>> withoutColumns{}; ///< By table.
    std::optional<std::int64_t> modelVersion{};                    ///< Instead of the generation's.
};

struct WriteOptions {
    int generation = 11; ///< 5 (macOS 10.15) to 12 (macOS 27).
    std::uint64_t seed = 1;
    LayoutChanges changes{};
    bool withJournals = true;
    bool withLog = true; ///< The last changes stay in the "-wal" file.
    bool hardLinkedFiles =
        false; ///< Originals share a few files (very large libraries), at most 60,000 links to one.
};

/// Writes the library "as Photos would have left it" into `folder` (a path that must not exist; its parent
/// must). The same plan, options and seed give the same bytes. Throws std::runtime_error with a sentence when
/// it cannot be written.
void writeLibrary(const SamplePlan& plan, const WriteOptions& options, const DiskPath& folder);

/// The identifier of the plan's n-th item under a seed.
std::string itemUuid(const SamplePlan& plan, std::size_t index, std::uint64_t seed);
/// The name of the stored original: identifier + "." + extension.
std::string storedFileName(const SamplePlan& plan, std::size_t index, std::uint64_t seed);
/// The model version of a generation.
std::int64_t modelVersion(int generation);

} // namespace vantorel::sample
