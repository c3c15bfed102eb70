#include "database/Salvager.h"
#include "SalvagerFixture.h"
#include "database/SalvagerTool.h"
#include "support/ScriptedCalls.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vantorel {
namespace {

using Failure = Salvager::Failure;
using Runner = ChildProcessRunner;

/// A tool that prints what it is told to. Each part of its answer is asked for anew, so an endless one can be
/// given.
class ScriptedTool final : public Runner {
public:
    using Ending = std::expected<Ended, Runner::Failure>;
    struct Answer {
        std::function<std::string(int part)> part{}; ///< "" ends it.
        Ending ending = Ended{};
    };

    Answer check = text("BEGIN; CREATE TABLE t(a); INSERT INTO t VALUES (1); COMMIT;");
    Answer recovery = text("CREATE TABLE ZASSET(Z_PK INTEGER PRIMARY KEY); INSERT INTO ZASSET VALUES (7);");
    Ending making = Ended{};
    mutable std::vector<Request> requests{};

    static Answer text(const std::string& text, Ending ending = Ended{})
    {
        return {.part = [text](int part) { return part == 0 ? text : std::string(); },
            .ending = std::move(ending)};
    }

    std::expected<Ended, Runner::Failure> run(const Request& request) const override
    {
        requests.push_back(request);
        if (request.arguments.back() != ".recover --ignore-freelist") {
            return making;
        }
        const bool isCheck = request.arguments.at(4).ends_with("/tool-check.sqlite");
        const auto& answer = isCheck ? check : recovery;
        for (int i = 0; i < 100'000; ++i) {
            const auto part = answer.part(i);
            if (isCancelled(request.cancel)) {
                return std::unexpected(Runner::Failure::cancelled);
            }
            if (part.empty() || !request.onOutput(part)) {
                return answer.ending;
            }
        }
        ADD_FAILURE() << "the output has no bound";
        return answer.ending;
    }
};

class SalvagerTest : public testing::Test {
protected:
    SalvagerTest()
    {
        folder_.write("Photos.sqlite", std::string(10'000, 'x'));
        request_.database = folder_ / "Photos.sqlite";
        request_.folder = folder_.path();
        request_.cancel = std::make_shared<CancelToken>();
        request_.freeBytes = [this] { return free_; };
    }
    std::expected<Salvager::Output, Failure> salvage(std::vector<DiskPath> tools = {"/tool"})
    {
        return Salvager(calls_, tool_, std::move(tools)).salvage(request_);
    }
    /// What is left of a salvage beside the copy.
    std::vector<std::string> leftFiles() const
    {
        std::vector<std::string> names;
        for (const auto& [name, bytes] : folder_.tree()) {
            if (name != "Photos.sqlite") {
                names.push_back(name);
            }
        }
        return names;
    }
    void expectFailure(Failure failure)
    {
        EXPECT_EQ(salvage(), std::unexpected(failure));
        EXPECT_EQ(leftFiles(), std::vector<std::string>{});
    }

    TemporaryFolder folder_;
    std::shared_ptr<const SystemCalls> calls_ = realSystemCalls();
    std::shared_ptr<ScriptedTool> tool_ = std::make_shared<ScriptedTool>();
    Salvager::Request request_{};
    std::optional<std::int64_t> free_ = std::int64_t{1} << 40;
};

TEST_F(SalvagerTest, runsTheToolInItsSafeModeAndLoadsWhatItPrints)
{
    folder_.write("recovered.sqlite", "of an earlier try");
    const auto output = salvage();
    EXPECT_EQ(output, (Salvager::Output{.url = folder_ / "recovered.sqlite"}));
    EXPECT_EQ(rowsOf(output->url, "ZASSET"), std::multiset<std::string>{"7"});
    EXPECT_EQ(leftFiles(), std::vector<std::string>{"recovered.sqlite"});

    ASSERT_EQ(tool_->requests.size(), 3);
    const std::vector<std::string> always{"-safe", "-init", "/dev/null", "-batch"};
    const auto arguments = [&always](const DiskPath& file, const std::string& command) {
        auto all = always;
        all.insert(all.end(), {file.native(), command});
        return all;
    };
    EXPECT_EQ(tool_->requests[0].arguments,
        arguments(folder_ / "tool-check.sqlite", "CREATE TABLE t(a); INSERT INTO t VALUES (1);"));
    EXPECT_EQ(
        tool_->requests[1].arguments, arguments(folder_ / "tool-check.sqlite", ".recover --ignore-freelist"));
    EXPECT_EQ(
        tool_->requests[2].arguments, arguments(folder_ / "Photos.sqlite", ".recover --ignore-freelist"));
    for (const auto& request : tool_->requests) {
        EXPECT_EQ(request.program, "/tool");
        EXPECT_EQ(request.cancel, request_.cancel);
    }
}

TEST_F(SalvagerTest, refusesAToolThatDoesNotRecover)
{
    const auto failed = ScriptedTool::Ended{.exitStatus = 1, .output = {}};
    const auto whole = tool_->check;
    for (const auto& answer :
        {ScriptedTool::text("BEGIN;\nPRAGMA writable_schema = on;\n", failed), // as Debian's
            ScriptedTool::text(""), ScriptedTool::text("CREATE TABLE t(a);"),
            ScriptedTool::text("CREATE TABLE t(a); INSERT INTO t VALUES (2);"),
            ScriptedTool::text("CREATE TABLE t(a); INSERT INTO t VALUES (1)"),
            ScriptedTool::text(whole.part(0), failed),
            ScriptedTool::text(whole.part(0), std::unexpected(Runner::Failure::timedOut)),
            ScriptedTool::text("", std::unexpected(Runner::Failure::notStarted))}) {
        tool_->check = answer;
        expectFailure(Failure::toolRefused);
    }
    tool_->check = whole;
    tool_->making = failed;
    expectFailure(Failure::toolRefused);
    EXPECT_EQ(salvage({}), std::unexpected(Failure::toolRefused));
}

TEST_F(SalvagerTest, takesTheFirstToolThatRecovers)
{
    class Two final : public Runner {
    public:
        explicit Two(std::shared_ptr<const ScriptedTool> good)
            : good_(std::move(good))
        {
        }
        std::expected<Ended, Failure> run(const Request& request) const override
        {
            return request.program == "/bad" ? std::unexpected(Failure::notStarted) : good_->run(request);
        }

    private:
        std::shared_ptr<const ScriptedTool> good_;
    };
    EXPECT_TRUE(Salvager(calls_, std::make_shared<Two>(tool_), {"/bad", "/good"}).salvage(request_));
    EXPECT_EQ(tool_->requests.back().program, "/good");
}

TEST_F(SalvagerTest, usesWhatAFailingToolHadGiven)
{
    const auto text = tool_->recovery.part(0);
    const std::vector<ScriptedTool::Ending> endings{ScriptedTool::Ended{.exitStatus = 1, .output = {}},
        ScriptedTool::Ended{.exitStatus = 128 + 11, .output = {}},
        std::unexpected(Runner::Failure::timedOut)};
    for (const auto& ending : endings) {
        tool_->recovery = ScriptedTool::text(text + "INSERT INTO ZASSET VALUES (8), (", ending);
        const auto output = salvage();
        EXPECT_EQ(output, (Salvager::Output{.url = folder_ / "recovered.sqlite", .toolFailed = true}));
        EXPECT_EQ(rowsOf(output->url, "ZASSET"), std::multiset<std::string>{"7"});

        tool_->recovery = ScriptedTool::text("BEGIN;", ending);
        expectFailure(Failure::unusable);
    }
}

TEST_F(SalvagerTest, goesOnAfterStatementsThatFail)
{
    tool_->recovery =
        ScriptedTool::text("PRAGMA writable_schema = on; CREATE TABLE ZGENERICASSET(Z_PK INTEGER);"
                           "INSERT INTO sqlite_schema VALUES('table','r','r',0,'CREATE VIRTUAL TABLE r');"
                           "ATTACH '/tmp/x' AS x; nonsense; INSERT INTO nowhere VALUES(1);"
                           "INSERT INTO ZGENERICASSET VALUES (1); COMMIT; ROLLBACK;");
    const auto output = salvage();
    ASSERT_EQ(output, (Salvager::Output{.url = folder_ / "recovered.sqlite"}));
    EXPECT_EQ(rowsOf(output->url, "ZGENERICASSET"), std::multiset<std::string>{"1"});
}

TEST_F(SalvagerTest, givesUpAtOnceWithoutATableForPhotos)
{
    int parts = 0;
    tool_->recovery.part = [&parts](int part) {
        parts = part;
        return part == 0    ? std::string("CREATE TABLE ZPERSON(Z_PK); CREATE TABLE lost_and_found(id);")
            : part < 50'000 ? std::string("INSERT INTO lost_and_found VALUES (1);")
                            : std::string();
    };
    expectFailure(Failure::unusable);
    EXPECT_EQ(parts, 0);
}

TEST_F(SalvagerTest, boundsTheText)
{
    const auto text = tool_->recovery.part(0);
    // Within 64 times a file of 10,000 bytes there would be room for less; small files may have 1 MiB.
    folder_.write("Photos.sqlite", std::string(40'000, 'x'));
    std::int64_t bytes = 0;
    tool_->recovery.part = [&](int part) {
        const auto piece =
            part == 0 ? text : "INSERT INTO ZASSET VALUES (" + std::to_string(part + 100) + ");";
        bytes += static_cast<std::int64_t>(piece.size());
        return piece;
    };
    EXPECT_EQ(salvage(), (Salvager::Output{.url = folder_ / "recovered.sqlite", .toolFailed = true}));
    EXPECT_GT(bytes, 64 * 40'000);
    EXPECT_LT(bytes, 64 * 40'000 + 100);

    bytes = 0;
    tool_->recovery.part = [&](int part) { // one statement that never ends
        bytes += 60'000;
        return part == 0 ? text + "INSERT INTO ZASSET VALUES('" : std::string(60'000, 'x');
    };
    EXPECT_EQ(salvage(), (Salvager::Output{.url = folder_ / "recovered.sqlite", .toolFailed = true}));
    EXPECT_LT(bytes, 64 * 40'000 + 200'000);
}

TEST_F(SalvagerTest, leavesAGibibyteFree)
{
    free_ = (std::int64_t{1} << 30) - 1;
    expectFailure(Failure::noSpace);
    EXPECT_TRUE(tool_->requests.empty());

    free_ = std::int64_t{1} << 30;
    EXPECT_TRUE(salvage());
    free_ = std::nullopt; // it cannot be told
    EXPECT_TRUE(salvage());

    free_ = std::int64_t{1} << 30;
    const auto text = tool_->recovery.part(0);
    folder_.write("Photos.sqlite", std::string(100'000, 'x'));
    tool_->recovery.part = [&](int part) {
        free_ = *free_ - 100;
        return part == 0 ? text : "INSERT INTO ZASSET VALUES (" + std::to_string(part + 100) + ");";
    };
    expectFailure(Failure::noSpace);
}

TEST_F(SalvagerTest, asksTheFileSystemOfItsFolder)
{
    const auto calls = std::make_shared<ScriptedCalls>();
    const auto asked = calls->on("fileSystem", folder_.path().native());
    calls_ = calls;
    request_.freeBytes = {};
    EXPECT_TRUE(salvage());
    EXPECT_GT(asked.hits(), 0);
}

TEST_F(SalvagerTest, isCancelledWhereverItIs)
{
    request_.cancel->cancel();
    expectFailure(Failure::cancelled);
    EXPECT_TRUE(tool_->requests.empty());

    for (const bool duringCheck : {true, false}) {
        request_.cancel = std::make_shared<CancelToken>();
        auto& answer = duringCheck ? tool_->check : tool_->recovery;
        const auto whole = answer;
        answer.part = [&](int part) {
            if (part == 1) {
                request_.cancel->cancel();
            }
            return whole.part(0) + "INSERT INTO ZASSET VALUES (" + std::to_string(part + 100) + ");";
        };
        expectFailure(Failure::cancelled);
        answer = whole;
    }
}

TEST_F(SalvagerTest, tellsHowManyStatementsWereLoaded)
{
    std::vector<std::int64_t> seen;
    request_.onRows = [&seen](std::int64_t rows) { seen.push_back(rows); };
    const auto text = tool_->recovery.part(0);
    tool_->recovery.part = [&](int part) {
        return part == 0    ? text
            : part < 45'000 ? "INSERT INTO ZASSET VALUES (" + std::to_string(part + 100) + ");"
                            : std::string();
    };
    folder_.write("Photos.sqlite", std::string(1'000'000, 'x'));
    EXPECT_TRUE(salvage());
    EXPECT_EQ(seen, (std::vector<std::int64_t>{20'000, 40'000}));
}

} // namespace
} // namespace vantorel
