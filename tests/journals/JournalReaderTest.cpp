#include "JournalFixture.h"

#include "base/Text.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace vantorel {
namespace {

using Lines = std::vector<std::string>;
using Failure = JournalReader::Failure;
constexpr double june2024 = 740'000'000;

/// What `photo()` with nothing more gives.
Asset plainAsset(int number)
{
    Asset asset;
    asset.pk = number;
    asset.uuid = idText(number);
    asset.directory = "A";
    asset.fileName = "IMG.jpeg";
    asset.lostDetails = {Asset::LostDetail::people};
    return asset;
}

PlistValue original(Dictionary more)
{
    Dictionary entry{{"subType", 1}, {"version", 0}, {"recipeID", 0}};
    entry.insert(entry.end(), more.begin(), more.end());
    return PlistValue::Array{Dictionary{{"subType", 5}, {"version", 2}, {"recipeID", 9}}, entry};
}

PlistValue withPartner(int subtype, Dictionary first, Dictionary second)
{
    first.insert(first.end(), {{"subType", 1}, {"version", 0}, {"recipeID", 0}});
    second.insert(second.end(), {{"subType", subtype}, {"version", 0}, {"recipeID", 0}});
    return PlistValue::Array{std::move(first), std::move(second)};
}

TEST(JournalAssets, haveTheValuesOfTheirKeys)
{
    struct Row {
        const char* what;
        Dictionary keys;
        std::function<void(Asset&)> change;
    };
    const Date taken = *libraryDateKnownSet(june2024).date;
    const PlistValue::Data volume{idBytes(90)};
    const PlistValue::Data lostVolume{idBytes(91)};
    const std::vector<Row> rows{
        {"nothing more", {}, [](Asset&) {}},
        {"texts",
            {{"originalFilename", "DSC 1.JPG"}, {"title", "T"}, {"description", "C\nd"},
                {"accessibilityDescription", "x"}},
            [](Asset& asset) {
                asset.originalFileName = "DSC 1.JPG";
                asset.title = "T";
                asset.caption = "C\nd";
            }},
        {"flags",
            {{"favorite", true}, {"hidden", 1}, {"inTrash", true}, {"originalFilesize", 99},
                {"timeZoneOffset", -14400}},
            [](Asset& asset) {
                asset.isFavorite = asset.isHidden = asset.isTrashed = true;
                asset.originalFileSize = 99;
                asset.timeZoneOffset = -14400;
            }},
        {"a size of nothing", {{"originalFilesize", 0}}, [](Asset&) {}},
        {"dates, one of the year 1",
            {{"dateCreated", PlistValue::Date{june2024}}, {"addedDate", PlistValue::Date{june2024}},
                {"modificationDate", PlistValue::Date{-63'114'076'800.0}}},
            [taken](Asset& asset) { asset.dateCreated = asset.dateAdded = taken; }},
        {"place", {{"latitude", 10.5}, {"longitude", -20}},
            [](Asset& asset) {
                asset.latitude = 10.5;
                asset.longitude = -20;
            }},
        {"no place", {{"latitude", -180.0}, {"longitude", -180.0}}, [](Asset&) {}},
        {"half a place", {{"latitude", 10.0}}, [](Asset&) {}},
        {"video", {{"kind", 1}, {"kindSubtype", 2}}, [](Asset& asset) { asset.kind = Asset::Kind::video; }},
        {"another kind", {{"kind", std::int64_t{1} << 40}},
            [](Asset& asset) { asset.kind = Asset::Kind::other; }},
        {"Live Photo", {{"kindSubtype", 2}},
            [](Asset& asset) { asset.isLivePhoto = asset.expectsPartner = true; }},
        {"edited, older key", {{"hasAdjustments", 1}}, [](Asset& asset) { asset.hasEdits = true; }},
        {"edited, newer key over the older", {{"hasAdjustments", 1}, {"adjustmentsState", 0}}, [](Asset&) {}},
        {"slow motion", {{"adjustmentsState", 3}}, [](Asset&) {}},
        {"edited", {{"adjustmentsState", 2}}, [](Asset& asset) { asset.hasEdits = true; }},
        {"hash",
            {{"originalHash", PlistValue::Data{"\x01\x02\x03"}},
                {"resources", original({{"fingerprint", "no"}})}},
            [](Asset& asset) { asset.fingerprint = "AQID"; }},
        {"fingerprint of the original", {{"resources", original({{"fingerprint", "yes"}})}},
            [](Asset& asset) { asset.fingerprint = "yes"; }},
        {"in the cloud", {{"resources", original({{"remoteAvailability", 1}})}},
            [](Asset& asset) { asset.isOnlyInCloud = true; }},
        {"in the cloud and here",
            {{"resources", original({{"remoteAvailability", 1}, {"localAvailability", 1}})}}, [](Asset&) {}},
        {"RAW beside it", {{"resources", withPartner(17, {}, {})}},
            [](Asset& asset) { asset.expectsPartner = true; }},
        {"a copy of the RAW is no partner",
            {{"resources",
                PlistValue::Array{Dictionary{{"subType", 17}, {"version", 0}, {"recipeID", 65'749}}}}},
            [](Asset&) {}},
        {"outside, with its volume",
            {{"directory", "/Users/a/Pictures"}, {"savedAssetType", 10},
                {"resources",
                    withPartner(18,
                        {{"bookmarkPath", "a/IMG.jpeg"}, {"volume", volume}, {"remoteAvailability", 1}},
                        {{"bookmarkPath", "a/IMG.mov"}, {"volume", volume}})}},
            [](Asset& asset) {
                asset.directory = "/Users/a/Pictures";
                asset.isReferenced = asset.expectsPartner = true;
                asset.referencedPath = "/Volumes/Old disk/a/IMG.jpeg";
                asset.referencedPartners = {"/Volumes/Old disk/a/IMG.mov"};
            }},
        {"outside, its volume lost",
            {{"directory", "/Users/a/Pictures/"},
                {"resources", original({{"bookmarkPath", "a/IMG.jpeg"}, {"volume", lostVolume}})}},
            [](Asset& asset) {
                asset.directory = "/Users/a/Pictures/";
                asset.isReferenced = true;
                asset.referencedPath = "/Users/a/Pictures/IMG.jpeg";
            }},
        {"outside, without any bookmark", {{"directory", "/Users/a"}},
            [](Asset& asset) {
                asset.directory = "/Users/a";
                asset.isReferenced = true;
                asset.referencedPath = "/Users/a/IMG.jpeg";
            }},
        {"outside, a path that leads elsewhere",
            {{"directory", "/Users/a"},
                {"resources", original({{"bookmarkPath", "../IMG.jpeg"}, {"volume", volume}})}},
            [](Asset& asset) {
                asset.directory = "/Users/a";
                asset.isReferenced = true;
                asset.referencedPath = "/Users/a/IMG.jpeg";
            }},
        {"keywords, twice, lost and unordered", {{"keywords", idList({82, 81, 82, 89})}},
            [](Asset& asset) { asset.keywords = {"Beach", "Sun"}; }},
        {"lost keywords alone", {{"keywords", idList({89})}},
            [](Asset& asset) { asset.lostDetails.insert(Asset::LostDetail::keywords); }},
    };
    for (const Row& row : rows) {
        JournalFixture journals;
        journals.write(
            "Keyword-snapshot", {wholeRecord(81, {{"title", "Sun"}}), wholeRecord(82, {{"title", "Beach"}})});
        journals.write("FileSystemVolume-change", {wholeRecord(90, {{"name", "Old disk"}})});
        journals.write("Asset-snapshot", {wholeRecord(1, photo(row.keys))});
        Asset expected = plainAsset(1);
        row.change(expected);
        EXPECT_EQ(journals.result().assets, std::vector<Asset>{expected}) << row.what;
    }
}

TEST(JournalAssets, areLeftOutWhereTheirFileCannotLie)
{
    const std::vector<std::pair<std::string, std::string>> places{{"", "a"}, {"A", ""}, {"A", ".."},
        {"A", "a/b"}, {"A", std::string("a\0b", 3)}, {"..", "a"}, {"A/..", "a"}, {"/Users/../etc", "a"},
        {"/Users", "../a"}, {"A//B", "a"}};
    JournalFixture journals;
    std::vector<std::string> records{wholeRecord(1, photo())};
    for (std::size_t i = 0; i < places.size(); ++i) {
        records.push_back(wholeRecord(static_cast<int>(i) + 10,
            photo({{"directory", places[i].first}, {"filename", places[i].second}})));
    }
    records.push_back(changed(40, {{"title", "of a photo whose record is lost"}}));
    journals.write("Asset-change", records);
    const auto result = journals.result();
    EXPECT_EQ(result.assets, std::vector<Asset>{plainAsset(1)});
    EXPECT_EQ(told(result),
        Lines{"11 photo records in the journals had no usable file location and were left out."});
}

TEST(JournalAssets, putTogetherFromChangesLackWhatTheirRecordHeld)
{
    JournalFixture journals;
    journals.write("Asset-change", {changed(1, photo({{"title", "T"}}))});
    Asset expected = plainAsset(1);
    expected.title = "T";
    using Lost = Asset::LostDetail;
    expected.lostDetails = {Lost::originalName, Lost::caption, Lost::keywords, Lost::people, Lost::dates};
    EXPECT_EQ(journals.result().assets, std::vector<Asset>{expected});
}

TEST(JournalReading, describesAnIntactLibrary)
{
    JournalFixture journals;
    journals.write(
        "Asset-snapshot", {wholeRecord(1, photo()), wholeRecord(2, photo()), wholeRecord(3, photo())});
    journals.write("Asset-change", {removed(2)});
    journals.write("MigrationHistory-change",
        {sample::journalBytes(
             {.identifier = "10", .isNumbered = true, .payload = Dictionary{{"modelVersion", 19320}}}),
            sample::journalBytes(
                {.identifier = "9", .isNumbered = true, .payload = Dictionary{{"modelVersion", 18600}}})});
    JournalReader::ReadResult expected;
    expected.assets = {plainAsset(1), plainAsset(3)};
    expected.schema = summaryOfModel(19320);
    expected.schema.unavailable = {SchemaSummary::Feature::people};
    expected.damage.severity = DamageReport::Severity::fromJournals;
    expected.damage.method = "the change journals";
    expected.notes = {"People names are not read from journals. Photos only writes them there for people you "
                      "named, and that "
                      "has not been tested yet.",
        "Reading journals was tested on libraries from macOS 26 and 27. On a library from an older macOS, "
        "compare a few photos with what you expect."};
    EXPECT_EQ(journals.result(), expected);
    ASSERT_FALSE(journals.progress.empty());
    EXPECT_EQ(journals.progress.back().first, journals.progress.back().second);
}

TEST(JournalReading, namesTheJournalsThatAreNotThere)
{
    const auto without = [](const std::vector<std::string>& kinds) {
        JournalFixture journals;
        journals.write("Asset-snapshot", {wholeRecord(1, photo({{"keywords", idList({80})}}))});
        journals.write("Album-snapshot", {wholeRecord(2, collection(2, "Trip", {{"assets", idList({1})}}))});
        for (const std::string& kind : kinds) {
            journals.remove(kind);
        }
        return journals.result();
    };
    using Feature = SchemaSummary::Feature;
    using Lost = Asset::LostDetail;
    const auto all =
        without({"Album", "Folder", "Keyword", "FetchingAlbum", "ProjectAlbum", "FileSystemVolume"});
    EXPECT_EQ(told(all),
        Lines{"This copy has no journal for albums, folders, smart albums and keywords, so they could not be "
              "read from it."});
    EXPECT_EQ(all.schema.unavailable,
        (std::vector{Feature::albums, Feature::folders, Feature::keywords, Feature::people}));
    EXPECT_EQ(all.assets.at(0).lostDetails, (std::set{Lost::albums, Lost::keywords, Lost::people}));

    const auto folders = without({"Folder"});
    EXPECT_EQ(told(folders),
        (Lines{"1 keyword links point at a keyword that is lost, so those photos lost that keyword.",
            "This copy has no journal for folders, so they could not be read from it."}));
    EXPECT_EQ(folders.schema.unavailable, (std::vector{Feature::folders, Feature::people}));
    EXPECT_EQ(described(folders), Lines{"Trip album: 1"});
}

TEST(JournalReading, tellsPartialDamageWithItsAmount)
{
    JournalFixture journals;
    std::string broken = wholeRecord(2, photo());
    broken.back() = static_cast<char>(broken.back() ^ 1);
    journals.write("Asset-snapshot", {wholeRecord(1, photo()), broken, wholeRecord(3, photo())});
    journals.write("Keyword-change", {"rubbish", wholeRecord(80, {{"title", "Sun"}})});
    const auto result = journals.result();
    EXPECT_EQ(result.assets.size(), 2U);
    const auto bytes = static_cast<std::int64_t>(broken.size()) + 7;
    EXPECT_EQ(result.counts.lostBytes, bytes);
    EXPECT_EQ(told(result),
        Lines{fmt::format("Part of the journals is damaged and could not be read ({}), so the newest changes "
                          "may be missing.",
            byteSize(bytes))});
}

TEST(JournalReading, failsOnlyWhereThereIsNoPhotoForAReason)
{
    using Write = std::function<void(JournalFixture&)>;
    const std::vector<std::tuple<const char*, Write, std::optional<Failure>>> rows{
        {"both empty", [](JournalFixture&) {}, Failure::noJournals},
        {"no file of photos", [](JournalFixture& journals) { journals.remove("Asset"); },
            Failure::noJournals},
        {"nothing but rubbish",
            [](JournalFixture& journals) { journals.write("Asset-change", {"@rubbish"}); }, Failure::damaged},
        {"no file location",
            [](JournalFixture& journals) { journals.write("Asset-change", {changed(1, {{"title", "x"}})}); },
            Failure::damaged},
        {"all removed",
            [](JournalFixture& journals) {
                journals.write("Asset-snapshot", {wholeRecord(1, photo())});
                journals.write("Asset-change", {removed(1)});
            },
            std::nullopt},
        {"rubbish beside a photo",
            [](JournalFixture& journals) {
                journals.write("Asset-snapshot", {"@rubbish"});
                journals.write("Asset-change", {wholeRecord(1, photo())});
            },
            std::nullopt},
    };
    for (const auto& [what, write, failure] : rows) {
        JournalFixture journals;
        write(journals);
        const auto read = journals.read();
        EXPECT_EQ(read.has_value(), !failure) << what;
        if (!read && failure) {
            EXPECT_EQ(read.error(), *failure) << what;
        }
    }
    EXPECT_EQ(journalFailureReason(Failure::damaged), "the photo records in them are damaged");
    EXPECT_EQ(journalFailureReason(Failure::cancelled), std::nullopt);
}

TEST(JournalAlbums, formATreeInTheOrderOfTheirFolders)
{
    JournalFixture journals;
    journals.write(
        "Asset-snapshot", {wholeRecord(1, photo()), wholeRecord(2, photo()), wholeRecord(3, photo())});
    journals.write("Album-snapshot",
        {wholeRecord(11, collection(2, "Second", {{"assets", idList({3, 1, 70, 3})}})),
            wholeRecord(12, collection(2, "First")),
            wholeRecord(13, collection(2, "Deep", {{"assets", idList({2})}})),
            wholeRecord(14, collection(2, "Thrown away", {{"inTrash", true}}))});
    journals.write("Folder-snapshot",
        {wholeRecord(20, {{"kind", 3999}, {"childCollections", idList({12, 21, 11, 41})}}),
            wholeRecord(21, collection(4000, "Folder", {{"childCollections", idList({42, 13, 12})}})),
            wholeRecord(22, {{"kind", 3998}, {"childCollections", idList({51})}})});
    journals.write("FetchingAlbum-snapshot",
        {wholeRecord(41, collection(1507, "Rule")), wholeRecord(42, collection(1507, "Old rule"))});
    journals.write("FetchingAlbum-change", {removed(42)});
    journals.write(
        "ProjectAlbum-change", {wholeRecord(51, collection(1508, "Slides", {{"assets", idList({1})}}))});
    journals.write("Folder-change", {changed(21, {{"childCollections", idList({13, 12})}})});
    const auto result = journals.result();
    EXPECT_EQ(described(result),
        (Lines{"Slides other: 1", "Thrown away album deleted", "- root", "First album in -",
            "Folder folder in -", "Deep album in Folder: 2", "Second album in -: 3 1 lost 1",
            "Rule smart in -", "- other"}));
    EXPECT_EQ(result.assets.at(0).albumPKs.size(), 2U);
    EXPECT_EQ(told(result),
        Lines{"1 album entries point at a photo whose record is lost. The albums concerned are marked."});
}

TEST(JournalAlbums, standAtTheTopWhenTheirFolderIsLost)
{
    struct Row {
        const char* what;
        std::vector<std::string> folders;
        Lines albums;
        Lines told;
    };
    const auto root = [](const std::vector<int>& children) {
        return wholeRecord(20, {{"kind", 3999}, {"childCollections", idList(children)}});
    };
    const auto folder = [](int id, const char* title, const std::vector<int>& children) {
        return wholeRecord(id, collection(4000, title, {{"childCollections", idList(children)}}));
    };
    const std::string lost =
        " albums or folders lost the folder they were in and are shown at the top level.";
    const std::string damaged = " album records in the journals were damaged and left out.";
    const std::vector<Row> rows{
        {"claimed by nobody", {root({})}, {"A album", "- root"}, {"1" + lost}},
        {"its folder unknown", {root({30})}, {"A album", "- root"}, {"1" + lost, "1" + damaged}},
        {"its folder without a kind",
            {root({30}), changed(30, {{"title", "F"}, {"childCollections", idList({11})}})},
            {"A album", "- root"}, {"1" + lost, "1" + damaged}},
        {"named by two", {root({11, 30, 30}), folder(30, "F", {11})},
            {"- root", "A album in -", "F folder in -"}, {}},
        {"in a circle", {root({}), folder(30, "F", {31}), folder(31, "G", {30, 11})},
            {"F folder", "G folder in F", "A album in G", "- root"}, {"1" + lost}},
        {"in itself", {root({11}), folder(30, "F", {30})}, {"F folder", "- root", "A album in -"},
            {"1" + lost}},
        {"in a deleted folder",
            {root({}),
                wholeRecord(
                    30, collection(4000, "F", {{"inTrash", true}, {"childCollections", idList({11})}}))},
            {"- root", "F folder deleted", "A album in F"}, {}},
    };
    for (const Row& row : rows) {
        JournalFixture journals;
        journals.write("Asset-snapshot", {wholeRecord(1, photo())});
        journals.write("Album-snapshot", {wholeRecord(11, collection(2, "A"))});
        journals.write("Folder-change", row.folders);
        const auto result = journals.result();
        EXPECT_EQ(described(result), row.albums) << row.what;
        EXPECT_EQ(told(result), row.told) << row.what;
    }
}

} // namespace
} // namespace vantorel
