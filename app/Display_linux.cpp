#include "app/Display.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

namespace vantorel {

bool mayHaveDisplay(int argc, const char* const* argv)
{
    // A platform that was chosen may need no display ("offscreen", "vnc").
    constexpr std::array variables{"WAYLAND_DISPLAY", "DISPLAY", "QT_QPA_PLATFORM"};
    const auto isSet = [](const char* variable) {
        const char* value =
            std::getenv(variable); // NOLINT(concurrency-mt-unsafe): nothing here sets variables
        return value != nullptr && *value != '\0';
    };
    return std::ranges::any_of(variables, isSet)
        || std::any_of(argv, argv + argc,
            [](std::string_view argument) { return argument == "-platform" || argument == "--platform"; });
}

} // namespace vantorel
