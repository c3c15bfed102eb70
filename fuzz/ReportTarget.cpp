// Reports: any text is read or refused, and what a report says is checked without leaving its folder; what
// was written reads back. An input that begins with "status" is taken for a report, else for its rows.

#include "FuzzTarget.h"
#include "Scratch.h"

#include "base/Digest.h"
#include "export/ExportReport.h"
#include "export/ExportVerifier.h"
#include "export/UnfinishedExport.h"

namespace vantorel::fuzz {

namespace {

void checkItems(const std::vector<ReportedItem>& items)
{
    for (const auto& item : items) {
        require(item.files.size() == item.hashes.size() && item.sizes.size() == item.hashes.size(),
            "one path, size and digest for each file");
        require(item.status == "not_saved" || !item.hashes.empty(), "what was saved has a file");
        for (const auto& hash : item.hashes) {
            require(hash.size() == 64, "a digest has 64 digits");
        }
    }
}

/// Beside the folder lies a file that no path in the report may reach.
void verify(std::string_view report)
{
    static const ScratchFolder place;
    place.clear();
    place.write("secret", "secret");
    place.write("Lib export/Albums/a.jpg", "a photo");
    place.write("Lib export/Albums/a.xmp", "<x/>");
    place.write(std::filesystem::path("Lib export") / finishedReportName, report);
    const CoreServices services{
        .calls = realSystemCalls(), .clock = systemClock(), .children = {}, .temporary = {}};
    const auto result = verifyExport(services, {.folder = place / "Lib export"});
    if (!result) {
        require(!result.error().empty(), "a failure has a sentence");
        return;
    }
    for (const auto& difference : result->differences) {
        require(!difference.text.empty(), "a difference has a sentence");
    }
    if (report.contains(sha256("secret")) && report.contains("/secret")) {
        require(!result->differences.empty(), "nothing outside is read");
    }
}

void writeAndRead(InputReader& input)
{
    std::vector<ReportRow> rows;
    std::vector<SkippedItem> skipped;
    LibrarySnapshot snapshot;
    while (!input.isAtEnd() && rows.size() + skipped.size() < 50) {
        const auto flags = input.byte();
        Asset asset{.pk = static_cast<std::int64_t>(snapshot.assets.size())};
        asset.caption = input.text();
        asset.uuid = input.text();
        const auto folder = input.text();
        if ((flags & 1U) != 0) {
            skipped.push_back(
                {.assetPK = asset.pk, .name = input.text(), .albumPaths = {folder}, .reason = input.text()});
        } else {
            ReportRow row{.item = {.assetPK = asset.pk, .assetUUID = asset.uuid, .albumPath = folder}};
            for (unsigned i = 0; i <= (flags >> 6U); ++i) {
                auto name = input.text();
                std::erase(name, '/');
                row.paths.push_back(folder + "/" + name);
                row.hashes.push_back(sha256(name));
                row.sizes.push_back(static_cast<std::int64_t>(input.number(7)));
            }
            row.sidecar = folder + "/s.xmp";
            rows.push_back(row);
        }
        snapshot.assets.push_back(std::move(asset));
    }
    const auto read = parseReport(reportText(rows, skipped, snapshot));
    require(read.has_value() && read->size() == rows.size() + skipped.size(), "a report reads back");
    checkItems(*read);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto& item = (*read)[i];
        require(item.files == rows[i].paths && item.sizes == rows[i].sizes && item.hashes == rows[i].hashes
                && item.sidecar == rows[i].sidecar && item.uuid == rows[i].item.assetUUID,
            "a report says what was written");
    }
}

} // namespace

void runTarget(std::string_view input)
{
    if (!input.starts_with("status")) {
        InputReader reader(input);
        writeAndRead(reader);
        return;
    }
    if (const auto items = parseReport(input)) {
        checkItems(*items);
    }
    verify(input);
}

} // namespace vantorel::fuzz
