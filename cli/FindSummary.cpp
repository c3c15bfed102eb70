#include "cli/FindSummary.h"

#include "base/Date.h"
#include "base/Text.h"
#include "cli/ScanSummary.h"
#include "database/model/ReadError.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <vector>

namespace vantorel::cli {

namespace {

using Origin = FoundLibrary::Origin;

struct Heading {
    Origin origin;
    std::string_view text;
    std::string_view note;
};
constexpr std::array<Heading, 4> headings{{
    {Origin::picked, "In the folders that you named", ""},
    {Origin::home, "In home folders", ""},
    {Origin::volume, "On mounted disks", ""},
    {Origin::timeMachine, "In Time Machine backups",
        "Only the latest backup and any you have opened are listed. To use an older date, open it in Time "
        "Machine first, then search again."},
}};

std::size_t columnsOf(std::string_view text)
{
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

std::string day(std::chrono::sys_seconds time)
{
    return isoMilliseconds(std::chrono::time_point_cast<Date::duration>(time)).substr(0, 10);
}

std::string contents(const FoundLibrary& library)
{
    std::string text;
    switch (library.format) {
    case LibraryFormat::modern:
        text = library.databaseBytes ? "Database of " + byteSize(*library.databaseBytes) : "Database";
        if (library.databaseModified) {
            text += ", last changed " + day(*library.databaseModified);
        }
        break;
    case LibraryFormat::noDatabase:
        text = "No database";
        break;
    case LibraryFormat::legacy:
        text = "An older format, which Vantorel does not read";
        break;
    }
    if (library.hasJournals) {
        text += "; change journals";
    }
    if (library.volume) {
        text += "; on \"" + displayText(library.volume->name) + "\" (" + description(*library.volume) + ")";
    }
    return text;
}

/// What somebody should know of a library before choosing it.
std::vector<std::string> notesOn(const FoundLibrary& library)
{
    std::vector<std::string> notes;
    if (library.accessProblem) {
        notes.push_back(displayText(*library.accessProblem));
    }
    if (library.format == LibraryFormat::legacy) {
        notes.push_back(ReadError::legacyLibrary().message());
    }
    if (library.format == LibraryFormat::noDatabase) {
        notes.push_back(library.origin == Origin::timeMachine || library.hasJournals
                ? backupWithoutDatabaseText(library)
                : "This library has no database file. Only its photo files can be saved.");
    }
    return notes;
}

} // namespace

std::string wrapped(std::string_view text, std::size_t indent, std::size_t width)
{
    std::string lines;
    std::string line;
    const auto finish = [&] {
        if (!line.empty()) {
            lines += std::string(indent, ' ') + line + "\n";
        }
        line.clear();
    };
    while (!text.empty()) {
        const std::string_view word = text.substr(0, text.find(' '));
        text.remove_prefix(std::min(word.size() + 1, text.size()));
        if (!line.empty() && indent + columnsOf(line) + 1 + columnsOf(word) > width) {
            finish();
        }
        line += line.empty() ? "" : " ";
        line += word;
    }
    finish();
    return lines;
}

std::string findSummary(const FindResult& result)
{
    std::string text;
    const auto out = std::back_inserter(text);
    if (result.libraries.empty()) {
        text += "No library found.\n\n";
        text += wrapped("Connect the drive with your library and search again, or name the folder in which "
                        "to search. A library can be a copy from an old Mac, and it can be damaged. A Time "
                        "Machine backup on a network drive must be opened in Finder first. An older dated "
                        "backup may need to be opened in Time Machine first.",
            0);
    } else {
        fmt::format_to(out, "{} found.\n", counted(std::ssize(result.libraries), "library", "libraries"));
    }
    for (const Heading& heading : headings) {
        bool isFirst = true;
        for (const FoundLibrary& library : result.libraries) {
            if (library.origin != heading.origin) {
                continue;
            }
            if (isFirst) {
                fmt::format_to(out, "\n{}\n", heading.text);
                text += wrapped(heading.note, 2);
            }
            isFirst = false;
            fmt::format_to(
                out, "\n  {}\n    {}\n", displayText(library.name), displayText(library.url.native()));
            text += wrapped(contents(library), 4);
            for (const std::string& note : notesOn(library)) {
                text += wrapped(note, 4);
            }
            if (library.accessAdvice) {
                text += wrapped(*library.accessAdvice, 4);
            }
        }
    }
    // A refusal stands with its library already.
    const auto isSaid = [&](const FindIssue& issue) {
        return std::ranges::any_of(result.libraries,
            [&](const FoundLibrary& library) { return library.accessProblem == issue.message; });
    };
    bool isFirst = true;
    for (const FindIssue& issue : result.issues) {
        if (isSaid(issue)) {
            continue;
        }
        text += isFirst ? "\nNotes\n" : "";
        isFirst = false;
        text += wrapped(displayText(issue.message), 2);
    }
    for (const std::string& line : result.advice) {
        text += isFirst ? "\nNotes\n" : "";
        isFirst = false;
        text += wrapped(line, 2);
    }
    return text;
}

} // namespace vantorel::cli
