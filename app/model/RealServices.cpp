#include "app/model/RealServices.h"

#include "app/model/FullDiskAccess.h"
#include "base/Text.h"
#include "compare/LibraryComparer.h"
#include "discovery/LibraryFinder.h"
#include "discovery/volumes/SystemAdvice.h"
#include "disk/FS.h"
#include "disk/Guarded.h"
#include "disk/Thread.h"
#include "export/DestinationLook.h"
#include "export/ExportPlanner.h"

#include <utility>

namespace vantorel {

namespace {

DestinationFacts refused(std::string reason)
{
    reason[0] = static_cast<char>(upperAscii(reason.substr(0, 1))[0]);
    return {.problem = reason + "."};
}

/// The same looks as before a run, so that what the sheet says is what the run would do.
DestinationFacts lookAt(const std::shared_ptr<const SystemCalls>& calls, const DestinationQuestion& question,
    Heartbeat& heartbeat)
{
    const DestinationLook look{
        .calls = calls,
        .path = question.folder,
        .libraryName = question.libraryName,
        .planID = question.planID,
    };
    const auto start = look.run(heartbeat);
    if (!start) {
        return refused(start.error());
    }
    DestinationFacts facts{.volume = start->volume};
    heartbeat.beat();
    if (auto unfinished = findUnfinishedExport(*start->destination, question.libraryName, question.planID)) {
        facts.unfinished = *std::move(unfinished);
    }
    if (start->continued) {
        std::unordered_set<std::string> keys;
        for (const auto& entry : start->continued->journal) {
            keys.insert(entry.key);
        }
        facts.savedKeys = std::make_shared<const std::unordered_set<std::string>>(std::move(keys));
    }
    return facts;
}

} // namespace

AppEnvironment realEnvironment(const CoreServices& services)
{
    const FinderServices finder{
        .calls = services.calls, .clock = services.clock, .children = services.children};
    return {
        .finder =
            {
                .find =
                    [finder](const SharedCancelToken& cancel) {
                        return LibraryFinder(
                            finder, usualFinderOptions(finder, {}, SearchedPlaces::everywhere, cancel))
                            .find(cancel);
                    },
                .inspect = [finder](const DiskPath& folder) -> std::expected<FoundLibrary, std::string> {
                    auto found = LibraryFinder(finder, {}).inspect(folder);
                    if (!found) {
                        return std::unexpected(found.error().message);
                    }
                    return *std::move(found);
                },
            },
        .fullDiskAccess = [calls = services.calls] { return hasFullDiskAccess(*calls); },
        .readPicture = [services](
                           const PictureQuestion& question) { return readPicture(services, question); },
    };
}

CoreWork realCoreWork(const CoreServices& services)
{
    return {
        .scan =
            [services](const DiskPath& library, const SharedCancelToken& cancel,
                const ScanProgressCallback& progress) {
                return LibraryScanner(services).scan(library, cancel, progress);
            },
        .compare = LibraryComparer::compare,
        .plan = planExport,
        .inspectDestination =
            [services](
                const DestinationQuestion& question) { return destinationFactsOf(services, question); },
        .runExport = [services](const Exporter::Request& request) { return Exporter(services).run(request); },
        .folderIsThere =
            [services](const DiskPath& folder) {
                const auto kind = guardedRun(services.clock, Patience{.stallLimit = DiskPatience::singleLook},
                    [calls = services.calls, folder](const std::shared_ptr<Heartbeat>&) {
                        return FS::kind(*calls, folder, FS::Links::followed);
                    });
                return !kind.isStalled() && kind.value() == FS::Kind::directory;
            },
        .accessAdvice = [services](const DiskPath& folder) -> std::optional<std::string> {
            auto advice = guardedRun(services.clock, Patience{.stallLimit = DiskPatience::singleLook},
                [calls = services.calls, folder](
                    const std::shared_ptr<Heartbeat>&) { return SystemAdvice::refused(*calls, folder); });
            return advice.isStalled() ? std::nullopt : std::move(advice).value();
        },
    };
}

bool startOnThread(std::function<void()> work)
{
    return startDetachedThread(workerStackBytes, std::move(work));
}

std::optional<DestinationFacts> destinationFactsOf(
    const CoreServices& services, const DestinationQuestion& question)
{
    auto facts = guardedRun(services.clock, Patience{.stallLimit = DiskPatience::destinationStep},
        [calls = services.calls, question](
            const std::shared_ptr<Heartbeat>& heartbeat) { return lookAt(calls, question, *heartbeat); });
    return facts.isStalled() ? std::nullopt : std::optional(std::move(facts).value());
}

} // namespace vantorel
