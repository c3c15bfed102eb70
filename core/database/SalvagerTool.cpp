#include "database/SalvagerTool.h"

#include "disk/OpenFile.h"

#include <string>
#include <tuple>

namespace vantorel {

namespace {

constexpr std::string_view scratchName = "tool-check.sqlite";
constexpr std::string_view rebuiltName = "tool-check-recovered.sqlite";
constexpr Seconds checkTimeout{30};
constexpr std::int64_t mostCheckText = 1 << 20;

/// Nothing where the tool brought the row back.
std::optional<RecoveryFailure> check(const ChildProcessRunner& children, const DiskPath& tool,
    const DiskPath& scratch, const DiskPath& rebuilt, const SharedCancelToken& cancel)
{
    ChildProcessRunner::Request making;
    making.program = tool.native();
    making.arguments = {"-safe", "-init", "/dev/null", "-batch", scratch.native(),
        "CREATE TABLE t(a); INSERT INTO t VALUES (1);"};
    making.timeout = checkTimeout;
    making.cancel = cancel;
    const auto made = children.run(making);
    if (isCancelled(cancel)) {
        return RecoveryFailure::cancelled;
    }
    if (!made || made->exitStatus != 0) {
        return RecoveryFailure::notStarted;
    }

    RecoveryRequest request;
    request.tool = tool;
    request.damaged = scratch;
    request.rebuilt = rebuilt;
    request.wantedTables = {"t"};
    request.mostTextBytes = mostCheckText;
    request.timeout = checkTimeout;
    request.cancel = cancel;
    const auto recovered = recoverDatabase(children, request);
    if (!recovered) {
        return recovered.error();
    }
    const auto rows = recovered->database->number("SELECT count(*) FROM t WHERE a = 1");
    if (recovered->toolFailed || !rows || *rows != 1) {
        return RecoveryFailure::unusable;
    }
    return std::nullopt;
}

} // namespace

void removeDatabase(const std::shared_ptr<const SystemCalls>& calls, const DiskPath& file)
{
    const auto folder = calls->open(file.parent_path(), folderOpenFlags());
    if (!folder) {
        return;
    }
    const OpenFile opened(calls, *folder);
    for (const char* companion : {"", "-journal", "-wal", "-shm"}) {
        // What stays goes with the whole folder.
        std::ignore = calls->unlinkAt(opened.get(), file.filename().native() + companion);
    }
}

std::expected<DiskPath, RecoveryFailure> findSalvagerTool(const ChildProcessRunner& children,
    const std::shared_ptr<const SystemCalls>& calls, const std::vector<DiskPath>& places,
    const DiskPath& folder, const SharedCancelToken& cancel)
{
    const auto scratch = folder / scratchName;
    const auto rebuilt = folder / rebuiltName;
    for (const auto& tool : places) {
        removeDatabase(calls, scratch);
        removeDatabase(calls, rebuilt);
        const auto failure = check(children, tool, scratch, rebuilt, cancel);
        removeDatabase(calls, scratch);
        removeDatabase(calls, rebuilt);
        if (!failure) {
            return tool;
        }
        if (*failure == RecoveryFailure::cancelled || *failure == RecoveryFailure::noSpace) {
            return std::unexpected(*failure);
        }
    }
    return std::unexpected(RecoveryFailure::notStarted);
}

} // namespace vantorel
