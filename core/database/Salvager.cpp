#include "database/Salvager.h"

#include "database/OrphanRows.h"
#include "database/SalvagerTool.h"

#include <algorithm>
#include <utility>

namespace vantorel {

namespace {

constexpr std::string_view rebuiltName = "recovered.sqlite";
/// The tool's text is 3 times as large as a whole database and 30 times where no definition is left.
constexpr std::int64_t textPerByte = 64;
constexpr std::int64_t leastText = 1 << 20; ///< For files of a few pages.
/// The tool may be silent for long while it looks for pages, so its whole time is limited: a healthy one
/// works off several megabytes a second.
constexpr Seconds leastTimeout{600};
constexpr double bytesPerSecond = 262'144;

std::int64_t sizeOf(const SystemCalls& calls, const DiskPath& file)
{
    const auto status = calls.status(file, SystemCalls::Links::notFollowed);
    return status ? status->size : 0;
}

/// The database together with its log.
std::int64_t sizeOfDatabase(const SystemCalls& calls, const DiskPath& file)
{
    auto log = file;
    log += "-wal";
    return sizeOf(calls, file) + sizeOf(calls, log);
}

Salvager::Failure failureOf(RecoveryFailure failure)
{
    switch (failure) {
    case RecoveryFailure::notStarted:
        return Salvager::Failure::toolRefused;
    case RecoveryFailure::noSpace:
        return Salvager::Failure::noSpace;
    case RecoveryFailure::unusable:
        return Salvager::Failure::unusable;
    case RecoveryFailure::cancelled:
        return Salvager::Failure::cancelled;
    }
    std::unreachable();
}

Salvager::Failure failureOf(SalvagerDatabase::Trouble trouble)
{
    switch (trouble) {
    case SalvagerDatabase::Trouble::cancelled:
        return Salvager::Failure::cancelled;
    case SalvagerDatabase::Trouble::noSpace:
        return Salvager::Failure::noSpace;
    case SalvagerDatabase::Trouble::broken:
        return Salvager::Failure::unusable;
    }
    std::unreachable();
}

} // namespace

Salvager::Salvager(
    std::shared_ptr<const SystemCalls> calls, std::shared_ptr<const ChildProcessRunner> children)
    : Salvager(calls, std::move(children), salvagerToolPlaces(*calls))
{
}

Salvager::Salvager(std::shared_ptr<const SystemCalls> calls,
    std::shared_ptr<const ChildProcessRunner> children, std::vector<DiskPath> tools)
    : calls_(std::move(calls))
    , children_(std::move(children))
    , tools_(std::move(tools))
{
}

std::expected<Salvager::Output, Salvager::Failure> Salvager::salvage(const Request& request) const
{
    if (isCancelled(request.cancel)) {
        return std::unexpected(Failure::cancelled);
    }
    const auto rebuilt = request.folder / rebuiltName;
    removeDatabase(calls_, rebuilt);
    auto output = rebuild(request, rebuilt);
    if (!output) {
        removeDatabase(calls_, rebuilt);
    }
    return output;
}

std::expected<Salvager::Output, Salvager::Failure> Salvager::rebuild(
    const Request& request, const DiskPath& rebuilt) const
{
    FreeBytes freeBytes = request.freeBytes;
    if (!freeBytes) {
        freeBytes = [this, &request]() -> std::optional<std::int64_t> {
            const auto fileSystem = calls_->fileSystemOf(request.folder);
            return fileSystem ? std::optional(fileSystem->freeBytes) : std::nullopt;
        };
    }
    if (!isRoomLeft(freeBytes)) {
        return std::unexpected(Failure::noSpace);
    }
    const auto tool = findSalvagerTool(*children_, calls_, tools_, request.folder, request.cancel);
    if (!tool) {
        return std::unexpected(failureOf(tool.error()));
    }

    const auto size = sizeOfDatabase(*calls_, request.database);
    RecoveryRequest recovery;
    recovery.tool = *tool;
    recovery.damaged = request.database;
    recovery.rebuilt = rebuilt;
    recovery.wantedTables = {"ZASSET", "ZGENERICASSET"};
    recovery.mostTextBytes = std::max(textPerByte * size, leastText);
    recovery.timeout = leastTimeout + Seconds(static_cast<double>(size) / bytesPerSecond);
    recovery.cancel = request.cancel;
    recovery.freeBytes = freeBytes;
    recovery.onStatements = request.onRows;
    auto recovered = recoverDatabase(*children_, recovery);
    if (!recovered) {
        return std::unexpected(failureOf(recovered.error()));
    }

    const auto orphans = rehomeOrphans(*recovered->database);
    if (!orphans) {
        return std::unexpected(failureOf(orphans.error()));
    }
    if (isCancelled(request.cancel)) {
        return std::unexpected(Failure::cancelled);
    }
    return Output{.url = rebuilt,
        .rehomed = orphans->rehomed,
        .unassigned = orphans->unassigned,
        .toolFailed = recovered->toolFailed};
}

} // namespace vantorel
