#include "export/ExportReport.h"

#include <random>

#include <gtest/gtest.h>

namespace vantorel {
namespace {

using namespace std::chrono_literals;
using Strings = std::vector<std::string>;

const std::string headerLine =
    "status,file,album,original_name,date_created,favourite,hidden,caption,keywords,"
    "people,size_bytes,sha256,sidecar,details_lost,reason,uuid\r\n";
const std::string digestA(64, 'a');
const std::string digestB(64, '0');

TEST(Report, listsEveryItemWithWhatIsKnown)
{
    LibrarySnapshot snapshot;
    snapshot.assets.resize(2);
    auto& live = snapshot.assets[0];
    live = {.pk = 1, .uuid = "U1"};
    live.originalFileName = "IMG \"1\".HEIC";
    live.caption = "one, two\r\nthree";
    live.keywords = {"sea", "sun"};
    live.people = {"Anna", "Bert"};
    live.isFavorite = true;
    live.dateCreated = std::chrono::sys_days(2024y / 5 / 3) + 10h;
    live.timeZoneOffset = -3600;
    live.lostDetails = {Asset::LostDetail::people, Asset::LostDetail::originalName};
    snapshot.assets[1] = {.pk = 2, .uuid = "U2", .isHidden = true};

    const std::vector<ReportRow> rows{
        {.item = {.assetPK = 1, .assetUUID = "U1", .albumPath = "Albums/A", .sizeDiffers = true},
            .hashes = {digestA, digestB},
            .paths = {"Albums/A/IMG.HEIC", "Albums/A/IMG.mov"},
            .sizes = {10, 5},
            .sidecar = "Albums/A/IMG.xmp"},
        {.item = {.assetPK = 2,
             .assetUUID = "U2",
             .albumPath = "Hidden",
             .isSmallerCopy = true,
             .sizeDiffers = true},
            .hashes = {digestB},
            .paths = {"Hidden/a; b.jpg"},
            .sizes = {0},
            .sidecar = "Hidden/a; b.xmp"},
        {.item = {.assetPK = 9, .assetUUID = "U9", .albumPath = "Hidden"},
            .hashes = {digestB},
            .paths = {"Hidden/c.jpg"},
            .sizes = {1},
            .sidecar = "Hidden/c.xmp"},
    };
    const std::vector<SkippedItem> skipped{{2, "U2.jpg", {"Albums/B", "Albums/C"}, "Not checked"}};
    const auto csv = reportText(rows, skipped, snapshot);
    EXPECT_EQ(csv,
        headerLine
            + "original_size_differs,Albums/A/IMG.HEIC; Albums/A/IMG.mov,Albums/A,\"IMG \"\"1\"\".HEIC\","
              "2024-05-03T09:00:00-01:00,true,false,\"one, two\r\nthree\",sea; sun,Anna; Bert,10; 5,"
            + digestA + "; " + digestB
            + ",Albums/A/IMG.xmp,originalName; people,,U1\r\n"
              "smaller_copy,Hidden/a; b.jpg,Hidden,,,false,true,,,,0,"
            + digestB + ",Hidden/a; b.xmp,,,U2\r\noriginal,Hidden/c.jpg,Hidden,,,,,,,,1," + digestB
            + ",Hidden/c.xmp,,,U9\r\n"
              "not_saved,U2.jpg,Albums/B; Albums/C,,,false,true,,,,,,,,Not checked,U2\r\n");

    EXPECT_EQ(parseReport(csv),
        (std::vector<ReportedItem>{
            {"original_size_differs", {"Albums/A/IMG.HEIC", "Albums/A/IMG.mov"}, {digestA, digestB}, {10, 5},
                "Albums/A/IMG.xmp", "U1"},
            {"smaller_copy", {"Hidden/a; b.jpg"}, {digestB}, {0}, "Hidden/a; b.xmp", "U2"},
            {"original", {"Hidden/c.jpg"}, {digestB}, {1}, "Hidden/c.xmp", "U9"},
            {.status = "not_saved", .uuid = "U2"},
        }));
}

TEST(Report, readsBackWhateverNamesHold)
{
    static const Strings pieces{
        "a", "b", "; ", ";", " ", ",", "\"", "\"\"", "\r\n", "\n", "\r", "\u00E9", "; x", "'"};
    constexpr unsigned seed = 5;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto text = [&] {
        std::string result;
        for (auto count = 1 + random() % 6; count > 0; --count) {
            result += pieces[random() % pieces.size()];
        }
        return result;
    };
    for (int i = 0; i < 500; ++i) {
        std::vector<ReportRow> rows;
        std::vector<ReportedItem> expected;
        LibrarySnapshot snapshot;
        for (std::int64_t pk = 0; pk < 4; ++pk) {
            snapshot.assets.push_back(
                {.pk = pk, .uuid = text(), .caption = text(), .keywords = {text(), text()}});
            // the folder's name may look like two paths
            const auto folder = "Albums/" + text() + (random() % 2 == 0 ? "" : "; Albums/" + text());
            ReportRow row{
                .item = {.assetPK = pk, .assetUUID = snapshot.assets.back().uuid, .albumPath = text()},
                .sidecar = folder + "/" + text() + ".xmp"};
            for (auto count = 1 + random() % 3; count > 0; --count) {
                row.hashes.push_back(random() % 2 == 0 ? digestA : digestB);
                row.sizes.push_back(static_cast<std::int64_t>(random()));
                row.paths.push_back(folder + "/" + text());
            }
            expected.push_back(
                {"original", row.paths, row.hashes, row.sizes, row.sidecar, row.item.assetUUID});
            rows.push_back(std::move(row));
        }
        const auto csv = reportText(rows, {}, snapshot);
        ASSERT_EQ(parseReport(csv), expected) << csv;
    }
}

TEST(Report, isRefusedWhenItIsNoneOrCutShort)
{
    const auto line = [](const std::string& status, const std::string& file, const std::string& sizes,
                          const std::string& hashes) {
        return headerLine + status + "," + file + ",A,,,,,,,," + sizes + "," + hashes + ",A/x.xmp,,,U\r\n";
    };
    ASSERT_TRUE(parseReport(line("original", "A/x.jpg", "1", digestA)));
    ASSERT_TRUE(parseReport(line("original", "A/x.jpg; A/x.mov", "1; 2", digestA + "; " + digestB)));
    EXPECT_EQ(parseReport(headerLine), std::vector<ReportedItem>{});
    for (const auto& csv : {
             std::string(),
             std::string("status\r\n"),
             headerLine.substr(0, headerLine.size() - 2) + "\n",
             "\uFEFF" + headerLine,
             line("saved", "A/x.jpg", "1", digestA),
             line("original", "A/x.jpg", "-1", digestA),
             line("original", "A/x.jpg", "99999999999999999999", digestA),
             line("original", "A/x.jpg", "", digestA),
             line("original", "A/x.jpg", "1; 2", digestA),
             line("original", "A/x.jpg", "1", ""),
             line("original", "A/x.jpg", "1", std::string(64, 'A')),
             line("original", "A/x.jpg; B/x.mov", "1; 2",
                 digestA + "; " + digestB), // two files of two folders
             line("original", "A/\"x\".jpg", "1", digestA),
             line("original", "\"A/x\".jpg", "1", digestA),
             line("original", "A/x.jpg,more", "1", digestA),
             line("original", "A/x\r.jpg", "1", digestA),
             line("original", "A/x\n.jpg", "1", digestA),
         }) {
        EXPECT_EQ(parseReport(csv), std::nullopt) << csv;
    }
    const auto whole = line("original", "\"A/x, y.jpg\"", "1", digestA);
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
        const auto parsed = parseReport(std::string_view(whole).substr(0, cut));
        EXPECT_EQ(parsed.has_value(), cut == headerLine.size()) << cut;
    }
}

} // namespace
} // namespace vantorel
