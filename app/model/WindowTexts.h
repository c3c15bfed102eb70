#pragma once

#include "app/model/AppModel.h"
#include "app/model/AppServices.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The sentences that the windows put together from counts and states. Functions from values to texts.
namespace vantorel::texts {

/// Work could not even begin.
inline constexpr const char* noRoomToWork =
    "The system has no memory or thread left for this. Close other programs and try again.";

/// What the scanner is doing.
std::string_view stage(ScanStage stage);
/// The stages of a scan as a list to check off. Salvaging and reading journals are in it once they happen.
struct StageLine {
    enum class State { done, running, toCome };

    State state = State::toCome;
    std::string_view text{};

    bool operator==(const StageLine&) const = default;
};
std::vector<StageLine> stageLines(const std::vector<ScanStage>& seen, ScanStage running);
/// "41,200 of 98,031 items", or "Working" without counts. What is copied or read as a whole is counted in
/// bytes.
std::string scanCounts(const ScanProgress& progress);
/// "about 20 seconds left"; empty where none is known.
std::string timeLeft(const Pace::Reading& pace);
/// "42 MB a second"; empty where it is not known.
std::string speed(const Pace::Reading& bytes);
/// While the scanner waits for a disk; empty otherwise.
std::string_view scanWait(DiskWait wait);
/// The same while an export waits.
std::string_view exportWait(DiskWait wait);

/// "1 photo or video, 2 copies in folders, 3.4 MB. A photo in two albums is copied twice."
std::string planSummary(const PlanSummary& summary);
std::string hiddenLabel(std::int64_t hiddenItems);
std::string outsideLabel(std::int64_t files);

struct SpaceNote {
    std::string text{};
    bool isWarning = false;
    bool operator==(const SpaceNote&) const = default;
};
SpaceNote spaceNote(std::int64_t needed, std::int64_t free);

/// "3 items were already saved in an earlier run."; none without any.
std::optional<std::string> resumedLine(const ExportProgress& progress);
std::optional<std::string> skippedLine(const ExportProgress& progress);

/// The note beneath a found library; none where there is nothing to say.
std::optional<std::string> libraryNote(const FoundLibrary& library);

} // namespace vantorel::texts
