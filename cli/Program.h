#pragma once

#include "database/LibraryReader.h"
#include "disk/CancelToken.h"

#include <string>
#include <string_view>

namespace vantorel::cli {

/// What the program answers to the shell.
enum ExitStatus : int {
    done = 0,
    notComplete = 1, ///< Ended, but not complete.
    wrongUsage = 2,
    nothingStarted = 3, ///< Nothing could be read or started.
    interrupted = 130,  ///< Ctrl-C; 128 + signal for the others.
};

/// Choices that every command has.
struct CommonOptions {
    bool json = false;
    bool progress = false; ///< Also where standard error is no terminal.
    double stallLimit = 0; ///< Seconds; 0: the usual patience.
};

/// What a command works with.
struct Context {
    CommonOptions options{};
    CoreServices services{};
    SharedCancelToken cancel{};
};

/// Says a failure: the sentence on standard error, with `--json` also {"error": {"kind", "message"}} on
/// standard output.
void reportError(const CommonOptions& options, std::string_view kind, const std::string& message);

/// The whole program; returns (or, where a disk thread hangs, leaves with) the exit status.
int runProgram(int argc, char** argv);

} // namespace vantorel::cli
