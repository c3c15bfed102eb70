#include "discovery/FinderFixture.h"

#include <algorithm>

namespace vantorel {

Descriptions described(const FindResult& result, const std::filesystem::path& folder)
{
    Descriptions libraries;
    for (const FoundLibrary& library : result.libraries) {
        std::string text(nameIn(libraryOriginNames, library.origin));
        text += " " + std::string(nameIn(libraryFormatNames, library.format));
        text += library.hasJournals ? " journals" : "";
        text += library.databaseExcludedFromBackups ? " excluded" : "";
        text += library.accessProblem ? " refused" : "";
        std::string path = library.url.native();
        if (path.starts_with(folder.native() + "/")) {
            path.erase(0, folder.native().size() + 1);
        }
        if (!libraries.emplace(path, text).second) {
            libraries[path] += " twice";
        }
    }
    return libraries;
}

std::vector<std::string> said(const FindResult& result)
{
    std::vector<std::string> lines;
    for (const FindIssue& issue : result.issues) {
        lines.push_back(std::string(nameIn(findIssueNames, issue.kind)) + ": " + issue.message);
    }
    std::ranges::sort(lines);
    return lines;
}

} // namespace vantorel
