#pragma once

#include "disk/Root.h"
#include "export/ExportOptions.h"
#include "export/ExportPlan.h"

#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// Names inside an export folder.
namespace bookkeeping {
inline constexpr std::string_view folder = ".vantorel";
inline constexpr std::string_view state = ".vantorel/state.json";
inline constexpr std::string_view journal = ".vantorel/journal.jsonl";
inline constexpr std::string_view temporary = ".vantorel/tmp";
inline constexpr std::string_view tryLast = ".vantorel/try-last.txt";
inline constexpr std::string_view readMeUnfinished = "READ ME - NOT FINISHED.txt";
inline constexpr std::string_view readMe = "READ ME.txt";
inline constexpr std::string_view incompleteSuffix = " (incomplete)";
inline constexpr std::string_view notUsedSuffix = " (not used)";
inline constexpr std::int64_t version = 1;
/// What is read of the files above, at most: nearly a million chosen albums, and some three million items.
/// A larger file is none of ours.
inline constexpr std::size_t mostStateBytes = std::size_t{16} << 20U;
inline constexpr std::size_t mostJournalBytes = std::size_t{1} << 30U;
} // namespace bookkeeping

/// state.json
struct ExportState {
    std::string planID{};
    std::string library{};
    std::int64_t version = bookkeeping::version;
    ExportOptions options{};

    bool operator==(const ExportState&) const = default;
};

struct ExportJournalFile {
    std::string path{};
    std::int64_t size = 0;
    std::string sha256{};

    bool operator==(const ExportJournalFile&) const = default;
};

/// One line of journal.jsonl: one saved item. `key` is the planned path of its main file.
struct JournalEntry {
    std::string key{};
    std::vector<ExportJournalFile> files{};
    std::string sidecar{};

    bool operator==(const JournalEntry&) const = default;
};

std::string stateText(const ExportState& state);
std::optional<ExportState> parseState(std::string_view text);
/// One line with its line feed.
std::string journalLine(const JournalEntry& entry);
/// Every intact line, in order; a torn last line and lines that do not fit are left out. A later line for a
/// key takes the place of the earlier. Whoever appends to a journal that does not end with a line feed ends
/// its last line first.
std::vector<JournalEntry> parseJournal(std::string_view text);

/// A folder of an earlier export that did not finish.
struct UnfinishedExport {
    DiskPath folder{};
    std::string planID{};
    ExportOptions options{};

    bool operator==(const UnfinishedExport&) const = default;
};

/// Looks in a destination for an unfinished export of this library: a folder whose name ends in "
/// (incomplete)" with a readable state.json and the same library name. Among several the one with `planID`,
/// else the newest. Blocks; beats with every entry, since the destination may be a full folder on a slow
/// disk.
std::expected<std::optional<UnfinishedExport>, FS::ListFailure> findUnfinishedExport(const Root& destination,
    const std::string& libraryName, const std::string& planID, Heartbeat* heartbeat = nullptr);

/// What the export sheet and the command line say about it.
std::optional<std::string> unfinishedNote(
    const UnfinishedExport& unfinished, const ExportPlan& plan, const ExportOptions& options);

/// The READ ME texts of a folder that has not finished; `folderName` is the folder's own name.
std::string readMeAtStart(std::string_view folderName);
struct StoppedState {
    bool scanReachedEverything = true;
    std::int64_t notRead = 0; ///< Items that could not be read or checked.
};
std::string readMeWhenStopped(std::string_view folderName, const StoppedState& stopped);

} // namespace vantorel
