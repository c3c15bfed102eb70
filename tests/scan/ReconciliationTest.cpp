#include "scan/LibraryScanner.h"

#include <gtest/gtest.h>

namespace vantorel {
namespace {

using Severity = DamageReport::Severity;
using UnknownFile = OriginalsReport::UnknownFile;

UnknownFile unknown(const std::string& id, std::int64_t size)
{
    return {.uuid = id, .directory = "A", .main = "originals/A/" + id + ".jpeg", .size = size};
}

LibrarySnapshot snapshotOf(Severity severity)
{
    LibrarySnapshot snapshot{.notes = {"before"}};
    snapshot.assets.emplace_back().pk = 1;
    snapshot.damage.severity = severity;
    return snapshot;
}

TEST(Reconciliation, leavesAWholeLibraryAsItIs)
{
    const auto snapshot = snapshotOf(Severity::none);
    const LibraryScanResult expected{.snapshot = snapshot};
    EXPECT_EQ(reconciled(snapshot, {}), expected);
}

TEST(Reconciliation, notesLeftoversOfAWholeLibrary)
{
    const std::pair<std::size_t, std::string> rows[] = {
        {1,
            "1 file in the originals folder belongs to no photo in the database. It may be left over from a "
            "deleted "
            "photo and is not exported."},
        {7,
            "7 files in the originals folder belong to no photo in the database. They may be left over from "
            "deleted "
            "photos and are not exported."},
    };
    for (const auto& [count, note] : rows) {
        const OriginalsReport report{.unknownFiles = std::vector<UnknownFile>(count, unknown("X", 5)),
            .emptyUnknownFiles = {unknown("Y", 0)}};
        LibraryScanResult expected{.snapshot = snapshotOf(Severity::none), .originals = report};
        expected.snapshot.notes.push_back(note);
        EXPECT_EQ(reconciled(snapshotOf(Severity::none), report), expected);
    }
}

TEST(Reconciliation, adoptsFilesWhoseRecordsMayBeLost)
{
    OriginalsReport report{.unknownFiles = {unknown("X", 5), unknown("Y", 6), unknown("Z", 7)},
        .emptyUnknownFiles = {unknown("E", 0)}};
    report.unknownFiles[1].companions = {"originals/A/Y_3.mov"};
    report.unknownFiles[1].companionSizes = {9};

    for (const Severity severity :
        {Severity::walLost, Severity::salvaged, Severity::fromJournals, Severity::databaseLost}) {
        const LibraryScanResult result = reconciled(snapshotOf(severity), report);

        ASSERT_EQ(result.snapshot.assets.size(), 5U);
        const std::pair<std::int64_t, std::string> adopted[] = {{-1, "E"}, {-2, "X"}, {-3, "Y"}, {-4, "Z"}};
        for (std::size_t i = 0; i < std::size(adopted); ++i) {
            Asset expected;
            expected.pk = adopted[i].first;
            expected.uuid = adopted[i].second;
            expected.directory = "A";
            expected.fileName = adopted[i].second + ".jpeg";
            for (const auto& [detail, name] : lostDetailNames) {
                expected.lostDetails.insert(detail);
            }
            expected.isRecoveredFile = true;
            EXPECT_EQ(result.snapshot.assets[i + 1], expected);
        }
        const std::vector<std::string> notes{"before",
            "3 files in the originals folder have lost their database record: the files are saved, without "
            "their "
            "album, name, caption or date."};
        EXPECT_EQ(result.snapshot.notes, notes);

        OriginalsReport expected = report;
        expected.entries[-1] = {
            .status = OriginalEntry::Status::missing, .reason = OriginalEntry::MissingReason::emptyFile};
        expected.entries[-2] = {.status = OriginalEntry::Status::present,
            .file = ResolvedFile{.path = "originals/A/X.jpeg", .size = 5}};
        expected.entries[-3] = {.status = OriginalEntry::Status::present,
            .file = ResolvedFile{.path = "originals/A/Y.jpeg",
                .size = 6,
                .companions = {{.path = "originals/A/Y_3.mov", .size = 9}}}};
        expected.entries[-4] = {.status = OriginalEntry::Status::present,
            .file = ResolvedFile{.path = "originals/A/Z.jpeg", .size = 7}};
        EXPECT_EQ(result.originals, expected);
    }
}

TEST(Reconciliation, adoptsFilesOfAWholeDatabaseWherePhotoRowsAreMissing)
{
    using Kind = DamageReport::Loss::Kind;
    const auto isAdopted = [](const LibrarySnapshot& snapshot) {
        return reconciled(snapshot, {.unknownFiles = {unknown("X", 5)}}).snapshot.assets.size() == 2;
    };
    for (const auto& [kind, name] : lossKindNames) {
        LibrarySnapshot snapshot = snapshotOf(Severity::none);
        snapshot.damage.losses = {{.kind = kind, .count = 1}};
        EXPECT_EQ(isAdopted(snapshot), kind == Kind::invalidPaths || kind == Kind::albumEntriesWithoutPhoto)
            << name;
    }
    LibrarySnapshot snapshot = snapshotOf(Severity::none);
    EXPECT_FALSE(isAdopted(snapshot));
    snapshot.notes.emplace_back("2 damaged photo rows had no usable id or file location and were left out.");
    EXPECT_TRUE(isAdopted(snapshot));
}

TEST(Reconciliation, adoptsAnEmptyFileWithoutANote)
{
    const auto result = reconciled(snapshotOf(Severity::salvaged), {.emptyUnknownFiles = {unknown("E", 0)}});
    EXPECT_EQ(result.snapshot.assets.size(), 2U);
    EXPECT_EQ(result.snapshot.notes, std::vector<std::string>{"before"});
}

TEST(Reconciliation, passesTheProblemsOfTheCheckOn)
{
    const OriginalsReport report{.state = OriginalsReport::State::interrupted,
        .unknownFiles = {unknown("X", 5)},
        .deniedFolders = {"originals/B"}};
    const auto notes = reconciled(snapshotOf(Severity::none), report).snapshot.notes;
    ASSERT_EQ(notes.size(), 4U);
    EXPECT_TRUE(notes[1].starts_with("macOS refused access to the folder originals/B."));
    EXPECT_EQ(notes[2], "The check of the files was stopped before it finished.");
    EXPECT_TRUE(notes[3].starts_with("1 file in the originals folder"));
}

} // namespace
} // namespace vantorel
