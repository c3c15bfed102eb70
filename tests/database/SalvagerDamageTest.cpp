#include "SalvagerFixture.h"
#include "base/Clock.h"
#include "database/Salvager.h"
#include "disk/ChildProcess.h"
#include "sample/DatabasePages.h"
#include "sample/SampleLibrary.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace vantorel {
namespace {

using Failure = Salvager::Failure;
using Rows = std::multiset<std::string>;

/// A library's database and what is in it, written once.
struct Intact {
    Intact()
    {
        auto plan = sample::drawPlan(400, 3);
        plan.pictureWidth = 16;
        plan.pictureHeight = 12;
        sample::WriteOptions options;
        options.withJournals = false;
        options.withLog = false;
        options.hardLinkedFiles = true;
        const TemporaryFolder folder;
        const auto library = folder / "Sample.photoslibrary";
        sample::writeLibrary(plan, options, library);
        pages.bytes = folder.read("Sample.photoslibrary/database/Photos.sqlite");
        const auto file = library / "database/Photos.sqlite";
        roots = pages.roots();
        for (const auto& table : tables) {
            rows[table] = rowsOf(file, table).value();
        }
        for (const auto& index : valuesOf(file, "SELECT name FROM sqlite_master WHERE type = 'index'")) {
            indexes.push_back(index);
        }
    }
    static const Intact& get()
    {
        static const Intact intact;
        return intact;
    }
    std::int64_t root(const std::string& name) const { return roots.at(name); }

    /// Generation 11: the last two are the links between albums and photos, and photos and keywords.
    const std::vector<std::string> tables{"ZASSET", "ZADDITIONALASSETATTRIBUTES", "ZASSETDESCRIPTION",
        "ZGENERICALBUM", "ZKEYWORD", "ZPERSON", "ZDETECTEDFACE", "ZINTERNALRESOURCE", "Z_PRIMARYKEY",
        "Z_33ASSETS", "Z_1KEYWORDS"};
    std::vector<std::string> indexes;
    sample::DatabasePages pages;
    std::map<std::string, std::int64_t> roots;
    std::map<std::string, Rows> rows;
};

/// Damages the database, rebuilds it and says what came back.
class SalvagerDamage : public testing::Test {
protected:
    void SetUp() override
    {
        static const auto tool = recoveringTool();
        if (!tool) {
            GTEST_SKIP() << "no SQLite tool here recovers; scripts/build-sqlite-tool builds one";
        }
        tool_ = *tool;
    }
    std::expected<Salvager::Output, Failure> salvage(const std::string& bytes)
    {
        Salvager::Request request;
        request.database = folder_.write("Photos.sqlite", bytes);
        request.folder = folder_.path();
        request.freeBytes = [] { return std::int64_t{1} << 40; };
        return Salvager(realSystemCalls(), realChildProcesses(systemClock()), {tool_}).salvage(request);
    }
    Rows back(const std::string& table) const
    {
        return rowsOf(folder_ / "recovered.sqlite", table).value_or(Rows{});
    }
    /// No row is there that was not in the library.
    void expectNoOtherRows() const
    {
        for (const auto& table : intact_.tables) {
            const auto rows = back(table);
            EXPECT_TRUE(std::ranges::includes(intact_.rows.at(table), rows)) << table;
        }
    }

    const Intact& intact_ = Intact::get();
    TemporaryFolder folder_;
    DiskPath tool_;
};

TEST_F(SalvagerDamage, ofARootLosesNothingThatHasPagesOfItsOwn)
{
    int withPages = 0;
    for (const auto& damaged : intact_.tables) {
        auto pages = intact_.pages;
        pages.zero(intact_.root(damaged));
        const bool comesBack = intact_.pages.isInterior(intact_.root(damaged));
        const auto output = salvage(pages.bytes);
        ASSERT_TRUE(output) << damaged;
        const auto count = static_cast<std::int64_t>(intact_.rows.at(damaged).size());
        EXPECT_EQ(*output,
            (Salvager::Output{.url = folder_ / "recovered.sqlite", .rehomed = comesBack ? count : 0}))
            << damaged;
        for (const auto& table : intact_.tables) {
            EXPECT_EQ(back(table), table != damaged || comesBack ? intact_.rows.at(table) : Rows{})
                << table << " with " << damaged << " damaged";
        }
        withPages += comesBack ? 1 : 0;
    }
    EXPECT_GE(withPages, 6); // else the library is too small to tell anything
}

TEST_F(SalvagerDamage, ofAllRootsAtOnceLosesNoRowOfAnEntity)
{
    auto pages = intact_.pages;
    for (const auto& table : intact_.tables) {
        if (intact_.pages.isInterior(intact_.root(table))) {
            pages.zero(intact_.root(table));
        }
    }
    ASSERT_TRUE(salvage(pages.bytes));
    for (const auto& table : intact_.tables) {
        EXPECT_EQ(back(table), intact_.rows.at(table)) << table;
    }
}

TEST_F(SalvagerDamage, ofTheEntitiesTooStillBringsThePhotosBack)
{
    auto pages = intact_.pages;
    pages.zero(intact_.root("Z_PRIMARYKEY"));
    pages.zero(intact_.root("ZASSET"));
    ASSERT_TRUE(salvage(pages.bytes));
    EXPECT_EQ(back("ZASSET"), intact_.rows.at("ZASSET"));
}

TEST_F(SalvagerDamage, ofTheHeaderAloneOrIndexesAloneLosesNothing)
{
    auto header = intact_.pages;
    header.bytes.replace(0, 100, 100, '\0');
    auto indexes = intact_.pages;
    for (const auto& index : intact_.indexes) {
        indexes.zero(intact_.root(index));
    }
    for (const auto& bytes : {intact_.pages.bytes, header.bytes, indexes.bytes}) {
        EXPECT_EQ(salvage(bytes), (Salvager::Output{.url = folder_ / "recovered.sqlite"}));
        for (const auto& table : intact_.tables) {
            EXPECT_EQ(back(table), intact_.rows.at(table)) << table;
        }
    }
}

TEST_F(SalvagerDamage, withoutDefinitionsGivesNothing)
{
    auto schema = intact_.pages;
    schema.zero(1);
    std::mt19937 random(5);
    std::string noise(intact_.pages.bytes.size(), '\0');
    std::ranges::generate(noise, [&random] { return static_cast<char>(random()); });
    for (const auto& bytes : {schema.bytes, noise, std::string(), std::string("SQLite format 3")}) {
        EXPECT_EQ(salvage(bytes), std::unexpected(Failure::unusable));
        EXPECT_FALSE(folder_.has("recovered.sqlite"));
    }
}

TEST_F(SalvagerDamage, ofManyPagesGivesBackNoRowThatWasNotThere)
{
    for (const unsigned percent : {1u, 5u, 20u}) {
        for (unsigned seed = 1; seed <= 2; ++seed) {
            auto pages = intact_.pages;
            std::mt19937 random(100 * percent + seed);
            for (std::size_t i = 0; i <= pages.count() * percent / 100; ++i) {
                pages.zero(static_cast<std::int64_t>(2 + random() % (pages.count() - 1)));
            }
            const auto output = salvage(pages.bytes);
            EXPECT_TRUE(output || output.error() == Failure::unusable) << percent << " % with seed " << seed;
            expectNoOtherRows();
        }
    }
    for (const std::size_t percent : {85u, 60u, 25u, 1u}) {
        auto bytes = intact_.pages.bytes;
        bytes.resize(bytes.size() * percent / 100);
        const auto output = salvage(bytes);
        EXPECT_TRUE(output || output.error() == Failure::unusable) << percent;
        expectNoOtherRows();
    }
}

TEST_F(SalvagerDamage, thatMixesPagesAndBytesEndsInAResult)
{
    for (unsigned seed = 1; seed <= 3; ++seed) {
        auto swapped = intact_.pages;
        auto flipped = intact_.pages;
        std::mt19937 random(seed);
        const auto page = [&swapped](std::mt19937& drawn) {
            return static_cast<std::int64_t>(1 + drawn() % swapped.count());
        };
        for (std::size_t i = 0; i <= swapped.count() / 50; ++i) {
            swapped.swap(page(random), page(random));
        }
        for (std::size_t i = 0; i <= flipped.count(); ++i) {
            flipped.bytes[random() % flipped.bytes.size()] ^= '\xff';
        }
        for (const auto& bytes : {swapped.bytes, flipped.bytes}) {
            const auto output = salvage(bytes);
            ASSERT_TRUE(output || output.error() == Failure::unusable) << seed;
            EXPECT_EQ(output.has_value(), folder_.has("recovered.sqlite"));
        }
    }
}

} // namespace
} // namespace vantorel
