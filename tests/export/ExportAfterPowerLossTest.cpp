#include "base/Digest.h"
#include "export/ExportFixture.h"
#include "export/UnfinishedExport.h"
#include "support/ScriptedDisk.h"

#include <array>
#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vantorel {
namespace {

using testing::IsEmpty;
using Unsynced = ScriptedDisk::Unsynced;

const std::string unfinished = "Lib export (incomplete)/";
const std::string finished = "Lib export/";

/// A Live Photo, and a photo in two albums, onto a disk that loses its power.
struct PowerFixture : ExportFixture {
    std::shared_ptr<ScriptedDisk> power = std::make_shared<ScriptedDisk>(destination());

    /// One item after the other, or in groups that overlap.
    explicit PowerFixture(std::size_t groupItems)
    {
        settings.group.items = groupItems;
        settings.overlap = groupItems == 1 ? ExportSettings::Overlap::never : ExportSettings::Overlap::always;
        calls = power;
        add(1, "Albums/Trip", {"IMG_1.heic", "IMG_1.mov"}, 200);
        add(2, "Albums/Trip", {"IMG_2.jpg"}, 100);
        addCopy(2, "Albums/Home");
    }

    /// The export's folder, under whichever name, without the bookkeeping.
    Tree saved() const
    {
        Tree tree = out();
        std::erase_if(
            tree, [](const auto& entry) { return entry.first.find(".vantorel") != std::string::npos; });
        return tree;
    }

    std::vector<JournalEntry> journal() const
    {
        const Tree tree = out();
        const auto found = tree.find(unfinished + ".vantorel/journal.jsonl");
        return found == tree.end() ? std::vector<JournalEntry>() : parseJournal(found->second);
    }

    /// What the disk promised and does not hold, or holds under a name that it should not have yet.
    std::vector<std::string> brokenPromises(const Tree& whole) const
    {
        std::vector<std::string> broken = brokenFiles();
        const Tree tree = out();
        for (const JournalEntry& entry : journal()) {
            for (const ExportJournalFile& file : entry.files) {
                const auto found = tree.find(unfinished + file.path);
                if (found == tree.end() || sha256(found->second) != file.sha256) {
                    broken.push_back("recorded " + file.path);
                }
            }
            if (!tree.contains(unfinished + entry.sidecar)) {
                broken.push_back("recorded " + entry.sidecar);
            }
        }
        for (const auto& [name, bytes] : saved()) {
            const bool isWritten = name.ends_with(".xmp") || name.ends_with("report.csv");
            const std::string inWhole = finished + name.substr(name.find('/') + 1);
            if (isWritten && (!whole.contains(inWhole) || whole.at(inWhole) != bytes)) {
                broken.push_back(name);
            }
        }
        if (tree.contains(finished) && saved() != whole) {
            broken.emplace_back("finished, but not whole");
        }
        return broken;
    }
};

/// Runs it again until it has ended; it is not run where the folder has its final name already.
void endExport(PowerFixture& fixture, const Tree& whole)
{
    if (!fixture.out().contains(finished)) {
        const auto recorded = static_cast<std::int64_t>(fixture.journal().size());
        const ExportOutcome outcome = fixture.run();
        ASSERT_TRUE(outcome.isFinished()) << message(outcome);
        EXPECT_EQ(fixture.progress.back().resumedItems, recorded) << "what was recorded was saved again";
        EXPECT_FALSE(fixture.out().contains(finished + ".vantorel/"));
    }
    ASSERT_EQ(fixture.saved(), whole);
}

Tree wholeExport()
{
    PowerFixture fixture(1);
    EXPECT_TRUE(fixture.run().isFinished());
    return fixture.saved();
}

constexpr std::array allFates{
    Unsynced::lost, Unsynced::namesKept, Unsynced::namesZeroed, Unsynced::namesTorn, Unsynced::shuffled};

/// What the disk makes of the cut of this number. By itself one fate each, in turn; with VANTOREL_EVERY_CUT
/// set all of them, which takes some minutes.
std::vector<Unsynced> fatesOf(std::uint32_t cut)
{
    if (std::getenv("VANTOREL_EVERY_CUT") != nullptr) { // NOLINT(concurrency-mt-unsafe)
        return {allFates.begin(), allFates.end()};
    }
    return {allFates[cut % allFates.size()]};
}

/// Loses the power, and checks what is left and that the next run ends it. False when the run had ended
/// before.
bool cutAndContinue(PowerFixture& fixture, const Tree& whole, std::uint32_t cut, Unsynced fate)
{
    fixture.power->losePowerAfterChange(cut);
    std::ignore = fixture.run();
    if (fixture.power->hasPower()) {
        return false;
    }
    fixture.power->restorePower(fate, cut);
    EXPECT_THAT(fixture.brokenPromises(whole), IsEmpty());
    endExport(fixture, whole);
    EXPECT_THAT(fixture.power->stillOpen(), IsEmpty());
    return !testing::Test::HasFailure();
}

class ExportAfterPowerLoss : public testing::TestWithParam<std::size_t> { };

INSTANTIATE_TEST_SUITE_P(GroupsOf, ExportAfterPowerLoss, testing::Values(1, 2, 64));

TEST_P(ExportAfterPowerLoss, continuesFromEveryChange)
{
    const Tree whole = wholeExport();
    ASSERT_FALSE(whole.empty());
    std::uint32_t cut = 0;
    for (bool wasCut = true; wasCut;) {
        ++cut;
        std::vector<Unsynced> fates = fatesOf(cut);
        fates.push_back(Unsynced::lost); // the plainest of all, so always
        for (const Unsynced fate : fates) {
            SCOPED_TRACE("cut after change " + std::to_string(cut));
            PowerFixture fixture(GetParam());
            wasCut = cutAndContinue(fixture, whole, cut, fate);
        }
    }
    EXPECT_GT(cut, 60U) << "the run made more changes than that";
}

TEST_P(ExportAfterPowerLoss, continuesFromEveryChangeOfARunThatContinues)
{
    const Tree whole = wholeExport();
    constexpr std::uint32_t amidTheSecondItem = 55;
    std::uint32_t cut = 0;
    for (bool wasCut = true; wasCut;) {
        ++cut;
        for (const Unsynced fate : fatesOf(cut)) {
            SCOPED_TRACE("cut once more after change " + std::to_string(cut));
            PowerFixture fixture(GetParam());
            fixture.power->losePowerAfterChange(amidTheSecondItem);
            std::ignore = fixture.run();
            fixture.power->restorePower(fatesOf(cut + 1).front(), cut);
            wasCut = cutAndContinue(fixture, whole, cut, fate);
        }
    }
    EXPECT_GT(cut, 20U) << "the run made more changes than that";
}

} // namespace
} // namespace vantorel
