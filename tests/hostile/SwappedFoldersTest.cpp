#include "export/ExportPlanner.h"
#include "export/Exporter.h"
#include "hostile/HostileFixture.h"
#include "support/ScriptedCalls.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace vantorel {
namespace {

namespace fs = std::filesystem;

bool holdsSecret(const fs::path& folder)
{
    const auto mark = HostilePlace::secret(15);
    return std::ranges::any_of(fs::recursive_directory_iterator(folder), [&](const auto& entry) {
        std::ifstream stream(entry.path(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
        return entry.is_regular_file() && bytes.contains(mark);
    });
}

/// Swaps a part of the library for a link to the like outside before the n-th call to the disk, and looks
/// whether anything of it comes out. The number of calls that were made until then, or in all.
std::size_t swapBeforeCall(std::size_t n, const fs::path& part)
{
    const HostilePlace place;
    place.folder.makeFolder("out");
    const auto clock = std::make_shared<ManualClock>();
    const auto calls = std::make_shared<ScriptedCalls>(clock);
    calls->on("*").nth(n).run([&] { place.moveOut(part); });
    const CoreServices services{.calls = calls,
        .clock = clock,
        .children = realChildProcesses(systemClock()),
        .temporary = TemporaryFiles::create(realSystemCalls(), place.folder.makeFolder("temporary")).value()};
    const auto cancel = std::make_shared<CancelToken>();
    try {
        const auto scan = LibraryScanner(services).scan(place.library, cancel, {});
        const ExportOptions options;
        ExportSettings settings;
        settings.checkFreeSpace = false;
        const auto outcome =
            Exporter(services).run({.plan = std::make_shared<const ExportPlan>(planExport(scan, options)),
                .destination = place.folder / "out",
                .scan = std::make_shared<const LibraryScanResult>(scan),
                .options = options,
                .settings = settings,
                .cancel = cancel,
                .progress = {}});
        EXPECT_NE(message(outcome), "");
    } catch (const ReadError& error) {
        EXPECT_NE(error.message(), "");
    }
    EXPECT_FALSE(holdsSecret(place.folder / "out")) << part << " swapped before call " << n;
    EXPECT_EQ(place.folder.read("outside/secret.jpeg"), HostilePlace::secret());
    return calls->log().size();
}

class SwappedFolders : public testing::TestWithParam<const char*> { };

TEST_P(SwappedFolders, giveNothingFromOutsideWheneverTheyAreSwapped)
{
    const auto all = swapBeforeCall(1'000'000, GetParam());
    ASSERT_GT(all, 100U);
    const auto step = std::max<std::size_t>(all / 29, 1);
    for (std::size_t n = 1; n < all; n += step) {
        swapBeforeCall(n, GetParam());
    }
}

INSTANTIATE_TEST_SUITE_P(Parts, SwappedFolders,
    testing::Values("originals", "originals/B", "originals/C/C0000000-0000-4000-8000-000000000001.jpeg",
        "database", "database/Photos.sqlite", "resources/journals"),
    [](const auto& row) { return std::to_string(row.index); });

} // namespace
} // namespace vantorel
