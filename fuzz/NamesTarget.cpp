// Names of an export: cleaning, splitting, both allocators, and texts for a terminal. Names are divided by
// the byte FF.

#include "FuzzTarget.h"

#include "base/Text.h"
#include "base/Unicode.h"
#include "base/Utf8.h"
#include "export/SafeNames.h"

#include <algorithm>
#include <set>

namespace vantorel::fuzz {

namespace {

bool isRefusedSomewhere(char32_t c)
{
    return c < 0x20 || c == 0x7F || std::u32string_view(U"\"*/:<>?\\|").contains(c)
        || (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || (c >= 0x80 && isUnassigned(c));
}

void checkClean(const std::string& name)
{
    require(!name.empty() && name.size() <= SafeNames::mostBytes, "a name has 1 to 180 bytes");
    require(isValidUtf8(name), "a name is UTF-8");
    for (std::size_t at = 0; at < name.size();) {
        const auto step = utf8Step(name, at);
        require(!isRefusedSomewhere(step.scalar), "no character that a disk refuses");
        at += step.length;
    }
    require(!name.starts_with('.') && !name.starts_with(' '), "does not begin with a dot or space");
    require(!name.ends_with('.') && !name.ends_with(' '), "does not end with a dot or space");
    require(!name.contains("  "), "no runs of spaces");
    const auto base = upperAscii(name.substr(0, name.find('.')));
    const bool isNumberedDevice = base.size() == 4 && (base.starts_with("COM") || base.starts_with("LPT"))
        && base[3] >= '1' && base[3] <= '9';
    require(base != "CON" && base != "PRN" && base != "AUX" && base != "NUL" && !isNumberedDevice,
        "no name of a device");
    require(SafeNames::clean(name, "Untitled") == name, "a clean name stays as it is");
}

void checkDisplay(const std::string& text)
{
    const auto shown = displayText(text);
    require(isValidUtf8(shown), "shown text is UTF-8");
    for (std::size_t at = 0; at < shown.size();) {
        const auto step = utf8Step(shown, at);
        require(step.scalar >= 0x20 && !(step.scalar >= 0x7F && step.scalar < 0xA0), "no control characters");
        require(!(step.scalar >= 0x202A && step.scalar <= 0x202E)
                && !(step.scalar >= 0x2066 && step.scalar <= 0x2069),
            "no direction controls");
        at += step.length;
    }
    require(repairedUtf8(repairedUtf8(text)) == repairedUtf8(text), "what was repaired stays");
}

/// Unique under a key that is made of the whole name, not put together from parts.
class Taken {
public:
    void take(const std::string& name)
    {
        require(keys_.insert(SafeNames::comparisonKey(name)).second, "no two names are the same on any disk");
    }

private:
    std::set<std::string> keys_;
};

} // namespace

void runTarget(std::string_view input)
{
    InputReader reader(input);
    const auto flags = reader.byte();
    std::vector<std::string> names;
    while (!reader.isAtEnd() && names.size() < 200) {
        names.push_back(reader.text());
    }
    Taken folders;
    Taken files;
    FolderNames folderNames;
    NameAllocator allocator;
    if ((flags & 1U) != 0 && !names.empty()) {
        folderNames.reserve(names.front());
        allocator.reserve(names.front());
        folders.take(names.front());
        files.take(names.front());
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        const auto& name = names[i];
        const auto& other = names[(i + 1) % names.size()];
        checkDisplay(name);
        const auto folder = SafeNames::clean(name, "Untitled Album");
        checkClean(folder);
        folders.take(folderNames.allocate(folder));

        const auto split = SafeNames::split(name, other);
        const auto stem = SafeNames::clean(split.stem, "Untitled");
        checkClean(stem);
        const auto companion = SafeNames::companionExtension(other);
        const std::vector<std::string> companions(flags >> 6U, companion.extension);
        const auto given = allocator.allocate(stem, split.extension, companions);
        require(given.companions.size() == companions.size(), "one name for each");
        files.take(given.main);
        if (SafeNames::comparisonKey(given.main) != SafeNames::comparisonKey(given.sidecar)) {
            files.take(given.sidecar);
        }
        for (const auto& each : given.companions) {
            files.take(each);
        }
    }
}

} // namespace vantorel::fuzz
