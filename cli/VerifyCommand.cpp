#include "cli/Commands.h"

#include "base/Text.h"
#include "cli/JsonText.h"
#include "cli/ProgressLine.h"
#include "cli/ScanSummary.h"
#include "export/ExportVerifier.h"

#include <fmt/format.h>

namespace vantorel::cli {

namespace {

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
        fmt::print("{} from what was saved.\n{}.\n",
            counted(static_cast<std::int64_t>(result.differences.size()), "file differs", "files differ"),
            checked);
    }
    if (!result.isFinishedExport) {
        fmt::print("This export has not finished: what is here is not all of it.\n");
    }
    for (const auto& difference : result.differences) {
        fmt::print("  {}: {}\n", displayText(difference.path), displayText(difference.text));
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
