#include "ReaderFixture.h"
#include "SalvagerFixture.h"
#include "sample/DatabasePages.h"
#include "sample/SampleLibrary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>

namespace vantorel {
namespace {

using testing::Contains;
using testing::StartsWith;
using Pages = sample::DatabasePages;
using Severity = DamageReport::Severity;

/// A library with journals and all its changes merged into the database, written and read once.
struct Whole {
    Whole()
    {
        auto plan = sample::drawPlan(400, 5);
        plan.pictureWidth = 16;
        plan.pictureHeight = 12;
        sample::WriteOptions options;
        options.withLog = false;
        options.hardLinkedFiles = true;
        sample::writeLibrary(plan, options, library);
        pages.bytes = folder.read(database);
        roots = pages.roots();
        snapshot = LibraryReading().of(library);
    }
    static const Whole& get()
    {
        static const Whole whole;
        return whole;
    }

    TemporaryFolder folder;
    DiskPath library = folder / "Sample.photoslibrary";
    std::string database = "Sample.photoslibrary/database/Photos.sqlite";
    Pages pages;
    std::map<std::string, std::int64_t> roots;
    LibrarySnapshot snapshot;
};

using Spoil = std::function<void(Pages&, const std::map<std::string, std::int64_t>&)>;

/// The whole library with a spoiled database: the database alone, with the journals or without.
LibrarySnapshot readSpoiled(const Spoil& spoil, bool withJournals, const std::string& log = {})
{
    const Whole& whole = Whole::get();
    const TemporaryFolder folder;
    Pages pages = whole.pages;
    spoil(pages, whole.roots);
    folder.write("L.photoslibrary/database/Photos.sqlite", pages.bytes);
    if (!log.empty()) {
        folder.write("L.photoslibrary/database/Photos.sqlite-wal", log);
    }
    folder.makeFolder("L.photoslibrary/originals");
    if (withJournals) {
        std::filesystem::copy(
            whole.library / "resources/journals", folder.makeFolder("L.photoslibrary/resources/journals"));
    }
    return LibraryReading().of(folder / "L.photoslibrary");
}

/// Without the items of shared albums, which Photos writes into no journal.
std::map<std::string, Asset> byIdentifier(const LibrarySnapshot& snapshot)
{
    std::map<std::string, Asset> assets;
    for (const Asset& asset : snapshot.assets) {
        if (!asset.isSharedAlbumItem) {
            assets.emplace(asset.uuid, asset);
        }
    }
    return assets;
}

/// By identifier, title, kind, folder and entries.
using AlbumFacts = std::tuple<std::string, std::string, Album::Kind, std::string, std::set<std::string>>;
std::set<AlbumFacts> albumsOf(const LibrarySnapshot& snapshot)
{
    std::map<std::int64_t, std::string> photos;
    std::map<std::int64_t, std::string> folders;
    for (const Asset& asset : snapshot.assets) {
        photos[asset.pk] = asset.uuid;
    }
    for (const Album& album : snapshot.albums) {
        folders[album.pk] = album.kind == Album::Kind::root ? std::string() : album.uuid.value_or("-");
    }
    std::set<AlbumFacts> facts;
    for (const Album& album : snapshot.albums) {
        if (album.kind != Album::Kind::album && album.kind != Album::Kind::folder) {
            continue;
        }
        std::set<std::string> members;
        for (const std::int64_t member : album.assetPKs) {
            members.insert(photos.at(member));
        }
        facts.emplace(album.uuid.value_or("-"), album.title.value_or(std::string()), album.kind,
            album.parentPK ? folders.at(*album.parentPK) : std::string(), members);
    }
    return facts;
}

class LibraryReaderDamage : public testing::Test {
protected:
    void SetUp() override
    {
        if (!recoveringTool()) {
            GTEST_SKIP() << "no SQLite tool here recovers; scripts/build-sqlite-tool builds one";
        }
    }
    const LibrarySnapshot& whole_ = Whole::get().snapshot;
};

TEST_F(LibraryReaderDamage, losesNothingWhereEverythingCanBePutBack)
{
    const std::vector<std::pair<std::string, Spoil>> rows{
        {"the root of the photos", [](Pages& pages, const auto& roots) { pages.zero(roots.at("ZASSET")); }},
        {"the root of the details",
            [](Pages& pages, const auto& roots) { pages.zero(roots.at("ZADDITIONALASSETATTRIBUTES")); }},
        {"the header", [](Pages& pages, const auto&) { pages.bytes.replace(0, 100, 100, '\0'); }},
        {"keywords, from the journals",
            [](Pages& pages, const auto& roots) { pages.zero(roots.at("ZKEYWORD")); }},
        {"captions and albums, from the journals",
            [](Pages& pages, const auto& roots) {
                pages.zero(roots.at("ZASSETDESCRIPTION"));
                pages.zero(roots.at("ZGENERICALBUM"));
            }},
    };
    for (const auto& [what, spoil] : rows) {
        const LibrarySnapshot read = readSpoiled(spoil, true);
        EXPECT_EQ(read.damage.severity, Severity::salvaged) << what;
        EXPECT_THAT(read.notes, Contains("The library's database is damaged.")) << what;
        const auto assets = byIdentifier(read);
        EXPECT_EQ(read.assets.size(), whole_.assets.size()) << what;
        for (const auto& [uuid, asset] : byIdentifier(whole_)) {
            const Asset& back = assets.at(uuid);
            EXPECT_EQ(back.caption, asset.caption) << what;
            EXPECT_EQ(back.keywords, asset.keywords) << what;
            EXPECT_EQ(back.people, asset.people) << what;
            EXPECT_EQ(back.originalFileName, asset.originalFileName) << what;
            EXPECT_EQ(back.dateCreated, asset.dateCreated) << what;
            EXPECT_EQ(back.lostDetails, asset.lostDetails) << what;
        }
        EXPECT_EQ(albumsOf(read), albumsOf(whole_)) << what;
    }
}

TEST_F(LibraryReaderDamage, readsTheJournalsWhereTheDatabaseGivesNothing)
{
    const std::vector<std::pair<std::string, Spoil>> rows{
        {"no definitions", [](Pages& pages, const auto&) { pages.zero(1); }},
        {"something else in its place",
            [](Pages& pages, const auto&) {
                std::mt19937 random(3);
                std::ranges::generate(pages.bytes, [&] { return static_cast<char>(random()); });
            }},
    };
    for (const auto& [what, spoil] : rows) {
        const LibrarySnapshot read = readSpoiled(spoil, true);
        EXPECT_EQ(read.damage.severity, Severity::fromJournals) << what;
        EXPECT_EQ(read.notes.front(), "The library's database is damaged.") << what;
        EXPECT_EQ(read.assets.size(), byIdentifier(whole_).size()) << what;
        EXPECT_EQ(albumsOf(read), albumsOf(whole_)) << what;
        EXPECT_TRUE(read.people.empty()) << what;

        EXPECT_EQ(readSpoiled(spoil, false).damage.severity, Severity::databaseLost) << what;
    }
}

TEST_F(LibraryReaderDamage, ofACutFileIsFilledFromTheJournals)
{
    for (const std::size_t percent : {30U, 60U, 80U, 95U}) {
        const Spoil cut = [percent](Pages& pages, const auto&) {
            pages.bytes.resize(pages.count() * percent / 100 * Pages::size);
        };
        const LibrarySnapshot alone = readSpoiled(cut, false);
        const auto known = byIdentifier(whole_);
        const auto left = byIdentifier(alone);
        for (const auto& [uuid, asset] : left) {
            EXPECT_TRUE(known.contains(uuid)) << percent;
        }
        EXPECT_EQ(alone.damage.severity, left.empty() ? Severity::databaseLost : Severity::salvaged);
        const LibrarySnapshot both = readSpoiled(cut, true);
        EXPECT_EQ(byIdentifier(both).size(), known.size()) << percent;
        EXPECT_EQ(both.damage.severity,
            left.size() < known.size() / 2 ? Severity::fromJournals : Severity::salvaged)
            << percent;
    }
}

TEST_F(LibraryReaderDamage, countsWhatIsLostWithoutJournals)
{
    // One page in twelve, never the definitions.
    const Spoil holes = [](Pages& pages, const auto&) {
        for (std::size_t page = 130; page < pages.count(); page += 12) {
            pages.zero(static_cast<std::int64_t>(page));
        }
    };
    const LibrarySnapshot read = readSpoiled(holes, false);
    EXPECT_EQ(read.damage.severity, Severity::salvaged);
    EXPECT_GT(read.assets.size(), whole_.assets.size() / 2);
    EXPECT_LT(read.assets.size(), whole_.assets.size());
    EXPECT_THAT(
        read.damage.tables, Contains(testing::Field(&DamageReport::TableLoss::purpose, "Photos and videos")));
    const LibrarySnapshot both = readSpoiled(holes, true);
    EXPECT_EQ(byIdentifier(both).size(), byIdentifier(whole_).size());
    EXPECT_THAT(both.notes,
        Contains(
            testing::HasSubstr(" photos were only known to the change journals and were added from there")));
}

TEST(LibraryReaderLostLog, isMadeGoodByTheJournals)
{
    const auto nothing = [](Pages&, const auto&) { };
    const LibrarySnapshot read = readSpoiled(nothing, true, std::string(64, 'x'));
    EXPECT_EQ(read.damage.severity, Severity::walLost);
    EXPECT_EQ(read.assets, Whole::get().snapshot.assets);
    EXPECT_EQ(read.albums, Whole::get().snapshot.albums);

    // Without its log a database can even be empty.
    const auto emptied = [](Pages& pages, const auto&) {
        ReaderFixture fresh;
        fresh.close();
        pages.bytes = fresh.folder().read("Trip.photoslibrary/database/Photos.sqlite");
    };
    const LibrarySnapshot journals = readSpoiled(emptied, true, std::string(64, 'x'));
    EXPECT_EQ(journals.damage.severity, Severity::fromJournals);
    EXPECT_EQ(journals.assets.size(), byIdentifier(Whole::get().snapshot).size());
    EXPECT_THAT(journals.damage.losses,
        Contains(testing::Field(&DamageReport::Loss::kind, DamageReport::Loss::Kind::walChangesLost)));
}

} // namespace
} // namespace vantorel
