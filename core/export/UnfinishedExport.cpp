#include "export/UnfinishedExport.h"

#include "base/Text.h"
#include "export/ExportReport.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <tuple>
#include <unordered_map>
#include <utility>

#include <nlohmann/json.hpp>

/// state.json:     {"planID": "…", "library": "…", "version": 1, "options": {…}}
/// journal.jsonl:  one line for each saved item, in the order in which they were saved:
///                 {"key": "…", "files": [{"path": "…", "size": 1, "sha256": "…"}], "sidecar": "…"}
/// Both are read from a disk that anybody may have written to: what does not fit is as good as not there,
/// and an item that is not in the journal is only saved again.

namespace vantorel {

namespace {

using Json = nlohmann::ordered_json; // members stand in the order in which they are described

/// Members of members of members: nothing that is read here lies deeper.
constexpr int mostLevels = 8;
/// An item has a main file and a handful of companions, each with a path of at most a few thousand bytes.
constexpr std::size_t mostLineBytes = 1U << 20U;

/// Counts brackets before anything is parsed: a text of nothing else would cost memory for each.
bool isShallow(std::string_view text)
{
    int level = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            i += c == '\\' ? 1U : 0U;
            inString = c != '"';
        } else if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            if (++level > mostLevels) {
                return false;
            }
        } else if (c == '}' || c == ']') {
            --level;
        }
    }
    return true;
}

/// None for what is no JSON object, and for one that is deeper than anything of ours.
template <typename AnyJson>
std::optional<AnyJson> parsed(std::string_view text)
{
    if (!isShallow(text)) {
        return std::nullopt;
    }
    auto json = AnyJson::parse(text, nullptr, /*allow_exceptions=*/false);
    if (!json.is_object()) { // "discarded" after an error
        return std::nullopt;
    }
    return json;
}

template <typename AnyJson>
std::string dumped(const AnyJson& json)
{
    return json.dump(-1, ' ', false, AnyJson::error_handler_t::replace);
}

template <typename AnyJson>
std::optional<std::string> text(const AnyJson& json, const char* key)
{
    const auto found = json.find(key);
    return found != json.end() && found->is_string() ? std::optional(found->template get<std::string>())
                                                     : std::nullopt;
}

/// Not negative.
template <typename AnyJson>
std::optional<std::int64_t> number(const AnyJson& json, const char* key)
{
    const auto found = json.find(key);
    if (found == json.end() || !found->is_number_unsigned()) {
        return std::nullopt;
    }
    const auto value = found->template get<std::uint64_t>();
    return std::in_range<std::int64_t>(value) ? std::optional(static_cast<std::int64_t>(value))
                                              : std::nullopt;
}

/// A path beneath the export's folder. Looked at as text: there are several in each of very many lines.
bool isPath(std::string_view path)
{
    if (path.contains('\0')) {
        return false;
    }
    while (true) {
        const auto slash = path.find('/');
        const auto component = path.substr(0, slash);
        if (component.empty() || component == "." || component == "..") {
            return false;
        }
        if (slash == std::string_view::npos) {
            return true;
        }
        path.remove_prefix(slash + 1);
    }
}

bool isDigest(std::string_view digest)
{
    return digest.size() == 64 && digest.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::optional<ExportJournalFile> journalFile(const Json& json)
{
    if (!json.is_object()) {
        return std::nullopt;
    }
    auto path = text(json, "path");
    const auto size = number(json, "size");
    auto digest = text(json, "sha256");
    if (!path || !isPath(*path) || !size || !digest || !isDigest(*digest)) {
        return std::nullopt;
    }
    return ExportJournalFile{.path = std::move(*path), .size = *size, .sha256 = std::move(*digest)};
}

std::optional<JournalEntry> journalEntry(std::string_view line)
{
    const auto json = line.size() <= mostLineBytes ? parsed<Json>(line) : std::nullopt;
    if (!json) {
        return std::nullopt;
    }
    auto key = text(*json, "key");
    auto sidecar = text(*json, "sidecar");
    const auto files = json->find("files");
    if (!key || key->empty() || !sidecar || !isPath(*sidecar) || files == json->end() || !files->is_array()
        || files->empty()) {
        return std::nullopt;
    }
    JournalEntry entry{.key = std::move(*key), .sidecar = std::move(*sidecar)};
    for (const auto& element : *files) {
        auto file = journalFile(element);
        if (!file) {
            return std::nullopt;
        }
        entry.files.push_back(std::move(*file));
    }
    return entry;
}

} // namespace

std::string stateText(const ExportState& state)
{
    Json json;
    json["planID"] = state.planID;
    json["library"] = state.library;
    json["version"] = state.version;
    json["options"] = toJson(state.options);
    return dumped(json) + '\n';
}

std::optional<ExportState> parseState(std::string_view content)
{
    const auto json = parsed<nlohmann::json>(content);
    if (!json) {
        return std::nullopt;
    }
    auto planID = text(*json, "planID");
    auto library = text(*json, "library");
    const auto version = number(*json, "version");
    const auto found = json->find("options");
    if (!planID || !library || version != bookkeeping::version || found == json->end()) {
        return std::nullopt;
    }
    auto options = exportOptionsFromJson(*found);
    if (!options) {
        return std::nullopt;
    }
    return ExportState{.planID = std::move(*planID),
        .library = std::move(*library),
        .version = *version,
        .options = std::move(*options)};
}

std::string journalLine(const JournalEntry& entry)
{
    Json json;
    json["key"] = entry.key;
    json["files"] = Json::array();
    for (const auto& file : entry.files) {
        json["files"].push_back(Json{{"path", file.path}, {"size", file.size}, {"sha256", file.sha256}});
    }
    json["sidecar"] = entry.sidecar;
    return dumped(json) + '\n';
}

std::vector<JournalEntry> parseJournal(std::string_view content)
{
    std::vector<JournalEntry> entries;
    std::unordered_map<std::string, std::size_t> places;
    while (!content.empty()) {
        const auto end = content.find('\n');
        auto entry = journalEntry(content.substr(0, end));
        content.remove_prefix(end == std::string_view::npos ? content.size() : end + 1);
        if (!entry) {
            continue;
        }
        const auto [place, isNew] = places.try_emplace(entry->key, entries.size());
        if (isNew) {
            entries.push_back(std::move(*entry));
        } else {
            entries[place->second] = std::move(*entry);
        }
    }
    return entries;
}

std::expected<std::optional<UnfinishedExport>, FS::ListFailure> findUnfinishedExport(
    const Root& destination, const std::string& libraryName, const std::string& planID, Heartbeat* heartbeat)
{
    FS::ListBox box;
    const auto listing = destination.list("", heartbeat, box);
    if (!listing) {
        return std::unexpected(listing.error());
    }
    if (listing->stoppedEarly) { // the folder in question may be in the part that was not listed
        return std::unexpected(FS::listFailureOf(listing->code));
    }
    const auto library = repairedUtf8(libraryName); // as state.json holds it
    std::optional<UnfinishedExport> best;
    std::tuple<bool, std::chrono::sys_seconds> bestRank;
    for (const auto& entry : listing->entries) {
        if (entry.kind != FS::Kind::directory || !entry.name.ends_with(bookkeeping::incompleteSuffix)) {
            continue;
        }
        const auto content = readWhole(
            destination, DiskPath(entry.name) / bookkeeping::state, bookkeeping::mostStateBytes, heartbeat);
        auto state = content ? parseState(*content) : std::nullopt;
        if (!state || state->library != library) {
            continue;
        }
        // A folder's time is that of its last change at the top: the report and READ ME of its last run.
        const std::tuple rank{state->planID == planID, entry.modified};
        if (!best || rank > bestRank) {
            bestRank = rank;
            best = UnfinishedExport{.folder = destination.path() / entry.name,
                .planID = std::move(state->planID),
                .options = std::move(state->options)};
        }
    }
    return best;
}

std::optional<std::string> unfinishedNote(
    const UnfinishedExport& unfinished, const ExportPlan& plan, const ExportOptions& options)
{
    const auto folder = "\"" + repairedUtf8(unfinished.folder.filename().native()) + "\"";
    if (unfinished.planID == plan.id) {
        return "Continues the unfinished export in " + folder + ".";
    }
    if (unfinished.options.includeOutsideFiles && !options.includeOutsideFiles) {
        return "The unfinished export in " + folder
            + " also saved files stored outside this library. To continue it, tick that here. Otherwise a "
              "new "
              "folder will be made.";
    }
    return "These choices differ from the unfinished export in " + folder + ", so a new folder will be made.";
}

namespace {

constexpr std::string_view continuing =
    "In Vantorel, scan the library, run the export again with the same choices, and choose the folder that "
    "contains this one. ";

std::string notFinished(std::string_view folderName)
{
    return "\"" + repairedUtf8(folderName) + "\" has not finished. ";
}

} // namespace

std::string readMeAtStart(std::string_view folderName)
{
    return notFinished(folderName) + "What is here is not all of it.\n" + std::string(continuing)
        + "It continues where it stopped.\n";
}

std::string readMeWhenStopped(std::string_view folderName, const StoppedState& stopped)
{
    auto text = notFinished(folderName)
        + "Run the export again in Vantorel with the same choices, and choose the folder that contains this "
          "one.\n";
    if (stopped.scanReachedEverything) {
        text += std::string(continuing) + "Only what is left is tried.\n";
    } else {
        text += "In Vantorel, scan the library again and run the export again with the same choices. If the "
                "scan reaches more, the export starts a new folder, and this one can then be deleted.\n";
    }
    if (stopped.notRead > 0) {
        text += grouped(stopped.notRead)
            + " items could not be read or checked on the disk. Everything else is here, and \""
            + std::string(unfinishedReportName) + "\" names each of them and why.\n";
    }
    return text;
}

} // namespace vantorel
