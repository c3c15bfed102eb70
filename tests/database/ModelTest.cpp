#include "base/Product.h"
#include "database/model/DamageReport.h"
#include "database/model/ReadError.h"
#include "database/model/SchemaSummary.h"

#include <limits>

#include <gtest/gtest.h>

namespace vantorel {
namespace {

using Kind = DamageReport::Loss::Kind;

TEST(SchemaSummary, namesThePhotosVersionOfAModel)
{
    struct Row {
        std::optional<std::int64_t> model;
        std::string text;
        bool isTested;
    };
    const Row rows[] = {
        {std::nullopt, "unknown", false},
        {12'999, "a newer version of Photos (model 12999)", false},
        {13'000, "Photos 5 (macOS 10.15)", true},
        {14'208, "Photos 6 (macOS 11)", true},
        {15'999, "Photos 7 (macOS 12)", true},
        {16'502, "Photos 8 (macOS 13)", true},
        {17'600, "Photos 9 (macOS 14)", true},
        {18'600, "Photos 10 (macOS 15)", true},
        {19'999, "Photos 11 (macOS 26)", true},
        {20'000, "a newer version of Photos (model 20000)", false},
        {269'999'999, "a newer version of Photos (model 269999999)", false},
        {270'000'000, "Photos 12 (macOS 27)", true},
        {270'999'999, "Photos 12 (macOS 27)", true},
        {271'000'000, "a newer version of Photos (model 271000000)", false},
        {-1, "a newer version of Photos (model -1)", false},
    };
    for (const Row& row : rows) {
        const SchemaSummary expected{
            .modelVersion = row.model, .photosVersionText = row.text, .isTestedVersion = row.isTested};
        EXPECT_EQ(summaryOfModel(row.model), expected) << row.text;
        EXPECT_EQ(untestedVersionNote(expected).has_value(), !row.isTested) << row.text;
    }
    EXPECT_EQ(untestedVersionNote(summaryOfModel(20'000)),
        "This library was written by a newer version of Photos (model 20000), which Vantorel has not been "
        "tested with yet. Its layout passed every check, but compare a few photos with what you expect.");
}

TEST(DamageReport, saysALossWithItsCountWhereTheSentenceWantsIt)
{
    const std::pair<DamageReport::Loss, std::string> rows[] = {
        {makeLoss(Kind::albumEntriesWithoutPhoto, 1'234),
            "1,234 album entries point at a photo whose record is lost. The albums concerned are marked."},
        {makeLoss(Kind::facesWithoutPhoto, 1), "1 faces belong to a photo whose record is lost."},
        {makeLoss(Kind::walChangesLost, 1),
            "The newest changes to this library were in a damaged log file and are lost. Recent albums, "
            "captions or "
            "other changes can be missing, and recent photos come back only as files without details."},
        {makeLoss(Kind::journalBytesLost, 12'000),
            "Part of the journals is damaged and could not be read (12 KB), so the newest changes may be "
            "missing."},
        {makeLoss(Kind::databaseBytesUnreadable, 512),
            "512 bytes of the database could not be read from the disk. What was in those places is lost; "
            "everything around them was read."},
        {makeLinksLost(LostLinks::keywords),
            "The links between photos and keywords are lost, so no photo shows its keywords."},
        {makePhotosAdded(7, OtherSource::changeJournals),
            "7 albums or folders were only known to the change journals and were added from there, with "
            "fewer "
            "details."},
        {makePhotosAdded(1'000, OtherSource::damagedDatabase),
            "1,000 albums or folders were only known to the damaged database and were added from there, with "
            "fewer "
            "details."},
    };
    for (const auto& [loss, expected] : rows) {
        EXPECT_EQ(sentence(loss), expected);
    }
}

TEST(DamageReport, leavesNoGapInASentence)
{
    for (const auto& [kind, name] : lossKindNames) {
        if (kind != Kind::linksLost) { // has makers of its own
            const std::string text = sentence(makeLoss(kind, 2));
            EXPECT_EQ(text.find('{'), std::string::npos) << name;
            EXPECT_TRUE(text.ends_with('.')) << name;
        }
    }
}

TEST(DamageReport, wordsATableByWhatIsKnownOfIt)
{
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    constexpr auto least = std::numeric_limits<std::int64_t>::min();
    const std::pair<DamageReport::TableLoss, std::optional<std::string>> rows[] = {
        {{.purpose = "Albums and folders", .highestKnownID = 5, .unreadable = true},
            "Albums and folders: nothing could be read."},
        {{.purpose = "Photos and videos", .rowsRead = 1'500, .highestKnownID = 4'000},
            "Photos and videos: 1,500 read, 2,500 more existed; some of those may have been deleted long "
            "ago."},
        {{.purpose = "Keywords", .rowsRead = 5, .highestKnownID = 5}, std::nullopt},
        {{.purpose = "Keywords", .rowsRead = 5}, std::nullopt},
        {{.purpose = "Keywords", .rowsRead = most, .highestKnownID = least}, std::nullopt},
        {{.purpose = "Keywords", .rowsRead = least, .highestKnownID = 3},
            "Keywords: 0 read, 3 more existed; some of those may have been deleted long ago."},
    };
    for (const auto& [table, expected] : rows) {
        EXPECT_EQ(tableLine(table), expected);
    }
}

TEST(DamageReport, sumsUpEverySeverityButAnIntactLibrary)
{
    for (const auto& [severity, name] : severityNames) {
        EXPECT_EQ(severitySentence(severity).has_value(), severity != DamageReport::Severity::none) << name;
    }
    EXPECT_EQ(severitySentence(DamageReport::Severity::databaseLost),
        "The library's database could not be read, so the files are saved without albums, captions or "
        "names.");
}

TEST(ReadError, saysWhatToDo)
{
    EXPECT_EQ(ReadError::notFound("/Volumes/Old/A.photoslibrary").message(),
        "There is no Photos library at \"/Volumes/Old/A.photoslibrary\"");
    EXPECT_EQ(ReadError::volumeGone("Old").message(),
        "\"Old\" was disconnected. Nothing was changed on it. Connect it again and start over.");
    EXPECT_EQ(ReadError::notEnoughTemporarySpace(3'400'000, 0).message(),
        "Vantorel needs 3.4 MB of free space on this Mac for a private copy of the library's database, and "
        "Zero KB "
        "is free. Free some space on this Mac and scan again.");
    const std::string unknown = ReadError::unknownSchema("no Core Data table Z_PRIMARYKEY").message();
    EXPECT_TRUE(unknown.starts_with("Vantorel does not recognise how this library stores its data (no Core "
                                    "Data table Z_PRIMARYKEY), so it stops "
                                    "here instead of showing wrong albums or dates. Your library was not "
                                    "changed. You can still open a healthy "
                                    "library in Photos. "));
    EXPECT_NE(unknown.find(product::supportAddress), std::string::npos);
    EXPECT_EQ(ReadError::cancelled().message(), "");
    EXPECT_STREQ(ReadError::copyFailed("the disk is full").what(),
        "The library's database could not be copied: the disk is full");
}

} // namespace
} // namespace vantorel
