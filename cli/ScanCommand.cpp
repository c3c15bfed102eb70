#include "cli/Commands.h"

#include "base/Text.h"
#include "cli/Interrupts.h"
#include "cli/JsonText.h"
#include "cli/ProgressLine.h"
#include "cli/ScanSummary.h"
#include "discovery/volumes/SystemAdvice.h"
#include "disk/FS.h"
#include "disk/Guarded.h"

#include <fmt/format.h>

#include <array>
#include <cstdio>
#include <utility>
#include <vector>

namespace vantorel::cli {

namespace {

constexpr std::array<std::string_view, 5> stageTexts{
    "Copying the database",
    "Reading albums, captions, keywords and People names",
    "Reading the change journals",
    "Reading what can still be read of the damaged database",
    "Checking which original files are there",
};

/// The sentence for a folder that is there but holds no library; none when the error's own sentence is the
/// right one.
std::optional<std::string> notALibrary(const Context& context, const DiskPath& library)
{
    const auto kind = guardedRun(context.services.clock, Patience{.stallLimit = DiskPatience::singleLook},
        [calls = context.services.calls, library](
            const std::shared_ptr<Heartbeat>&) { return FS::kind(*calls, library, FS::Links::followed); });
    if (kind.isStalled() || (kind.value() != FS::Kind::directory && kind.value() != FS::Kind::regular)) {
        return std::nullopt;
    }
    return fmt::format("\"{}\" is not a Photos library: it has no database and no originals folder.",
        displayText(library.filename().native()));
}

} // namespace

int stoppedStatus()
{
    const int signal = interruptingSignal();
    return signal != 0 ? 128 + signal : interrupted;
}

DiskPath pathArgument(const std::string& argument)
{
    std::string path = argument;
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

std::expected<std::shared_ptr<const LibraryScanResult>, int> scanWithProgress(
    const Context& context, const std::string& library, std::string_view which)
{
    const DiskPath path = pathArgument(library);
    auto line = std::make_unique<ProgressLine>(
        context.services.clock, context.options.progress, ProgressLine::Waits::scan);
    LibraryScanner scanner(context.services);
    if (context.options.stallLimit > 0) {
        scanner.stallTimeout = Seconds(context.options.stallLimit);
    }
    try {
        return std::make_shared<const LibraryScanResult>(
            scanner.scan(path, context.cancel, [&](const ScanProgress& progress) {
                const bool isBytes = progress.stage == ScanStage::copyingDatabase;
                line->show({
                    .stage =
                        fmt::format("{}{}", which, stageTexts.at(static_cast<std::size_t>(progress.stage))),
                    .done = isBytes ? 0 : progress.done,
                    .total = isBytes ? 0 : progress.total,
                    .bytesDone = isBytes ? progress.done : 0,
                    .bytesTotal = isBytes ? progress.total : 0,
                    .waitingForDisk = progress.waitingForDisk,
                });
            }));
    } catch (const ReadError& error) {
        line.reset();
        if (error.kind() == ReadError::Kind::cancelled) {
            if (context.options.json) {
                printErrorJson(nameIn(readErrorNames, error.kind()), "Stopped.");
            }
            fmt::print(stderr, "Stopped.\n");
            return std::unexpected(stoppedStatus());
        }
        std::string message = error.message();
        if (error.kind() == ReadError::Kind::notFound) {
            message = notALibrary(context, path).value_or(message);
        }
        reportError(context.options, nameIn(readErrorNames, error.kind()), message);
        if (error.kind() == ReadError::Kind::accessDenied) {
            if (const auto advice = SystemAdvice::refused(*context.services.calls, path)) {
                fmt::print(stderr, "{}\n", *advice);
            }
        }
        return std::unexpected(static_cast<int>(nothingStarted));
    }
}

void keepUntilTheEnd(std::shared_ptr<const void> result)
{
    // Never destroyed itself, and reachable: no leak to whoever looks for leaks.
    static auto* const kept = std::make_unique<std::vector<std::shared_ptr<const void>>>().release();
    kept->push_back(std::move(result));
}

bool isWhole(const LibraryScanResult& scan)
{
    return scan.originals.state == OriginalsReport::State::complete && !scan.snapshot.damage.diskDidNotAnswer;
}

int runScan(const Context& context, const ScanArguments& arguments)
{
    const auto scan = scanWithProgress(context, arguments.library);
    if (!scan) {
        return scan.error();
    }
    keepUntilTheEnd(*scan);
    if (context.options.json) {
        if (!printJson(**scan)) {
            fmt::print(stderr, "The result could not be written to standard output.\n");
            return nothingStarted;
        }
    } else {
        const auto list = arguments.list ? ItemList::everyProblem : ItemList::countsOnly;
        std::fputs(scanSummary(**scan, list).c_str(), stdout);
    }
    return isWhole(**scan) ? done : notComplete;
}

} // namespace vantorel::cli
