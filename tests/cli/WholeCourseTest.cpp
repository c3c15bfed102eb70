#include "base/Digest.h"
#include "cli/RunProgram.h"
#include "support/TemporaryFolder.h"

#include "sample/SampleLibrary.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vantorel {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

json jsonOf(const std::vector<std::string>& arguments, int status = 0)
{
    const Ran ran = runVantorel(arguments);
    EXPECT_EQ(ran.status, status) << ran.errors;
    json value = json::parse(ran.output, nullptr, false);
    EXPECT_TRUE(value.is_object()) << ran.output.substr(0, 400);
    return value;
}

std::string contentOf(const fs::path& file)
{
    std::string bytes;
    std::FILE* stream = std::fopen(file.c_str(), "rb");
    if (stream == nullptr) {
        ADD_FAILURE() << file << " is not there";
        return bytes;
    }
    char buffer[65536];
    for (std::size_t n = 0; (n = std::fread(buffer, 1, sizeof buffer, stream)) > 0;) {
        bytes.append(buffer, n);
    }
    std::fclose(stream);
    return bytes;
}

/// Everything in a folder, deepest names too, sorted.
std::vector<fs::path> pathsIn(const fs::path& folder)
{
    std::vector<fs::path> paths;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        paths.push_back(entry.path());
    }
    std::ranges::sort(paths);
    return paths;
}

/// What reading could change: content, modification and access times. Lists no folder, since that writes its
/// access time.
std::map<std::string, std::tuple<std::string, std::int64_t, std::int64_t>> stateOf(
    const std::vector<fs::path>& paths)
{
    std::map<std::string, std::tuple<std::string, std::int64_t, std::int64_t>> state;
    for (const auto& path : paths) {
        struct stat found{};
        EXPECT_EQ(lstat(path.c_str(), &found), 0) << path;
        std::string digest;
        if (S_ISREG(found.st_mode)) {
            digest = sha256(contentOf(path));
            const timespec times[2] = {found.st_atim, found.st_mtim}; // this look leaves no trace itself
            utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW);
        }
        state[path.string()] = {digest, found.st_mtim.tv_sec * 1'000'000'000 + found.st_mtim.tv_nsec,
            found.st_atim.tv_sec * 1'000'000'000 + found.st_atim.tv_nsec};
    }
    return state;
}

/// Sets every access time long before the modification time, so that any read under "relatime" would write
/// it.
void ageAccessTimes(const std::vector<fs::path>& paths)
{
    for (const auto& path : paths) {
        const timespec times[2] = {
            {.tv_sec = 1'000'000'000, .tv_nsec = 0}, {.tv_sec = 0, .tv_nsec = UTIME_OMIT}};
        utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW);
    }
}

class EveryGeneration : public testing::TestWithParam<int> { };

TEST_P(EveryGeneration, isScannedSavedAndVerifiedWithoutAChangeToTheLibrary)
{
    const TemporaryFolder folder;
    const fs::path library = folder / "Family.photoslibrary";
    sample::writeLibrary(sample::drawPlan(60, 7), {.generation = GetParam(), .seed = 7}, library);
    folder.makeFolder("out");
    const auto paths = pathsIn(library);
    ageAccessTimes(paths);
    const auto before = stateOf(paths);

    const json scan = jsonOf({"scan", "--json", library.string()});
    EXPECT_EQ(scan["snapshot"]["schema"]["modelVersion"], sample::modelVersion(GetParam()));
    EXPECT_EQ(scan["snapshot"]["damage"]["severity"], "none");
    EXPECT_EQ(scan["snapshot"]["assets"].size(), 60U);
    EXPECT_EQ(scan["originals"]["entries"].size(), 60U);
    EXPECT_EQ(scan["originals"]["state"], "complete");

    const json plan = jsonOf({"export", "--dry-run", "--json", library.string(), (folder / "out").string()});
    EXPECT_TRUE(fs::is_empty(folder / "out"));
    const json outcome = jsonOf({"export", "--json", library.string(), (folder / "out").string()});
    EXPECT_EQ(outcome["state"], "finished") << outcome["message"];
    const fs::path saved = folder / "out/Family export";
    EXPECT_EQ(outcome["folder"], saved.string());
    EXPECT_EQ(outcome["exportedItems"], plan["items"].size());

    std::set<std::int64_t> inReport;
    for (const auto& item : plan["items"]) {
        inReport.insert(item["assetPK"].get<std::int64_t>());
        for (const auto& file : item["files"]) {
            const fs::path original = library / file["source"].get<std::string>();
            const fs::path copy = saved / file["relativePath"].get<std::string>();
            EXPECT_EQ(sha256(contentOf(copy)), std::get<0>(before.at(original.string()))) << copy;
            EXPECT_EQ(fs::last_write_time(copy), fs::last_write_time(original)) << copy;
        }
        EXPECT_TRUE(fs::is_regular_file(saved / item["sidecarRelativePath"].get<std::string>()));
    }
    for (const auto& item : plan["skipped"]) {
        EXPECT_NE(item["reason"], "");
        inReport.insert(item["assetPK"].get<std::int64_t>());
    }
    EXPECT_EQ(inReport.size(), 60U); // saved or with its reason, every one
    EXPECT_FALSE(fs::exists(saved / ".vantorel"));
    EXPECT_TRUE(fs::exists(saved / "READ ME.txt"));
    EXPECT_EQ(runVantorel({"verify", saved.string()}).status, 0);

    const auto after = stateOf(paths);
    for (const auto& [path, state] : before) {
        EXPECT_EQ(after.at(path), state) << path;
    }
    EXPECT_EQ(pathsIn(library), paths);
}

INSTANTIATE_TEST_SUITE_P(From10_15To27, EveryGeneration, testing::Range(5, 13));

TEST(Layouts, withOtherNumbersOrColumnOrderReadTheSame)
{
    const auto plan = sample::drawPlan(60, 3);
    for (const int generation : {5, 11}) {
        const auto snapshotOf = [&](const sample::LayoutChanges& changes) {
            const TemporaryFolder folder;
            const fs::path library = folder / "Family.photoslibrary";
            sample::writeLibrary(plan, {.generation = generation, .seed = 3, .changes = changes}, library);
            json scan = jsonOf({"scan", "--json", library.string()});
            scan["snapshot"].erase("libraryURL");
            return scan;
        };
        const json plain = snapshotOf({});
        EXPECT_EQ(snapshotOf({.entityNumberShift = 100}), plain);
        EXPECT_EQ(snapshotOf({.reverseColumns = true}), plain);
    }
}

TEST(Scans, giveTheSameWhateverTheZoneAndLocale)
{
    const TemporaryFolder folder;
    const fs::path library = folder / "Family.photoslibrary";
    sample::writeLibrary(sample::drawPlan(60, 5), {.seed = 5}, library);
    const std::string plain = runVantorel({"scan", "--json", library.string()}).output;
    setenv("TZ", "Asia/Kolkata", 1);
    setenv("LC_ALL", "tr_TR.UTF-8", 1);
    EXPECT_EQ(runVantorel({"scan", "--json", library.string()}).output, plain);
    unsetenv("TZ");
    unsetenv("LC_ALL");
}

TEST(Verification, namesWhatDiffers)
{
    const TemporaryFolder folder;
    const fs::path library = folder / "Family.photoslibrary";
    sample::writeLibrary(sample::drawPlan(40, 2), {.seed = 2}, library);
    folder.makeFolder("out");
    const json plan = jsonOf({"export", "--dry-run", "--json", library.string(), (folder / "out").string()});
    ASSERT_EQ(runVantorel({"export", library.string(), (folder / "out").string()}).status, 0);
    const fs::path saved = folder / "out/Family export";
    ASSERT_GE(plan["items"].size(), 4U);
    const auto nameOf = [&](std::size_t i) {
        return plan["items"][i]["files"][0]["relativePath"].get<std::string>();
    };

    const fs::path changed = saved / nameOf(0);
    std::FILE* stream = std::fopen(changed.c_str(), "r+b");
    ASSERT_NE(stream, nullptr);
    const int byte = std::fgetc(stream);
    std::rewind(stream);
    std::fputc(byte ^ 1, stream);
    std::fclose(stream);
    fs::remove(saved / nameOf(1));
    fs::resize_file(saved / nameOf(2), fs::file_size(saved / nameOf(2)) - 1);
    fs::remove(saved / plan["items"][3]["sidecarRelativePath"].get<std::string>());

    const json result = jsonOf({"verify", "--json", saved.string()}, 1);
    std::map<std::string, std::string> differences;
    for (const auto& difference : result["differences"]) {
        differences[difference["path"]] = difference["trouble"];
    }
    EXPECT_EQ(differences,
        (std::map<std::string, std::string>{
            {nameOf(0), "digestDiffers"},
            {nameOf(1), "missing"},
            {nameOf(2), "sizeDiffers"},
            {plan["items"][3]["sidecarRelativePath"], "sidecarMissing"},
        }));
    EXPECT_EQ(runVantorel({"verify", (folder / "out").string()}).status, 3); // no export there
}

TEST(Sidecars, readBackInAnotherProgram)
{
    if (!hasTool("exiftool")) {
        GTEST_SKIP() << "exiftool is not here";
    }
    const TemporaryFolder folder;
    const fs::path library = folder / "Family.photoslibrary";
    sample::SamplePlan plan;
    plan.keywords = {"beach & sea", "<summer>"};
    plan.people = {{.fullName = "Ada Example"}, {.fullName = "Bo \"B\" Sample"}};
    using namespace std::chrono;
    plan.items.push_back({
        .originalFileName = "IMG_1.JPG",
        .title = "A title",
        .caption = "First line\nsecond line with \xC3\xA9 and ]]>",
        .keywords = {0, 1},
        .people = {0, 1},
        .isFavorite = true,
        .dateCreated = sys_days(year(2022) / 7 / 14) + hours(10) + minutes(30),
        .timeZoneOffset = 19'800,
        .latitude = -33.85,
        .longitude = 151.2,
    });
    plan.albums.push_back({.title = "Trip", .items = {0}});
    sample::writeLibrary(plan, {}, library);
    folder.makeFolder("out");
    ASSERT_EQ(runVantorel({"export", library.string(), (folder / "out").string()}).status, 0);
    const fs::path sidecar = folder / "out/Family export/Albums/Trip/IMG_1.xmp";
    const Ran read = runTool({"exiftool", "-n", "-j", sidecar.string()});
    ASSERT_EQ(read.status, 0) << read.errors;
    const json fields = json::parse(read.output, nullptr, false)[0];
    EXPECT_EQ(fields["Title"], "A title");
    EXPECT_EQ(fields["Description"], "First line\nsecond line with \xC3\xA9 and ]]>");
    EXPECT_EQ(fields["Subject"], (json{"<summer>", "beach & sea", "Ada Example", "Bo \"B\" Sample"}));
    EXPECT_EQ(fields["PersonInImage"], (json{"Ada Example", "Bo \"B\" Sample"}));
    EXPECT_EQ(fields["CreateDate"], "2022:07:14 16:00:00+05:30");
    EXPECT_EQ(fields["DateTimeOriginal"], "2022:07:14 16:00:00+05:30");
    EXPECT_NEAR(fields["GPSLatitude"].get<double>(), -33.85, 1e-6);
    EXPECT_NEAR(fields["GPSLongitude"].get<double>(), 151.2, 1e-6);
    EXPECT_EQ(fields["Rating"], 5);
}

TEST(LeftoverFiles, areSavedWhenAskedFor)
{
    const TemporaryFolder folder;
    const fs::path library = folder / "Family.photoslibrary";
    const sample::SamplePlan plan = sample::drawPlan(40, 4);
    ASSERT_FALSE(plan.strayFiles.empty());
    sample::writeLibrary(plan, {.seed = 4}, library);
    const auto recovered = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"export", "--dry-run", "--json"});
        arguments.insert(arguments.end(), {library.string(), folder.path().string()});
        const json items = jsonOf(arguments)["items"];
        return std::ranges::count_if(
            items, [](const json& item) { return item["albumPath"] == "Recovered without details"; });
    };
    EXPECT_EQ(recovered({}), 0);
    EXPECT_EQ(recovered({"--leftover-files"}), std::ssize(plan.strayFiles));
}

TEST(Interruption, stopsAndGoesOnToTheSameFolder)
{
    const TemporaryFolder folder;
    const fs::path library = folder / "Family.photoslibrary";
    sample::writeLibrary(sample::drawPlan(120, 4), {.seed = 4}, library);
    folder.makeFolder("out");
    folder.makeFolder("whole");
    ASSERT_EQ(runVantorel({"export", library.string(), (folder / "whole").string()}).status, 0);

    // Stopped as soon as something stands in the unfinished folder; on a fast machine it may be done by then.
    const fs::path unfinished = folder / "out/Family export (incomplete)";
    const Ran stopped =
        runVantorel({"export", library.string(), (folder / "out").string()}, [&](pid_t child) {
            while (!fs::exists(unfinished / ".vantorel/journal.jsonl") && kill(child, 0) == 0
                && !fs::exists(folder / "out/Family export")) {
                usleep(2'000);
            }
            kill(child, SIGINT);
        });
    if (fs::exists(unfinished)) {
        EXPECT_EQ(stopped.status, 130) << stopped.errors;
        EXPECT_TRUE(fs::exists(unfinished / "READ ME - NOT FINISHED.txt"));
        EXPECT_TRUE(fs::exists(unfinished / "Vantorel report (not finished).csv"));
        EXPECT_EQ(runVantorel({"export", library.string(), (folder / "out").string()}).status, 0);
    }
    EXPECT_EQ(folder.tree("out"), folder.tree("whole"));
}

} // namespace
} // namespace vantorel
