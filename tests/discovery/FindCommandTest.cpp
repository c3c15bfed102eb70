#include "cli/FindSummary.h"
#include "cli/RunProgram.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>

namespace vantorel {
namespace {

using nlohmann::json;

constexpr int notComplete = 1;
constexpr int wrongUsage = 2;

TEST(FindCommand, printsTheResultAsJson)
{
    const TemporaryFolder folder;
    folder.write("a/Evil\n\x1b[2J\xff.photoslibrary/database/Photos.sqlite", "12345");
    folder.makeFolder("a/Masters only/Masters");
    const Ran ran =
        runVantorel({"find", "--json", "--only", (folder / "a").string() + "/", (folder / "gone").string()});
    EXPECT_EQ(ran.status, notComplete);
    EXPECT_EQ(ran.errors, "");
    const json result = json::parse(ran.output);
    ASSERT_EQ(result["libraries"].size(), 2u);
    const json& first = result["libraries"][0];
    EXPECT_EQ(first["name"], "Evil\n\x1b[2J\xef\xbf\xbd");
    EXPECT_EQ(first["origin"], "picked");
    EXPECT_EQ(first["format"], "modern");
    EXPECT_EQ(first["databaseBytes"], 5);
    EXPECT_EQ(first["accessProblem"], nullptr);
    EXPECT_EQ(first["hasJournals"], false);
    EXPECT_EQ(first["databaseExcludedFromBackups"], false);
    EXPECT_TRUE(first["databaseModified"].get<std::string>().ends_with("Z"));
    EXPECT_TRUE(first["volume"]["mountPoint"].get<std::string>().starts_with("/"));
    EXPECT_EQ(result["libraries"][1]["format"], "legacy");
    EXPECT_EQ(result["libraries"][1]["databaseBytes"], nullptr);
    EXPECT_EQ(result["unreachablePicks"], json::array({(folder / "gone").string()}));
    ASSERT_EQ(result["issues"].size(), 1u);
    EXPECT_EQ(result["issues"][0]["kind"], "volumeGone");
}

TEST(FindCommand, showsNamesWithoutObeyingThem)
{
    const TemporaryFolder folder;
    folder.write("Evil\n\x1b[2J.photoslibrary/database/Photos.sqlite", "12345");
    folder.makeFolder("Hollow\x1b]0;x\x07.photoslibrary");
    const Ran ran = runVantorel({"find", "--only", folder.path().string()});
    EXPECT_EQ(ran.status, 0);
    EXPECT_TRUE(
        ran.output.starts_with("1 library found.\n\nIn the folders that you named\n\n  Evil\\n\\x1b[2J\n"))
        << ran.output;
    EXPECT_EQ(ran.output.find('\x1b'), std::string::npos);
    EXPECT_NE(
        ran.output.find("\"Hollow\\x1b]0;x\\x07.photoslibrary\" is not a Photos library"), std::string::npos);
    EXPECT_EQ(runVantorel({"find", "--only"}).status, wrongUsage);
    const Ran none = runVantorel({"find", "--only", folder.makeFolder("empty").string()});
    EXPECT_EQ(none.status, 0);
    EXPECT_TRUE(none.output.starts_with("No library found.\n")) << none.output;
}

TEST(FindSummary, fitsEightyColumnsAndSaysEachThingOnce)
{
    using Origin = FoundLibrary::Origin;
    const VolumeInfo stick{.name = "Stick", .fileSystem = VolumeInfo::FileSystem::exfat, .isReadOnly = true};
    const FoundLibrary refused{.url = "/home/anna/Refused.photoslibrary",
        .name = "Refused",
        .origin = Origin::home,
        .accessProblem = accessProblemText(VolumeInfo{.name = "Disk"}),
        .accessAdvice = "An advice."};
    const FindResult result{
        .libraries = {refused,
            {.url = "/media/Stick/a",
                .name = "a",
                .origin = Origin::volume,
                .format = LibraryFormat::noDatabase,
                .volume = stick},
            {.url = "/media/Stick/b", .name = "b", .origin = Origin::volume, .format = LibraryFormat::legacy},
            {.url = "/media/TM/x",
                .name = "x",
                .origin = Origin::timeMachine,
                .format = LibraryFormat::noDatabase,
                .databaseExcludedFromBackups = true,
                .hasJournals = true},
            {.url = "/media/TM/y",
                .name = "y",
                .origin = Origin::timeMachine,
                .format = LibraryFormat::noDatabase}},
        .issues = {{FindIssue::Kind::permissionDenied, *refused.accessProblem},
            FindTexts::tooManyFolders("Stick"), FindTexts::locked("Kids")},
        .advice = {"Advice on disks."},
    };
    const std::string text = cli::findSummary(result);
    std::istringstream lines(text);
    std::string joinedText;
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 80u) << line;
        const std::size_t start = line.find_first_not_of(' ');
        joinedText += start == std::string::npos ? "|" : line.substr(start) + " ";
    }
    const auto times = [&](std::string_view part) {
        std::size_t count = 0;
        for (std::size_t at = joinedText.find(part); at != std::string::npos;
            at = joinedText.find(part, at + 1)) {
            ++count;
        }
        return count;
    };
    for (const char* part :
        {"5 libraries found.", "In home folders", "On mounted disks", "In Time Machine backups",
            "macOS refused access to this library.", "An advice.", "Advice on disks.",
            "No database; on \"Stick\" (exFAT, read only)",
            "This library has no database file. Only its photo files can be saved.",
            "This library comes from macOS 10.14 or earlier",
            "No database here, as is normal for a Time Machine backup.",
            "Only photo files were found in this backup", "\"Stick\" has too many folders to search in full.",
            "The encrypted volume \"Kids\" is locked."}) {
        EXPECT_EQ(times(part), 1u) << part << "\n" << text;
    }
    EXPECT_EQ(cli::wrapped("a bb " + std::string(90, 'c') + " d", 2),
        "  a bb\n  " + std::string(90, 'c') + "\n  d\n");
}

} // namespace
} // namespace vantorel
