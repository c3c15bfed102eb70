#include "export/RunResults.h"

#include "base/Text.h"

#include <algorithm>
#include <numeric>

namespace vantorel {

std::vector<RunResults::Ended> RunResults::take(const CommitGroup& group)
{
    setAside_ += group.setAside;
    std::vector<Ended> ended;
    for (const SavingItem& item : group.items) {
        const bool isSaved = takeItem(item);
        if (isSaved || skips_.contains(item.index)) {
            ended.push_back({.item = item.index, .isSaved = isSaved});
        }
    }
    return ended;
}

bool RunResults::takeItem(const SavingItem& item)
{
    for (std::size_t file = 0; file < item.parts.size(); ++file) {
        // Without its main file nothing of an item is saved, and one reason says it all.
        if (item.parts[file].cause && (file == 0 || item.hasMain())) {
            skip(item.index, file, *item.parts[file].cause);
        }
    }
    const bool isSaved = item.isAlive();
    if (isSaved && !item.hasSidecar) {
        skip(item.index, 0, {.reason = SkipReason::nameRefused});
    }
    ReportRow row = isSaved ? rowOf(item) : ReportRow{};
    if (item.earlier && item.earlier->paths.size() > row.paths.size()) {
        // It got less than an earlier run, whose files are still there.
        for (const std::string& path : item.earlier->paths) {
            context_->names->give(path);
        }
        rows_[item.index] = *item.earlier;
        return false;
    }
    if (isSaved) {
        bytesSaved_ += std::accumulate(row.sizes.begin(), row.sizes.end(), std::int64_t{0});
        rows_[item.index] = std::move(row);
    }
    return isSaved;
}

ReportRow RunResults::rowOf(const SavingItem& item) const
{
    ReportRow row = reportRow(context_->plan->items[item.index], item.sidecar);
    for (const FilePart& part : item.parts) {
        if (part.isAlive()) {
            row.hashes.push_back(part.content.sha256);
            row.paths.push_back(part.path);
            row.sizes.push_back(part.content.size);
        }
    }
    return row;
}

void RunResults::skip(std::size_t item, std::size_t file, const SkipCause& cause)
{
    const PlannedItem& planned = context_->plan->items[item];
    skips_[item].push_back({
        .assetPK = planned.assetPK,
        .name = file == 0 ? context_->sidecars->name(item)
                          : repairedUtf8(planned.files[file].source.filename().native()),
        .albumPaths = {planned.albumPath},
        .reason = sentence(cause),
    });
    curable_ += isCurable(cause.reason) ? 1 : 0;
    silentFiles_ += cause.reason == SkipReason::silentTwice ? 1 : 0;
    if (isDiskFailure(cause)) {
        failedOnDisk_.insert(planned.files[file].relativePath);
    }
}

void RunResults::resume(std::size_t item, ReportRow row) { rows_[item] = std::move(row); }

void RunResults::fillUp(SkipReason reason)
{
    for (std::size_t item = 0; item < context_->plan->items.size(); ++item) {
        if (!rows_.contains(item) && !skips_.contains(item)) {
            skip(item, 0, {.reason = reason});
        }
    }
}

std::vector<ReportRow> RunResults::takeRows()
{
    std::vector<ReportRow> rows;
    rows.reserve(rows_.size());
    while (!rows_.empty()) { // not held twice
        rows.push_back(std::move(rows_.extract(rows_.begin()).mapped()));
    }
    return rows;
}

std::vector<SkippedItem> RunResults::skipped() const
{
    std::vector<SkippedItem> all = context_->plan->skipped;
    for (const auto& [item, skips] : skips_) {
        all.insert(all.end(), skips.begin(), skips.end());
    }
    return all;
}

std::int64_t RunResults::renamedItems() const
{
    return std::ranges::count_if(rows_, [&](const auto& entry) {
        const auto& [item, row] = entry;
        const ItemNames planned = context_->names->planned(item);
        const bool isPart = row.paths.size() != planned.files.size();
        const bool isElsewhere =
            isPart ? row.paths.front() != planned.files.front() : row.paths != planned.files;
        return isElsewhere || (!row.sidecar.empty() && row.sidecar != planned.sidecar);
    });
}

std::vector<std::string> RunResults::notes(std::int64_t refusedFolders) const
{
    std::vector<std::string> notes;
    if (refusedFolders > 0) {
        notes.push_back(grouped(refusedFolders)
            + " album folders had names this disk refuses. Their photos are in \""
            + exportFolders::refusedNames + "\", and the report gives each file's album.");
    }
    if (const std::int64_t renamed = renamedItems(); renamed > 0) {
        notes.push_back(grouped(renamed)
            + " items were saved under another name than the plan's, because a file already had that name, "
              "this disk treats it as one already in use, or refuses it. The report gives the name each one "
              "got.");
    }
    if (silentFiles_ > 0) {
        notes.push_back("The disk with the library did not answer on " + grouped(silentFiles_)
            + " files, also when they were tried again, and the export went on without them. The report "
              "names them. Run the export again to try them.");
    }
    if (setAside_ > 0) {
        notes.push_back(grouped(setAside_)
            + " files from the earlier, unfinished run no longer matched what was saved then, so a fresh "
              "copy was saved and they were kept with \"(not used)\" in their names. They are not in the "
              "report.");
    }
    return notes;
}

} // namespace vantorel
