#include "app/model/WindowTexts.h"

#include "base/Text.h"

#include <algorithm>
#include <array>
#include <cmath>
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

std::vector<StageLine> stageLines(const std::vector<ScanStage>& seen, ScanStage running)
{
    using State = StageLine::State;
    struct Texts {
        ScanStage stage;
        std::string_view toCome; ///< Empty where it is no part of every scan.
        std::string_view running;
        std::string_view done;
    };
    static constexpr std::array<Texts, 5> all{{
        {ScanStage::copyingDatabase, "Copy the database", "Copying the database", "Database copied"},
        {ScanStage::readingDatabase, "Read the database", "Reading the database", "Database read"},
        {ScanStage::salvaging, "", "Reading what the damaged database still holds", "Damaged database read"},
        {ScanStage::readingJournals, "", "Reading the change journals", "Change journals read"},
        {ScanStage::checkingFiles, "Check the files", "Checking files", "Files checked"},
    }};
    std::vector<StageLine> lines;
    bool isBehind = true; // the stage that runs
    for (const auto& texts : all) {
        if (texts.stage == running) {
            lines.push_back({.state = State::running, .text = texts.running});
            isBehind = false;
        } else if (std::ranges::find(seen, texts.stage) != seen.end()) {
            lines.push_back({.state = State::done, .text = texts.done});
        } else if (!isBehind && !texts.toCome.empty()) {
            lines.push_back({.state = State::toCome, .text = texts.toCome});
        }
    }
    return lines;
}

std::string scanCounts(const ScanProgress& progress)
{
    if (progress.total <= 0) {
        return "Working";
    }
    if (progress.stage == ScanStage::copyingDatabase || progress.stage == ScanStage::readingJournals) {
        return byteSize(progress.done) + " of " + byteSize(progress.total);
    }
    return grouped(progress.done) + " of " + grouped(progress.total) + " items";
}

std::string timeLeft(const Pace::Reading& pace)
{
    if (!pace.left) {
        return "";
    }
    const auto rounded = [&](double unit) { return std::llround(pace.left->count() / unit); };
    const auto about = [](std::int64_t count, const char* unit) {
        return "about " + grouped(count) + " " + unit + " left";
    };
    constexpr double minute = 60;
    constexpr double hour = 60 * minute;
    if (rounded(1) < 8) {
        return "a few seconds left";
    }
    if (rounded(1) < 55) {
        return about(rounded(10) * 10, "seconds");
    }
    if (rounded(minute) < 60) {
        return rounded(minute) == 1 ? "about a minute left" : about(rounded(minute), "minutes");
    }
    if (rounded(hour) < 36) {
        return rounded(hour) <= 1 ? "about an hour left" : about(rounded(hour), "hours");
    }
    return "more than a day left";
}

std::string speed(const Pace::Reading& bytes)
{
    return bytes.perSecond > 0 ? byteSize(bytes.perSecond) + " a second" : "";
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
