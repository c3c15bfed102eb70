#include "export/ExportFixture.h"
#include "export/UnfinishedExport.h"
#include "export/WellFormedXml.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>

namespace vantorel {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using Trouble = VerifyResult::Trouble;

struct Change {
    const char* name;
    std::function<void(ExportFixture&)> make; ///< In "Out/Lib export".
    std::string path;
    Trouble trouble;
    std::string text; ///< Behind the quoted path.
};

void PrintTo(const Change& row, std::ostream* out) { *out << row.name; }

class ExportVerification : public testing::TestWithParam<Change> { };

const std::string movie = "Not in any album/2020/IMG_3.mov";
const std::string photo = "Albums/Trip/IMG_2.jpg";
const std::string sidecar = "Albums/Trip/IMG_2.xmp";

TEST_P(ExportVerification, namesTheOneThingThatDiffers)
{
    ExportFixture fixture;
    fixture.addTypical();
    ASSERT_TRUE(fixture.run().isFinished());
    ASSERT_EQ(fixture.verify(),
        (VerifyResult{.itemsChecked = 4,
            .filesChecked = 5,
            .bytesChecked = sizeEstimate(fixture.plan),
            .isFinishedExport = true,
            .source = "Vantorel report.csv"}));

    GetParam().make(fixture);

    const VerifyResult result = fixture.verify();
    const std::vector<VerifyResult::Difference> expected{{.path = GetParam().path,
        .trouble = GetParam().trouble,
        .text = "\"" + GetParam().path + "\"" + GetParam().text}};
    EXPECT_EQ(result.differences, expected);
    EXPECT_EQ(result.filesChecked, 5);
}

auto with(const std::string& path, std::function<void(std::filesystem::path)> change)
{
    return [=](ExportFixture& fixture) { change(fixture.place / "Out/Lib export" / path); };
}

auto rewritten(const std::string& path, std::function<std::string(std::string)> change)
{
    return [=](ExportFixture& fixture) {
        const std::string whole = "Out/Lib export/" + path;
        fixture.place.write(whole, change(fixture.place.read(whole)));
    };
}

auto failing(const std::string& path, int code)
{
    return [=](ExportFixture& fixture) { fixture.calls->fail("open", "*/Lib export/" + path, code); };
}

std::string lastByteChanged(std::string bytes)
{
    bytes.back() = static_cast<char>(bytes.back() ^ 1);
    return bytes;
}

INSTANTIATE_TEST_SUITE_P(Rows, ExportVerification,
    testing::Values(Change{"oneByte", rewritten(movie, lastByteChanged), movie, Trouble::digestDiffers,
                        " was changed: its content is not what was saved."},
        Change{"cutOff", rewritten(photo, [](std::string bytes) { return bytes.substr(1); }), photo,
            Trouble::sizeDiffers, " has 2,999 bytes instead of 3,000."},
        Change{"removed", with(photo, [](const auto& path) { std::filesystem::remove(path); }), photo,
            Trouble::missing, " is missing."},
        Change{"aFolderInstead",
            with(photo,
                [](const auto& path) {
                    std::filesystem::remove(path);
                    std::filesystem::create_directory(path);
                }),
            photo, Trouble::unreadable, " is not an ordinary file any more."},
        Change{"aLinkInstead",
            with(photo,
                [](const auto& path) {
                    std::filesystem::rename(path, path.parent_path() / "kept");
                    std::filesystem::create_symlink("kept", path);
                }),
            photo, Trouble::unreadable, " is or lies behind a link, which is not followed."},
        Change{"refused", failing(photo, EACCES), photo, Trouble::refused,
            " may not be read: access was refused."},
        Change{"badSpot",
            [](ExportFixture& fixture) {
                fixture.calls->on("read", "*/Lib export/" + movie).at(1'500'000).fail(EIO);
            },
            movie, Trouble::unreadable, " could not be read: Input/output error."},
        Change{"silent",
            [](ExportFixture& fixture) { fixture.calls->on("read", "*/Lib export/" + movie).hang(); }, movie,
            Trouble::notAnswering, " could not be checked: the disk did not answer."},
        Change{"sidecarRemoved", with(sidecar, [](const auto& path) { std::filesystem::remove(path); }),
            sidecar, Trouble::sidecarMissing, " is missing."},
        Change{"sidecarCutOff",
            rewritten(sidecar, [](std::string text) { return text.substr(0, text.size() / 2); }), sidecar,
            Trouble::sidecarDamaged, " is damaged: it is not well-formed XML."},
        Change{"sidecarRefused", failing(sidecar, EPERM), sidecar, Trouble::refused,
            " may not be read: access was refused."}));

TEST(ExportVerifier, doesNotMindWhatTheFolderHoldsBesides)
{
    ExportFixture fixture;
    fixture.addTypical();
    fixture.run();
    fixture.place.write("Out/Lib export/Albums/mine.txt", "mine");
    EXPECT_THAT(fixture.verify().differences, IsEmpty());
}

TEST(ExportVerifier, neverLeavesTheFolder)
{
    ExportFixture fixture;
    fixture.addTypical();
    fixture.run();
    fixture.place.makeLink(
        "Out/Lib export/Albums/away", fixture.place.write("secret/IMG.jpg", "s").parent_path());
    const std::string report = fixture.place.read("Out/Lib export/Vantorel report.csv");
    for (const std::string path : {"../../secret/IMG.jpg", "/etc/passwd", "Albums/../../../secret/IMG.jpg",
             "Albums/away/IMG.jpg", "Albums//Trip/IMG_2.jpg"}) {
        std::string hostile = report;
        hostile.replace(hostile.find(photo), photo.size(), path);
        fixture.place.write("Out/Lib export/Vantorel report.csv", hostile);
        const VerifyResult result = fixture.verify();
        ASSERT_THAT(result.differences, SizeIs(1)) << path;
        EXPECT_EQ(result.differences.front().path, path);
    }
    EXPECT_EQ(fixture.calls->count("open", "*/secret/*"), 0U);
    EXPECT_EQ(fixture.calls->count("open", "/etc/passwd"), 0U);
}

TEST(ExportVerifier, readsTheJournalWhereThereIsNoReport)
{
    ExportFixture fixture;
    fixture.addTypical();
    fixture.settings.group.items = 1;
    int items = 0;
    fixture.settings.hooks.afterItem = [&](const PlannedItem&) {
        if (++items == 2) {
            fixture.cancel->cancel();
        }
    };
    fixture.run();
    const std::string folder = "Out/Lib export (incomplete)/";
    const VerifyResult reported = fixture.verify("Lib export (incomplete)");
    EXPECT_EQ(reported.source, "Vantorel report (not finished).csv");
    EXPECT_FALSE(reported.isFinishedExport);
    EXPECT_EQ(reported.filesChecked, 3);

    // The journal of a run that was cut off knows more than the report of the stop before it.
    fixture.place.write(folder + "Albums/Trip/late.jpg", "late");
    fixture.place.write(folder + "Albums/Trip/late.xmp", "<late/>");
    fixture.place.write(folder + ".vantorel/journal.jsonl",
        fixture.place.read(folder + ".vantorel/journal.jsonl")
            + journalLine({.key = "Albums/Trip/late.jpg",
                .files = {{.path = "Albums/Trip/late.jpg", .size = 4, .sha256 = std::string(64, '0')}},
                .sidecar = "Albums/Trip/late.xmp"}));
    EXPECT_THAT(fixture.verify("Lib export (incomplete)").differences, SizeIs(1));

    std::filesystem::remove(fixture.place / (folder + "Vantorel report (not finished).csv"));
    const VerifyResult journaled = fixture.verify("Lib export (incomplete)");
    EXPECT_EQ(journaled.source, ".vantorel/journal.jsonl");
    EXPECT_EQ(journaled.filesChecked, 4);
}

TEST(ExportVerifier, saysWhyThereIsNothingToCheck)
{
    ExportFixture fixture;
    const std::string folder = fixture.destination().native();
    const auto failureOf = [&](const DiskPath& path) {
        return verifyExport(fixture.services(), {.folder = path}).error();
    };
    EXPECT_EQ(failureOf(fixture.place / "Nowhere"),
        "There is no folder \"" + (fixture.place / "Nowhere").native() + "\".");
    EXPECT_EQ(failureOf(folder),
        "There is no report and no journal of an export in \"" + folder
            + "\", so there is nothing to check.");
    fixture.place.write("Out/Vantorel report.csv", "status,file\r\n");
    EXPECT_EQ(failureOf(folder),
        "\"Vantorel report.csv\" in \"" + folder
            + "\" is damaged: it cannot be understood, so nothing can be checked against it.");
    fixture.calls->fail("read", "*/Vantorel report.csv", EIO);
    EXPECT_EQ(failureOf(folder),
        "\"Vantorel report.csv\" in \"" + folder + "\" could not be read: Input/output error.");
    fixture.calls->on("open", folder).hang();
    EXPECT_THAT(failureOf(folder), HasSubstr("did not answer"));
}

TEST(ExportVerifier, stopsWhereItIsToldToAndWhereTheDiskIsSilent)
{
    ExportFixture fixture;
    fixture.addTypical();
    fixture.run();
    VerifyRequest request{.folder = fixture.destination() / "Lib export", .cancel = fixture.cancel};
    std::int64_t lastBytes = 0;
    request.progress = [&](std::int64_t done, std::int64_t, std::int64_t bytes, bool) {
        lastBytes = bytes;
        if (done == 2) {
            fixture.cancel->cancel();
        }
    };
    const auto cancelled = verifyExport(fixture.services(), request);
    EXPECT_TRUE(cancelled->wasCancelled);
    EXPECT_EQ(cancelled->filesChecked, 2);
    EXPECT_EQ(lastBytes, 6'000);

    fixture.calls->on("read", "*.jpg").hang();
    fixture.calls->on("read", "*.xmp").hang();
    const VerifyResult silent = fixture.verify();
    EXPECT_THAT(silent.differences.back().text, HasSubstr("The disk stopped answering"));
}

TEST(WellFormedXml, isToldFromWhatIsNot)
{
    for (const std::string text :
        {"<a/>", "<a></a>", "\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<!-- c -->\n<a>\n</a>\n<?end?>\n",
            "<?xpacket begin=\"\xEF\xBB\xBF\" id=\"1\"?>\n<x:a xmlns:x='u' "
            "b=\"&lt;'\"><b>&amp;&#65;&#x1F600;</b></x:a>",
            "<a><![CDATA[<&]]></a>", "<a b = 'c'\n d='e'  />", "<\xC3\xA9>\xC3\xA9</\xC3\xA9>",
            "<?xml version='1.1' encoding=\"utf-8\" standalone = 'no' ?><a/>"}) {
        EXPECT_TRUE(isWellFormedXml(text)) << text;
    }
    for (const std::string text :
        {"", "text", "<a>", "<a></b>", "<a/><b/>", "<a/>text", "<a b=c/>", "<a b='1' b='2'/>",
            "<a b='1'c='2'/>", "<a>&unknown;</a>", "<a>&amp</a>", "<a>&#0;</a>", "<a>&#xD800;</a>",
            "<a>]]></a>", "<a b='<'/>", "<!DOCTYPE a><a/>", "<a><!-- -- --></a>", "<a>\x01</a>",
            "<a>\xFF</a>", "<a", "<a b='", "<a><![CDATA[</a>", "<?xml version='1.0'", "</a>", "<a></a",
            "< a/>", "<a><?xml x?></a>", "<?xml?><a/>", "<?xml version='1.0' enkoding='UTF-8'?><a/>",
            "<?xml version='1.0' encoding='UTF-8'standalone='yes'?><a/>",
            "<?xml version='1.0' --><a/><?end?>", "<\xC3\x97/>", "<a \xE2\x80\xBF='1'/>"}) {
        EXPECT_FALSE(isWellFormedXml(text)) << text;
    }
    std::string deep;
    for (int i = 0; i < 100'000; ++i) {
        deep += "<a>";
    }
    EXPECT_FALSE(isWellFormedXml(deep));
}

} // namespace
} // namespace vantorel
