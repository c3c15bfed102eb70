#include "UnfinishedLibrary.h"

#include "export/ExportPlanner.h"

namespace vantorel::fuzz {

namespace {

PlannedItem itemOf(std::int64_t pk, const std::string& folder, const std::vector<std::string>& names)
{
    PlannedItem item{.assetPK = pk,
        .assetUUID = "00000000-0000-0000-0000-00000000000" + std::to_string(pk),
        .albumPath = folder,
        .sidecarRelativePath = folder + "/" + names.front().substr(0, names.front().rfind('.')) + ".xmp"};
    for (const auto& name : names) {
        PlannedFile file{.source = "originals/" + name, .relativePath = folder + "/" + name};
        file.size = static_cast<std::int64_t>(UnfinishedLibrary::bytesOf(file).size());
        item.files.push_back(std::move(file));
    }
    return item;
}

} // namespace

UnfinishedLibrary::UnfinishedLibrary()
{
    scan.snapshot.libraryURL = place / "Lib.photoslibrary";
    scan.snapshot.name = "Lib";
    plan.libraryName = "Lib";
    plan.folders = {"Albums", "Albums/Trip", "Not in any album", "Not in any album/2020"};
    plan.items = {itemOf(1, "Albums/Trip", {"A.heic", "A.mov"}), itemOf(2, "Albums/Trip", {"B.jpg"}),
        itemOf(3, "Not in any album/2020", {"C.png"})};
    for (const auto& item : plan.items) {
        const auto& main = item.files.front();
        ResolvedFile file{.path = main.source.native(), .size = main.size};
        for (const auto& each : item.files) {
            place.write("Lib.photoslibrary" / each.source, bytesOf(each));
            if (each != main) {
                file.companions.push_back({.path = each.source.native(), .size = each.size});
            }
        }
        scan.snapshot.assets.push_back({.pk = item.assetPK,
            .uuid = item.assetUUID,
            .directory = "originals",
            .fileName = main.source.filename().native()});
        scan.originals.entries[item.assetPK] = {
            .status = OriginalEntry::Status::present, .file = std::move(file)};
    }
    plan.id = planIdentity(plan, {});
}

ExportOutcome UnfinishedLibrary::save(const ExportHooks& hooks, const SharedCancelToken& cancel) const
{
    ExportSettings settings;
    settings.checkFreeSpace = false; // the place is in memory
    settings.group.items = 1;        // each item is recorded alone
    settings.hooks = hooks;
    const Exporter exporter(
        {.calls = realSystemCalls(), .clock = systemClock(), .children = {}, .temporary = {}});
    return exporter.run({.plan = std::make_shared<const ExportPlan>(plan),
        .destination = place / "Out",
        .scan = std::make_shared<const LibraryScanResult>(scan),
        .options = {},
        .settings = settings,
        .cancel = cancel ? cancel : std::make_shared<CancelToken>(),
        .progress = {}});
}

} // namespace vantorel::fuzz
