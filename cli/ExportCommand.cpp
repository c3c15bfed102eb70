#include "cli/Commands.h"

#include "base/Text.h"
#include "base/Unicode.h"
#include "cli/JsonText.h"
#include "cli/ProgressLine.h"
#include "cli/ScanSummary.h"
#include "export/ExportPlanner.h"
#include "export/Exporter.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>

namespace vantorel::cli {

namespace {

constexpr std::size_t mostNotes = 5;

/// The albums that the arguments name: by title (all that match, whatever the case or Unicode form) or by
/// identifier.
std::expected<std::set<std::int64_t>, std::string> chosenAlbums(
    const LibrarySnapshot& snapshot, const std::vector<std::string>& names)
{
    std::set<std::int64_t> chosen;
    for (const auto& name : names) {
        const std::string key = caseFoldedComposed(name);
        bool any = false;
        for (const auto& album : snapshot.albums) {
            const bool fits = (album.title && caseFoldedComposed(*album.title) == key)
                || (album.uuid && lowerAscii(*album.uuid) == lowerAscii(name));
            if (album.kind == Album::Kind::album && !album.isTrashed && fits) {
                chosen.insert(album.pk);
                any = true;
            }
        }
        if (!any) {
            return std::unexpected(name);
        }
    }
    return chosen;
}

std::string notesForPeople(const std::vector<std::string>& notes)
{
    std::string text;
    const auto out = std::back_inserter(text);
    for (std::size_t i = 0; i < std::min(notes.size(), mostNotes); ++i) {
        fmt::format_to(out, "  {}\n", displayText(notes[i]));
    }
    if (notes.size() > mostNotes) {
        fmt::format_to(out, "  {} more. The report lists them all.\n",
            grouped(static_cast<std::int64_t>(notes.size() - mostNotes)));
    }
    return text;
}

std::string planSummary(const ExportPlan& plan)
{
    std::int64_t copies = 0;
    std::set<std::int64_t> assets;
    std::map<std::string, std::int64_t> perFolder;
    for (const auto& item : plan.items) {
        assets.insert(item.assetPK);
        copies += static_cast<std::int64_t>(item.files.size());
        ++perFolder[item.albumPath];
    }
    std::string text;
    const auto out = std::back_inserter(text);
    fmt::format_to(out, "{}, {} in folders, {}. A photo in two albums is copied twice.\n",
        counted(static_cast<std::int64_t>(assets.size()), "photo or video", "photos and videos"),
        counted(copies, "copy", "copies"), byteSize(sizeEstimate(plan)));
    fmt::format_to(out, "\nFolders\n");
    for (const auto& folder : plan.folders) {
        const auto count = perFolder.find(folder);
        fmt::format_to(out, "  {:>9}  {}\n", count == perFolder.end() ? "" : grouped(count->second),
            displayText(folder));
    }
    std::map<std::string, std::int64_t> reasons;
    for (const auto& skipped : plan.skipped) {
        ++reasons[skipped.reason];
    }
    if (!reasons.empty()) {
        fmt::format_to(out, "\nNot saved\n");
        for (const auto& [reason, count] : reasons) {
            fmt::format_to(out, "  {:>9}  {}\n", grouped(count), reason);
        }
    }
    if (!plan.notes.empty()) {
        fmt::format_to(out, "\nNotes\n{}", notesForPeople(plan.notes));
    }
    return text;
}

std::string outcomeSummary(const ExportOutcome& outcome)
{
    std::string text;
    const auto out = std::back_inserter(text);
    fmt::format_to(out, "{}\n{}\n", title(outcome), message(outcome));
    if (outcome.folder) {
        fmt::format_to(out, "\n  Folder  {}\n", displayText(outcome.folder->native()));
    }
    if (outcome.reportCSV) {
        fmt::format_to(out, "  Report  {}\n", displayText(outcome.reportCSV->native()));
    }
    if (!outcome.notes.empty()) {
        fmt::format_to(out, "\nNotes\n{}", notesForPeople(outcome.notes));
    }
    return text;
}

int exitStatus(const ExportOutcome& outcome)
{
    if (outcome.isFinished()) {
        return done;
    }
    if (std::holds_alternative<ExportOutcome::Cancelled>(outcome.state)) {
        return stoppedStatus();
    }
    const bool nothing = std::holds_alternative<ExportOutcome::CannotStart>(outcome.state)
        || std::holds_alternative<ExportOutcome::NotEnoughSpace>(outcome.state);
    return nothing ? nothingStarted : notComplete;
}

ExportOutcome exportWithProgress(const Context& context, const ExportArguments& arguments,
    const ExportOptions& options, std::shared_ptr<const LibraryScanResult> scan,
    std::shared_ptr<const ExportPlan> plan)
{
    ProgressLine line(context.services.clock, context.options.progress, ProgressLine::Waits::export_);
    Exporter::Request request{
        .plan = std::move(plan),
        .destination = pathArgument(arguments.destination),
        .scan = std::move(scan),
        .options = options,
        .cancel = context.cancel,
        .progress =
            [&](const ExportProgress& progress) {
                std::string note;
                if (progress.resumedItems > 0) {
                    note =
                        fmt::format("{} {} already saved in an earlier run.", grouped(progress.resumedItems),
                            progress.resumedItems == 1 ? "item was" : "items were");
                }
                if (progress.skipped > 0) {
                    note += fmt::format("{}{} {} could not be saved so far.", note.empty() ? "" : " ",
                        grouped(progress.skipped), progress.skipped == 1 ? "item" : "items");
                }
                line.show({
                    .stage = "Saving",
                    .detail = progress.currentName,
                    .done = progress.itemsDone,
                    .total = progress.itemsTotal,
                    .bytesDone = progress.bytesDone,
                    .bytesTotal = progress.bytesTotal,
                    .note = std::move(note),
                    .waitingForDisk = progress.waitingForDisk,
                });
            },
    };
    if (context.options.stallLimit > 0) {
        request.settings.stallTimeout = Seconds(context.options.stallLimit);
    }
    return Exporter(context.services).run(request);
}

} // namespace

int runExport(const Context& context, const ExportArguments& arguments)
{
    auto scan = scanWithProgress(context, arguments.library);
    if (!scan) {
        return scan.error();
    }
    if (arguments.leftovers) {
        scan = std::make_shared<const LibraryScanResult>(withLeftovers(**scan));
    }
    ExportOptions options = arguments.options;
    if (!arguments.albums.empty()) {
        auto chosen = chosenAlbums((*scan)->snapshot, arguments.albums);
        if (!chosen) {
            reportError(context.options, "wrongUsage",
                fmt::format("There is no album \"{}\" in this library.", displayText(chosen.error())));
            return wrongUsage;
        }
        options.albumPKs = *std::move(chosen);
    }
    const auto plan = std::make_shared<const ExportPlan>(planExport(**scan, options));
    keepUntilTheEnd(*scan);
    keepUntilTheEnd(plan);
    if (arguments.dryRun) {
        if (context.options.json) {
            return printJson(*plan) ? done : nothingStarted;
        }
        fmt::print("{}", planSummary(*plan));
        return done;
    }
    const ExportOutcome outcome = exportWithProgress(context, arguments, options, *scan, plan);
    if (context.options.json) {
        if (!printJson(outcome)) {
            fmt::print(stderr, "The outcome could not be written to standard output.\n");
        }
    } else {
        std::FILE* stream = exitStatus(outcome) == nothingStarted ? stderr : stdout;
        fmt::print(stream, "{}", outcomeSummary(outcome));
    }
    if (context.options.json && exitStatus(outcome) == nothingStarted) {
        fmt::print(stderr, "{}\n", message(outcome));
    }
    return exitStatus(outcome);
}

} // namespace vantorel::cli
