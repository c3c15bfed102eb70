#include "ReaderFixture.h"
#include "database/ReadCourse.h"
#include "database/ReadNotes.h"
#include "support/ManualClock.h"
#include "support/ScriptedCalls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

namespace vantorel {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using Severity = DamageReport::Severity;

constexpr const char* tooDamaged = "The library's database is too damaged to read. The files in its "
                                   "originals folder can still be saved, without "
                                   "albums, captions or names.";
constexpr const char* onlyFiles =
    "This copy of the library has no database and no change journals, so only photo files were found: no "
    "albums, "
    "captions or People names. The files in its originals folder can still be saved.";

std::string unknownLayout(const std::string& reason)
{
    return "Vantorel does not recognise how this library's database stores its data (" + reason
        + "), so only photo files were found: no albums, captions or People names. The files in its "
          "originals folder "
          "can still be saved.";
}

TEST(LibraryReaderCourse, decidesInOnePlaceWhatComesInsteadOfADatabase)
{
    using Kind = NoDatabase::Kind;
    using Failure = JournalReader::Failure;
    enum Library { bare, withOriginals };
    struct Row {
        NoDatabase trouble;
        Library library;
        Failure journals;
        std::vector<std::string> outcome; ///< The error's kind, or the notes.
    };
    const std::string silentJournals(readNotes::journalsNotAnswering);
    const std::string readErrors(readNotes::readErrors);
    const std::vector<Row> rows{
        {{.kind = Kind::missing}, bare, Failure::noJournals, {"notFound"}},
        {{.kind = Kind::missing}, bare, Failure::notAnswering, {"stalled"}},
        {{.kind = Kind::missing}, withOriginals, Failure::noJournals,
            {"This copy has no database.", onlyFiles}},
        {{.kind = Kind::missing}, withOriginals, Failure::notAnswering,
            {"This copy has no database.", silentJournals}},
        {{.kind = Kind::missing}, withOriginals, Failure::damaged,
            {"This copy has no database.",
                "This copy of the library has no database, and its change journals could not be read (the "
                "photo "
                "records in them are damaged). The files in its originals folder can still be saved, without "
                "albums, captions or names."}},
        {{.kind = Kind::refused, .reason = "r"}, withOriginals, Failure::noJournals, {"copyFailed"}},
        {{.kind = Kind::denied}, withOriginals, Failure::noJournals, {"accessDenied"}},
        {{.kind = Kind::unreadable, .reason = "r"}, bare, Failure::noJournals, {"copyFailed"}},
        {{.kind = Kind::unreadable, .reason = "r"}, withOriginals, Failure::noJournals,
            {"The disk could not give the library's database: r."}},
        {{.kind = Kind::notAnswering}, bare, Failure::noJournals, {"databaseNotAnswering"}},
        {{.kind = Kind::notAnswering}, withOriginals, Failure::noJournals,
            {std::string(readNotes::notAnswering) + std::string(readNotes::notAnsweringOnlyFiles)}},
        {{.kind = Kind::diskSilent}, withOriginals, Failure::noJournals, {"stalled"}},
        {{.kind = Kind::gone}, withOriginals, Failure::noJournals, {"volumeGone"}},
        {{.kind = Kind::noSpace}, withOriginals, Failure::noJournals, {"notEnoughTemporarySpace"}},
        {{.kind = Kind::unsettled}, withOriginals, Failure::noJournals, {"copyFailed"}},
        {{.kind = Kind::damaged}, bare, Failure::noJournals, {"databaseUnreadable"}},
        {{.kind = Kind::damaged}, withOriginals, Failure::refused,
            {"The library's database is damaged.", tooDamaged,
                "This library's change journals could not be read either (macOS refused access to them, or "
                "they "
                "lead outside the library)."}},
        {{.kind = Kind::damaged, .diskErred = true}, withOriginals, Failure::noJournals, {readErrors}},
        {{.kind = Kind::unknownLayout, .reason = "r"}, bare, Failure::noJournals, {"unknownSchema"}},
        {{.kind = Kind::unknownLayout, .reason = "r"}, withOriginals, Failure::noJournals,
            {unknownLayout("r")}},
        {{.kind = Kind::cancelled}, withOriginals, Failure::noJournals, {"cancelled"}},
    };
    for (const Row& row : rows) {
        LibraryContents library;
        library.hasOriginals = row.library == withOriginals;
        const auto course = courseWithFilesAlone(row.trouble, row.journals, library);
        EXPECT_EQ(
            course ? course->notes : std::vector{std::string(nameIn(readErrorNames, course.error().kind()))},
            row.outcome);
    }
}

TEST(LibraryReaderCourse, takesNoFlawOfTheCopyForDamageOrAnotherLayout)
{
    using Kind = NoDatabase::Kind;
    const DatabaseTrouble damaged{};
    const DatabaseTrouble unknown{.kind = DatabaseTrouble::Kind::unknownLayout, .reason = "r"};
    EXPECT_EQ(noDatabase(unknown, {}), (NoDatabase{.kind = Kind::unknownLayout, .reason = "r"}));
    EXPECT_EQ(noDatabase(damaged, {}), NoDatabase{.kind = Kind::damaged});
    EXPECT_EQ(noDatabase(unknown, {.logDamaged = true}), NoDatabase{.kind = Kind::damaged});
    EXPECT_EQ(
        noDatabase(unknown, {.logUnreadable = true}), (NoDatabase{.kind = Kind::damaged, .diskErred = true}));
    EXPECT_EQ(noDatabase(damaged, {.badBytes = 4096}),
        (NoDatabase{.kind = Kind::damaged, .diskErred = true, .badBytes = 4096}));
    EXPECT_EQ(noDatabase(damaged, {.didNotSettle = true}), NoDatabase{.kind = Kind::unsettled});
}

TEST(LibraryReaderCourse, refusesWhatIsNoLibrary)
{
    const TemporaryFolder folder;
    folder.makeFolder("empty");
    folder.write("file.photoslibrary", "text");
    folder.write("journals/resources/journals/Asset-snapshot.plj", ""); // empty ones do not count
    const LibraryReading reading;
    for (const char* name : {"empty", "file.photoslibrary", "journals", "nothing"}) {
        EXPECT_EQ(errorOf([&] { reading.of(folder / name); }),
            "notFound: There is no Photos library at \"" + (folder / name).native() + "\"");
    }
}

TEST(LibraryReaderCourse, namesOlderLibrariesByTheirMarks)
{
    for (const char* mark : {"database/photos.db", "database/apdb/Library.apdb", "Database/apdb/Library.apdb",
             "Library.apdb", "AlbumData.xml", "Masters/2010/a.jpg"}) {
        const TemporaryFolder folder;
        folder.write(mark, "x");
        EXPECT_THAT(errorOf([&] { LibraryReading().of(folder.path()); }),
            StartsWith("legacyLibrary: This library comes from macOS 10.14 or earlier"))
            << mark;
    }
}

TEST(LibraryReaderCourse, findsFilesAloneWhereThereIsNoDatabase)
{
    struct Row {
        const char* library;
        const char* file;
        std::vector<std::string> notes;
    };
    const std::vector<Row> rows{
        {"Old.photoslibrary", "originals/A/a.jpeg", {"This copy has no database.", onlyFiles}},
        {"Backups.backupdb/Mac/Old.photoslibrary", "originals/A/a.jpeg",
            {"This copy has no database, as is normal for a Time Machine backup.", onlyFiles}},
        {"Old.photoslibrary", "resources/journals/Asset-change.plj",
            {"This copy has no database.",
                "This copy of the library has no database, and its change journals could not be read (the "
                "photo "
                "records in them are damaged). The files in its originals folder can still be saved, without "
                "albums, captions or names."}},
    };
    for (const Row& row : rows) {
        const TemporaryFolder folder;
        folder.write(DiskPath(row.library) / row.file, "x");
        LibrarySnapshot expected;
        expected.libraryURL = folder / row.library;
        expected.name = "Old";
        expected.damage.severity = Severity::databaseLost;
        expected.damage.method = "the originals folder alone";
        expected.notes = row.notes;
        EXPECT_EQ(LibraryReading().of(folder / row.library), expected);
    }
}

TEST(LibraryReaderCourse, refusesADatabaseThatIsNoFileOfTheLibrary)
{
    struct Row {
        const char* reason;
        std::function<void(const TemporaryFolder&)> make;
    };
    const std::vector<Row> rows{
        {"its database is a link, not a file, so it is not read",
            [](const TemporaryFolder& f) { f.makeLink("L/database/Photos.sqlite", f / "other"); }},
        {"its database folder leads outside the library, so it is not read",
            [](const TemporaryFolder& f) {
                f.write("elsewhere/Photos.sqlite", "x");
                f.makeFolder("L");
                f.makeLink("L/database", f / "elsewhere");
            }},
        {"Photos.sqlite is not a regular file",
            [](const TemporaryFolder& f) { f.makeFolder("L/database/Photos.sqlite"); }},
    };
    for (const Row& row : rows) {
        const TemporaryFolder folder;
        row.make(folder);
        EXPECT_EQ(errorOf([&] { LibraryReading().of(folder / "L"); }),
            "copyFailed: The library's database could not be copied: " + std::string(row.reason));
    }
}

TEST(LibraryReaderCourse, saysWhatIsWrongWithADatabaseItCannotUse)
{
    struct Row {
        std::function<void(ReaderFixture&)> spoil;
        std::string error; ///< Where nothing else is there.
        std::vector<std::string> notes;
    };
    const auto write = [](std::string bytes) {
        return [bytes](ReaderFixture& library) {
            library.close();
            library.folder().write("Trip.photoslibrary/database/Photos.sqlite", bytes);
        };
    };
    const auto sql = [](std::string statement) {
        return [statement](ReaderFixture& library) { library.run(statement); };
    };
    const std::vector<std::string> damagedNotes{"The library's database is damaged.", tooDamaged};
    const auto layout = [](const std::string& reason) {
        return "unknownSchema: Vantorel does not recognise how this library stores its data (" + reason
            + "), so it";
    };
    const std::string noCoreData = "no Core Data table Z_PRIMARYKEY";
    const std::string noFolder = "the photo table has no zdirectory column";
    const std::vector<Row> rows{
        {write("This is a text, and a long one, so that it cannot be taken for the beginning of anything."),
            std::string("databaseUnreadable: ") + tooDamaged, damagedNotes},
        {write(""), layout(noCoreData), {unknownLayout(noCoreData)}},
        {sql("DROP TABLE Z_PRIMARYKEY"), layout(noCoreData), {unknownLayout(noCoreData)}},
        {sql("ALTER TABLE ZASSET DROP COLUMN ZDIRECTORY"), layout(noFolder), {unknownLayout(noFolder)}},
    };
    for (const Row& row : rows) {
        ReaderFixture library;
        row.spoil(library);
        EXPECT_THAT(errorOf([&] { LibraryReading().of(library.library()); }), StartsWith(row.error));

        library.folder().makeFolder("Trip.photoslibrary/originals");
        const LibrarySnapshot snapshot = LibraryReading().of(library.library());
        EXPECT_EQ(snapshot.damage.severity, Severity::databaseLost);
        EXPECT_EQ(snapshot.notes, row.notes);
        EXPECT_THAT(snapshot.assets, IsEmpty());
    }
}

TEST(LibraryReaderCourse, readsAWholeLibraryInStages)
{
    ReaderFixture library;
    library.run("BEGIN");
    for (std::int64_t pk = 1; pk <= 1'200; ++pk) {
        library.photo(pk);
    }
    library.run("COMMIT").close();
    LibraryReading reading;
    std::vector<ScanProgress> reports;
    reading.progress = [&](const ScanProgress& report) { reports.push_back(report); };
    const LibrarySnapshot snapshot = reading.of(library.library());

    EXPECT_EQ(snapshot.libraryURL, library.library());
    EXPECT_EQ(snapshot.name, "Trip");
    EXPECT_EQ(snapshot.assets.size(), 1'200U);
    EXPECT_EQ(snapshot.damage, DamageReport());
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports.front().stage, ScanStage::copyingDatabase);
    for (std::size_t i = 1; i < reports.size(); ++i) {
        const bool isNext = reports[i].stage > reports[i - 1].stage;
        EXPECT_TRUE(
            isNext || (reports[i].stage == reports[i - 1].stage && reports[i].done >= reports[i - 1].done));
    }
    EXPECT_EQ(reports.back().stage, ScanStage::readingDatabase);
    EXPECT_GE(reports.back().total, 2'400);
    EXPECT_EQ(reports.back().done, reports.back().total);
}

TEST(LibraryReaderCourse, readsADatabaseFolderInCapitals)
{
    ReaderFixture library;
    library.photo(1).close();
    std::filesystem::rename(library.library() / "database", library.library() / "Database");
    EXPECT_THAT(LibraryReading().of(library.library()).assets, ElementsAre(plainPhoto(1)));
}

TEST(LibraryReaderCourse, readsTheLogWithTheDatabaseAndSaysWhenItIsDamaged)
{
    ReaderFixture library;
    library.photo(1).keepChangesInLog().photo(2).close();
    const LibrarySnapshot whole = LibraryReading().of(library.library());
    EXPECT_EQ(whole.assets.size(), 2U);
    EXPECT_EQ(whole.damage, DamageReport());

    std::string log = library.folder().read("Trip.photoslibrary/database/Photos.sqlite-wal");
    log[100] = static_cast<char>(log[100] ^ 1);
    library.folder().write("Trip.photoslibrary/database/Photos.sqlite-wal", log);
    const LibrarySnapshot older = LibraryReading().of(library.library());
    EXPECT_EQ(older.assets.size(), 1U);
    EXPECT_EQ(older.damage.severity, Severity::walLost);
    EXPECT_THAT(sentences(older.damage),
        ElementsAre(
            "The newest changes to this library were in a damaged log file and are lost. Recent albums, "
            "captions or other changes can be missing, and recent photos come back only as files without "
            "details."));
}

TEST(LibraryReaderCourse, tellsALogThatTheDiskDoesNotGiveFromADamagedOne)
{
    ReaderFixture library;
    library.photo(1).keepChangesInLog().photo(2).close();
    auto calls = std::make_shared<ScriptedCalls>();
    calls->fail("read", (library.database().native() + "-wal"), EIO);
    const LibrarySnapshot snapshot = LibraryReading{.calls = calls}.of(library.library());
    EXPECT_EQ(snapshot.damage.severity, Severity::walLost);
    EXPECT_THAT(sentences(snapshot.damage),
        ElementsAre(
            "The newest changes to this library were in a log file the disk could not give. Recent albums, "
            "captions or other changes can be missing, and recent photos come back only as files without "
            "details."));
    EXPECT_THAT(snapshot.notes,
        testing::Contains("The library's -wal file could not be read, so the newest changes are missing."));
}

TEST(LibraryReaderCourse, saysWhenPhotosKeptChangingTheLibrary)
{
    ReaderFixture library;
    library.photo(1).close();
    const std::string bytes = library.folder().read("Trip.photoslibrary/database/Photos.sqlite");
    LibraryReading reading;
    int times = 0;
    reading.hooks.afterFirstLook = [&] { // another size each time, with nothing in the added page
        library.folder().write("Trip.photoslibrary/database/Photos.sqlite",
            bytes + std::string(static_cast<std::size_t>(++times), '\0'));
    };
    const LibrarySnapshot snapshot = reading.of(library.library());
    EXPECT_THAT(snapshot.assets, ElementsAre(plainPhoto(1)));
    EXPECT_EQ(snapshot.damage.severity, Severity::walLost);
    EXPECT_THAT(sentences(snapshot.damage),
        ElementsAre(
            "Photos kept changing this library while it was read, so the newest changes may be missing, and "
            "recent photos may come back only as files without details."));
    EXPECT_THAT(snapshot.notes,
        ElementsAre(StartsWith("Photos kept changing this library while it was read"), testing::_));
}

TEST(LibraryReaderCourse, tellsWhatTheDiskDidNotGiveFromDamage)
{
    ReaderFixture library;
    library.photo(1).close();
    library.folder().makeFolder("Trip.photoslibrary/originals");
    LibraryReading reading;
    reading.hooks.readFault = [](const std::string&, std::int64_t offset, std::size_t size) {
        const bool hit = offset < 8192 && offset + static_cast<std::int64_t>(size) > 4096;
        return hit ? std::optional(EIO) : std::nullopt;
    };
    const LibrarySnapshot snapshot = reading.of(library.library());
    EXPECT_EQ(snapshot.damage.severity, Severity::salvaged);
    EXPECT_THAT(snapshot.notes,
        ElementsAre("The disk gave read errors for part of the library's database, so it could not be read "
                    "as it was.",
            "4 KB of the database could not be read from the disk. If the disk recovers, scan again: the "
            "albums may come back.",
            testing::_)); // the fixture names no version of Photos
    EXPECT_THAT(sentences(snapshot.damage),
        testing::Contains(
            "4 KB of the database could not be read from the disk. What was in those places is lost; "
            "everything around them was read."));
}

TEST(LibraryReaderCourse, neverTakesARefusalForSomethingElse)
{
    ReaderFixture library;
    library.photo(1).close();
    library.folder().makeFolder("Trip.photoslibrary/originals");
    const std::string denied = "accessDenied: macOS refused access to this library";
    auto folderRefused = std::make_shared<ScriptedCalls>();
    folderRefused->fail("open", library.library(), EPERM);
    EXPECT_THAT(
        errorOf([&] { LibraryReading{.calls = folderRefused}.of(library.library()); }), StartsWith(denied));
    auto fileRefused = std::make_shared<ScriptedCalls>();
    fileRefused->fail("open", library.database(), EACCES);
    EXPECT_THAT(
        errorOf([&] { LibraryReading{.calls = fileRefused}.of(library.library()); }), StartsWith(denied));
}

// Every call on the library fails once, for every one of them: what comes out is the whole result, or one
// that speaks of the disk.
TEST(LibraryReaderCourse, neverTakesAReadErrorForDamageOrForAnEmptyLibrary)
{
    ReaderFixture library;
    library.photo(1).keepChangesInLog().photo(2).close();
    library.folder().makeFolder("Trip.photoslibrary/originals");
    const LibrarySnapshot whole = LibraryReading().of(library.library());
    ASSERT_EQ(whole.assets.size(), 2U);
    bool untouched = false;
    for (std::size_t n = 1; !untouched && n < 500; ++n) {
        auto calls = std::make_shared<ScriptedCalls>();
        auto rule = calls->on("*", library.library().native() + "*").nth(n);
        rule.fail(EIO);
        std::optional<LibrarySnapshot> snapshot;
        const std::string error =
            errorOf([&] { snapshot = LibraryReading{.calls = calls}.of(library.library()); });
        untouched = rule.hits() == 0;
        if (!snapshot) {
            EXPECT_THAT(
                error, StartsWith("copyFailed: The library's database could not be copied: the disk gave an"))
                << "call " << n;
        } else if (snapshot->damage.severity == Severity::databaseLost) {
            EXPECT_THAT(snapshot->notes.front(), StartsWith("The disk ")) << "call " << n;
        } else if (snapshot->damage.severity == Severity::walLost) {
            EXPECT_THAT(
                sentences(snapshot->damage), ElementsAre(testing::HasSubstr("the disk could not give")))
                << "call " << n;
        } else {
            EXPECT_EQ(snapshot->assets, whole.assets) << "call " << n;
        }
    }
    EXPECT_TRUE(untouched);
}

/// A library on a disk where some calls hang.
class LibraryReaderOnSilentDisk : public testing::Test {
protected:
    LibraryReaderOnSilentDisk()
    {
        library.photo(1).close();
        library.folder().makeFolder("Trip.photoslibrary/originals");
        calls->on("read", library.database()).hang();
    }

    ReaderFixture library;
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<ScriptedCalls> calls = std::make_shared<ScriptedCalls>(clock);
    LibraryReading reading{.calls = calls, .clock = clock, .stallTimeout = Seconds{20}};
};

TEST_F(LibraryReaderOnSilentDisk, findsFilesAloneWhereOnlyTheDatabaseIsSilent)
{
    bool waited = false;
    reading.progress = [&](const ScanProgress& report) { waited |= report.waitingForDisk; };
    const LibrarySnapshot snapshot = reading.of(library.library());
    EXPECT_EQ(snapshot.damage.severity, Severity::databaseLost);
    EXPECT_TRUE(snapshot.damage.diskDidNotAnswer);
    EXPECT_THAT(snapshot.notes,
        ElementsAre(
            StartsWith("The disk did not answer for the library's database, while the rest of the disk "
                       "answered.")));
    EXPECT_TRUE(waited);
}

TEST_F(LibraryReaderOnSilentDisk, saysSoWhereTheWholeDiskIsSilent)
{
    calls->on("list", library.library().native() + "/originals*").hang();
    EXPECT_THAT(errorOf([&] { reading.of(library.library()); }), StartsWith("stalled: \""));
}

TEST(LibraryReaderCourse, endsWithoutAResultWhenItIsCancelled)
{
    ReaderFixture library;
    library.photo(1).close();
    for (const ScanStage stage : {ScanStage::copyingDatabase, ScanStage::readingDatabase}) {
        const auto cancel = std::make_shared<CancelToken>();
        const auto cancelAt = [&](const ScanProgress& report) {
            if (report.stage == stage) {
                cancel->cancel();
            }
        };
        EXPECT_EQ(
            errorOf([&] { LibraryReading{.cancel = cancel, .progress = cancelAt}.of(library.library()); }),
            "cancelled: ");
    }
}

} // namespace

} // namespace vantorel
