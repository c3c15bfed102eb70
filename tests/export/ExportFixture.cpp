#include "export/ExportFixture.h"

#include "base/Digest.h"
#include "export/ExportPlanner.h"
#include "export/ReadMe.h"
#include "export/UnfinishedExport.h"
#include "export/XMPWriter.h"

#include <algorithm>
#include <filesystem>

namespace vantorel {

namespace {

std::string stemOf(const std::string& name) { return name.substr(0, name.rfind('.')); }

const Asset& assetOf(const LibraryScanResult& scan, std::int64_t pk)
{
    return *std::ranges::find(scan.snapshot.assets, pk, &Asset::pk);
}

} // namespace

ExportFixture::ExportFixture()
{
    place.makeFolder("Lib.photoslibrary/originals");
    place.makeFolder("Out");
    scan.snapshot.libraryURL = library();
    scan.snapshot.name = "Lib";
    plan.libraryName = "Lib";
    settings.checkFreeSpace = false;                    // the machine's own disk may be as full as it likes
    settings.overlap = ExportSettings::Overlap::always; // whatever that disk is
}

void ExportFixture::add(
    std::int64_t pk, const std::string& folder, const std::vector<std::string>& names, std::size_t bytes)
{
    const std::string directory = "originals/" + std::to_string(pk);
    PlannedItem item{.assetPK = pk,
        .assetUUID = "00000000-0000-0000-0000-00000000000" + std::to_string(pk),
        .albumPath = folder,
        .sidecarRelativePath = folder + "/" + stemOf(names.front()) + ".xmp"};
    ResolvedFile main;
    for (const std::string& name : names) {
        const auto seed = static_cast<std::uint32_t>(100 * pk + static_cast<std::int64_t>(item.files.size()));
        const auto source =
            place.write("Lib.photoslibrary/" + directory + "/" + name, someBytes(bytes, seed));
        std::filesystem::last_write_time(
            source, std::filesystem::file_time_type::clock::now() - std::chrono::hours(24 * pk));
        item.files.push_back({.source = directory + "/" + name,
            .relativePath = folder + "/" + name,
            .size = static_cast<std::int64_t>(bytes)});
        const ResolvedFile found{.path = directory + "/" + name, .size = static_cast<std::int64_t>(bytes)};
        if (item.files.size() == 1) {
            main = found;
        } else {
            main.companions.push_back(found);
        }
    }
    scan.snapshot.assets.push_back({.pk = pk,
        .uuid = item.assetUUID,
        .directory = directory,
        .fileName = names.front(),
        .originalFileName = names.front(),
        .title = "Title " + std::to_string(pk)});
    scan.originals.entries[pk] = {.status = OriginalEntry::Status::present, .file = main};
    plan.items.push_back(std::move(item));
    addCopy(pk, folder);
    plan.items.pop_back();
}

void ExportFixture::addCopy(std::int64_t pk, const std::string& folder)
{
    for (std::size_t slash = folder.find('/'); slash != std::string::npos;
        slash = folder.find('/', slash + 1)) {
        if (std::ranges::find(plan.folders, folder.substr(0, slash)) == plan.folders.end()) {
            plan.folders.push_back(folder.substr(0, slash));
        }
    }
    if (std::ranges::find(plan.folders, folder) == plan.folders.end()) {
        plan.folders.push_back(folder);
    }
    PlannedItem item = *std::ranges::find(plan.items, pk, &PlannedItem::assetPK);
    const auto moved = [&](const std::string& path) { return folder + path.substr(path.rfind('/')); };
    item.albumPath = folder;
    item.sidecarRelativePath = moved(item.sidecarRelativePath);
    for (PlannedFile& file : item.files) {
        file.relativePath = moved(file.relativePath);
    }
    plan.items.push_back(std::move(item));
}

void ExportFixture::addTypical()
{
    add(1, "Albums/Trip", {"IMG_1.heic", "IMG_1.mov"});
    add(2, "Albums/Trip", {"IMG_2.jpg"});
    addCopy(2, "Albums/Home");
    add(3, "Not in any album/2020", {"IMG_3.mov"}, 2'100'000);
}

Exporter::Request ExportFixture::request()
{
    plan.id = planIdentity(plan, options);
    progress.clear();
    return {.plan = std::make_shared<const ExportPlan>(plan),
        .destination = destination(),
        .scan = std::make_shared<const LibraryScanResult>(scan),
        .options = options,
        .settings = settings,
        .cancel = cancel,
        .progress = [this](const ExportProgress& now) { progress.push_back(now); }};
}

ExportOutcome ExportFixture::run() { return Exporter(services()).run(request()); }

VerifyResult ExportFixture::verify(const std::string& folder) const
{
    const auto result = verifyExport(services(), {.folder = destination() / folder});
    if (!result) {
        throw std::runtime_error(result.error());
    }
    return *result;
}

std::string ExportFixture::sourceBytes(const PlannedFile& file) const
{
    return place.read("Lib.photoslibrary" / file.source);
}

Tree ExportFixture::wholeExport(const ExportOutcome& outcome, const std::string& folder) const
{
    Tree tree{{folder + "/", ""}};
    std::vector<ReportRow> rows;
    for (const std::string& made : plan.folders) {
        tree[folder + "/" + made + "/"] = "";
    }
    for (const PlannedItem& item : plan.items) {
        ReportRow row{.item = item, .sidecar = item.sidecarRelativePath};
        for (const PlannedFile& file : item.files) {
            const std::string bytes = sourceBytes(file);
            tree[folder + "/" + file.relativePath] = bytes;
            row.hashes.push_back(sha256(bytes));
            row.paths.push_back(file.relativePath);
            row.sizes.push_back(static_cast<std::int64_t>(bytes.size()));
        }
        XMPWriter::Input input{.asset = assetOf(scan, item.assetPK)};
        for (const PlannedItem& other : plan.items) {
            if (other.assetPK == item.assetPK) {
                input.albums.push_back(other.albumPath);
            }
        }
        tree[folder + "/" + item.sidecarRelativePath] = XMPWriter::document(input);
        rows.push_back(std::move(row));
    }
    tree[folder + "/Vantorel report.csv"] = reportText(rows, plan.skipped, scan.snapshot);
    tree[folder + "/READ ME.txt"] = readMeFinished(plan, outcome);
    return tree;
}

std::vector<std::string> ExportFixture::brokenFiles() const
{
    std::vector<std::string> broken;
    const Tree tree = out();
    for (const PlannedItem& item : plan.items) {
        for (const PlannedFile& file : item.files) {
            for (const std::string folder : {"Lib export/", "Lib export (incomplete)/"}) {
                const auto found = tree.find(folder + file.relativePath);
                if (found != tree.end() && found->second != sourceBytes(file)) {
                    broken.push_back(found->first);
                }
            }
        }
    }
    return broken;
}

std::vector<std::string> reasonsOf(const ExportOutcome& outcome)
{
    std::vector<std::string> reasons;
    for (const SkippedItem& item : outcome.skipped) {
        reasons.push_back(item.reason);
    }
    return reasons;
}

} // namespace vantorel
