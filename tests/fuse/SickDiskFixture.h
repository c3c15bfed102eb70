#pragma once

#include "cli/RunProgram.h"
#include "fuse/FaultyDisk.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vantorel::fuse {

/// The program, with a library of forty items on one faulty disk and an export's place on another.
class SickDisk : public testing::Test {
protected:
    using Json = nlohmann::json;
    using Tree = std::map<std::string, std::string>;
    using WhileRunning = std::function<void(pid_t)>;
    /// How a command ended, as JSON and in words.
    struct Ended {
        int status = 0;
        Json value;
        std::string errors;
    };

    void SetUp() override;

    Ended scan(const WhileRunning& whileRunning = {}) const;
    Ended save(const WhileRunning& whileRunning = {}) const;
    /// Saves once more, now that the disks are good, and expects what an undisturbed run gives.
    void expectToContinue();
    /// The paths in "try-last.txt", sorted.
    std::vector<std::string> triedLast() const;
    std::string readMe() const
    {
        return folder_.read("target/Family export (incomplete)/READ ME - NOT FINISHED.txt");
    }
    bool isFinished() const { return folder_.has("target/Family export"); }

    /// An undisturbed scan, plan and export, made once.
    struct Whole;
    static const Whole& whole();

    TemporaryFolder folder_;
    std::optional<FaultyDisk> source_;
    std::optional<FaultyDisk> target_;
    std::string stallLimit_ = "1";
};

struct SickDisk::Whole {
    Whole();
    TemporaryFolder folder;
    Json scan;
    Json plan;
    Tree tree;

    /// The source of the n-th item's main file in the plan.
    std::string source(std::size_t item) const { return plan["items"][item]["files"][0]["source"]; }
    std::string saved(std::size_t item) const { return plan["items"][item]["files"][0]["relativePath"]; }
};

} // namespace vantorel::fuse
