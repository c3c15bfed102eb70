#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace vantorel {
namespace {

namespace fs = std::filesystem;

const fs::path tree = VANTOREL_SOURCE_TREE;

/// What each module may include besides itself. One direction: with a single include root the compiler would
/// let any file see any other.
const std::map<std::string, std::set<std::string>> allowed{
    {"base", {}},
    {"disk", {"base"}},
    {"discovery/volumes", {"base", "disk"}},
    {"database/model", {"base", "disk"}},
    {"journals", {"base", "disk", "database/model"}},
    {"database", {"base", "disk", "discovery/volumes", "database/model", "journals"}},
    {"scan", {"base", "disk", "discovery/volumes", "database/model", "database"}},
    {"compare", {"base", "database/model", "database", "scan"}},
    {"export", {"base", "disk", "discovery/volumes", "database/model", "database", "scan"}},
    {"discovery", {"base", "disk", "discovery/volumes"}},
};

std::vector<fs::path> sourcesOf(const fs::path& folder)
{
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const auto extension = entry.path().extension();
        if (extension == ".h" || extension == ".cpp" || extension == ".mm") {
            files.push_back(entry.path());
        }
    }
    std::ranges::sort(files);
    return files;
}

std::vector<std::string> linesOf(const fs::path& file)
{
    std::ifstream stream(file);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(Modules, includeOnlyWhatLiesBelowThem)
{
    const std::regex include(R"re(^\s*#include "([^"]+)/[^"/]+")re");
    std::size_t checked = 0;
    for (const auto& file : sourcesOf(tree / "core")) {
        const std::string module = fs::relative(file.parent_path(), tree / "core").generic_string();
        const auto rule = allowed.find(module);
        ASSERT_NE(rule, allowed.end()) << file << " is in a module that this test does not know";
        for (const auto& line : linesOf(file)) {
            std::smatch match;
            if (std::regex_search(line, match, include)) {
                ++checked;
                EXPECT_TRUE(match[1] == module || rule->second.contains(match[1])) << file << ": " << line;
            }
        }
    }
    EXPECT_GT(checked, 100U);
}

TEST(Modules, keepToTheSeam)
{
    // In core, files are reached through SystemCalls alone, and nothing knows a GUI toolkit.
    const std::regex around(
        R"(std::filesystem::(exists|is_|file_size|copy|remove|rename|create_|directory_iterator|recursive_|status)|)"
        R"(std::(i|o)?fstream|\bfopen\(|#include <Q[A-Z])");
    for (const auto& file : sourcesOf(tree / "core")) {
        for (const auto& line : linesOf(file)) {
            EXPECT_FALSE(std::regex_search(line, around)) << file << ": " << line;
        }
    }
}

TEST(Modules, haveEverySourceInTheBuild)
{
    for (const auto* root : {"core", "cli", "sample", "app", "tests"}) {
        for (const auto& file : sourcesOf(tree / root)) {
            if (file.extension() == ".h") {
                continue;
            }
            bool listed = false;
            for (fs::path folder = file.parent_path(); !listed && folder != tree;
                folder = folder.parent_path()) {
                for (const auto& line : fs::exists(folder / "CMakeLists.txt")
                        ? linesOf(folder / "CMakeLists.txt")
                        : std::vector<std::string>{}) {
                    listed = listed || line.find(file.filename().string()) != std::string::npos;
                }
            }
            EXPECT_TRUE(listed) << file << " is in no CMakeLists.txt";
        }
    }
}

/// Two types of one name make one linker symbol of two destructors: the compiler says nothing, memory goes
/// astray.
TEST(Headers, defineNoTypeTwice)
{
    const std::regex definition(R"re(^(?:struct|class|enum class) (\w+)(?: final)?(?: :[^:;].*)?\s*\{?$)re");
    std::map<std::string, std::set<std::string>> places;
    for (const auto& file : sourcesOf(tree / "core")) {
        if (file.extension() != ".h") {
            continue;
        }
        for (const std::string& line : linesOf(file)) {
            if (std::smatch match; std::regex_match(line, match, definition)) {
                places[match[1]].insert(fs::relative(file, tree).string());
            }
        }
    }
    EXPECT_GT(places.size(), 100U);
    for (const auto& [name, files] : places) {
        EXPECT_EQ(files.size(), 1U) << name << " in " << *files.begin() << " and " << *files.rbegin();
    }
}

} // namespace
} // namespace vantorel
