#include "database/SalvagerRecovery.h"

#include "base/Text.h"
#include "database/SalvagerStatements.h"

#include <algorithm>
#include <utility>

namespace vantorel {

namespace {

constexpr std::size_t mostStatementBytes = 64u << 20u;
/// After so many statements or so much text what was loaded is committed, so that the memory for undoing it
/// and the space taken since the last look stay small.
constexpr std::int64_t statementsPerCommit = 20'000;
constexpr std::int64_t textPerCommit = 32 << 20;

class Load {
public:
    using Trouble = SalvagerDatabase::Trouble;

    Load(SalvagerDatabase& database, const RecoveryRequest& request)
        : database_(database)
        , request_(request)
    {
    }

    bool begin() { return note(database_.run("BEGIN")); }

    /// False ends the tool.
    bool take(std::string_view text)
    {
        textBytes_ += static_cast<std::int64_t>(text.size());
        sinceCommit_ += static_cast<std::int64_t>(text.size());
        if (textBytes_ > request_.mostTextBytes) {
            tooMuchText_ = true;
            return false;
        }
        return statements_.feed(
            text, [this](std::string_view statement) { return takeStatement(statement); });
    }

    /// Why there is nothing to use, if so.
    std::optional<RecoveryFailure> end()
    {
        if (!failure_ && note(database_.run("COMMIT"))) {
            checkTables();
        }
        return failure_;
    }

    bool tooMuchText() const { return tooMuchText_; }

private:
    bool takeStatement(std::string_view statement)
    {
        const auto ran = database_.runForeign(statement);
        if (!note(ran)) {
            return false;
        }
        ++statementCount_;
        // All definitions come before this one. Without a table for photos what follows are millions of rows
        // that could be put nowhere.
        constexpr std::string_view orphanTable = "create table lost_and_found";
        if (*ran && lowerAscii(statement.substr(0, orphanTable.size())) == orphanTable && !checkTables()) {
            return false;
        }
        if (statementCount_ % statementsPerCommit == 0 || sinceCommit_ > textPerCommit) {
            return commit();
        }
        return true;
    }

    bool commit()
    {
        sinceCommit_ = 0;
        if (!note(database_.run("COMMIT"))) {
            return false;
        }
        if (request_.onStatements) {
            request_.onStatements(statementCount_);
        }
        if (isCancelled(request_.cancel)) {
            return fail(RecoveryFailure::cancelled);
        }
        if (!isRoomLeft(request_.freeBytes)) {
            return fail(RecoveryFailure::noSpace);
        }
        return begin();
    }

    bool checkTables()
    {
        bool found = false;
        const auto ran = database_.run(
            "SELECT name FROM sqlite_master WHERE type = 'table'", [&](const SalvagerDatabase::Row& row) {
                const auto name = lowerAscii(row.text(0));
                found = std::ranges::any_of(request_.wantedTables,
                    [&name](const auto& wanted) { return lowerAscii(wanted) == name; });
                return !found;
            });
        return note(ran) && (found || fail(RecoveryFailure::unusable));
    }

    template <typename Result>
    bool note(const Result& result)
    {
        if (result) {
            return true;
        }
        switch (result.error()) {
        case Trouble::cancelled:
            return fail(RecoveryFailure::cancelled);
        case Trouble::noSpace:
            return fail(RecoveryFailure::noSpace);
        case Trouble::broken:
            return fail(RecoveryFailure::unusable);
        }
        return false;
    }

    bool fail(RecoveryFailure failure)
    {
        failure_ = failure;
        return false;
    }

    SalvagerDatabase& database_;
    const RecoveryRequest& request_;
    SalvagerStatements statements_{mostStatementBytes};
    std::int64_t textBytes_ = 0;
    std::int64_t sinceCommit_ = 0;
    std::int64_t statementCount_ = 0;
    bool tooMuchText_ = false;
    std::optional<RecoveryFailure> failure_{};
};

} // namespace

bool isRoomLeft(const FreeBytes& freeBytes)
{
    const auto free = freeBytes ? freeBytes() : std::nullopt;
    return !free || *free >= spaceToLeave;
}

std::expected<Recovery, RecoveryFailure> recoverDatabase(
    const ChildProcessRunner& children, const RecoveryRequest& request)
{
    auto opened = SalvagerDatabase::open(request.rebuilt, SalvagerDatabase::Opening::fresh, request.cancel);
    if (!opened) {
        return std::unexpected(opened.error() == SalvagerDatabase::Trouble::noSpace ? RecoveryFailure::noSpace
                : isCancelled(request.cancel) ? RecoveryFailure::cancelled
                                              : RecoveryFailure::unusable);
    }
    Load load(**opened, request);
    if (load.begin()) {
        ChildProcessRunner::Request tool;
        tool.program = request.tool.native();
        // The safe mode and the empty start-up file are required: the tool reads a hostile file.
        tool.arguments = {
            "-safe", "-init", "/dev/null", "-batch", request.damaged.native(), ".recover --ignore-freelist"};
        tool.timeout = request.timeout;
        tool.cancel = request.cancel;
        tool.onOutput = [&load](std::string_view text) { return load.take(text); };
        const auto ended = children.run(tool);
        if (!ended && ended.error() == ChildProcessRunner::Failure::notStarted) {
            return std::unexpected(RecoveryFailure::notStarted);
        }
        if (isCancelled(request.cancel)) {
            return std::unexpected(RecoveryFailure::cancelled);
        }
        if (const auto failure = load.end()) {
            return std::unexpected(*failure);
        }
        return Recovery{.database = std::move(*opened),
            .toolFailed = load.tooMuchText() || !ended || ended->exitStatus != 0};
    }
    return std::unexpected(load.end().value_or(RecoveryFailure::unusable));
}

} // namespace vantorel
