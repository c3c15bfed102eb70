#include "cli/Program.h"

#include "base/Product.h"
#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/HelpText.h"
#include "cli/Interrupts.h"
#include "cli/JsonText.h"
#include "cli/StandIn.h"
#include "disk/ChildProcess.h"
#include "disk/Guarded.h"
#include "disk/TemporaryFiles.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <functional>
#include <iostream>

namespace vantorel::cli {

namespace {

constexpr const char* description = "Vantorel sees and saves what is in a Photos library "
                                    "(\".photoslibrary\"), also a damaged one. The library "
                                    "is only read.";

constexpr const char* examples =
    "Examples:\n"
    "  vantorel find\n"
    "  vantorel scan \"/media/me/Old Mac/Photos Library.photoslibrary\"\n"
    "  vantorel export \"/media/me/Old Mac/Photos Library.photoslibrary\" /media/me/Rescue\n"
    "  vantorel verify \"/media/me/Rescue/Photos Library export\"\n"
    "  vantorel compare \"Old Photos.photoslibrary\" \"Photos Library.photoslibrary\"\n";

constexpr const char* findExamples = "Examples:\n"
                                     "  vantorel find\n"
                                     "  vantorel find --only /media/me/Old\\ Mac\n"
                                     "  vantorel find --json | jq -r '.libraries[].url'\n";

constexpr const char* scanExamples =
    "Examples:\n"
    "  vantorel scan \"/media/me/Old Mac/Photos Library.photoslibrary\"\n"
    "  vantorel scan --list \"Photos Library.photoslibrary\" > missing.txt\n"
    "  vantorel scan --json \"Photos Library.photoslibrary\" > library.json\n";

constexpr const char* compareExamples =
    "Examples:\n"
    "  vantorel compare \"Old Photos.photoslibrary\" \"Photos Library.photoslibrary\"\n"
    "  vantorel compare --list \"Copy.photoslibrary\" \"Photos Library.photoslibrary\"\n";

constexpr const char* exportExamples =
    "Examples:\n"
    "  vantorel export --dry-run \"Photos Library.photoslibrary\" /media/me/Rescue\n"
    "  vantorel export \"Photos Library.photoslibrary\" /media/me/Rescue\n"
    "  vantorel export --album Rome --album Oslo \"Photos Library.photoslibrary\" .\n"
    "An export that did not finish continues when the same command is run again.\n";

constexpr const char* verifyExamples =
    "Examples:\n"
    "  vantorel verify \"/media/me/Rescue/Photos Library export\"\n"
    "  vantorel verify \"/media/me/Rescue/Photos Library export (incomplete)\"\n";

void addCommonOptions(CLI::App& command, CommonOptions& options)
{
    command.add_flag("--json", options.json, "Print one JSON object instead of a summary");
    command.add_flag(
        "--progress", options.progress, "Show progress also where standard error is no terminal");
    command
        .add_option("--stall-limit", options.stallLimit, "Seconds of silence after which a disk is given up")
        ->check(CLI::Range(0.1, 86'400.0))
        ->type_name("SECONDS");
}

/// The services of a real run. The temporary place is only made for commands that need it.
bool addTemporaryPlace(Context& context)
{
    auto place = TemporaryFiles::create(context.services.calls);
    if (!place) {
        reportError(context.options, "noTemporaryFolder",
            fmt::format("Vantorel could not make its folder for temporary files: {}. Set TMPDIR to a folder "
                        "with free "
                        "space and try again.",
                errorText(place.error())));
        return false;
    }
    context.services.temporary = *std::move(place);
    context.services.temporary->sweepStaleTemporaryFiles();
    return true;
}

/// What a wrong use is answered with: CLI11's words on standard error; help and version on standard output.
int answerParseError(const CLI::App& app, const CLI::ParseError& error)
{
    return app.exit(error, std::cout, std::cerr) == 0 ? done : wrongUsage;
}

} // namespace

void reportError(const CommonOptions& options, std::string_view kind, const std::string& message)
{
    if (options.json) {
        printErrorJson(kind, message);
    }
    fmt::print(stderr, "{}\n", displayText(message));
}

int runProgram(int argc, char** argv)
{
    Context context;
    FindArguments find;
    ScanArguments scan;
    CompareArguments compare;
    ExportArguments save;
    VerifyArguments verify;

    CLI::App app{description, "vantorel"};
    app.formatter(std::make_shared<HelpText>());
    app.footer(examples);
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.set_version_flag(
        "--version", fmt::format("{} {}", product::name, product::version()), "Print the version and exit");
    app.require_subcommand(1);

    auto* findCommand = app.add_subcommand("find",
        "List the libraries on mounted disks, in home folders, in Time Machine backups and in folders");
    findCommand->footer(findExamples);
    findCommand->add_option("FOLDER", find.folders, "Also search this folder; several may be given");
    findCommand->add_flag("--only", find.only, "Search nowhere else than in the folders given")
        ->needs("FOLDER");
    addCommonOptions(*findCommand, context.options);

    auto* scanCommand =
        app.add_subcommand("scan", "Read a library and check which of its original files are there");
    scanCommand->footer(scanExamples);
    scanCommand->add_option("LIBRARY", scan.library, "The library, or a folder copied from one")->required();
    scanCommand->add_flag("--list", scan.list, "Also name every item that is missing or limited");
    addCommonOptions(*scanCommand, context.options);

    auto* compareCommand =
        app.add_subcommand("compare", "Tell what a library has that another one has not, or has differently");
    compareCommand->footer(compareExamples);
    compareCommand->add_option("LIBRARY", compare.library, "The library, or a folder copied from one")
        ->required();
    compareCommand->add_option("OTHER", compare.other, "The one to compare with, usually today's")
        ->required();
    compareCommand->add_flag("--list", compare.list, "Also name every entry of a long list");
    addCommonOptions(*compareCommand, context.options);

    auto* exportCommand = app.add_subcommand(
        "export", "Save the original files in folders named after the albums, with sidecars and a report");
    exportCommand->footer(exportExamples);
    exportCommand->add_option("LIBRARY", save.library, "The library, or a folder copied from one")
        ->required();
    exportCommand
        ->add_option("DESTINATION", save.destination,
            "The folder in which the export's own folder is made; the same as before to continue an "
            "unfinished export")
        ->required();
    exportCommand->add_flag("--dry-run", save.dryRun, "Only say what would be saved");
    exportCommand->add_option("--album", save.albums, "Only this album, by title or identifier; repeatable")
        ->type_name("TITLE")
        ->take_all()
        ->allow_extra_args(false);
    exportCommand->add_flag("!--no-hidden", save.options.includeHidden, "Leave out hidden photos");
    exportCommand->add_flag("--recently-deleted", save.options.includeTrashed, "Also save Recently Deleted");
    exportCommand->add_flag("!--no-smaller-copies", save.options.includeSmallerCopies,
        "Leave out smaller copies where the original is not here");
    exportCommand->add_flag("!--no-unfiled", save.options.includeUnfiled, "Leave out photos in no album");
    exportCommand->add_flag("!--no-recovered-files", save.options.includeRecoveredFiles,
        "Leave out files that lost their record");
    exportCommand->add_flag("--outside-files", save.options.includeOutsideFiles,
        "Also save files that the library only points at, elsewhere on a disk");
    exportCommand->add_flag("--leftover-files", save.leftovers,
        "Also save files in the originals folder that belong to no photo, as after a deletion");
    exportCommand->add_flag("--people-as-keywords,!--no-people-as-keywords", save.options.peopleAsKeywords,
        "Also put People names in the keywords of the sidecars (on unless switched off)");
    addCommonOptions(*exportCommand, context.options);

    auto* verifyCommand = app.add_subcommand("verify", "Check an export against the digests in its report");
    verifyCommand->footer(verifyExamples);
    verifyCommand->add_option("FOLDER", verify.folder, "The export's folder, finished or not")->required();
    addCommonOptions(*verifyCommand, context.options);

    if (const auto mistake = commandMistake(app, argc, argv); !mistake.empty()) {
        std::fputs(mistake.c_str(), stderr);
        return wrongUsage;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return answerParseError(app, error);
    }

    int status = nothingStarted;
    try {
        context.cancel = std::make_shared<CancelToken>();
        watchInterrupts(context.cancel);
        context.services.calls = realSystemCalls();
        context.services.clock = systemClock();
        context.services.children = realChildProcesses(context.services.clock);
        if (findCommand->parsed()) {
            status = runFind(context, find);
        } else if (verifyCommand->parsed()) {
            status = runVerify(context, verify);
        } else if (addTemporaryPlace(context)) {
            status = scanCommand->parsed() ? runScan(context, scan)
                : compareCommand->parsed() ? runCompare(context, compare)
                                           : runExport(context, save);
        }
        context.services = {};
    } catch (const std::exception& error) {
        // Memory that ran out is the one thing that is not told as a value.
        fmt::print(stderr, "Vantorel had to stop: {}\n", error.what());
    }
    std::cout.flush();
    std::fflush(nullptr);
    if (anyThreadAbandoned()) {
        leaveAtOnce(status); // a thread still hangs in a disk call: static destruction must not race with it
    }
    return status;
}

} // namespace vantorel::cli
