#include "export/ExportPlanner.h"
#include "export/Exporter.h"
#include "hostile/HostileFixture.h"
#include "sample/SampleLibrary.h"
#include "support/ScriptedCalls.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <ostream>
#include <set>
#include <utility>

namespace vantorel {
namespace {

namespace fs = std::filesystem;

/// A part of the library that is taken away at some moment, and a link to the like of another library left in
/// its place.
struct Part {
    const char* name;
    fs::path path;
    bool withoutDatabase = false;
};

/// A library, and beside it one in which every text and every picture is the secret.
class SwapPlace {
public:
    TemporaryFolder folder{};
    const fs::path library = folder / "Trip.photoslibrary";
    const fs::path other = folder / "outside/Trip.photoslibrary";

    explicit SwapPlace(const Part& part)
        : part_(part)
    {
        folder.makeFolder("out");
        folder.makeFolder("outside");
        const auto secret = HostilePlace::secret(15);
        for (const bool isOther : {false, true}) {
            sample::SamplePlan plan;
            plan.pictureWidth = plan.pictureHeight = 8;
            for (int i = 0; i < HostilePlace::photos; ++i) {
                plan.items.push_back({.uuid = HostilePlace::original(i).stem(),
                    .title = isOther ? secret : "a title",
                    .hasSmallerCopies = i == 0});
            }
            plan.albums.push_back({.title = isOther ? secret : "Trip", .items = {0, 1, 2, 3, 4, 5}});
            plan.keywords = {isOther ? secret : "sea"};
            const fs::path& made = isOther ? other : library;
            sample::writeLibrary(plan, {.withLog = false}, made);
            fs::remove(made / HostilePlace::original(0)); // there is a smaller copy
            if (part.withoutDatabase) {
                fs::remove_all(made / "database");
            }
        }
        for (const auto& entry : fs::recursive_directory_iterator(other)) {
            if (entry.path().extension() == ".jpeg") { // as large as what it may be taken for
                const auto size = fs::file_size(library / entry.path().lexically_relative(other));
                std::ofstream(entry.path(), std::ios::binary | std::ios::trunc) << HostilePlace::secret(size);
            }
        }
    }

    void swap() const
    {
        fs::rename(library / part_.path, folder / "aside");
        fs::create_symlink(other / part_.path, library / part_.path);
    }
    /// In earnest, so that its content may come out.
    void replace() const
    {
        fs::rename(library / part_.path, folder / "aside");
        fs::rename(other / part_.path, library / part_.path);
    }

    void scanAndSave(const std::shared_ptr<const SystemCalls>& calls) const
    {
        const CoreServices services{.calls = calls,
            .clock = systemClock(),
            .children = realChildProcesses(systemClock()),
            .temporary = TemporaryFiles::create(realSystemCalls(), folder.makeFolder("private")).value()};
        const auto cancel = std::make_shared<CancelToken>();
        try {
            const auto scan = LibraryScanner(services).scan(library, cancel, {});
            const ExportOptions options;
            ExportSettings settings;
            settings.checkFreeSpace = false;
            const auto outcome =
                Exporter(services).run({.plan = std::make_shared<const ExportPlan>(planExport(scan, options)),
                    .destination = folder / "out",
                    .scan = std::make_shared<const LibraryScanResult>(scan),
                    .options = options,
                    .settings = settings,
                    .cancel = cancel,
                    .progress = {}});
            EXPECT_NE(message(outcome), "");
        } catch (const ReadError& error) {
            EXPECT_NE(error.message(), "");
        }
    }

    bool isSecretOut() const
    {
        const auto mark = HostilePlace::secret(15);
        return std::ranges::any_of(fs::recursive_directory_iterator(folder / "out"), [&](const auto& entry) {
            std::string bytes = entry.path().filename();
            if (entry.is_regular_file()) {
                std::ifstream stream(entry.path(), std::ios::binary);
                bytes.append(std::istreambuf_iterator<char>(stream), {});
            }
            return bytes.contains(mark);
        });
    }

private:
    const Part& part_;
};

/// A moment in a run: before the n-th call of this name for this path.
struct Moment {
    std::string call{};
    fs::path path{}; ///< In the library.
    std::size_t number = 0;
};

constexpr std::size_t mostMoments = 24;

/// Before the first and before the last call of every kind for the part, what is in it, and the folders above
/// it. Which of two threads comes first differs from run to run; these moments do not.
std::vector<Moment> momentsFor(const Part& part)
{
    const SwapPlace place(part);
    const auto calls = std::make_shared<ScriptedCalls>();
    place.scanAndSave(calls);
    EXPECT_FALSE(place.isSecretOut());
    std::map<std::pair<std::string, fs::path>, std::size_t> counts;
    for (const auto& call : calls->log()) {
        const auto path = call.path.lexically_relative(place.library);
        const auto [end, rest] = std::ranges::mismatch(part.path, path);
        if (!path.empty() && *path.begin() != ".."
            && (path == "." || end == part.path.end() || rest == path.end())) {
            ++counts[{call.name, path}];
        }
    }
    std::vector<Moment> moments;
    for (const auto& [call, count] : counts) {
        for (const std::size_t number : std::set<std::size_t>{1, count}) {
            moments.push_back({.call = call.first, .path = call.second, .number = number});
        }
    }
    // Of many alike, such as those for each photo, some are enough.
    std::vector<Moment> some;
    const std::size_t step = (moments.size() + mostMoments - 1) / mostMoments;
    for (std::size_t i = 0; i < moments.size(); i += step) {
        some.push_back(moments[i]);
    }
    return some;
}

void PrintTo(const Part& part, std::ostream* out) { *out << part.name; }

class SwappedFolders : public testing::TestWithParam<Part> { };

TEST_P(SwappedFolders, giveNothingFromOutsideWheneverTheyAreSwapped)
{
    const auto moments = momentsFor(GetParam());
    ASSERT_GT(moments.size(), 5U);
    std::size_t hits = 0;
    for (const auto& moment : moments) {
        const SwapPlace place(GetParam());
        const auto calls = std::make_shared<ScriptedCalls>();
        const auto path = moment.path == "." ? place.library : place.library / moment.path;
        const auto rule = calls->on(moment.call, path).nth(moment.number).run([&] { place.swap(); });
        place.scanAndSave(calls);
        hits += rule.hits();
        EXPECT_FALSE(place.isSecretOut())
            << "swapped before call " << moment.number << " of " << moment.call << " for " << moment.path;
    }
    EXPECT_GT(hits, moments.size() * 3 / 4); // a last call may be one that a thread makes only sometimes
}

TEST_P(SwappedFolders, holdWhatComesOutOfALibraryThatHasItInEarnest)
{
    const SwapPlace place(GetParam());
    place.replace();
    place.scanAndSave(realSystemCalls());
    EXPECT_TRUE(place.isSecretOut());
}

INSTANTIATE_TEST_SUITE_P(Parts, SwappedFolders,
    testing::Values(Part{"originals", "originals"},
        Part{"aFolderOfOriginals", HostilePlace::original(1).parent_path()},
        Part{"anOriginal", HostilePlace::original(2)}, Part{"smallerCopies", "resources/derivatives"},
        Part{"theDatabaseFolder", "database"}, Part{"theDatabase", "database/Photos.sqlite"},
        Part{"theJournals", "resources/journals", true}),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace
} // namespace vantorel
