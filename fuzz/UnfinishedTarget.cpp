// The bookkeeping of an unfinished export, which anybody may have written: state, journal and list of files
// to be tried last, divided by the byte FF. Behind them, pairs of a path and a content: what stands in the
// folder already; the contents "->" and "->/" stand for links to a file and to a folder outside. The export
// is looked for and continued for real; what it then calls finished is looked at.

#include "FuzzTarget.h"
#include "UnfinishedLibrary.h"

#include "export/ExportReport.h"
#include "export/UnfinishedExport.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace vantorel::fuzz {

namespace {

namespace fs = std::filesystem;

const fs::path unfinishedFolder = "Out/Lib export (incomplete)";
constexpr std::string_view secret = "stays outside";

std::string contentOf(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::size_t entriesIn(const fs::path& folder)
{
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), {}));
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
        require(isSafeRelativePath(entry.sidecar), "paths stay in the folder");
        for (const auto& file : entry.files) {
            require(isSafeRelativePath(file.path) && file.size >= 0, "paths stay in the folder");
        }
        written += journalLine(entry);
    }
    require(parseJournal(written) == entries, "a journal reads back");
}

/// Puts something into the folder before the export is continued, where nothing of the input stands yet.
void put(const UnfinishedLibrary& library, const fs::path& path, std::string_view content)
{
    if (path.filename().empty() || path.native().size() > 200 || !isSafeRelativePath(path)) {
        return;
    }
    fs::path place = library.place / unfinishedFolder;
    for (const auto& part : path) {
        if (!fs::is_directory(fs::symlink_status(place))) {
            return; // the input's own link or file is in the way
        }
        place /= part;
        if (place != library.place / unfinishedFolder / path && !fs::exists(fs::symlink_status(place))) {
            fs::create_directory(place);
        }
    }
    if (fs::exists(fs::symlink_status(place))) {
        return;
    }
    if (content == "->") {
        fs::create_symlink(library.place / "outside/secret", place);
    } else if (content == "->/") {
        fs::create_symlink(library.place / "outside", place);
    } else {
        library.place.write(unfinishedFolder / path, content);
    }
}

/// Nothing in the folder leads elsewhere.
fs::path savedFile(const fs::path& folder, const std::string& path)
{
    const auto place = folder / path;
    require(isSafeRelativePath(path), "a report names paths in the folder");
    require(fs::is_regular_file(fs::symlink_status(place)) && fs::canonical(place) == place,
        "a saved file is in the folder");
    return place;
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
            require(contentOf(savedFile(folder, item.files[f]))
                    == UnfinishedLibrary::bytesOf(library.plan.items[i].files[f]),
                "with their bytes");
        }
        require(contentOf(savedFile(folder, item.sidecar)).contains("<x:xmpmeta"), "with their sidecars");
    }
    require(!fs::exists(fs::symlink_status(folder / bookkeeping::folder)), "no bookkeeping is left");
}

void checkFound(const UnfinishedLibrary& library, const std::string& state)
{
    const auto root = Root::open(realSystemCalls(), library.place / "Out");
    require(root.has_value(), "the destination is there");
    const auto found = findUnfinishedExport(**root, library.plan.libraryName, library.plan.id);
    require(found.has_value(), "the destination can be listed");
    const auto parsed = parseState(state);
    require(found->has_value() == (parsed && parsed->library == library.plan.libraryName),
        "found where the state says so");
    if (*found) {
        require((*found)->folder == library.place / unfinishedFolder && (*found)->planID == parsed->planID,
            "and nothing else is named");
        const auto note = unfinishedNote(**found, library.plan, {});
        require(note && !note->empty(), "with a sentence");
    }
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
    library.place.write("Out/beside", secret);
    library.place.write("outside/secret", secret);
    fs::create_directory(library.place / unfinishedFolder);
    put(library, bookkeeping::state, state);
    put(library, bookkeeping::journal, journal);
    put(library, bookkeeping::tryLast, tryLast);
    for (int i = 0; i < 50 && !reader.isAtEnd(); ++i) {
        const fs::path path = reader.text();
        put(library, path, reader.text());
    }

    checkFound(library, state);
    const auto outcome = library.save();
    require(!message(outcome).empty(), "every outcome has a sentence");
    require(contentOf(out / "beside") == secret && contentOf(library.place / "outside/secret") == secret
            && entriesIn(library.place / "outside") == 1 && entriesIn(out) <= 3
            && entriesIn(library.place.path()) == 3,
        "nothing outside is touched");
    for (const auto& item : library.plan.items) {
        for (const auto& file : item.files) {
            require(contentOf(library.place / ("Lib.photoslibrary" / file.source))
                    == UnfinishedLibrary::bytesOf(file),
                "the library is only read");
        }
    }
    if (outcome.folder) {
        require(outcome.folder->parent_path() == out, "the export is in its destination");
    }
    if (outcome.isFinished()) {
        checkFinished(library, outcome.folder.value_or(""));
    }
}

} // namespace vantorel::fuzz
