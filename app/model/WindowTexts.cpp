#include "app/model/WindowTexts.h"

#include "base/Text.h"

#include <utility>

namespace vantorel::texts {

std::string_view stage(ScanStage stage)
{
    switch (stage) {
    case ScanStage::copyingDatabase:
        return "Copying the library's database to a private place. The library itself is not opened.";
    case ScanStage::readingDatabase:
        return "Reading albums, captions, keywords and People names.";
    case ScanStage::readingJournals:
        return "Reading albums, captions, keywords and favourites from the change journals Photos keeps in "
               "the "
               "library.";
    case ScanStage::salvaging:
        return "The database is damaged. Reading what can still be read; this can take a while.";
    case ScanStage::checkingFiles:
        return "Checking which original files are there.";
    }
    std::unreachable();
}

std::string scanCounts(const ScanProgress& progress)
{
    return progress.total > 0 ? grouped(progress.done) + " of " + grouped(progress.total) + " items"
                              : "Working";
}

std::string_view scanWait(DiskWait wait)
{
    switch (wait) {
    case DiskWait::none:
        return "";
    case DiskWait::waiting:
        return "Waiting for the disk to answer. This can take a moment.";
    case DiskWait::waitingLong:
        return "The disk is not answering yet. A sleeping or busy drive can take a minute or more, so "
               "Vantorel keeps "
               "waiting. This does not mean anything is damaged.";
    }
    std::unreachable();
}

std::string_view exportWait(DiskWait wait)
{
    switch (wait) {
    case DiskWait::none:
        return "";
    case DiskWait::waiting:
        return "Waiting for the disk to answer. This can take up to a minute.";
    case DiskWait::waitingLong:
        return "A disk is not answering at the moment. A sleeping or busy drive can take a minute or more, "
               "so Vantorel "
               "keeps waiting. Nothing saved so far is at risk.";
    }
    std::unreachable();
}

std::string planSummary(const PlanSummary& summary)
{
    return grouped(summary.photos) + (summary.photos == 1 ? " photo or video, " : " photos and videos, ")
        + grouped(summary.copies) + (summary.copies == 1 ? " copy" : " copies") + " in folders, "
        + byteSize(summary.bytes) + ". A photo in two albums is copied twice.";
}

std::string hiddenLabel(std::int64_t hiddenItems)
{
    const std::string count = hiddenItems > 0 ? " (" + grouped(hiddenItems) + ")" : "";
    return "Hidden photos" + count + ": saved in their albums or in a Hidden folder, no longer hidden";
}

std::string outsideLabel(std::int64_t files)
{
    return grouped(files) + (files == 1 ? " file" : " files")
        + " stored outside this library, elsewhere on a disk";
}

SpaceNote spaceNote(std::int64_t needed, std::int64_t free)
{
    if (free < needed) {
        return {.text = "This needs about " + byteSize(needed) + " and that disk has " + byteSize(free)
                + " free. Choose another disk or include less.",
            .isWarning = true};
    }
    return {.text = byteSize(free) + " free on that disk."};
}

std::optional<std::string> resumedLine(const ExportProgress& progress)
{
    if (progress.resumedItems <= 0) {
        return std::nullopt;
    }
    return grouped(progress.resumedItems) + (progress.resumedItems == 1 ? " item was" : " items were")
        + " already saved in an earlier run.";
}

std::optional<std::string> skippedLine(const ExportProgress& progress)
{
    if (progress.skipped <= 0) {
        return std::nullopt;
    }
    return grouped(progress.skipped) + (progress.skipped == 1 ? " item" : " items")
        + " could not be saved so far. The report will name each one.";
}

std::optional<std::string> libraryNote(const FoundLibrary& library)
{
    if (library.accessProblem) {
        return library.accessProblem;
    }
    if (library.format != LibraryFormat::noDatabase) {
        return std::nullopt;
    }
    if (library.origin != FoundLibrary::Origin::timeMachine) {
        return "This library has no database file. Only its photo files can be saved.";
    }
    return backupWithoutDatabaseText(library);
}

} // namespace vantorel::texts
