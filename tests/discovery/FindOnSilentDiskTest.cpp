#include "cli/RunProgram.h"
#include "fuse/FaultyDisk.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <optional>

namespace vantorel {
namespace {

using nlohmann::json;

/// Two good folders, and between them a disk that can be made silent.
class FindOnSilentDisk : public testing::Test {
protected:
    void SetUp() override
    {
        if (const auto reason = fuse::FaultyDisk::whyNot()) {
            GTEST_SKIP() << *reason;
        }
        for (const char* path : {"places/a/one", "places/z/three", "real/first", "real/deep/last"}) {
            folder_.write(std::string(path) + ".photoslibrary/database/Photos.sqlite", "x");
        }
        disk_.emplace(folder_ / "real", folder_ / "places/drive");
    }
    json find(const std::vector<std::string>& more = {}) const
    {
        std::vector<std::string> arguments{"find", "--json", "--only", (folder_ / "places").string()};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return json::parse(runVantorel(arguments).output);
    }
    static std::vector<std::string> names(const json& result)
    {
        std::vector<std::string> names;
        for (const json& library : result["libraries"]) {
            names.push_back(library["origin"].get<std::string>() + " " + library["name"].get<std::string>());
        }
        return names;
    }

    TemporaryFolder folder_;
    std::optional<fuse::FaultyDisk> disk_;
};

using Names = std::vector<std::string>;

TEST_F(FindOnSilentDisk, searchesAGoodOneByItself)
{
    const json result = find();
    EXPECT_EQ(names(result), (Names{"picked one", "picked three", "volume first", "volume last"}));
    EXPECT_EQ(result["libraries"][2]["volume"]["mountPoint"], disk_->path().string());
    EXPECT_TRUE(result["issues"].empty());
    EXPECT_EQ(disk_->changes(), 0u);
}

TEST_F(FindOnSilentDisk, listsTheOthersAndWhatItGaveBefore)
{
    disk_->set({"silent * *"});
    const json silent = find({"--stall-limit", "1"});
    EXPECT_EQ(names(silent), (Names{"picked one", "picked three"}));
    ASSERT_EQ(silent["issues"].size(), 1u);
    EXPECT_EQ(silent["issues"][0]["kind"], "volumeUnresponsive");
    EXPECT_TRUE(
        silent["issues"][0]["message"].get<std::string>().starts_with("\"drive\" did not answer in time."));

    disk_->set({"hang opendir /deep"});
    const json later = find({"--stall-limit", "1"});
    EXPECT_EQ(names(later), (Names{"picked one", "picked three", "volume first"}));
    EXPECT_TRUE(later["issues"][0]["message"].get<std::string>().starts_with("\"drive\" stopped answering"));
}

TEST_F(FindOnSilentDisk, stopsThereWhenItIsAskedTo)
{
    disk_->set({"hang opendir /deep"});
    const Ran ran = runVantorel({"find", "--only", (folder_ / "places").string()}, [&](pid_t program) {
        EXPECT_TRUE(disk_->waitForHit());
        kill(program, SIGINT);
    });
    EXPECT_EQ(ran.status, 128 + SIGINT);
    EXPECT_TRUE(ran.output.starts_with("3 libraries found.\n")) << ran.output;
    EXPECT_EQ(ran.errors, "Stopped.\n");
}

TEST_F(FindOnSilentDisk, saysThatADiskErrsOrRefuses)
{
    disk_->set({"error=5 opendir /deep", "error=13 getattr /first.photoslibrary/database/Photos.sqlite"});
    const json result = find();
    EXPECT_EQ(names(result), (Names{"picked one", "picked three", "volume first"}));
    EXPECT_TRUE(
        result["libraries"][2]["accessProblem"].get<std::string>().starts_with("macOS refused access"));
    ASSERT_EQ(result["issues"].size(), 2u);
    EXPECT_EQ(result["issues"][0]["kind"], "permissionDenied");
    EXPECT_EQ(result["issues"][1]["message"],
        "\"" + (*disk_ / "deep").string() + "\" could not be read: Input/output error");
}

} // namespace
} // namespace vantorel
