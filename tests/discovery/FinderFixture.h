#pragma once

#include "discovery/LibraryFinder.h"
#include "support/ManualClock.h"
#include "support/ScriptedCalls.h"
#include "support/TemporaryFolder.h"

#include <expected>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vantorel {

/// Answers every child process with the same output, or with a failure.
class AnsweringChildren final : public ChildProcessRunner {
public:
    std::expected<Ended, Failure> run(const Request& request) const override
    {
        asked.push_back(request);
        return answer;
    }
    std::expected<Ended, Failure> answer = std::unexpected(Failure::notStarted);
    mutable std::vector<Request> asked;
};

/// A search over a scratch tree, with disturbed system calls and a clock that costs no time.
class FinderTest : public testing::Test {
protected:
    /// Writes a library of the newest format with nothing in it.
    std::filesystem::path library(const std::filesystem::path& relative) const
    {
        folder.write(relative / "database/Photos.sqlite", "SQLite");
        return folder / relative;
    }
    FindResult find(const SharedCancelToken& cancel = {}, const FindProgressCallback& progress = {}) const
    {
        return LibraryFinder(services(), options).find(cancel, progress);
    }
    FinderServices services() const { return {.calls = calls, .clock = clock, .children = children}; }

    TemporaryFolder folder;
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<ScriptedCalls> calls = std::make_shared<ScriptedCalls>(clock);
    std::shared_ptr<AnsweringChildren> children = std::make_shared<AnsweringChildren>();
    FinderOptions options;
};

using Descriptions = std::map<std::string, std::string>;

/// By path beneath the folder: "home modern", "volume noDatabase journals", "picked modern refused", …
Descriptions described(const FindResult& result, const std::filesystem::path& folder);
/// "unfinished: \"a\" has too many …" for each issue, sorted.
std::vector<std::string> said(const FindResult& result);

} // namespace vantorel
