#include "cli/Commands.h"

#include "base/Text.h"
#include "cli/FindSummary.h"
#include "cli/JsonText.h"
#include "cli/ProgressLine.h"
#include "discovery/LibraryFinder.h"
#include "disk/Guarded.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace vantorel::cli {

namespace {

/// Absolute. "." and ".." are worked out where no name stands before them that might be a link.
DiskPath folderArgument(const std::string& argument)
{
    const DiskPath path = pathArgument(argument);
    bool anyName = path.is_absolute();
    bool isPlain = true;
    for (const DiskPath& part : path) {
        isPlain = isPlain && !(anyName && part == "..");
        anyName = anyName || (part != "." && part != "..");
    }
    std::error_code error;
    const DiskPath here = std::filesystem::current_path(error);
    if (path.empty() || error) {
        return path;
    }
    const DiskPath whole = here / path;
    return isPlain ? DiskPath(pathArgument(whole.lexically_normal().native())) : whole;
}

bool isUnfinished(const FindIssue& issue)
{
    switch (issue.kind) {
    case FindIssue::Kind::volumeUnresponsive:
    case FindIssue::Kind::volumeGone:
    case FindIssue::Kind::unfinished:
    case FindIssue::Kind::unreadable:
        return true;
    case FindIssue::Kind::permissionDenied: // other people's home folders refuse on every machine
    case FindIssue::Kind::lockedVolume:
    case FindIssue::Kind::notALibrary:
        return false;
    }
    std::unreachable();
}

FinderOptions finderOptions(
    const Context& context, const FinderServices& services, const FindArguments& arguments)
{
    std::vector<DiskPath> picked;
    for (const std::string& folder : arguments.folders) {
        picked.push_back(folderArgument(folder));
    }
    const auto places = arguments.only ? SearchedPlaces::pickedAlone : SearchedPlaces::everywhere;
    FinderOptions options = usualFinderOptions(services, std::move(picked), places, context.cancel);
    if (context.options.stallLimit > 0) {
        options.stallTimeout = Seconds(context.options.stallLimit);
        options.backups.directoryTimeout = options.stallTimeout;
    }
    return options;
}

} // namespace

int runFind(const Context& context, const FindArguments& arguments)
{
    const FinderServices services{
        .calls = context.services.calls,
        .clock = context.services.clock,
        .children = context.services.children,
    };
    FindResult result;
    {
        ProgressLine line(context.services.clock, context.options.progress, ProgressLine::Waits::scan);
        const LibraryFinder finder(services, finderOptions(context, services, arguments));
        result = finder.find(context.cancel, [&](const FindProgress& progress) {
            line.show({
                .stage = "Searching",
                .detail = progress.place,
                .note = fmt::format(
                    "{} found  {} folders", grouped(progress.libraries), grouped(progress.folders)),
                .waitingForDisk = progress.waitingForDisk,
            });
        });
    }
    const bool wasStopped = isCancelled(context.cancel);
    if (context.options.json) {
        const bool written = wasStopped ? printErrorJson("cancelled", "Stopped.") : printJson(result);
        if (!written) {
            fmt::print(stderr, "The result could not be written to standard output.\n");
            return nothingStarted;
        }
    } else if (!wasStopped || !result.libraries.empty()) {
        std::fputs(findSummary(result).c_str(), stdout);
    }
    if (wasStopped) {
        fmt::print(stderr, "Stopped.\n");
        return stoppedStatus();
    }
    return std::ranges::any_of(result.issues, isUnfinished) ? notComplete : done;
}

} // namespace vantorel::cli
