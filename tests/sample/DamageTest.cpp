#include "sample/Damage.h"
#include "sample/SampleFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <ranges>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantorel::sample {
namespace {

constexpr std::size_t enoughForPages = 250; ///< Photos, so that the larger tables have several pages.

WriteOptions smallFiles()
{
    WriteOptions options;
    options.hardLinkedFiles = true;
    return options;
}

/// A damaged copy of a library's database, journals and empty folders of originals.
class Damaged {
public:
    explicit Damaged(const std::vector<Damage>& kinds, std::uint64_t seed = 1)
    {
        static const SampleFixture whole(smallFiles(), enoughForPages);
        for (const char* part : {"database", "resources/journals", "originals"}) {
            using std::filesystem::copy_options;
            folder.makeFolder(DiskPath("Sample.photoslibrary") / part);
            std::filesystem::copy(whole.library() / part, library / part,
                copy_options::recursive
                    | (part == std::string("originals") ? copy_options::directories_only
                                                        : copy_options::none));
        }
        before = folder.tree();
        damageLibrary(library, kinds, seed);
        after = folder.tree();
    }
    std::vector<std::string> changedFiles() const
    {
        std::vector<std::string> names;
        for (const auto& [name, bytes] : before) {
            const auto found = after.find(name);
            if (found == after.end() || found->second != bytes) {
                names.push_back(std::filesystem::path(name).filename());
            }
        }
        return names;
    }

    TemporaryFolder folder{};
    DiskPath library = folder / "Sample.photoslibrary";
    std::map<std::string, std::string> before;
    std::map<std::string, std::string> after;
};

TEST(Damage, isTheSameForTheSameSeedAndWhatItSays)
{
    const std::vector<std::string> database{"Photos.sqlite"};
    const std::vector<std::string> log{"Photos.sqlite-wal"};
    for (const auto& [kind, name] : damageNames) {
        const Damaged damaged({kind});
        EXPECT_EQ(damaged.after, Damaged({kind}).after) << name;
        auto changed = damaged.changedFiles();
        if (kind <= Damage::emptyDatabase) { // the log may have been merged
            std::erase(changed, "Photos.sqlite-wal");
            std::erase(changed, "Photos.sqlite-shm");
            EXPECT_EQ(changed, database) << name;
        } else if (kind == Damage::damagedLog || kind == Damage::cutLog) {
            EXPECT_EQ(changed, log) << name;
        } else if (kind == Damage::noDatabase) {
            EXPECT_FALSE(damaged.folder.has("Sample.photoslibrary/database"));
        } else if (kind == Damage::noJournals) {
            EXPECT_FALSE(damaged.folder.has("Sample.photoslibrary/resources/journals"));
        } else if (kind == Damage::cutJournals || kind == Damage::damagedJournals) {
            EXPECT_FALSE(changed.empty());
            EXPECT_TRUE(
                std::ranges::all_of(changed, [](const auto& file) { return file.ends_with(".plj"); }));
        } else {
            EXPECT_TRUE(changed.empty() || geteuid() != 0) << name; // permissions alone
        }
    }
    EXPECT_NE(Damaged({Damage::scatteredPages}, 1).after, Damaged({Damage::scatteredPages}, 2).after);
}

/// "error: …", or the count of all rows.
std::string rowsIn(const Damaged& damaged, const std::string& table)
{
    const TemporaryFolder copy;
    for (const char* suffix : {"", "-wal"}) {
        const std::string name = std::string("Photos.sqlite") + suffix;
        if (damaged.folder.has("Sample.photoslibrary/database/" + name)) {
            copy.write(name, damaged.folder.read("Sample.photoslibrary/database/" + name));
        }
    }
    return DatabaseQuestions(copy / "Photos.sqlite").one("SELECT count(*) FROM " + table + " NOT INDEXED");
}

TEST(Damage, ofATableLeavesTheOthersWhole)
{
    const std::vector<std::pair<Damage, std::string>> tables{{Damage::photoPages, "ZASSET"},
        {Damage::detailPages, "ZADDITIONALASSETATTRIBUTES"}, {Damage::captionPages, "ZASSETDESCRIPTION"},
        {Damage::albumPages, "ZGENERICALBUM"}, {Damage::keywordPages, "ZKEYWORD"},
        {Damage::personPages, "ZPERSON"}, {Damage::facePages, "ZDETECTEDFACE"},
        {Damage::resourcePages, "ZINTERNALRESOURCE"}, {Damage::entityPages, "Z_PRIMARYKEY"},
        {Damage::albumLinkPages, "Z_33ASSETS"}, {Damage::keywordLinkPages, "Z_1KEYWORDS"}};
    const Damaged whole({});
    for (const auto& [kind, damagedTable] : tables) {
        const Damaged damaged({kind});
        for (const std::string& table : tables | std::views::values) {
            const std::string rows = rowsIn(damaged, table);
            if (table == damagedTable) {
                EXPECT_TRUE(rows.starts_with("error: ")) << table << ": " << rows;
            } else {
                EXPECT_EQ(rows, rowsIn(whole, table)) << table << " after " << nameIn(damageNames, kind);
            }
        }
    }
    EXPECT_EQ(rowsIn(Damaged({Damage::indexRoots}), "ZASSET"), rowsIn(whole, "ZASSET"));
    EXPECT_TRUE(rowsIn(Damaged({Damage::tableRoots}), "ZASSET").starts_with("error: "));
}

TEST(Damage, refusesFoldersAndSaysWhatItCannotDo)
{
    const Damaged refused({Damage::refusedOriginals, Damage::refusedDatabase});
    const auto modeOf = [](const DiskPath& path) { return std::filesystem::status(path).permissions(); };
    EXPECT_EQ(modeOf(refused.library / "database"), std::filesystem::perms::none);
    std::size_t closed = 0;
    std::size_t folders = 0;
    for (const auto& entry : std::filesystem::directory_iterator(refused.library / "originals")) {
        folders += entry.is_directory() ? 1 : 0;
        closed += modeOf(entry.path()) == std::filesystem::perms::none ? 1 : 0;
    }
    EXPECT_EQ(closed, (folders + 2) / 3);

    const Damaged without({Damage::noDatabase});
    EXPECT_THROW(damageLibrary(without.library, {Damage::photoPages}, 1), std::runtime_error);
    EXPECT_THROW(damageLibrary(without.library, {Damage::cutLog}, 1), std::runtime_error);
    const Damaged noise({Damage::randomDatabase});
    EXPECT_THROW(damageLibrary(noise.library, {Damage::photoPages}, 1), std::runtime_error);
}

} // namespace
} // namespace vantorel::sample
