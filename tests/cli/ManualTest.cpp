#include "cli/RunProgram.h"

#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {
namespace {

using Flags = std::set<std::string>;
using FlagsOfCommands = std::map<std::string, Flags>;

const std::vector<std::string> commands{"find", "scan", "compare", "export", "verify"};

std::string contentOf(const std::string& file)
{
    std::ifstream stream(VANTOREL_SOURCE_TREE "/" + file);
    std::ostringstream text;
    text << stream.rdbuf();
    EXPECT_FALSE(text.str().empty()) << file;
    return text.str();
}

/// Every word that follows the prefix, "--" put before it.
Flags flagsIn(std::string_view text, std::string_view prefix = "--")
{
    Flags flags;
    for (std::size_t at = 0; (at = text.find(prefix, at)) != std::string_view::npos;) {
        at += prefix.size();
        const auto end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at);
        const auto word = text.substr(at, end == std::string_view::npos ? end : end - at);
        if (!word.empty() && std::islower(static_cast<unsigned char>(word.front())) != 0) {
            flags.insert("--" + std::string(word));
        }
    }
    return flags;
}

std::string_view between(std::string_view text, std::string_view begin, std::string_view end)
{
    const auto first = text.find(begin);
    EXPECT_NE(first, std::string_view::npos) << begin;
    text.remove_prefix(std::min(first, text.size()));
    return text.substr(0, text.find(end));
}

/// The truth: what each command's help offers; "" is the program without a command.
const FlagsOfCommands& flagsInHelp()
{
    static const FlagsOfCommands flags = [] {
        FlagsOfCommands found{{"", flagsIn(between(runVantorel({"--help"}).output, "\nOptions:", "\n\n"))}};
        for (const auto& command : commands) {
            found[command] = flagsIn(between(runVantorel({command, "--help"}).output, "\nOptions:", "\n\n"));
        }
        return found;
    }();
    return flags;
}

Flags flagsInSampleHelp()
{
    return flagsIn(between(runTool({VANTOREL_SAMPLE, "--help"}).output, "\nOptions:", "\n\n"));
}

Flags offeredByBash(const std::string& file, const std::string& function, const std::string& words)
{
    const std::string script = "source '" VANTOREL_SOURCE_TREE "/packaging/completions/" + file
        + "' && COMP_WORDS=(" + words + ") && COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) && " + function
        + " && printf '%s\\n' \"${COMPREPLY[@]}\"";
    const Ran ran = runTool({"bash", "-c", script});
    EXPECT_EQ(ran.status, 0) << ran.errors;
    return flagsIn(ran.output);
}

TEST(Manual, bashOffersTheFlagsOfEachCommand)
{
    FlagsOfCommands offered;
    for (const auto& [command, flags] : flagsInHelp()) {
        offered[command] = offeredByBash("vantorel.bash", "_vantorel", "vantorel " + command + " --");
    }
    EXPECT_EQ(offered, flagsInHelp());
    EXPECT_EQ(
        offeredByBash("vantorel-sample.bash", "_vantorel_sample", "vantorel-sample --"), flagsInSampleHelp());
}

TEST(Manual, zshOffersTheFlagsOfEachCommand)
{
    const std::string text = contentOf("packaging/completions/_vantorel");
    const Flags common = flagsIn(between(text, "common=(", "\n    )"));
    FlagsOfCommands offered{{"", flagsIn(between(text, "_arguments -C", "&& return"))}};
    for (const auto& command : commands) {
        offered[command] = flagsIn(between(text, "(" + command + ")", ";;"));
        offered[command].insert(common.begin(), common.end());
    }
    EXPECT_EQ(offered, flagsInHelp());
    EXPECT_EQ(flagsIn(contentOf("packaging/completions/_vantorel-sample")), flagsInSampleHelp());
}

/// The lines that offer something; the others name conditions.
std::vector<std::string> offersOf(const std::string& file)
{
    std::vector<std::string> offers;
    std::istringstream lines(contentOf(file));
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("complete ")) {
            offers.push_back(line);
        }
    }
    return offers;
}

TEST(Manual, fishOffersTheFlagsOfEachCommand)
{
    FlagsOfCommands offered;
    for (const auto& line : offersOf("packaging/completions/vantorel.fish")) {
        const Flags flags = flagsIn(line, " -l ");
        const bool always = !line.contains(" -n ");
        if (always || line.contains(" -n __fish_use_subcommand ")) {
            offered[""].insert(flags.begin(), flags.end());
        }
        for (const auto& command : commands) {
            if (always || line.contains(" -n $every ") || line.contains(" -n $" + command + " ")
                || line.contains("__fish_seen_subcommand_from " + command + "'")) {
                offered[command].insert(flags.begin(), flags.end());
            }
        }
    }
    EXPECT_EQ(offered, flagsInHelp());
    Flags ofSample;
    for (const auto& line : offersOf("packaging/completions/vantorel-sample.fish")) {
        ofSample.merge(flagsIn(line, " -l "));
    }
    EXPECT_EQ(ofSample, flagsInSampleHelp());
}

TEST(Manual, pagesNameEveryFlagAndNoOther)
{
    Flags all;
    for (const auto& [command, flags] : flagsInHelp()) {
        all.insert(flags.begin(), flags.end());
    }
    const auto inPage = [](const std::string& page) {
        std::string text = contentOf("docs/man/" + page);
        for (std::size_t at = 0; (at = text.find("\\-", at)) != std::string::npos;) {
            text.replace(at, 2, "-");
        }
        return flagsIn(text);
    };
    EXPECT_EQ(inPage("vantorel.1.in"), all);
    EXPECT_EQ(inPage("vantorel-sample.1.in"), flagsInSampleHelp());
}

TEST(Help, fitsATerminalAndNamesACommandThatIsNone)
{
    for (const auto& command : commands) {
        const Ran ran = runVantorel({command, "--help"});
        EXPECT_EQ(ran.status, 0);
        std::istringstream lines(ran.output);
        for (std::string line; std::getline(lines, line);) {
            // An example is copied, so it stays one line.
            EXPECT_TRUE(line.size() <= 80 || line.starts_with("  vantorel ")) << line;
        }
    }
    const Ran none = runVantorel({});
    EXPECT_EQ(none.status, 2);
    EXPECT_EQ(none.errors, runVantorel({"--help"}).output);
    const Ran unknown = runVantorel({"sacn", "Library.photoslibrary"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_EQ(unknown.errors,
        "Vantorel has no command \"sacn\". Its commands are find, scan, compare, export and verify; "
        "\"vantorel "
        "--help\" says what each does.\n");
}

} // namespace
} // namespace vantorel
