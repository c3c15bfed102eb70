// The bookkeeping of an unfinished export, which anybody may have written: state, journal and list of files
// to be tried last, divided by the byte FF. Behind them, pairs of a path and a content: what stands in the
// folder already. The export is continued for real; what it then calls finished is looked at.

#include "FuzzTarget.h"
#include "UnfinishedLibrary.h"

#include "export/ExportReport.h"
#include "export/ExportVerifier.h"
#include "export/UnfinishedExport.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace vantorel::fuzz {

namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void checkTexts(const std::string& state, const std::string& journal)
{
    if (const auto parsed = parseState(state)) {
        require(parseState(stateText(*parsed)) == parsed, "a state reads back");
    }
    const auto entries = parseJournal(journal);
    std::string written;
    for (const auto& entry : entries) {
        require(!entry.files.empty() && !entry.key.empty(), "an entry has files");
        for (const auto& file : entry.files) {
            require(isSafeRelativePath(file.path), "paths stay in the folder");
        }
        written += journalLine(entry);
    }
    require(parseJournal(written) == entries, "a journal reads back");
}

void checkFinished(const UnfinishedLibrary& library, const fs::path& folder)
{
    const auto report = parseReport(contentOf(folder / finishedReportName));
    require(report && report->size() == library.plan.items.size(), "a finished export has a whole report");
    for (std::size_t i = 0; i < report->size(); ++i) {
        const auto& item = (*report)[i];
        require(item.status == "original", "nothing disturbed the files: all are saved");
        require(item.files.size() == library.plan.items[i].files.size(), "with all their files");
        for (std::size_t f = 0; f < item.files.size(); ++f) {
            require(contentOf(folder / item.files[f])
                    == UnfinishedLibrary::bytesOf(library.plan.items[i].files[f]),
                "with their bytes");
        }
        require(fs::exists(folder / item.sidecar), "with their sidecars");
    }
    require(!fs::exists(folder / bookkeeping::folder), "no bookkeeping is left");
}

} // namespace

void runTarget(std::string_view input)
{
    InputReader reader(input);
    const auto state = reader.text();
    const auto journal = reader.text();
    const auto tryLast = reader.text();
    checkTexts(state, journal);

    static const UnfinishedLibrary library;
    const auto out = library.place / "Out";
    fs::remove_all(out);
    const fs::path folder = "Out/Lib export (incomplete)";
    library.place.write("Out/secret", "secret");
    library.place.write(folder / bookkeeping::state, state);
    library.place.write(folder / bookkeeping::journal, journal);
    library.place.write(folder / bookkeeping::tryLast, tryLast);
    while (!reader.isAtEnd()) {
        const fs::path path = reader.text();
        const auto content = reader.text();
        std::error_code error;
        if (isSafeRelativePath(path) && !path.empty() && path.native().size() < 200
            && !path.native().starts_with(".vantorel") && !fs::exists(library.place / (folder / path), error)
            && !error) {
            try {
                library.place.write(folder / path, content);
            } catch (const std::exception&) {
                break; // another path of the input stands in its way
            }
        }
    }

    ExportSettings settings;
    settings.checkFreeSpace = false; // the place is in memory
    const Exporter exporter(
        {.calls = realSystemCalls(), .clock = systemClock(), .children = {}, .temporary = {}});
    const auto outcome = exporter.run({.plan = std::make_shared<const ExportPlan>(library.plan),
        .destination = out,
        .scan = std::make_shared<const LibraryScanResult>(library.scan),
        .options = {},
        .settings = settings,
        .cancel = std::make_shared<CancelToken>(),
        .progress = {}});
    require(!message(outcome).empty(), "every outcome has a sentence");
    require(contentOf(out / "secret") == "secret", "nothing outside is touched");
    for (const auto& item : library.plan.items) {
        for (const auto& file : item.files) {
            require(contentOf(library.place / ("Lib.photoslibrary" / file.source))
                    == UnfinishedLibrary::bytesOf(file),
                "the library is only read");
        }
    }
    if (outcome.isFinished()) {
        checkFinished(library, outcome.folder.value_or(""));
    }
}

} // namespace vantorel::fuzz
