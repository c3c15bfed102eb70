// An export against random trouble, for as long as one likes: continued after each, then verified and
// compared with an undisturbed one.

#include "cli/RunProgram.h"
#include "fuse/FaultyDisk.h"

#include "export/UnfinishedExport.h"
#include "sample/SampleLibrary.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include <sys/wait.h>

namespace vantorel::fuse {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Tree = std::map<std::string, std::string>;

constexpr std::string_view name = "Family export";

/// What is counted over all rounds.
struct Figures {
    std::map<std::string, int> troubles{}; ///< By kind; only those that came about.
    std::map<int, int> ends{};             ///< Runs by exit status.
    int runs = 0;
    int exports = 0; ///< Finished, verified and compared.
    std::int64_t filesSaved = 0;
    std::int64_t notUsed = 0; ///< Files of an earlier run that were kept under another name.
    int most = 0;             ///< Runs that one export took at most.
};

/// One disturbance: rules for the two disks, or something else that is done while the program runs.
struct Trouble {
    std::string kind{};
    std::vector<std::string> source{};
    std::vector<std::string> target{};
    bool isKill = false;
    bool isDetach = false;
};

/// Has not ended by itself; it is waited for later.
bool isAlive(pid_t child)
{
    siginfo_t ended{};
    return waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT) == 0
        && ended.si_pid == 0;
}

class Endurance {
public:
    Endurance(std::uint32_t seed, std::size_t items)
        : random_(seed)
    {
        auto plan = sample::drawPlan(items, seed);
        plan.pictureWidth = 64;
        plan.pictureHeight = 48;
        place_.makeFolder("source");
        sample::writeLibrary(plan, {.seed = seed}, place_ / "source/Family.photoslibrary");
        place_.makeFolder("whole");
        if (runVantorel({"export", place_ / "source/Family.photoslibrary", place_ / "whole"}).status != 0) {
            throw std::runtime_error("the undisturbed export failed");
        }
        whole_ = place_.tree(fs::path("whole") / name);
    }

    /// Whether everything held. Goes on until the time is over and the export that then runs has finished.
    bool run(std::chrono::minutes time)
    {
        const auto end = Clock::now() + time;
        for (int runsOfThis = 1;; ++runsOfThis) {
            const bool isOver = Clock::now() >= end;
            // Trouble in two of three runs, so that exports end, too.
            const Trouble trouble = isOver || below(3) == 0 ? Trouble{} : drawn();
            disturbedRun(trouble);
            const bool finished = fs::exists(place_ / "target" / name);
            if (!expectNothingBroken(finished)) {
                return false;
            }
            if (finished) {
                figures_.most = std::max(figures_.most, runsOfThis);
                runsOfThis = 0;
                ++figures_.exports;
                fs::remove_all(place_ / "target");
                if (isOver) {
                    return true;
                }
            }
            if (Clock::now() > end + 15min) {
                std::puts("An undisturbed export did not end.");
                return false;
            }
            report();
        }
    }

    void report()
    {
        std::string text =
            fmt::format("{} runs, {} exports finished and compared, {} files saved, {} kept as not "
                        "used, at most {} runs for one export; ended with",
                figures_.runs, figures_.exports, figures_.filesSaved, figures_.notUsed, figures_.most);
        for (const auto& [status, count] : figures_.ends) {
            text += fmt::format(" {}: {}", status, count);
        }
        text += "; troubles that came about:";
        for (const auto& [kind, count] : figures_.troubles) {
            text += fmt::format(" {} {}", kind, count);
        }
        std::puts(text.c_str());
        std::fflush(stdout);
    }

private:
    std::uint32_t below(std::uint32_t count) { return static_cast<std::uint32_t>(random_() % count); }

    Trouble drawn()
    {
        const auto from = fmt::format("from={}", 1 + below(300));
        const auto times = fmt::format("times={}", 1 + below(12));
        switch (below(14)) {
        case 0:
            return {
                .kind = "slow library", .source = {fmt::format("delay={} read {} *", 5 + below(60), times)}};
        case 1:
            return {
                .kind = "slow destination", .target = {fmt::format("delay={} * {} *", 1 + below(20), times)}};
        case 2:
            return {
                .kind = "read hangs", .source = {fmt::format("hang read {} times=1 */originals/*", from)}};
        case 3:
            return {.kind = "write hangs", .target = {fmt::format("hang write {} times=1 *", from)}};
        case 4:
            return {.kind = "read errors",
                .source = {fmt::format("error=5 read {} {} */originals/*", from, times)}};
        case 5:
            // Not of the library: a scan that misses a folder makes another plan, and so another export.
            return {.kind = "listing errors",
                .target = {fmt::format("error=5 readdir from={} times=2 *", 1 + below(30))}};
        case 6:
            return {.kind = "write errors", .target = {fmt::format("error=5 write {} times=1 *", from)}};
        case 7:
            return {.kind = "sync errors", .target = {fmt::format("error=5 fsync {} times=1 *", from)}};
        case 8:
            return {.kind = "rename errors", .target = {fmt::format("error=5 rename {} times=1 *", from)}};
        case 9:
            return {.kind = "full disk", .target = {fmt::format("room={} write *", below(600'000))}};
        case 10:
            return {.kind = "library gone", .source = {fmt::format("gone read {} *", from)}};
        case 11:
            return {.kind = "destination gone", .target = {fmt::format("gone change {} *", from)}};
        case 12:
            return {.kind = "destination unmounted", .isDetach = true};
        default:
            return {.kind = "killed", .isKill = true};
        }
    }

    void disturbedRun(const Trouble& trouble)
    {
        FaultyDisk source(place_ / "source", place_ / "source mount");
        fs::create_directories(place_ / "target");
        FaultyDisk target(place_ / "target", place_ / "target mount");
        source.set(trouble.source);
        target.set(trouble.target);
        bool interfered = false;
        const auto start = Clock::now();
        const Ran ran =
            runVantorel({"export", "--stall-limit", "3", source / "Family.photoslibrary", target.path()},
                [&](pid_t child) {
                    if (trouble.isKill || trouble.isDetach) {
                        const auto most = static_cast<std::uint32_t>(usual_.count());
                        std::this_thread::sleep_for(std::chrono::milliseconds(below(most + 1)));
                        interfered = isAlive(child);
                        if (trouble.isKill) {
                            kill(child, SIGKILL);
                        } else {
                            target.detach();
                        }
                    }
                });
        ++figures_.runs;
        ++figures_.ends[ran.status];
        if (trouble.kind.empty() && ran.status == 0) {
            usual_ = std::max(
                std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start), usual_ / 2);
        }
        if (interfered || (!trouble.source.empty() && source.hits() > 0)
            || (!trouble.target.empty() && target.hits() > 0)) {
            ++figures_.troubles[trouble.kind];
        }
    }

    /// Every file under its final name holds all its bytes, at every moment; a finished export is the same as
    /// an undisturbed one.
    bool expectNothingBroken(bool finished)
    {
        const auto folder =
            fs::path("target") / (finished ? std::string(name) : fmt::format("{} (incomplete)", name));
        if (!place_.has(folder)) {
            return true; // nothing was started
        }
        bool holds = true;
        const Tree tree = place_.tree(folder);
        const auto complain = [&](const std::string& path, const char* what) {
            std::printf("%s: %s\n", path.c_str(), what);
            holds = false;
        };
        for (const auto& [path, bytes] : tree) {
            if (path.contains(bookkeeping::notUsedSuffix)) {
                figures_.notUsed += finished ? 1 : 0;
                continue;
            }
            const auto found = whole_.find(path);
            const bool isOurs = !finished && (path.starts_with(bookkeeping::folder) || !path.contains('/'));
            if (found == whole_.end() ? !isOurs : found->second != bytes) {
                complain(path, found == whole_.end() ? "belongs to nothing" : "holds other bytes");
            }
        }
        if (finished) {
            for (const auto& [path, bytes] : whole_) {
                if (!tree.contains(path)) {
                    complain(path, "is missing");
                }
            }
            const Ran verified = runVantorel({"verify", place_ / folder});
            if (verified.status != 0) {
                complain(verified.output, "verification found differences");
            }
            figures_.filesSaved += static_cast<std::int64_t>(tree.size());
        }
        return holds;
    }

    std::mt19937 random_;
    TemporaryFolder place_{};
    Tree whole_{};
    Figures figures_{};
    std::chrono::milliseconds usual_{2'000}; ///< That an undisturbed run takes.
};

} // namespace
} // namespace vantorel::fuse

/// endurance [MINUTES [SEED [ITEMS]]]
int main(int count, char** arguments)
{
    using namespace vantorel::fuse;
    const auto number = [&](int place, long usual) {
        return count > place ? std::strtol(arguments[place], nullptr, 10) : usual;
    };
    if (const auto reason = FaultyDisk::whyNot()) {
        std::printf("Skipped: %s.\n", reason->c_str());
        return 77;
    }
    const auto minutes = number(1, 60);
    const auto seed = number(2, static_cast<long>(std::random_device()() & 0xFFFFU));
    std::printf("endurance %ld %ld: the second number is the seed\n", minutes, seed);
    try {
        Endurance endurance(static_cast<std::uint32_t>(seed), static_cast<std::size_t>(number(3, 150)));
        const bool holds = endurance.run(std::chrono::minutes(minutes));
        endurance.report();
        std::puts(holds ? "Complete and verified, nothing lost." : "Something did not hold.");
        return holds ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 3;
    }
}
