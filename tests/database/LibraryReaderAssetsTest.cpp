#include "ReaderFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace vantorel {

namespace {

using Columns = ReaderFixture::Columns;
using Generation = ReaderFixture::Generation;
using testing::ElementsAre;
using testing::IsEmpty;

/// One photo: what its rows say beyond a plain one's, and how the asset then differs from a plain one.
struct PhotoCase {
    const char* name;
    Columns asset;
    Columns attributes;
    Columns resource;
    std::function<void(Asset&)> expected;
};

Date day(int year, unsigned month, unsigned number)
{
    return std::chrono::sys_days(
        std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(number));
}

/// All cases stand in one library, so each also shows that it does not leak into its neighbours.
void expectPhotos(Generation generation, const std::vector<PhotoCase>& cases)
{
    ReaderFixture library(generation);
    std::int64_t pk = 0;
    for (const PhotoCase& photo : cases) {
        library.photo(++pk, photo.asset, photo.attributes, photo.resource);
    }
    const LibrarySnapshot snapshot = library.snapshot();
    ASSERT_EQ(snapshot.assets.size(), cases.size());
    for (std::size_t i = 0; i < cases.size(); ++i) {
        Asset expected = plainPhoto(static_cast<std::int64_t>(i) + 1);
        cases[i].expected(expected);
        EXPECT_EQ(snapshot.assets[i], expected) << cases[i].name;
    }
}

const std::vector<PhotoCase> inEveryGeneration{
    {"plain", {}, {}, {}, [](Asset&) {}},
    {"video", {{"ZKIND", "1"}}, {}, {}, [](Asset& a) { a.kind = Asset::Kind::video; }},
    {"audio", {{"ZKIND", "2"}}, {}, {}, [](Asset& a) { a.kind = Asset::Kind::other; }},
    {"kind lost", {{"ZKIND", "NULL"}}, {}, {}, [](Asset& a) { a.kind = Asset::Kind::other; }},
    {"Live Photo", {{"ZKINDSUBTYPE", "2"}}, {}, {},
        [](Asset& a) { a.isLivePhoto = a.expectsPartner = true; }},
    {"video of a subtype", {{"ZKIND", "1"}, {"ZKINDSUBTYPE", "2"}}, {}, {},
        [](Asset& a) { a.kind = Asset::Kind::video; }},
    {"flags", {{"ZFAVORITE", "1"}, {"ZHIDDEN", "1"}, {"ZTRASHEDSTATE", "2"}}, {}, {},
        [](Asset& a) { a.isFavorite = a.isHidden = a.isTrashed = true; }},
    {"hidden burst frame", {{"ZVISIBILITYSTATE", "2"}}, {}, {}, [](Asset&) {}},
    {"dates", {{"ZDATECREATED", "0.5"}, {"ZADDEDDATE", "86400"}, {"ZMODIFICATIONDATE", "-86400.0"}}, {}, {},
        [](Asset& a) {
            a.dateCreated = day(2001, 1, 1) + std::chrono::milliseconds(500);
            a.dateAdded = day(2001, 1, 2);
            a.dateModified = day(2000, 12, 31);
        }},
    {"date in nanoseconds", {{"ZDATECREATED", "123456789012345"}}, {}, {},
        [](Asset& a) { a.dateCreated = day(2001, 1, 2) + std::chrono::microseconds(37'056'789'012); }},
    {"no date", {{"ZDATECREATED", "0"}}, {}, {}, [](Asset&) {}},
    {"offset of half an hour", {}, {{"ZTIMEZONEOFFSET", "-34200"}}, {},
        [](Asset& a) { a.timeZoneOffset = -34'200; }},
    {"place", {{"ZLATITUDE", "-33.5"}, {"ZLONGITUDE", "151.25"}}, {}, {},
        [](Asset& a) {
            a.latitude = -33.5;
            a.longitude = 151.25;
        }},
    {"half a place", {{"ZLATITUDE", "12.0"}, {"ZLONGITUDE", "180.5"}}, {}, {}, [](Asset&) {}},
    {"details", {}, {{"ZTITLE", "'Dünen'"}, {"ZORIGINALFILESIZE", "4096"}}, {},
        [](Asset& a) {
            a.title = "Dünen";
            a.originalFileSize = 4096;
        }},
    {"empty details", {}, {{"ZTITLE", "''"}, {"ZORIGINALFILENAME", "''"}, {"ZORIGINALFILESIZE", "0"}}, {},
        [](Asset& a) { a.originalFileName = std::nullopt; }},
    {"shared, by its type", {{"ZSAVEDASSETTYPE", "4"}, {"ZDIRECTORY", "'17/ABC'"}}, {},
        {{"ZREMOTEAVAILABILITY", "1"}},
        [](Asset& a) {
            a.directory = "17/ABC";
            a.isSharedAlbumItem = true;
        }},
    {"shared, by its publishing", {{"ZCLOUDBATCHPUBLISHDATE", "5"}, {"ZKINDSUBTYPE", "2"}}, {}, {},
        [](Asset& a) { a.isSharedAlbumItem = a.isLivePhoto = true; }},
    {"only in the cloud", {}, {}, {{"ZLOCALAVAILABILITY", "-1"}, {"ZREMOTEAVAILABILITY", "1"}},
        [](Asset& a) { a.isOnlyInCloud = true; }},
    {"here and in the cloud", {}, {}, {{"ZREMOTEAVAILABILITY", "1"}}, [](Asset&) {}},
    {"neither here nor in the cloud", {}, {}, {{"ZLOCALAVAILABILITY", "-1"}}, [](Asset&) {}},
    {"reduced copy in the cloud", {}, {},
        {{"ZDATASTORESUBTYPE", "3"}, {"ZLOCALAVAILABILITY", "-1"}, {"ZREMOTEAVAILABILITY", "1"}},
        [](Asset&) {}},
    {"edited version in the cloud", {}, {},
        {{"ZVERSION", "2"}, {"ZLOCALAVAILABILITY", "-1"}, {"ZREMOTEAVAILABILITY", "1"}}, [](Asset&) {}},
    {"referenced, without a bookmark", {{"ZSAVEDASSETTYPE", "10"}, {"ZDIRECTORY", "'/Users/a/Pictures'"}}, {},
        {{"ZLOCALAVAILABILITY", "-1"}, {"ZREMOTEAVAILABILITY", "1"}},
        [](Asset& a) {
            a.directory = "/Users/a/Pictures";
            a.isReferenced = true;
            a.referencedPath = "/Users/a/Pictures/" + a.fileName;
        }},
};

TEST(LibraryReaderAssets, readsKindsFlagsDatesAndFiles)
{
    expectPhotos(Generation::older, inEveryGeneration);
    expectPhotos(Generation::newer, inEveryGeneration);
}

TEST(LibraryReaderAssets, readsWhatEachGenerationSaysInItsOwnColumns)
{
    const auto edited = [](Asset& a) { a.hasEdits = true; };
    expectPhotos(Generation::older,
        {{"edited", {{"ZHASADJUSTMENTS", "1"}}, {}, {}, edited},
            {"fingerprint", {}, {{"ZMASTERFINGERPRINT", "'AQ=='"}}, {},
                [](Asset& a) { a.fingerprint = "AQ=="; }}});
    expectPhotos(Generation::newer,
        {{"edited", {{"ZADJUSTMENTSSTATE", "1"}}, {}, {}, edited},
            {"edited otherwise", {{"ZADJUSTMENTSSTATE", "2"}}, {}, {}, edited},
            {"slow motion of the camera", {{"ZADJUSTMENTSSTATE", "3"}}, {}, {}, [](Asset&) {}},
            {"stable hash", {}, {{"ZORIGINALSTABLEHASH", "'AQ=='"}}, {},
                [](Asset& a) { a.fingerprint = "AQ=="; }}});
}

TEST(LibraryReaderAssets, findsReferencedFilesThroughBookmarkAndVolume)
{
    ReaderFixture library;
    library.row("ZFILESYSTEMVOLUME", {{"Z_PK", "1"}, {"ZNAME", "'Old Disk'"}})
        .row("ZFILESYSTEMVOLUME", {{"Z_PK", "2"}, {"ZNAME", "'../Users'"}});
    const auto bookmark = [&](std::int64_t pk, const std::string& path) {
        library.row("ZFILESYSTEMBOOKMARK",
            {{"Z_PK", std::to_string(pk)}, {"ZPATHRELATIVETOVOLUME", "'" + path + "'"}});
    };
    bookmark(1, "Trip/a.jpeg");
    bookmark(2, "Trip/a.cr2");
    bookmark(3, "../../etc/passwd");
    const Columns elsewhere{{"ZSAVEDASSETTYPE", "10"}, {"ZDIRECTORY", "'/Volumes/Old Disk/Trip'"}};
    library.photo(1, elsewhere, {}, {{"ZFILESYSTEMBOOKMARK", "1"}, {"ZFILESYSTEMVOLUME", "1"}})
        .resourceRow(1, 17, {{"ZFILESYSTEMBOOKMARK", "2"}, {"ZFILESYSTEMVOLUME", "1"}});
    library.photo(2, {}, {}, {{"ZFILESYSTEMBOOKMARK", "1"}}); // no volume, not saved as referenced
    library.photo(3, elsewhere, {}, {{"ZFILESYSTEMBOOKMARK", "3"}, {"ZFILESYSTEMVOLUME", "1"}});
    library.photo(4, elsewhere, {}, {{"ZFILESYSTEMBOOKMARK", "1"}, {"ZFILESYSTEMVOLUME", "2"}});
    library.photo(5, {{"ZSAVEDASSETTYPE", "10"}}, {}, {{"ZFILESYSTEMBOOKMARK", "99"}});

    std::vector<std::tuple<bool, std::optional<std::string>, std::vector<std::string>, bool>> found;
    for (const Asset& a : library.snapshot().assets) {
        found.emplace_back(a.isReferenced, a.referencedPath, a.referencedPartners, a.expectsPartner);
    }
    const auto recorded = [](std::int64_t pk) { return "/Volumes/Old Disk/Trip/" + uuidOf(pk) + ".jpeg"; };
    EXPECT_THAT(found,
        ElementsAre(std::tuple(true, "/Volumes/Old Disk/Trip/a.jpeg",
                        std::vector<std::string>{"/Volumes/Old Disk/Trip/a.cr2"}, true),
            std::tuple(true, "/Trip/a.jpeg", std::vector<std::string>{}, false),
            std::tuple(true, recorded(3), std::vector<std::string>{}, false),
            std::tuple(true, recorded(4), std::vector<std::string>{}, false),
            std::tuple(true, std::nullopt, std::vector<std::string>{}, false)));
}

TEST(LibraryReaderAssets, expectsThePartnersThatResourcesName)
{
    ReaderFixture library;
    library.photo(1).resourceRow(1, 17).photo(2).resourceRow(2, 18).photo(3).resourceRow(3, 9);
    library.photo(4, {{"ZSAVEDASSETTYPE", "4"}}).resourceRow(4, 17);
    std::vector<bool> expecting;
    for (const Asset& asset : library.snapshot().assets) {
        expecting.push_back(asset.expectsPartner);
    }
    EXPECT_THAT(expecting, ElementsAre(true, true, false, false));
}

TEST(LibraryReaderAssets, asksTheCloudMasterWhereTheOriginalsRecordIsLost)
{
    ReaderFixture library;
    library.row("ZCLOUDMASTER", {{"Z_PK", "7"}, {"ZCLOUDLOCALSTATE", "3"}});
    library.row("ZCLOUDMASTER", {{"Z_PK", "8"}, {"ZCLOUDLOCALSTATE", "1"}});
    for (std::int64_t pk = 1; pk <= 3; ++pk) {
        library.assetRow(pk, {{"ZMASTER", pk == 2 ? "8" : "7"}}).attributesRow(100 + pk, pk);
    }
    library.resourceRow(3, 1);
    std::vector<bool> inCloud;
    for (const Asset& asset : library.snapshot().assets) {
        inCloud.push_back(asset.isOnlyInCloud);
    }
    EXPECT_THAT(inCloud, ElementsAre(true, false, false));
}

TEST(LibraryReaderAssets, leavesOutRowsThatCannotBeUsedAndCountsThem)
{
    ReaderFixture library;
    const std::vector<Columns> damaged{
        {{"Z_PK", "-5"}}, {{"ZUUID", "NULL"}}, {{"ZUUID", "''"}}, {{"ZFILENAME", "NULL"}}};
    const std::vector<Columns> impossible{{{"ZDIRECTORY", "'../../etc'"}}, {{"ZDIRECTORY", "'/etc'"}},
        {{"ZFILENAME", "''"}}, {{"ZFILENAME", "'a/b.jpeg'"}}, {{"ZFILENAME", "'..'"}},
        {{"ZFILENAME", "CAST(x'612e6a706700' AS TEXT)"}},
        {{"ZSAVEDASSETTYPE", "10"}, {"ZDIRECTORY", "'/Volumes/../etc'"}}};
    std::int64_t pk = 0;
    for (const auto& rows : {damaged, impossible}) {
        for (const Columns& columns : rows) {
            ++pk;
            library.assetRow(pk, columns).attributesRow(100 + pk, pk);
        }
    }
    for (int i = 0; i < 20; ++i) { // most rows must be sound, else the table is not what it seems
        library.photo(++pk);
    }
    library.photo(++pk, {{"ZDIRECTORY", "NULL"}});

    const DatabaseReading reading = library.reading();
    EXPECT_EQ(reading.snapshot.assets.size(), 21U);
    EXPECT_EQ(reading.snapshot.assets.back().directory, "");
    EXPECT_THAT(reading.snapshot.notes,
        testing::Contains("4 damaged photo rows had no usable id or file location and were left out."));
    EXPECT_THAT(sentences(reading.snapshot.damage),
        ElementsAre("7 photo rows had an impossible file location and were left out."));
}

TEST(LibraryReaderAssets, treatsADateThatCannotBeRightAsNone)
{
    ReaderFixture library;
    library.photo(1, {{"ZDATECREATED", "3187296001"}, {"ZMODIFICATIONDATE", "-63114076800"}})
        .photo(2, {{"ZADDEDDATE", "'yesterday'"}})
        .photo(3, {{"ZDATECREATED", "3187296000"}});
    const DatabaseReading reading = library.reading();
    EXPECT_EQ(reading.context.rejectedDates, 3);
    EXPECT_EQ(reading.snapshot.assets[0], plainPhoto(1));
    EXPECT_EQ(reading.snapshot.assets[2].dateCreated, day(2102, 1, 2));
    EXPECT_THAT(reading.snapshot.notes,
        testing::Contains(
            "2 items have a date in the library that cannot be right, so they are treated as having "
            "no date."));
}

TEST(LibraryReaderAssets, readsCaptionsInEitherDirectionAndSaysWhichAreLost)
{
    ReaderFixture library;
    library.photo(1).caption(11, 101, "First\nline").photo(2).caption(12, 102, "");
    library.photo(3)
        .caption(13, 103, "Pointed at")
        .run("UPDATE ZASSETDESCRIPTION SET ZASSETATTRIBUTES = NULL WHERE "
             "Z_PK = 13");
    library.photo(4, {}, {{"ZASSETDESCRIPTION", "99"}});
    library.photo(5).row("ZASSETDESCRIPTION",
        {{"Z_PK", "15"}, {"ZASSETATTRIBUTES", "105"}, {"ZLONGDESCRIPTION", "'Points back'"}});
    const LibrarySnapshot snapshot = library.snapshot();
    std::vector<std::optional<std::string>> captions;
    for (const Asset& asset : snapshot.assets) {
        captions.push_back(asset.caption);
    }
    EXPECT_THAT(
        captions, ElementsAre("First\nline", std::nullopt, "Pointed at", std::nullopt, "Points back"));
    EXPECT_THAT(snapshot.assets[1].lostDetails, IsEmpty());
    EXPECT_THAT(snapshot.assets[3].lostDetails, ElementsAre(Asset::LostDetail::caption));
    EXPECT_THAT(sentences(snapshot.damage), ElementsAre("1 photos had a caption that is lost."));
}

TEST(LibraryReaderAssets, saysWhichPhotosLostTheirDetailRecord)
{
    ReaderFixture library;
    library.photo(1).assetRow(2).resourceRow(2, 1);
    const LibrarySnapshot snapshot = library.snapshot();
    Asset lost = plainPhoto(2);
    lost.originalFileName = std::nullopt;
    lost.lostDetails = {
        Asset::LostDetail::originalName, Asset::LostDetail::caption, Asset::LostDetail::keywords};
    EXPECT_THAT(snapshot.assets, ElementsAre(plainPhoto(1), lost));
    EXPECT_THAT(sentences(snapshot.damage),
        ElementsAre(
            "1 photos lost their detail record: original file name, caption and keywords are gone for them. "
            "The photos themselves are not affected."));
}

TEST(LibraryReaderAssets, readsMissingColumnsAsNothing)
{
    ReaderFixture library;
    library.photo(1, {{"ZFAVORITE", "1"}, {"ZDATECREATED", "0"}});
    for (const char* column : {"ZFAVORITE", "ZHIDDEN", "ZTRASHEDSTATE", "ZKINDSUBTYPE", "ZADJUSTMENTSSTATE",
             "ZSAVEDASSETTYPE", "ZLATITUDE", "ZCLOUDBATCHPUBLISHDATE", "ZMASTER", "ZADDEDDATE"}) {
        library.run(std::string("ALTER TABLE ZASSET DROP COLUMN ") + column);
    }
    for (const char* column :
        {"ZVERSION", "ZREMOTEAVAILABILITY", "ZFILESYSTEMBOOKMARK", "ZFILESYSTEMVOLUME"}) {
        library.run(std::string("ALTER TABLE ZINTERNALRESOURCE DROP COLUMN ") + column);
    }
    const LibrarySnapshot snapshot = library.snapshot();
    EXPECT_THAT(snapshot.assets, ElementsAre(plainPhoto(1)));
    EXPECT_THAT(snapshot.schema.unavailable,
        ElementsAre(SchemaSummary::Feature::favourites, SchemaSummary::Feature::hidden));
}

TEST(LibraryReaderAssets, marksWhatTheDatabaseCannotGiveAsLost)
{
    ReaderFixture library;
    library.photo(1).run("DROP TABLE ZPERSON").run("DROP TABLE ZADDITIONALASSETATTRIBUTES");
    Asset expected = plainPhoto(1);
    expected.originalFileName = std::nullopt;
    expected.lostDetails = {Asset::LostDetail::originalName, Asset::LostDetail::caption,
        Asset::LostDetail::keywords, Asset::LostDetail::people};
    EXPECT_THAT(library.snapshot().assets, ElementsAre(expected));
}

TEST(LibraryReaderAssets, prefersAnOffsetOfTheAssetsOwn)
{
    ReaderFixture library;
    library.run("ALTER TABLE ZASSET ADD COLUMN ZTIMEZONEOFFSET INTEGER");
    library.photo(1, {{"ZTIMEZONEOFFSET", "3600"}}, {{"ZTIMEZONEOFFSET", "7200"}})
        .photo(2, {}, {{"ZTIMEZONEOFFSET", "7200"}});
    const LibrarySnapshot snapshot = library.snapshot();
    EXPECT_EQ(snapshot.assets[0].timeZoneOffset, 3600);
    EXPECT_EQ(snapshot.assets[1].timeZoneOffset, 7200);
}

} // namespace

} // namespace vantorel
