#include "export/ReadMe.h"

#include "base/Text.h"
#include "export/ExportReport.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace vantorel {

namespace {

/// In the order in which they are planned. A line is written for the folders that the export has.
constexpr std::array<std::pair<std::string_view, std::string_view>, 5> folderLines{{
    {exportFolders::albums,
        "one folder for each album, in the folders that hold them in the library. A photo in two albums is "
        "saved in both."},
    {exportFolders::unfiled,
        "photos and videos in no album, by the year of their date; those without a date are in \"Unknown "
        "date\"."},
    {exportFolders::hidden, "photos and videos that were hidden in the library and are in no album."},
    {exportFolders::trashed, "photos and videos that were in Recently Deleted."},
    {exportFolders::recovered,
        "files whose record in the library was lost, and with it their albums, names, captions and dates."},
}};

/// Lines of a list under a heading; nothing for an empty list.
void addList(std::string& text, std::string_view heading, const std::vector<std::string>& lines)
{
    if (lines.empty()) {
        return;
    }
    text.append("\n").append(heading).append("\n");
    for (const auto& line : lines) {
        // Titles come from the library: none of them may look like a line of this text.
        text.append("- ").append(displayText(line)).append("\n");
    }
}

std::vector<std::string> foldersOf(const ExportPlan& plan)
{
    std::vector<std::string> lines;
    for (const auto& [folder, what] : folderLines) {
        if (std::ranges::find(plan.folders, folder) != plan.folders.end()) {
            lines.push_back("\"" + std::string(folder) + "\": " + std::string(what));
        }
    }
    return lines;
}

std::vector<std::string> namesOf(const ExportPlan& plan)
{
    std::vector<std::string> lines{
        "Names are those of the library. Characters that some disks refuse became \"-\", and where two names "
        "would have been the same, the second has a number, as in \"Name (2)\".",
    };
    const auto hasMark = [&](std::string_view mark) {
        return std::ranges::any_of(plan.items, [&](const PlannedItem& item) {
            return item.sidecarRelativePath.find(mark) != std::string::npos;
        });
    };
    if (hasMark(" (smaller copy)")) {
        lines.emplace_back("\"(smaller copy)\" in a name: the original was not in the library, only a copy "
                           "with fewer pixels.");
    }
    if (hasMark(" (still picture only)")) {
        lines.emplace_back("\"(still picture only)\" in a name: the video that belongs to this picture was "
                           "not in the library.");
    }
    return lines;
}

} // namespace

std::string readMeFinished(const ExportPlan& plan, const ExportOutcome& outcome)
{
    auto text = "Photos and videos of the library \"" + displayText(plan.libraryName)
        + "\", saved by Vantorel.\n\n" + message(outcome) + "\n";
    addList(text, "Folders", foldersOf(plan));
    addList(text, "Names", namesOf(plan));
    addList(text, "Details",
        {
            "Beside each photo or video lies a file of the same name that ends in \".xmp\". It holds what "
            "the "
            "library knew: title, caption, keywords, People, dates, place, whether it was a favourite or "
            "hidden, the albums it was saved in, and which details were lost. Many photo programs read it.",
            "\"" + std::string(finishedReportName)
                + "\" lists every item of the library, saved or not, with the SHA-256 digest of each file.",
        });
    addList(text, "Notes", plan.notes);
    return text;
}

} // namespace vantorel
