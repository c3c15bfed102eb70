#include "compare/CompareFixture.h"

#include "base/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <random>

namespace vantorel {
namespace {

using namespace std::chrono_literals;
using Feature = SchemaSummary::Feature;
using Lost = Asset::LostDetail;
using Status = OriginalEntry::Status;
using Reason = OriginalEntry::MissingReason;
using Severity = DamageReport::Severity;

constexpr Date someDay = std::chrono::sys_days(std::chrono::year(2019) / 7 / 14) + 10h;

struct Named {
    std::string original{};
    std::optional<Date> date = someDay;
    std::optional<std::int64_t> size = 1'000;
};

void name(Asset& asset, const Named& named)
{
    if (!named.original.empty()) {
        asset.originalFileName = named.original;
    }
    asset.dateCreated = named.date;
    asset.originalFileSize = named.size;
}

TEST(Pairs, byIdentifierInAnyCaseThenFingerprint)
{
    CompareFixture here;
    CompareFixture there;
    here.item("abc");
    here.item("X").fingerprint = "f";
    here.item("Y").fingerprint = "f";
    here.item("Z").fingerprint = "f"; // two there have it, one of them is taken by its identifier
    here.item("").fingerprint = "";   // neither says anything
    there.item("").fingerprint = "";
    there.item("Y").fingerprint = "f";
    there.item("V").fingerprint = "f";
    there.item("ABC");
    EXPECT_EQ(described(compared(here, there)), "missing 4 5; same 3; only there 1");
}

TEST(Pairs, ofOneIdentifierTwiceFallThroughToTheNextPasses)
{
    CompareFixture here;
    CompareFixture there;
    here.item("A").caption = "first";
    here.item("A").fingerprint = "f";
    name(here.item("A"), {.original = "IMG_1.JPG"});
    here.item("A");
    there.item("A").caption = "last wins, so this one is left";
    there.item("B").fingerprint = "f";
    name(there.item("C"), {.original = "IMG_1.JPG"});
    there.item("A").caption = "first";
    EXPECT_EQ(described(compared(here, there)), "missing 4; same 3; only there 1; by name 1");
}

constexpr Date zeroOf2001 = std::chrono::sys_days(std::chrono::year(2001) / 1 / 1);
TEST(Pairs, byNameDateAndSizeWhereNothingElseSpeaks)
{
    struct Row {
        const char* what;
        Named here;
        Named there;
        bool isPair;
    };
    const Row rows[] = {
        {"equal", {"IMG_1.JPG"}, {"IMG_1.JPG"}, true},
        {"case and form", {"Caf\xC3\x89.JPG"}, {"cafe\xCC\x81.jpg"}, true},
        {"other name", {"IMG_1.JPG"}, {"IMG_2.JPG"}, false},
        {"the file's name does for one there", {"b.jpeg"}, {""}, true},
        {"but not for one here", {""}, {"a.jpeg"}, false},
        {"same second", {"a"}, {"a", someDay + 999ms}, true},
        {"next second", {"a"}, {"a", someDay + 1s}, false},
        {"cut toward zero", {"a", zeroOf2001 - 1500ms}, {"a", zeroOf2001 - 1s}, true},
        {"no date here", {"a", std::nullopt}, {"a", std::nullopt}, false},
        {"a date that says none was known", {"a", zeroOf2001}, {"a", zeroOf2001}, false},
        {"the other such date", {"a", Date{}}, {"a", Date{}}, false},
        {"other size", {"a"}, {"a", someDay, 999}, false},
        {"size unknown there", {"a"}, {"a", someDay, std::nullopt}, false},
        {"size unknown in both", {"a", someDay, std::nullopt}, {"a", someDay, std::nullopt}, true},
    };
    for (const Row& row : rows) {
        CompareFixture here;
        CompareFixture there;
        name(here.item("A"), row.here);
        name(there.item("B"), row.there);
        EXPECT_EQ(
            described(compared(here, there)), row.isPair ? "same 1; by name 1" : "missing 1; only there 1")
            << row.what;
    }
}

TEST(Pairs, keepFilesWithoutARecordApartWhoseNamesCarryNoIdentifier)
{
    CompareFixture library;
    for (const char* directory : {"A", "B"}) {
        Asset& file = library.item("IMG_0001");
        file.directory = directory;
        file.fileName = "IMG_0001.jpg";
        file.isRecoveredFile = true;
    }
    EXPECT_EQ(described(compared(library, library)), "same 2");
    CompareFixture other = library;
    other.scan.snapshot.assets[0].directory = "C";
    EXPECT_EQ(described(compared(library, other)), "missing 1; same 1; only there 1");
}

struct Difference {
    AssetChange change;
    std::function<void(Asset&)> edit; ///< Of the item there.
    std::optional<Feature> feature{}; ///< Without it in either library nothing is said.
    std::optional<Lost> lost{};       ///< Likewise for either item.
};

const Difference differences[] = {
    {AssetChange::caption, [](Asset& a) { a.caption = "x"; }, Feature::captions, Lost::caption},
    {AssetChange::keywords, [](Asset& a) { a.keywords = {"x"}; }, Feature::keywords, Lost::keywords},
    {AssetChange::people, [](Asset& a) { a.people = {"Ada"}; }, Feature::people, Lost::people},
    {AssetChange::favourite, [](Asset& a) { a.isFavorite = true; }, Feature::favourites},
    {AssetChange::hidden, [](Asset& a) { a.isHidden = true; }, Feature::hidden},
    {AssetChange::title, [](Asset& a) { a.title = "x"; }, std::nullopt, Lost::originalName},
    {AssetChange::date, [](Asset& a) { a.dateCreated = someDay + 1'000'001us; }, Feature::dates, Lost::dates},
    {AssetChange::trashedInOther, [](Asset& a) { a.isTrashed = true; }},
};

TEST(Differences, areToldOneByOneAndAllTogetherInOrder)
{
    CompareFixture here;
    here.item("A").dateCreated = someDay;
    CompareFixture all = here;
    for (const Difference& row : differences) {
        const std::string name(nameIn(assetChangeNames, row.change));
        CompareFixture there = here;
        row.edit(there.scan.snapshot.assets[0]);
        row.edit(all.scan.snapshot.assets[0]);
        const std::string told = "changed 1-1 " + name;
        EXPECT_EQ(described(compared(here, there)), told);
        EXPECT_EQ(
            described(compared(there, here)), row.change == AssetChange::trashedInOther ? "same 1" : told);

        for (CompareFixture* side : {&here, &there}) {
            const CompareFixture before = *side;
            if (row.feature) {
                side->scan.snapshot.schema.unavailable = {*row.feature};
                EXPECT_EQ(described(compared(here, there)), "same 1") << name;
            }
            *side = before;
            if (row.lost) {
                side->scan.snapshot.assets[0].lostDetails = {*row.lost};
                EXPECT_EQ(described(compared(here, there)), "same 1") << name;
            }
            *side = before;
        }
    }
    all.original(1) = {.status = Status::missing};
    EXPECT_EQ(described(compared(here, all)),
        "changed 1-1 "
        "caption,keywords,people,favourite,hidden,title,date,trashedInOther,originalMissingInOther");
    for (CompareFixture* side : {&here, &all}) {
        side->scan.snapshot.assets[0].uuid = "A0000000-0000-4000-8000-000000000001";
    }
    here.scan.snapshot.assets[0].isRecoveredFile = true;
    EXPECT_EQ(described(compared(here, all)), "changed 1-1 originalMissingInOther");
}

TEST(Differences, areNotOfFormOrderAndLessThanASecond)
{
    CompareFixture here;
    CompareFixture there;
    Asset& a = here.item("A");
    Asset& b = there.item("A");
    a.caption = "Caf\xC3\xA9";
    b.caption = "Cafe\xCC\x81";
    a.keywords = {"e\xCC\x81", "f"};
    b.keywords = {"f", "\xC3\xA9"};
    a.title = "";
    a.dateCreated = someDay;
    b.dateCreated = someDay + 1s;
    here.item("B").dateCreated = someDay;
    there.item("B"); // without a date
    EXPECT_EQ(described(compared(here, there)), "same 2");
}

TEST(Originals, areMissingOnlyWhereThatIsKnown)
{
    const auto answer = [](const OriginalEntry& here, const OriginalEntry& there, bool isInCloud = false) {
        CompareFixture a;
        CompareFixture b;
        a.item("A");
        b.item("A").isOnlyInCloud = isInCloud;
        a.original(1) = here;
        b.original(1) = there;
        return described(compared(a, b));
    };
    const std::string missing = "changed 1-1 originalMissingInOther";
    const std::string inCloud = "in cloud there 1; same 1";
    for (const Status here : {Status::present, Status::presentSizeDiffers, Status::referenced}) {
        EXPECT_EQ(answer({.status = here}, {.status = Status::referenced}), "same 1");
        EXPECT_EQ(answer({.status = Status::missing}, {.status = here}), "same 1");
        for (const Status there : {Status::missing, Status::derivativeOnly, Status::unchecked}) {
            const bool isChecked = there != Status::unchecked;
            for (const auto reason : {Reason::notFound, Reason::emptyFile, Reason::referencedFileGone}) {
                EXPECT_EQ(answer({.status = here}, {.status = there, .reason = reason}),
                    isChecked ? missing : "same 1");
                EXPECT_EQ(answer({.status = here}, {.status = there, .reason = reason}, true), inCloud);
            }
            EXPECT_EQ(answer({.status = here}, {.status = there, .reason = Reason::onlyInCloud}), inCloud);
            for (const auto reason :
                {Reason::accessDenied, Reason::folderUnreadable, Reason::refusedLocation}) {
                EXPECT_EQ(answer({.status = here}, {.status = there, .reason = reason}), "same 1");
            }
        }
    }
    EXPECT_EQ(answer({.status = Status::derivativeOnly}, {.status = Status::missing}), "same 1");
    CompareFixture a;
    a.item("A");
    CompareFixture unlisted = a;
    unlisted.scan.originals.entries.clear();
    EXPECT_EQ(described(compared(a, unlisted)), "same 1");
    EXPECT_EQ(described(compared(unlisted, a)), "same 1");
}

TEST(Unmatched, ofRecentlyDeletedAreOnlyCounted)
{
    CompareFixture here;
    here.item("A").isTrashed = true;
    here.item("B");
    CompareFixture there;
    there.item("C").isTrashed = true;
    EXPECT_EQ(described(compared(here, there)), "missing 2; deleted here 1; only there 1");
}

TEST(Cautions, sayWhatLimitsTheResult)
{
    const DamageReport whole;
    const DamageReport journals{.severity = Severity::fromJournals, .diskDidNotAnswer = true};
    const DamageReport silent{.severity = Severity::databaseLost, .diskDidNotAnswer = true};
    const DamageReport salvaged{.severity = Severity::salvaged};
    const DamageReport walLost{.severity = Severity::walLost};
    const std::string hereJournals =
        "This library was read from its change journals, so People names are not compared.";
    const std::string thereJournals =
        "The library compared with was read from its change journals, so People names are not compared.";
    const std::string hereDamaged =
        "The source library is damaged, so what it lost cannot show up here as missing.";
    const std::string thereDamaged = "The library compared with is damaged, so some items may look missing "
                                     "that are only unreadable.";
    const std::string hereSilent = "The disk did not answer for the source library's database, so what is "
                                   "not read cannot show up here as missing.";
    const std::string thereSilent = "The disk did not answer for the database of the library compared with, "
                                    "so some items may look missing that are only not read.";
    const std::tuple<DamageReport, DamageReport, std::vector<std::string>> rows[] = {
        {whole, whole, {}},
        {journals, whole, {hereJournals}},
        {whole, journals, {thereJournals}},
        {journals, journals, {hereJournals}},
        {journals, salvaged, {hereJournals, thereDamaged}},
        {silent, whole, {hereSilent}},
        {walLost, silent, {hereDamaged, thereSilent}},
        {salvaged, journals, {hereDamaged, thereJournals}},
        {whole, walLost, {thereDamaged}},
    };
    for (const auto& [damageHere, damageThere, cautions] : rows) {
        CompareFixture here;
        CompareFixture there;
        here.scan.snapshot.damage = damageHere;
        there.scan.snapshot.damage = damageThere;
        EXPECT_EQ(compared(here, there).cautions, cautions);
    }
}

TEST(Cautions, sayThatFilesWereNotAllChecked)
{
    using State = OriginalsReport::State;
    const std::vector<std::string> unread{
        "Some folders of a library could not be read, so file differences are incomplete."};
    const std::pair<OriginalsReport, std::vector<std::string>> rows[] = {
        {{.state = State::interrupted, .deniedFolders = {"originals/A"}},
            {"A check of files did not finish, so file differences are incomplete."}},
        {{.state = State::partlyUnreadable}, unread},
        {{.unreadableFolders = {"originals/A"}}, unread},
        {{.deniedFolders = {"originals/A"}}, unread},
    };
    CompareFixture partly;
    partly.scan.originals.state = State::partlyUnreadable;
    for (const auto& [report, cautions] : rows) {
        CompareFixture troubled;
        troubled.scan.originals = report;
        EXPECT_EQ(compared(troubled, {}).cautions, cautions);
        EXPECT_EQ(compared({}, troubled).cautions, cautions);
        EXPECT_EQ(compared(partly, troubled).cautions, cautions);
    }
}

/// Items that agree in few things, so that every pass meets equal keys; identifiers are each used once.
CompareFixture drawn(std::mt19937& random)
{
    const auto upTo = [&random](int most) { return std::uniform_int_distribution(0, most)(random); };
    CompareFixture library;
    std::vector<int> identifiers(30);
    for (std::size_t i = 0; i < identifiers.size(); ++i) {
        identifiers[i] = static_cast<int>(i);
    }
    std::shuffle(identifiers.begin(), identifiers.end(), random);
    for (int i = upTo(25); i > 0; --i) {
        Asset& asset = library.item("ID-" + std::to_string(identifiers[static_cast<std::size_t>(i)]));
        if (upTo(1) == 0) {
            asset.fingerprint = "f" + std::to_string(upTo(4));
        }
        name(asset,
            {.original = upTo(3) == 0 ? "" : "IMG_" + std::to_string(upTo(2)),
                .date = upTo(4) == 0 ? std::nullopt : std::optional(someDay + 1s * upTo(1))});
        asset.isTrashed = upTo(4) == 0;
        asset.isFavorite = upTo(1) == 0;
    }
    for (int i = upTo(8); i > 0; --i) {
        Album& album = upTo(3) == 0 ? library.folder("F") : library.album("A" + std::to_string(upTo(2)));
        if (upTo(1) == 0) {
            album.uuid = "AL-" + std::to_string(i);
        }
        if (upTo(2) > 0) {
            album.parentPK = upTo(8); // perhaps itself, an album, or in a circle
        }
        for (int member = upTo(6); member > 0; --member) {
            album.assetPKs.push_back(upTo(25)); // perhaps twice, perhaps not there
        }
    }
    return library;
}

TEST(Libraries, comparedWithThemselvesHaveNoDifference)
{
    for (std::uint32_t seed = 0; seed < 100; ++seed) {
        std::mt19937 random(seed);
        const CompareFixture library = drawn(random);
        const LibraryComparison same = compared(library, library);
        EXPECT_EQ(same,
            (LibraryComparison{.sameAssetCount = same.sameAssetCount, .sameAlbumCount = same.sameAlbumCount}))
            << "seed " << seed << ": " << described(same);
    }
}

TEST(Libraries, exchangedExchangeWhatIsMissingAndOnlyThere)
{
    for (std::uint32_t seed = 0; seed < 300; ++seed) {
        std::mt19937 random(seed);
        const CompareFixture a = drawn(random);
        const CompareFixture b = drawn(random);
        const LibraryComparison ab = compared(a, b);
        const LibraryComparison ba = compared(b, a);
        EXPECT_EQ(std::ssize(ab.missingAssetPKs) + ab.deletedHereOnlyCount, ba.onlyInOtherAssetCount) << seed;
        EXPECT_EQ(std::ssize(ab.missingAlbumPKs) + std::ssize(ab.missingFolderPKs), ba.onlyInOtherAlbumCount)
            << seed;
        EXPECT_EQ(ab.matchedByNameAndDate, ba.matchedByNameAndDate) << seed;
        EXPECT_EQ(ab.sameAlbumCount, ba.sameAlbumCount) << seed;
        std::int64_t missing = 0;
        for (const ChangedAlbum& album : ab.changedAlbums) {
            missing += album.photosMissingInOther;
        }
        for (const ChangedAlbum& album : ba.changedAlbums) {
            missing -= album.photosOnlyInOther;
        }
        EXPECT_EQ(missing, 0) << seed;
    }
}

TEST(Libraries, ofOneKeyForEverythingTakeNoLongerThanOthers)
{
    // With a search through equal keys for each item this would not end within a test's time.
    CompareFixture here;
    CompareFixture there;
    for (int i = 0; i < 60'000; ++i) {
        here.item("SAME").fingerprint = "f";
        name(there.item("OTHER"), {.original = "IMG"});
        there.scan.snapshot.assets.back().fingerprint = i % 2 == 0 ? "f" : "g";
        name(here.scan.snapshot.assets.back(), {.original = "img"});
        Album& folder = here.folder("F");
        folder.parentPK = folder.pk - 1; // one in the other
        there.folder("F").parentPK = folder.parentPK;
    }
    EXPECT_EQ(described(compared(here, there)), "same 60000; same albums 60000; by name 30000");
}

TEST(Texts, nameDifferencesAndCounts)
{
    EXPECT_EQ(changeLabel(AssetChange::originalMissingInOther), "original missing there");
    EXPECT_EQ(joined(changeLabels({.renamedFrom = "Roma",
                         .movedFrom = ChangedAlbum::Place{"Trips", "Italy"},
                         .photosMissingInOther = 1,
                         .photosOnlyInOther = 1'200}),
                  ", "),
        "named \"Roma\" there, in the folder \"Trips/Italy\" there, 1 item not in it there, 1,200 items only "
        "in it there");
    EXPECT_EQ(joined(changeLabels({.movedFrom = ChangedAlbum::Place{}}), ""), "at the top level there");
    EXPECT_EQ(joined(countSentences({.deletedHereOnlyCount = 2,
                         .originalInCloudInOtherCount = 1,
                         .onlyInOtherAssetCount = 1'000,
                         .onlyInOtherAlbumCount = 1,
                         .matchedByNameAndDate = 1}),
                  "\n"),
        "1,000 items and 1 album or folder only in the other library.\n"
        "1 item has the original in iCloud there, not on its disk. Nothing is lost, so these do not count as "
        "differences.\n"
        "2 items are in Recently Deleted here and not in the other library, so not listed as missing.\n"
        "1 items could only be matched by name, date and size.");
}

} // namespace
} // namespace vantorel
