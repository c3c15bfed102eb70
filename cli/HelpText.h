#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace vantorel::cli {

/// The help of the program and of each command, 80 columns wide: what it does, examples (the command's
/// footer), how it is used, arguments, options, exit status.
class HelpText : public CLI::Formatter {
public:
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
};

/// Why these arguments are no use of the program, where the parser's own words would mislead: no command at
/// all, or one that there is not. Empty otherwise.
std::string commandMistake(const CLI::App& app, int argc, const char* const* argv);

} // namespace vantorel::cli
