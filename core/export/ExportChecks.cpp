#include "export/ExportChecks.h"

#include "base/Text.h"
#include "export/DestinationLook.h"

#include <algorithm>
#include <unordered_set>

namespace vantorel {

namespace {

using State = ExportOutcome::State;

std::unexpected<State> refused(std::string reason)
{
    return std::unexpected(State(ExportOutcome::CannotStart{.reason = std::move(reason)}));
}

std::string quoted(const DiskPath& path) { return "\"" + repairedUtf8(path.native()) + "\""; }

/// Why a scan gives nothing to save; none when it does.
std::optional<std::string> refusalOf(const LibraryScanResult& scan)
{
    if (scan.originals.state == OriginalsReport::State::interrupted) {
        return "the scan of this library did not finish, so what is on the disk is not known yet. Connect "
               "the drive and scan it again first";
    }
    const bool sawAny = std::ranges::any_of(
        scan.originals.entries, [](const auto& entry) { return entry.second.file.has_value(); });
    if (!sawAny) {
        return "no photos could be seen on the disk in this scan, so there is nothing to save yet. Connect "
               "the drive, give it a moment and scan it again";
    }
    return std::nullopt;
}

struct LibraryLook {
    std::shared_ptr<const Root> root;
    std::shared_ptr<const VolumeWatch> watch;
    FileIdentity identity;
    Drive drive;
};

CallResult<LibraryLook> lookAtLibrary(const std::shared_ptr<const SystemCalls>& calls, const DiskPath& path)
{
    auto root = Root::open(calls, path);
    if (!root) {
        return std::unexpected(root.error());
    }
    const auto status = (*root)->status({});
    if (!status) {
        return std::unexpected(status.error());
    }
    return LibraryLook{
        .root = std::move(*root),
        .watch = std::make_shared<const VolumeWatch>(calls, path),
        .identity = identityOf(*status),
        .drive = driveOf(*calls, path),
    };
}

std::string libraryRefusal(const DiskPath& library, int code)
{
    const FS::Kind kind = FS::kindOfFailure(code);
    if (kind == FS::Kind::missing) {
        return "the library " + quoted(library)
            + " is not there any more. Connect its disk, or scan it again first";
    }
    if (kind == FS::Kind::denied) {
        return "access to the library " + quoted(library) + " was refused. Check its permissions first";
    }
    return "the library " + quoted(library) + " could not be read: " + errorText(code);
}

std::string silenceOf(std::string_view disk)
{
    return "the disk " + std::string(disk)
        + " did not answer. A sleeping drive can take a minute: wait a moment, or check the connection, and "
          "run the export again";
}

/// What the plan still takes on the destination's disk.
std::int64_t bytesStillNeeded(
    const ExportPlan& plan, const std::optional<ContinuedExport>& continued, std::uint32_t blockSize)
{
    if (!continued) {
        return neededBytes(plan, blockSize);
    }
    std::unordered_set<std::string_view> saved;
    for (const JournalEntry& entry : continued->journal) {
        saved.insert(entry.key);
    }
    std::int64_t needed = 0;
    for (const PlannedItem& item : plan.items) {
        if (!item.files.empty() && !saved.contains(item.files.front().relativePath)) {
            needed = sumOfSizes(needed, neededBytes(item, blockSize));
        }
    }
    return needed;
}

} // namespace

std::expected<CheckedStart, State> checkStart(const CoreServices& services, const DiskSteps& steps,
    const Exporter::Request& request, const ExportPlan& plan)
{
    if (auto refusal = refusalOf(*request.scan)) {
        return refused(std::move(*refusal));
    }

    const DiskPath libraryPath = request.scan->snapshot.libraryURL;
    const auto library = steps.run(request.settings.stallTimeout,
        [calls = services.calls, libraryPath](
            const std::shared_ptr<Heartbeat>&) { return lookAtLibrary(calls, libraryPath); });
    if (!library) {
        return library.error() == DiskSteps::Trouble::cancelled
            ? std::unexpected(State(ExportOutcome::Cancelled{}))
            : refused(silenceOf("with the library"));
    }
    if (!*library) {
        return refused(libraryRefusal(libraryPath, library->error()));
    }

    auto destination = steps.run(DiskPatience::destinationStep,
        [look = DestinationLook{
             .calls = services.calls,
             .path = request.destination,
             .library = (*library)->identity,
             .libraryName = plan.libraryName,
             .planID = plan.id,
         }](const std::shared_ptr<Heartbeat>& heartbeat) { return look.run(*heartbeat); });
    if (!destination) {
        return destination.error() == DiskSteps::Trouble::cancelled
            ? std::unexpected(State(ExportOutcome::Cancelled{}))
            : refused(silenceOf("of that folder"));
    }
    if (!*destination) {
        return refused(std::move(destination->error()));
    }

    CheckedStart start = std::move(**destination);
    start.library = (*library)->root;
    start.libraryWatch = (*library)->watch;
    start.libraryDrive = (*library)->drive;
    const std::int64_t needed = bytesStillNeeded(plan, start.continued, start.volume.blockSize);
    if (request.settings.checkFreeSpace && needed > start.volume.freeBytes) {
        return std::unexpected(
            State(ExportOutcome::NotEnoughSpace{.needed = needed, .free = start.volume.freeBytes}));
    }
    if (isCancelled(request.cancel)) {
        return std::unexpected(State(ExportOutcome::Cancelled{}));
    }
    return start;
}

} // namespace vantorel
