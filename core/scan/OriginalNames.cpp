#include "scan/OriginalNames.h"

#include "base/Text.h"
#include "base/Unicode.h"

#include <algorithm>
#include <array>

namespace vantorel::OriginalNames {

namespace {

constexpr std::size_t identifierBytes = 36;

constexpr std::array<std::string_view, 6> systemNames{
    "$recycle.bin", "@eadir", "desktop.ini", "lost+found", "system volume information", "thumbs.db"};

std::size_t extensionDot(std::string_view name)
{
    const std::size_t dot = name.rfind('.');
    return dot == 0 ? std::string_view::npos : dot;
}

} // namespace

std::string_view identifier(std::string_view name)
{
    const std::string_view front = name.substr(0, identifierBytes);
    return isUuid(front) ? front : std::string_view{};
}

char partDigit(std::string_view name)
{
    if (name.size() < identifierBytes + 2 || name[identifierBytes] != '_' || identifier(name).empty()) {
        return 0;
    }
    const char digit = name[identifierBytes + 1];
    return digit >= '0' && digit <= '9' ? digit : char{0};
}

std::string folded(std::string_view name)
{
    const bool isAscii =
        std::ranges::all_of(name, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    return isAscii ? lowerAscii(name) : caseFoldedComposed(name);
}

std::string lowerCaseExtension(std::string_view name)
{
    const std::size_t dot = extensionDot(name);
    return dot == std::string_view::npos ? std::string{} : lowerAscii(name.substr(dot + 1));
}

std::string_view withoutExtension(std::string_view name) { return name.substr(0, extensionDot(name)); }

bool isLeftBySystem(std::string_view name)
{
    // "Icon" with a carriage return holds a folder's icon on HFS+ and APFS.
    // Asked of every file: most names are as long as none of these.
    return name.starts_with('.') || name == "Icon\r"
        || std::ranges::any_of(systemNames, [name](std::string_view known) {
               return known.size() == name.size() && known == lowerAscii(name);
           });
}

} // namespace vantorel::OriginalNames
