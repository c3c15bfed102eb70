#include "cli/Commands.h"

#include "base/Text.h"
#include "cli/JsonText.h"
#include "cli/ProgressLine.h"
#include "cli/ScanSummary.h"
#include "export/ExportVerifier.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace vantorel::cli {

namespace {

/// A file that could not be read is not one that differs.
bool couldNotBeChecked(const VerifyResult::Difference& difference)
{
    switch (difference.trouble) {
    case VerifyResult::Trouble::unreadable:
    case VerifyResult::Trouble::refused:
    case VerifyResult::Trouble::notAnswering:
        return true;
    case VerifyResult::Trouble::missing:
    case VerifyResult::Trouble::sizeDiffers:
    case VerifyResult::Trouble::digestDiffers:
    case VerifyResult::Trouble::sidecarMissing:
    case VerifyResult::Trouble::sidecarDamaged:
        return false;
    }
    std::unreachable();
}

void printSummary(const VerifyResult& result)
{
    const std::string checked = fmt::format("{} of {}, {}, checked against {}",
        counted(result.filesChecked, "file", "files"), counted(result.itemsChecked, "item", "items"),
        byteSize(result.bytesChecked), displayText(result.source));
    if (result.wasCancelled) {
        fmt::print("Stopped before every file was checked.\n{}.\n", checked);
    } else if (result.differences.empty()) {
        fmt::print("Every saved file is there and is what was saved.\n{}.\n", checked);
    } else {
        const auto unread = std::ranges::count_if(result.differences, couldNotBeChecked);
        const auto differing = std::ssize(result.differences) - unread;
        if (differing > 0) {
            fmt::print("{} from what was saved.\n", counted(differing, "file differs", "files differ"));
        }
        if (unread > 0) {
            fmt::print("{} not be checked. That does not mean that anything is damaged.\n",
                counted(unread, "file could", "files could"));
        }
        fmt::print("{}.\n", checked);
    }
    if (!result.isFinishedExport) {
        fmt::print("This export has not finished: what is here is not all of it.\n");
    }
    for (const auto& difference : result.differences) {
        const std::string place = difference.path.empty() ? "" : displayText(difference.path) + ": ";
        fmt::print("  {}{}\n", place, displayText(difference.text));
    }
}

} // namespace

int runVerify(const Context& context, const VerifyArguments& arguments)
{
    std::expected<VerifyResult, std::string> result;
    {
        ProgressLine line(context.services.clock, context.options.progress, ProgressLine::Waits::export_);
        VerifyRequest request{
            .folder = pathArgument(arguments.folder),
            .cancel = context.cancel,
            .progress =
                [&](std::int64_t filesDone, std::int64_t filesTotal, std::int64_t, bool waiting) {
                    line.show({
                        .stage = "Checking saved files",
                        .done = filesDone,
                        .total = filesTotal,
                        .waitingForDisk = waiting,
                    });
                },
        };
        if (context.options.stallLimit > 0) {
            request.stallLimit = Seconds(context.options.stallLimit);
        }
        result = verifyExport(context.services, request);
    }
    if (!result) {
        reportError(context.options, "cannotVerify", result.error());
        return nothingStarted;
    }
    if (context.options.json) {
        if (!printJson(*result)) {
            fmt::print(stderr, "The result could not be written to standard output.\n");
            return nothingStarted;
        }
    } else {
        printSummary(*result);
    }
    if (result->wasCancelled) {
        return stoppedStatus();
    }
    return result->differences.empty() ? done : notComplete;
}

} // namespace vantorel::cli
