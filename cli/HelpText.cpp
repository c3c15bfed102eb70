#include "cli/HelpText.h"

#include "base/Text.h"
#include "base/Unicode.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

namespace vantorel::cli {

namespace {

constexpr std::size_t width = 80;
constexpr std::size_t widestName = 24;

constexpr std::string_view exitStatuses = "Exit status:\n"
                                          "  0    done\n"
                                          "  1    ended, but not complete\n"
                                          "  2    wrong usage\n"
                                          "  3    nothing could be read or started\n"
                                          "  130  stopped with Ctrl-C (a second Ctrl-C ends at once)\n";

/// The text in lines that begin at a column, the first of them already there.
std::string wrapped(std::string_view text, std::size_t column)
{
    std::string lines;
    std::size_t at = column;
    while (!text.empty()) {
        const auto end = std::min(text.find(' '), text.size());
        const auto word = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (at > column && at + 1 + word.size() > width) {
            lines += "\n" + std::string(column, ' ');
            at = column;
        } else if (at > column) {
            lines += " ";
            ++at;
        }
        lines += word;
        at += word.size();
    }
    return lines;
}

struct Row {
    std::string name;
    std::string text;
};

std::string table(std::string_view heading, const std::vector<Row>& rows)
{
    if (rows.empty()) {
        return "";
    }
    std::size_t widest = 0;
    for (const auto& row : rows) {
        widest = row.name.size() > widestName ? widest : std::max(widest, row.name.size());
    }
    const std::size_t column = widest + 4;
    std::string text = fmt::format("\n{}:\n", heading);
    for (const auto& row : rows) {
        const bool fits = row.name.size() <= widest;
        text += fmt::format("  {:<{}}{}{}\n", row.name, widest + 2,
            fits ? "" : "\n" + std::string(column, ' '), wrapped(row.text, column));
    }
    return text;
}

bool takesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

/// "-h, --help", "--album TITLE", "LIBRARY", "FOLDER...".
std::string nameOf(const CLI::Option& option)
{
    if (option.get_positional()) {
        return option.get_name(true) + (option.get_items_expected_max() > 1 ? "..." : "");
    }
    std::string name;
    for (const auto& letter : option.get_snames()) {
        name += fmt::format("{}-{}", name.empty() ? "" : ", ", letter);
    }
    for (const auto& word : option.get_lnames()) {
        name += fmt::format("{}--{}", name.empty() ? "" : ", ", word);
    }
    if (takesValue(option)) {
        const std::string type = option.get_type_name(); // followed by what checks the value
        name += " " + type.substr(0, type.find(':'));
    }
    return name;
}

std::string usageOf(
    const CLI::App& app, std::string_view name, const std::vector<const CLI::Option*>& options)
{
    std::string usage(name);
    if (!app.get_subcommands({}).empty()) {
        usage += " COMMAND";
    }
    for (const auto* option : options) {
        if (option->get_positional()) {
            usage += option->get_required() ? " " + nameOf(*option) : " [" + nameOf(*option) + "]";
        }
    }
    return usage + " [OPTIONS]";
}

std::vector<const CLI::App*> commandsOf(const CLI::App& app)
{
    return app.get_subcommands([](const CLI::App* command) { return !command->get_name().empty(); });
}

} // namespace

std::string HelpText::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode /*mode*/) const
{
    const auto* parent = app->get_parent();
    if (name.empty()) {
        name = parent != nullptr ? parent->get_name() + " " + app->get_name() : app->get_name();
    }
    const auto options = app->get_options();
    std::vector<Row> arguments;
    std::vector<Row> flags;
    for (const auto* option : options) {
        (option->get_positional() ? arguments : flags)
            .push_back({nameOf(*option), option->get_description()});
    }
    std::vector<Row> commands;
    for (const auto* command : commandsOf(*app)) {
        commands.push_back({command->get_name(), command->get_description()});
    }

    std::string text = wrapped(app->get_description(), 0) + "\n\n" + app->get_footer();
    text += fmt::format("\nUsage:\n  {}\n", usageOf(*app, name, options));
    text += table("Commands", commands);
    text += table("Arguments", arguments);
    text += table("Options", flags);
    if (parent == nullptr) {
        text += fmt::format(
            "\n\"{0} COMMAND --help\" says more of a command, \"man {0}\" of everything.\n", name);
    }
    return text + "\n" + std::string(exitStatuses);
}

std::string commandMistake(const CLI::App& app, int argc, const char* const* argv)
{
    if (argc < 2) {
        return app.help();
    }
    const std::string_view first = argv[1];
    const auto commands = commandsOf(app);
    const auto isFirst = [&](const CLI::App* command) { return command->get_name() == first; };
    if (first.starts_with("-") || std::ranges::any_of(commands, isFirst)) {
        return "";
    }
    std::string names;
    for (const auto* command : commands) {
        const auto* separator = names.empty() ? "" : command == commands.back() ? " and " : ", ";
        names += separator + command->get_name();
    }
    return fmt::format(
        "Vantorel has no command \"{}\". Its commands are {}; \"vantorel --help\" says what each does.\n",
        displayText(std::string(first)), names);
}

} // namespace vantorel::cli
