#include "ReaderFixture.h"
#include "sample/ExpectedSnapshot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vantorel {

namespace {

constexpr std::uint64_t seed = 7;

/// Compared part by part, so that a difference is named; then as a whole.
void expectSame(const LibrarySnapshot& read, const LibrarySnapshot& expected)
{
    ASSERT_EQ(read.assets.size(), expected.assets.size());
    for (std::size_t i = 0; i < read.assets.size(); ++i) {
        EXPECT_EQ(read.assets[i], expected.assets[i]) << "asset " << expected.assets[i].pk;
    }
    ASSERT_EQ(read.albums.size(), expected.albums.size());
    for (std::size_t i = 0; i < read.albums.size(); ++i) {
        EXPECT_EQ(read.albums[i], expected.albums[i]) << "album " << expected.albums[i].pk;
    }
    EXPECT_EQ(read.people, expected.people);
    EXPECT_EQ(read.schema, expected.schema);
    EXPECT_EQ(read.damage, expected.damage);
}

class LibraryReaderSample : public testing::TestWithParam<int> {
protected:
    /// Writes the library and reads it.
    void expectRightReading(const sample::LayoutChanges& changes)
    {
        const TemporaryFolder folder;
        const DiskPath library = folder / "Sample.photoslibrary";
        sample::SamplePlan plan = sample::drawPlan(60, seed);
        plan.pictureWidth = 16; // nobody looks at them here
        plan.pictureHeight = 12;
        for (sample::SampleItem& item : plan.items) {
            item.width = item.height = 0;
        }
        const sample::WriteOptions options{.generation = GetParam(), .seed = seed, .changes = changes};
        sample::writeLibrary(plan, options, library);
        const LibrarySnapshot read = LibraryReading().of(library);
        LibrarySnapshot expected = sample::expectedSnapshot(plan, options, library);
        expectSame(read, expected);
        expected.notes = read.notes;
        EXPECT_EQ(read, expected);
    }
};

INSTANTIATE_TEST_SUITE_P(Generations, LibraryReaderSample, testing::Range(5, 13));

TEST_P(LibraryReaderSample, isReadAsItWasWritten) { expectRightReading({}); }

// Numbers and places of tables and columns differ between versions and within one; nothing may rest on them.
TEST_P(LibraryReaderSample, readsTheSameWithOtherNumbersAndColumnsInAnotherOrder)
{
    expectRightReading({.entityNumberShift = 1'000, .reverseColumns = true});
}

} // namespace

} // namespace vantorel
