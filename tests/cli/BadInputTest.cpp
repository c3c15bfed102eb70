#include "cli/RunProgram.h"
#include "cli/SmallDisk.h"
#include "support/TemporaryFolder.h"

#include "sample/SampleLibrary.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include <functional>
#include <string>

namespace vantorel {
namespace {

using nlohmann::json;

constexpr int wrongUsage = 2;
constexpr int nothingStarted = 3;

/// A library of a few items.
std::string library(const TemporaryFolder& folder, const sample::WriteOptions& options = {})
{
    const auto path = folder / "Photos Library.photoslibrary";
    sample::writeLibrary(sample::drawPlan(6, 1), options, path);
    return path.string();
}

/// The library without its originals and journals, so that its database is all there is.
void keepOnlyDatabase(const std::string& path)
{
    std::filesystem::remove_all(path + "/originals");
    std::filesystem::remove_all(path + "/resources");
}

struct BadLibrary {
    const char* name;
    std::function<std::string(const TemporaryFolder&)> make; ///< Returns the argument.
    const char* kind;
    const char* sentence; ///< Part of it.
};

std::string withDatabase(const TemporaryFolder& folder, const std::string& bytes)
{
    folder.write("Photos Library.photoslibrary/database/Photos.sqlite", bytes);
    return (folder / "Photos Library.photoslibrary").string();
}

class BadLibraries : public testing::TestWithParam<BadLibrary> { };

TEST_P(BadLibraries, endWithTheirSentenceAndNothingWritten)
{
    const TemporaryFolder folder;
    const std::string argument = GetParam().make(folder);
    folder.makeFolder("destination");
    const auto before = folder.tree();

    const Ran scan = runVantorel({"scan", argument});
    EXPECT_EQ(scan.status, nothingStarted) << scan.errors;
    EXPECT_NE(scan.errors.find(GetParam().sentence), std::string::npos) << scan.errors;
    EXPECT_EQ(scan.output, "");

    const Ran asJson = runVantorel({"export", "--json", argument, (folder / "destination").string()});
    EXPECT_EQ(asJson.status, nothingStarted);
    const json error = json::parse(asJson.output, nullptr, false);
    ASSERT_TRUE(error.is_object()) << asJson.output;
    EXPECT_EQ(error["error"]["kind"], GetParam().kind);

    EXPECT_EQ(folder.tree(), before);
}

const BadLibrary badLibraries[] = {
    {"notThere", [](const auto& f) { return (f / "Nothing.photoslibrary").string(); }, "notFound",
        "There is no Photos library at \""},
    {"noLibrary",
        [](const auto& f) {
            f.write("Holiday/notes.txt", "hello");
            return (f / "Holiday").string();
        },
        "notFound", "\"Holiday\" is not a Photos library: it has no database and no originals folder."},
    {"aFile", [](const auto& f) { return f.write("Photos Library.photoslibrary", "hello").string(); },
        "notFound", "is not a Photos library: it has no database and no originals folder."},
    {"olderThanWhatIsRead",
        [](const auto& f) {
            f.write("Old.photolibrary/database/photos.db", "SQLite format 3");
            f.makeFolder("Old.photolibrary/Masters");
            return (f / "Old.photolibrary").string();
        },
        "legacyLibrary", "This library comes from macOS 10.14 or earlier, or from iPhoto."},
    {"databaseIsALink",
        [](const auto& f) {
            const std::string path = library(f);
            std::filesystem::rename(path + "/database/Photos.sqlite", (f / "elsewhere.sqlite").string());
            f.makeLink("Photos Library.photoslibrary/database/Photos.sqlite", f / "elsewhere.sqlite");
            return path;
        },
        "copyFailed", "its database is a link, not a file, so it is not read"},
    {"databaseFolderLeadsOutside",
        [](const auto& f) {
            const std::string path = library(f);
            std::filesystem::rename(path + "/database", (f / "elsewhere").string());
            f.makeLink("Photos Library.photoslibrary/database", f / "elsewhere");
            return path;
        },
        "copyFailed", "its database folder leads outside the library, so it is not read"},
    {"textInsteadOfADatabase", [](const auto& f) { return withDatabase(f, std::string(5000, 'x')); },
        "databaseUnreadable", "The library's database is too damaged to read."},
    {"emptyDatabase", [](const auto& f) { return withDatabase(f, ""); }, "unknownSchema",
        "(no Core Data table Z_PRIMARYKEY), so it stops here"},
    {"noCoreDataTables",
        [](const auto& f) {
            const std::string path =
                library(f, {.changes = {.withoutTables = {"Z_PRIMARYKEY"}}, .withLog = false});
            keepOnlyDatabase(path);
            return path;
        },
        "unknownSchema", "(no Core Data table Z_PRIMARYKEY), so it stops here"},
    {"assetTableLacksAColumn",
        [](const auto& f) {
            const std::string path =
                library(f, {.changes = {.withoutColumns = {{"ZASSET", {"ZDIRECTORY"}}}}, .withLog = false});
            keepOnlyDatabase(path);
            return path;
        },
        "unknownSchema", "(the photo table has no zdirectory column), so it stops here"},
};

INSTANTIATE_TEST_SUITE_P(All, BadLibraries, testing::ValuesIn(badLibraries),
    [](const auto& row) { return std::string(row.param.name); });

struct BadDestination {
    const char* name;
    std::function<std::string(const TemporaryFolder&, const std::string& library)> make;
    const char* sentence; ///< Part of it.
};

class BadDestinations : public testing::TestWithParam<BadDestination> { };

TEST_P(BadDestinations, areRefusedBeforeAnythingIsWritten)
{
    const TemporaryFolder folder;
    const std::string path = library(folder);
    const std::string destination = GetParam().make(folder, path);
    const auto before = folder.tree();
    const Ran save = runVantorel({"export", path, destination});
    EXPECT_EQ(save.status, nothingStarted) << save.output;
    EXPECT_NE(save.errors.find("The export did not start: "), std::string::npos) << save.errors;
    EXPECT_NE(save.errors.find(GetParam().sentence), std::string::npos) << save.errors;
    EXPECT_EQ(folder.tree(), before);
}

const BadDestination badDestinations[] = {
    {"notThere", [](const auto& f, const auto&) { return (f / "nowhere").string(); },
        "nowhere\" is not there. Choose another folder."},
    {"insideTheLibrary", [](const auto&, const auto& library) { return library + "/originals"; },
        "that folder is inside the library, and Vantorel never writes there. Choose another folder."},
    {"theLibraryItself", [](const auto&, const auto& library) { return library; },
        "that folder is inside the library, and Vantorel never writes there. Choose another folder."},
    {"throughALink",
        [](const auto& f, const auto&) {
            f.makeFolder("real/below");
            f.makeLink("link", f / "real");
            return (f / "link/below").string();
        },
        "holds a link where a folder should be, so Vantorel does not write through it. Choose another "
        "folder."},
    {"anUnfinishedExport",
        [](const auto& f, const auto&) {
            f.write("place/Photos Library export (incomplete)/.vantorel/state.json",
                R"({"planID":"x","library":"Photos Library","version":1,"options":{}})");
            return (f / "place/Photos Library export (incomplete)").string();
        },
        "place"},
};

INSTANTIATE_TEST_SUITE_P(All, BadDestinations, testing::ValuesIn(badDestinations),
    [](const auto& row) { return std::string(row.param.name); });

TEST(SmallDisks, areRefusedWithBothSizes)
{
    const TemporaryFolder folder;
    const std::string path = library(folder);
    const SmallDisk disk(folder.makeFolder("disk"), "size=64k");
    if (!disk.isMounted()) {
        GTEST_SKIP() << "no file system may be mounted here";
    }
    const Ran save = runVantorel({"export", "--json", path, (folder / "disk").string()});
    EXPECT_EQ(save.status, nothingStarted);
    const json outcome = json::parse(save.output, nullptr, false);
    ASSERT_TRUE(outcome.is_object()) << save.output;
    EXPECT_EQ(outcome["state"], "notEnoughSpace");
    EXPECT_GT(outcome["needed"].get<std::int64_t>(), outcome["free"].get<std::int64_t>());
    EXPECT_EQ(outcome["free"], 65536);
    EXPECT_TRUE(outcome["folder"].is_null());
    EXPECT_TRUE(std::filesystem::is_empty(folder / "disk"));
}

TEST(SmallDisks, thatAreReadOnlyAreRefused)
{
    const TemporaryFolder folder;
    const std::string path = library(folder);
    const SmallDisk disk(folder.makeFolder("disk"), "size=64m");
    if (!disk.isMounted() || !disk.makeReadOnly()) {
        GTEST_SKIP() << "no file system may be mounted here";
    }
    const Ran save = runVantorel({"export", path, (folder / "disk").string()});
    EXPECT_EQ(save.status, nothingStarted);
    EXPECT_NE(save.errors.find("is read only. Choose a folder on another disk."), std::string::npos)
        << save.errors;
}

TEST(WrongUse, isAnsweredWithStatusTwo)
{
    const TemporaryFolder folder;
    const std::string path = library(folder);
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {},
             {"frobnicate"},
             {"scan"},
             {"scan", path, "--stall-limit", "soon"},
             {"export", path},
             {"export", "--album", "No album has this name", path, folder.path().string()},
         }) {
        const Ran ran = runVantorel(arguments);
        EXPECT_EQ(ran.status, wrongUsage) << testing::PrintToString(arguments);
        EXPECT_NE(ran.errors, "");
        EXPECT_EQ(ran.output, "");
    }
    EXPECT_EQ(runVantorel({"--help"}).status, 0);
    EXPECT_EQ(runVantorel({"--version"}).status, 0);
}

} // namespace
} // namespace vantorel
