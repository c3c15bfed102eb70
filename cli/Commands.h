#pragma once

#include "cli/Program.h"
#include "export/ExportOptions.h"
#include "scan/LibraryScanner.h"

#include <expected>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel::cli {

struct FindArguments {
    std::vector<std::string> folders{};
    bool only = false; ///< Nowhere else than in these.
};

struct ScanArguments {
    std::string library{};
    bool list = false; ///< Also name every item that is missing or limited.
};

struct CompareArguments {
    std::string library{};
    std::string other{};
    bool list = false; ///< Also name every entry of a long list.
};

struct ExportArguments {
    std::string library{};
    std::string destination{};
    ExportOptions options{};
    std::vector<std::string> albums{}; ///< Titles or identifiers; none: all albums.
    bool leftovers = false;            ///< Also save files that belong to no photo.
    bool dryRun = false;
};

struct VerifyArguments {
    std::string folder{};
};

/// Each carries out one command and returns the exit status.
int runFind(const Context& context, const FindArguments& arguments);
int runScan(const Context& context, const ScanArguments& arguments);
int runCompare(const Context& context, const CompareArguments& arguments);
int runExport(const Context& context, const ExportArguments& arguments);
int runVerify(const Context& context, const VerifyArguments& arguments);

/// Scans with progress; a failure was already said and is the exit status. `which` ("1 of 2: ") stands before
/// the stages where there is more than one library.
std::expected<std::shared_ptr<const LibraryScanResult>, int> scanWithProgress(
    const Context& context, const std::string& library, std::string_view which = {});
/// Keeps a large result until the process ends, which gives all its memory back at once. A scan is millions
/// of small pieces: to free them one by one takes as long as to compare two.
void keepUntilTheEnd(std::shared_ptr<const void> result);
/// Whether all of the library was read and looked at.
bool isWhole(const LibraryScanResult& scan);

/// The exit status of work that was stopped: 128 + the signal.
int stoppedStatus();

/// The argument as a path without the slashes that a shell's completion leaves at its end.
DiskPath pathArgument(const std::string& argument);

} // namespace vantorel::cli
