#include "scan/ScanFixture.h"

#include <gtest/gtest.h>

namespace vantorel {
namespace {

using Entries = std::map<std::int64_t, std::string>;
using Lines = std::vector<std::string>;
using Report = OriginalsReport;

const std::string a1 = idOf('A', 1);
const std::string b2 = idOf('B', 2);

/// What is recorded, what lies there, and what comes of it. "{}" is the identifier of the one asset, in "A".
struct MatchRow {
    std::string recorded;
    Lines files;
    std::string expected;
    Lines unknown{};
};

std::string filled(std::string text)
{
    for (std::size_t gap = text.find("{}"); gap != std::string::npos; gap = text.find("{}", gap)) {
        text.replace(gap, 2, a1);
    }
    return text;
}

TEST(Matching, takesTheNameThenTheFoldedNameThenTheIdentifier)
{
    const MatchRow rows[] = {
        {"{}.jpeg", {"{}.jpeg"}, "present originals/A/{}.jpeg:5"},
        {"{}.jpeg", {"{}.JPEG"}, "present originals/A/{}.JPEG:5"},
        {"{}.jpeg", {"{}.JPEG", "{}.jpeg"}, "present originals/A/{}.jpeg:5",
            {"{} in A: originals/A/{}.JPEG:5"}},
        // An e with an acute accent, composed (C3 A9) and as two characters (65 CC 81).
        {"Caf\xC3\xA9.jpg", {"Cafe\xCC\x81.jpg"}, "present originals/A/Cafe\xCC\x81.jpg:5"},
        {"Cafe\xCC\x81.jpg", {"CAF\xC3\x89.JPG"}, "present originals/A/CAF\xC3\x89.JPG:5"},
        {"{}.jpeg", {"{}.heic"}, "present originals/A/{}.heic:5"},
        {"IMG_1.jpeg", {"{}.png", "{}.jpeg"}, "present originals/A/{}.jpeg:5",
            {"{} in A: originals/A/{}.png:5"}},
        {"", {"{}.jpeg"}, "present originals/A/{}.jpeg:5"},
        // A name with a part digit is never the main file, whatever is recorded.
        {"{}.jpeg", {"{}_3.mov"}, "derivativeOnly/notFound originals/A/{}_3.mov:5"},
        {"{}_3.mov", {"{}_3.mov"}, "derivativeOnly/notFound originals/A/{}_3.mov:5"},
        // It is what is left of the original: the RAW of a pair is a whole one.
        {"{}.jpeg", {"{}_3.mov", "{}_4.cr2", "{}_5.aae"},
            "present originals/A/{}_4.cr2:5 + originals/A/{}_3.mov:5 + originals/A/{}_5.aae:5 "
            "partnerMissing"},
        {"{}.jpeg", {"{}_5.aae"}, "missing/notFound"},
        {"{}.jpeg", {"{}_4.cr2", "{}_5.aae", "{}.jpeg"},
            "present originals/A/{}.jpeg:5 + originals/A/{}_4.cr2:5 + originals/A/{}_5.aae:5"},
        // Left by systems: neither an original nor unknown.
        {"{}.jpeg", {"._{}.jpeg", ".DS_Store", "Icon\r", "Thumbs.db"}, "missing/notFound"},
        {"{}.jpeg", {"{}.jpeg/inside.jpg"}, "missing/notFound",
            {"inside in A/{}.jpeg: originals/A/{}.jpeg/inside.jpg:5"}},
        {"../../outside.jpeg", {"{}"}, "present originals/A/{}:5"},
    };
    for (const MatchRow& row : rows) {
        ScanFixture scan;
        scan.add('A', 1).fileName = filled(row.recorded);
        for (const std::string& name : row.files) {
            scan.file("originals/A/" + filled(name));
        }
        const Report report = scan.inspect();
        Lines unknown;
        for (const std::string& line : row.unknown) {
            unknown.push_back(filled(line));
        }
        EXPECT_EQ(described(report), (Entries{{1, filled(row.expected)}})) << filled(row.recorded);
        EXPECT_EQ(described(report.unknownFiles), unknown) << filled(row.recorded);
        EXPECT_EQ(report.state, Report::State::complete);
    }
}

TEST(Matching, findsTheIdentifierInLowerCase)
{
    ScanFixture scan;
    scan.add('A', 1).expectsPartner = true;
    scan.file("originals/a/a0000000-0000-4000-8000-000000000001.jpeg");
    scan.file("originals/a/a0000000-0000-4000-8000-000000000001_4.cr2");
    EXPECT_EQ(described(scan.inspect()),
        (Entries{{1,
            "present originals/a/a0000000-0000-4000-8000-000000000001.jpeg:5 + "
            "originals/a/a0000000-0000-4000-8000-000000000001_4.cr2:5"}}));
}

TEST(Folders, areListedOnceEachAndOnlyWhereTheyAre)
{
    ScanFixture scan;
    scan.add('A', 1);
    scan.add('A', 3);
    scan.add('B', 2);
    scan.add('C', 4).directory = "../C"; // leads out
    scan.add('D', 5).directory = "";     // lost: the identifier's first letter tells
    scan.add('E', 6).directory = "no/such";
    scan.file("originals/A/" + a1 + ".jpeg");
    scan.file("originals/D/" + idOf('D', 5) + ".jpeg");
    scan.file("originals/F/sub/odd.jpg");
    scan.disk.write("C/" + idOf('C', 4) + ".jpeg", "stolen");

    const Report report = scan.inspect();
    EXPECT_EQ(described(report),
        (Entries{{1, "present originals/A/" + a1 + ".jpeg:5"}, {2, "missing/notFound"},
            {3, "missing/notFound"}, {4, "missing/notFound"},
            {5, "present originals/D/" + idOf('D', 5) + ".jpeg:5"}, {6, "missing/notFound"}}));
    const Lines inOriginals(scan.listed.begin(), scan.listed.begin() + 5);
    EXPECT_EQ(
        inOriginals, (Lines{"originals", "originals/A", "originals/D", "originals/F", "originals/F/sub"}));
    // Reading a folder also gives ".", ".." and the end.
    EXPECT_EQ(
        scan.calls->count("status"), scan.calls->count("nextEntry") - 3 * scan.calls->count("openFolderOf"))
        << "no file is asked for what its folder's listing says already";
    EXPECT_EQ(described(report.unknownFiles), Lines{"odd in F/sub: originals/F/sub/odd.jpg:5"});
    EXPECT_EQ(scan.calls->stillOpen(), std::vector<DiskPath>{});
}

TEST(Folders, mayBeSpelledWithACapital)
{
    ScanFixture scan;
    scan.add('A', 1);
    scan.file("Originals/A/" + a1 + ".jpeg");
    EXPECT_EQ(described(scan.inspect()), (Entries{{1, "present Originals/A/" + a1 + ".jpeg:5"}}));
}

TEST(Sizes, areComparedWithTheRecord)
{
    ScanFixture scan;
    scan.add('A', 1, 5);
    scan.add('B', 2, 6);
    scan.add('C', 3);
    scan.add('D', 4, 0).isOnlyInCloud = true; // the file is here all the same
    for (const Asset& asset : scan.snapshot.assets) {
        scan.file("originals/" + asset.directory + "/" + asset.fileName, 5);
    }
    const Report report = scan.inspect();
    EXPECT_EQ(report.entries.at(1).status, OriginalEntry::Status::present);
    EXPECT_EQ(report.entries.at(2).status, OriginalEntry::Status::presentSizeDiffers);
    EXPECT_EQ(report.entries.at(3).status, OriginalEntry::Status::present);
    EXPECT_EQ(report.entries.at(4).status, OriginalEntry::Status::presentSizeDiffers);
}

TEST(CloudFiles, countAsPresent)
{
    ScanFixture scan;
    scan.add('A', 1);
    scan.file("originals/A/" + a1 + ".jpeg");
    const auto rule = scan.calls->on("status", "*.jpeg").cloudFile();
    EXPECT_EQ(described(scan.inspect()), (Entries{{1, "present originals/A/" + a1 + ".jpeg:5"}}));
    EXPECT_GT(rule.hits(), 0U);
}

TEST(Partners, areExpectedByKind)
{
    struct Row {
        bool isLivePhoto;
        Lines parts;
        bool isMissing;
    };
    const Row rows[] = {
        {true, {"_3.mov"}, false},
        {true, {"_4.cr2"}, true},
        {true, {"_5.aae"}, true},
        {true, {}, true},
        {false, {"_4.cr2"}, false},
        {false, {"_3.mov"}, false},
        {false, {"_5.xmp"}, true},
    };
    for (const Row& row : rows) {
        ScanFixture scan;
        Asset& asset = scan.add('A', 1);
        asset.expectsPartner = true;
        asset.isLivePhoto = row.isLivePhoto;
        scan.file("originals/A/" + a1 + ".jpeg");
        for (const std::string& part : row.parts) {
            scan.file("originals/A/" + a1 + part);
        }
        EXPECT_EQ(scan.inspect().entries.at(1).partnerMissing, row.isMissing);
    }

    ScanFixture scan;
    scan.add('A', 1).expectsPartner = true;
    scan.file("originals/A/" + a1 + ".jpeg");
    scan.file("originals/A/" + a1 + "_3.mov", 0);
    EXPECT_EQ(
        described(scan.inspect()), (Entries{{1, "present originals/A/" + a1 + ".jpeg:5 partnerMissing"}}))
        << "an empty partner is none";
}

TEST(SmallerCopies, areTakenBestFirst)
{
    // Each is better than all behind it; what is not a copy comes first, to be passed over.
    const Lines bestFirst{"resources/derivatives/A/{}_1_100_o.jpeg",
        "resources/derivatives/A/{}_1_101_o.jpeg", "resources/derivatives/A/{}_1_102_o.jpeg",
        "resources/renders/A/{}_1_201_a.heic", "resources/derivatives/A/{}_1_102_a.jpeg",
        "resources/derivatives/A/{}_1_105_c.jpeg", "resources/derivatives/A/{}_1_106_c.jpeg",
        "resources/renders/A/{}_p.jpeg", "resources/derivatives/masters/A/{}_4_5005_c.jpeg"};
    for (std::size_t first = 0; first <= bestFirst.size(); ++first) {
        ScanFixture scan;
        scan.add('A', 1).hasEdits = true;
        scan.file("resources/derivatives/A/" + a1 + ".THM", 900);
        scan.file("resources/renders/A/" + a1 + ".plist", 900);
        scan.file("resources/renders/A/" + a1 + "_2_100_a.mov", 900); // of its Live Photo video
        scan.file("resources/derivatives/A/" + a1 + "_1_100_o.heic", 0);
        scan.file("resources/derivatives/A/" + idOf('A', 9) + "_1_100_o.jpeg", 900);
        for (std::size_t i = first; i < bestFirst.size(); ++i) {
            scan.file(filled(bestFirst[i]), 10 + i);
        }
        const std::string expected = first == bestFirst.size()
            ? "missing/notFound"
            : "derivativeOnly/notFound " + filled(bestFirst[first]) + ":" + std::to_string(10 + first);
        EXPECT_EQ(described(scan.inspect()), (Entries{{1, expected}}));
    }
}

TEST(SmallerCopies, areTheLargerOfTwoEquals)
{
    ScanFixture scan;
    scan.add('A', 1);
    scan.file("resources/renders/A/" + a1 + "_1_999_x.jpeg", 20);
    scan.file("resources/derivatives/A/" + a1 + "_1_888_o.jpeg", 10);
    EXPECT_EQ(described(scan.inspect()),
        (Entries{{1, "derivativeOnly/notFound resources/renders/A/" + a1 + "_1_999_x.jpeg:20"}}));
}

TEST(SmallerCopies, keepTheReasonAndThePartners)
{
    ScanFixture scan;
    scan.add('A', 1).isOnlyInCloud = true;
    scan.add('A', 2); // empty
    Asset& live = scan.add('A', 3);
    live.isLivePhoto = live.expectsPartner = true;
    Asset& stillOnly = scan.add('A', 4);
    stillOnly.isLivePhoto = stillOnly.expectsPartner = true;
    scan.add('A', 5).isOnlyInCloud = true; // without a copy
    scan.add('A', 6);                      // empty, without a copy
    scan.add('A', 7).isSharedAlbumItem = true;
    scan.file("originals/A/" + idOf('A', 2) + ".jpeg", 0);
    scan.file("originals/A/" + idOf('A', 3) + "_3.mov", 8);
    scan.file("originals/A/" + idOf('A', 6) + ".jpeg", 0);
    for (const int number : {1, 2, 3, 4, 7}) {
        scan.file("resources/derivatives/A/{}_1_105_c.jpeg", 5, idOf('A', number));
    }
    const auto copy = [](int number) {
        return " resources/derivatives/A/" + idOf('A', number) + "_1_105_c.jpeg:5";
    };
    const Report report = scan.inspect();
    EXPECT_EQ(described(report),
        (Entries{{1, "derivativeOnly/onlyInCloud" + copy(1)}, {2, "derivativeOnly/emptyFile" + copy(2)},
            {3, "derivativeOnly/notFound" + copy(3) + " + originals/A/" + idOf('A', 3) + "_3.mov:8"},
            {4, "derivativeOnly/notFound" + copy(4) + " partnerMissing"}, {5, "missing/onlyInCloud"},
            {6, "missing/emptyFile"}, {7, "missing/sharedAlbumItem"}}));
    EXPECT_EQ(report.unknownFiles, std::vector<Report::UnknownFile>{});
    EXPECT_EQ(report.emptyUnknownFiles, std::vector<Report::UnknownFile>{});
}

TEST(SmallerCopies, ofAVideoMayBeAStill)
{
    const std::pair<Lines, std::string> rows[] = {
        {{"_1_102_o.jpeg"},
            "derivativeOnly/onlyInCloud resources/derivatives/A/{}_1_102_o.jpeg:5 stillOfVideo"},
        {{"_1_102_o.jpeg", "_2_4_o.mp4", "_2_3_o.mp4"},
            "derivativeOnly/onlyInCloud resources/derivatives/A/{}_2_3_o.mp4:5"},
    };
    for (const auto& [copies, expected] : rows) {
        ScanFixture scan;
        Asset& video = scan.add('A', 1);
        video.kind = Asset::Kind::video;
        video.isOnlyInCloud = true;
        for (const std::string& copy : copies) {
            scan.file("resources/derivatives/A/{}" + copy, 5, a1);
        }
        EXPECT_EQ(described(scan.inspect()), (Entries{{1, filled(expected)}}));
    }
}

TEST(SmallerCopies, areListedOnlyWhereOneIsNeeded)
{
    ScanFixture scan;
    scan.add('A', 1);
    scan.add('B', 2);
    scan.add('B', 3);
    scan.file("originals/A/" + a1 + ".jpeg");
    scan.file("resources/derivatives/A/x.jpeg");
    scan.file("resources/derivatives/B/x.jpeg");
    scan.file("resources/derivatives/masters/B/x.jpeg");
    scan.file("resources/renders/B/x.jpeg");
    scan.inspect();
    EXPECT_EQ(scan.listed,
        (Lines{"originals", "originals/A", "resources/derivatives/B", "resources/derivatives/masters/B",
            "resources/renders/B"}));
    EXPECT_EQ(scan.calls->count("status", "*/x.jpeg"), 0U) << "copies of other items are passed over";
}

TEST(UnknownFiles, areGroupedByIdentifier)
{
    ScanFixture scan;
    const std::string c3 = idOf('C', 3);
    const std::string c4 = idOf('C', 4);
    scan.add('A', 1);
    scan.file("originals/A/" + a1 + ".jpeg");
    scan.file("originals/C/" + c3 + ".heic", 7);
    scan.file("originals/C/" + c3 + "_3.mov", 9);
    scan.file("originals/C/" + c3 + "_5.aae", 2);
    scan.file("originals/C/" + c4 + "_3.mov", 4);
    scan.file("originals/C/c0000000-0000-4000-8000-000000000005.jpeg", 0);
    scan.file("originals/C/beach.jpg", 3);
    scan.file("originals/C/beach.png", 3);
    scan.file("originals/stray.jpg", 1);
    scan.file("originals/.hidden/secret.jpg", 1);
    scan.file("originals/C/._" + c3 + ".heic", 1);
    const Report report = scan.inspect();
    EXPECT_EQ(described(report.unknownFiles),
        (Lines{c3 + " in C: originals/C/" + c3 + ".heic:7 + originals/C/" + c3 + "_3.mov:9 + originals/C/"
                + c3 + "_5.aae:2",
            c4 + " in C: originals/C/" + c4 + "_3.mov:4", "beach in C: originals/C/beach.jpg:3",
            "beach in C: originals/C/beach.png:3", "stray in : originals/stray.jpg:1"}));
    EXPECT_EQ(described(report.emptyUnknownFiles),
        Lines{idOf('C', 5) + " in C: originals/C/c0000000-0000-4000-8000-000000000005.jpeg:0"});
    EXPECT_EQ(report.state, Report::State::complete);
}

TEST(Strays, belongToTheAssetWhoseIdentifierTheyBear)
{
    ScanFixture scan;
    scan.add('A', 1, 5);
    scan.add('A', 2, 6).expectsPartner = true; // of another size, and its partner elsewhere
    scan.add('B', 3).expectsPartner = true;    // only the partner lies elsewhere
    scan.add('B', 4);                          // is where it should be: another one is a file too many
    scan.add('B', 5);                          // its RAW alone is here, elsewhere
    scan.add('B', 6).isSharedAlbumItem = true;
    const auto at = [](const char* folder, char letter, int number, const char* end) {
        return std::string("originals/") + folder + "/" + idOf(letter, number) + end;
    };
    for (const std::string& path : {at("C", 'A', 1, ".jpeg"), at("D", 'A', 1, ".heic"),
             at("C", 'A', 2, ".heic"), at("A", 'A', 2, "_4.cr2"), at("B", 'B', 3, ".jpeg"),
             at("C", 'B', 3, "_3.mov"), at("B", 'B', 4, ".jpeg"), at("C", 'B', 4, ".jpeg"),
             at("C", 'B', 5, "_4.cr2"), at("C", 'B', 6, ".jpeg"), at("C", 'C', 7, ".jpeg")}) {
        scan.file(path, path.ends_with(".heic") ? 9 : 5);
    }
    const Report report = scan.inspect();
    EXPECT_EQ(described(report),
        (Entries{{1, "present " + at("C", 'A', 1, ".jpeg") + ":5"},
            {2,
                "presentSizeDiffers " + at("C", 'A', 2, ".heic") + ":9 + " + at("A", 'A', 2, "_4.cr2")
                    + ":5"},
            {3, "present " + at("B", 'B', 3, ".jpeg") + ":5 + " + at("C", 'B', 3, "_3.mov") + ":5"},
            {4, "present " + at("B", 'B', 4, ".jpeg") + ":5"},
            {5, "present " + at("C", 'B', 5, "_4.cr2") + ":5 partnerMissing"},
            {6, "missing/sharedAlbumItem"}}));
    EXPECT_EQ(described(report.unknownFiles),
        (Lines{idOf('B', 4) + " in C: " + at("C", 'B', 4, ".jpeg") + ":5",
            idOf('B', 6) + " in C: " + at("C", 'B', 6, ".jpeg") + ":5",
            idOf('C', 7) + " in C: " + at("C", 'C', 7, ".jpeg") + ":5",
            idOf('A', 1) + " in D: " + at("D", 'A', 1, ".heic") + ":9"}));
}

TEST(UnknownFiles, tooDeepCountAsNotRead)
{
    ScanFixture scan;
    scan.file("originals/1/2/3/4/5/6/deep.jpg");
    scan.file("originals/1/2/3/4/5/6/7/deeper.jpg");
    const Report report = scan.inspect();
    EXPECT_EQ(described(report.unknownFiles), Lines{"deep in 1/2/3/4/5/6: originals/1/2/3/4/5/6/deep.jpg:5"});
    EXPECT_EQ(report.unreadableFolders, Lines{"originals/1/2/3/4/5/6/7"});
    EXPECT_EQ(report.state, Report::State::partlyUnreadable);
}

TEST(Links, areNeverFollowed)
{
    // At each level: the file, its folder, the originals folder.
    struct Row {
        std::string link;
        std::string target;
        std::string expected;
        Report::State state;
    };
    const Row rows[] = {
        {"originals/A/" + a1 + ".jpeg", "elsewhere/A/" + a1 + ".jpeg",
            "missing/refusedLocation refused originals/A/" + a1 + ".jpeg", Report::State::complete},
        {"originals/A", "elsewhere/A", "missing/refusedLocation refused originals/A",
            Report::State::partlyUnreadable},
        {"originals", "elsewhere", "missing/refusedLocation refused originals/A",
            Report::State::partlyUnreadable},
        {"resources/derivatives", "elsewhere", "missing/notFound", Report::State::complete},
    };
    for (const Row& row : rows) {
        ScanFixture scan;
        scan.add('A', 1);
        scan.disk.write("elsewhere/A/" + a1 + ".jpeg", "stolen");
        scan.disk.write("elsewhere/A/" + a1 + "_1_102_o.jpeg", "stolen");
        scan.disk.makeLink("My.photoslibrary/" + row.link, scan.disk / row.target);
        const Report report = scan.inspect();
        EXPECT_EQ(described(report), (Entries{{1, row.expected}})) << row.link;
        EXPECT_EQ(described(report.unknownFiles), Lines{}) << row.link;
        EXPECT_EQ(report.state, row.state) << row.link;
    }
}

TEST(Progress, isToldAtEvery500AndAtTheEnd)
{
    ScanFixture scan;
    for (int number = 1; number <= 1'203; ++number) {
        scan.add("ABCDEF"[number % 6], number).isSharedAlbumItem = number % 7 == 0;
    }
    for (const Asset& asset : scan.snapshot.assets) {
        if (asset.pk % 3 == 0) {
            scan.file("originals/" + asset.directory + "/" + asset.fileName);
        }
    }
    EXPECT_EQ(scan.inspect().entries.size(), 1'203U);
    std::vector<ScanProgress> expected;
    for (const std::int64_t done : {0, 500, 1'000, 1'203}) {
        expected.push_back({.stage = ScanStage::checkingFiles, .done = done, .total = 1'203});
    }
    EXPECT_EQ(scan.progress, expected);
}

} // namespace
} // namespace vantorel
