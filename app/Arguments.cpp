#include "app/Arguments.h"

#include "app/Display.h"
#include "base/Product.h"
#include "base/Text.h"

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace vantorel {

namespace {

constexpr const char* usage =
    "Shows what is in a Photos library (\".photoslibrary\"), also a damaged one, and saves it.\n"
    "\n"
    "Usage:\n"
    "  vantorel-app [LIBRARY]    with LIBRARY, that one is scanned at once\n"
    "  vantorel-app --version\n"
    "\n"
    "Where there is no display, \"vantorel\" does the same: vantorel --help\n";

constexpr const char* noDisplay = "There is no display here for Vantorel's windows, or it does not answer. "
                                  "Without one, \"vantorel\" does the "
                                  "same: vantorel --help\n";

constexpr int notStarted = 3;

} // namespace

std::optional<int> answerWithoutWindows(int argc, const char* const* argv)
{
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--") {
            break; // what follows are names
        }
        if (argument == "--help" || argument == "-h") {
            std::fputs(usage, stdout);
            return 0;
        }
        if (argument == "--version") {
            std::puts((std::string(product::name) + " " + std::string(product::version())).c_str());
            return 0;
        }
    }
    if (!mayHaveDisplay(argc, argv)) {
        return answerNoDisplay();
    }
    return std::nullopt;
}

int answerNoDisplay(std::string_view reason)
{
    std::fputs(noDisplay, stderr);
    if (!reason.empty()) {
        std::fprintf(stderr, "The reason: %s\n", std::string(reason).c_str());
    }
    return notStarted;
}

std::expected<std::optional<DiskPath>, std::string> libraryOf(int argc, const char* const* argv)
{
    std::optional<DiskPath> library;
    bool onlyPaths = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (!onlyPaths && argument == "--") {
            onlyPaths = true;
        } else if (!onlyPaths && argument.starts_with('-')) {
            return std::unexpected("There is no option \"" + displayText(argument) + "\".");
        } else if (argument.empty()) {
            return std::unexpected("The library's name is empty.");
        } else if (library) {
            return std::unexpected("One library at a time can be opened.");
        } else {
            std::error_code none; // without a working folder the name stays as it is, and is not found
            const DiskPath given(argument);
            const auto whole = std::filesystem::absolute(given, none);
            library = none ? given : whole.lexically_normal();
        }
    }
    return library;
}

} // namespace vantorel
