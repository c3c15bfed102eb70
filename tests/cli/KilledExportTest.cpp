#include "cli/RunProgram.h"
#include "sample/SampleLibrary.h"
#include "support/TemporaryFolder.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace vantorel {
namespace {

namespace fs = std::filesystem;
using Tree = std::map<std::string, std::string>;

/// A few by themselves; as many as VANTOREL_KILLS says where that is set.
int killsWanted()
{
    const char* wanted = std::getenv("VANTOREL_KILLS"); // NOLINT(concurrency-mt-unsafe)
    return wanted == nullptr ? 8 : std::max(1, std::atoi(wanted));
}

std::ptrdiff_t linesIn(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return std::count(std::istreambuf_iterator<char>(stream), {}, '\n');
}

/// When a run is killed: so long after so many items were recorded, or after its start.
struct Moment {
    std::ptrdiff_t items = 0; ///< Below 0: at the start.
    useconds_t later = 0;     ///< Microseconds.
};

/// Has not ended by itself; it is waited for later.
bool isAlive(pid_t child)
{
    siginfo_t ended{};
    return waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT) == 0
        && ended.si_pid == 0;
}

struct KilledExport : testing::Test {
    const std::string out = "out/Family export/";
    const std::string outUnfinished = "out/Family export (incomplete)/";

    const TemporaryFolder folder;
    const fs::path library = folder / "Family.photoslibrary";

    Ran exportInto(const char* name, const std::function<void(pid_t)>& whileRunning = {}) const
    {
        return runVantorel({"export", library.string(), (folder / name).string()}, whileRunning);
    }

    /// Whether the run was still at work.
    bool killAt(const Moment& moment) const
    {
        const Ran ran = exportInto("out", [&](pid_t child) {
            const fs::path journal = folder / (outUnfinished + ".vantorel/journal.jsonl");
            while (moment.items >= 0 && isAlive(child)
                && (!fs::exists(journal) || linesIn(journal) < moment.items)) {
                usleep(300);
            }
            usleep(moment.later);
            kill(child, SIGKILL);
        });
        return ran.status == 128 + SIGKILL;
    }
};

TEST_F(KilledExport, endsWithTheSameFolderWheneverItWasKilled)
{
    sample::writeLibrary(sample::drawPlan(200, 4), {.seed = 4}, library);
    folder.makeFolder("whole");
    ASSERT_EQ(exportInto("whole").status, 0);
    const Tree whole = folder.tree("whole");
    const auto items =
        std::ranges::count_if(whole, [](const auto& file) { return file.first.ends_with(".xmp"); });
    ASSERT_GT(items, 20);

    std::mt19937 random(20'200'704);
    int killed = 0;
    int amid = 0; // with something saved, and something not
    const int wanted = killsWanted();
    for (int round = 0; round < wanted; ++round) {
        folder.makeFolder("out");
        const auto draw = [&](std::ptrdiff_t most) {
            return static_cast<std::ptrdiff_t>(random() % static_cast<std::uint32_t>(most + 1));
        };
        // From the first steps to the last; every third export is killed a second time.
        Moment moment{.items = draw(items + 5) - 5};
        moment.later = static_cast<useconds_t>(draw(moment.items < 0 ? 500'000 : 30'000));
        SCOPED_TRACE(testing::Message()
            << "round " << round << ": " << moment.later << " us after item " << moment.items);
        killed += killAt(moment) ? 1 : 0;
        if (round % 3 == 0 && !fs::exists(folder / out)) {
            moment.items = std::min(moment.items + draw(items), items);
            killed += killAt(moment) ? 1 : 0;
        }

        const fs::path journal = folder / (outUnfinished + ".vantorel/journal.jsonl");
        if (fs::exists(journal) && linesIn(journal) > 0) {
            ++amid;
            const Ran verified = runVantorel({"verify", (folder / outUnfinished).string()});
            EXPECT_EQ(verified.status, 0) << verified.output << verified.errors;
        }
        Tree tree;
        if (!fs::exists(folder / out)) {
            const Ran last = exportInto("out");
            ASSERT_EQ(last.status, 0) << last.output << last.errors;
            tree = folder.tree("out");
        } else {
            // It had its final name; only its bookkeeping may not have been removed any more.
            tree = folder.tree("out");
            std::erase_if(tree, [](const auto& file) { return file.first.contains("/.vantorel/"); });
        }
        ASSERT_EQ(tree, whole);
        fs::remove_all(folder / "out");
    }
    EXPECT_GT(killed, wanted / 2);
    EXPECT_GT(amid, wanted / 4);
    RecordProperty("killed", killed);
    RecordProperty("killedAmid", amid);
}

} // namespace
} // namespace vantorel
