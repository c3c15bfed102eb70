#include "scan/UnknownFiles.h"

#include "base/Text.h"
#include "scan/OriginalNames.h"
#include "scan/PhotoFileTypes.h"

#include <algorithm>
#include <map>
#include <tuple>

namespace vantorel {

namespace {

/// The main file of a group is the one that orders first: one with content, a main name before a part (of
/// which the RAW and the video before side data), a photo before a video before anything else, the larger.
auto orderInGroup(const FS::Entry& entry)
{
    const std::string extension = OriginalNames::lowerCaseExtension(entry.name);
    const char digit = OriginalNames::partDigit(entry.name);
    const int part = digit == 0 ? 0 : digit == '4' ? 1 : digit == '3' ? 2 : 3;
    const int type = !isPhotoOrVideoExtension(extension) ? 2 : isVideoExtension(extension) ? 1 : 0;
    return std::tuple(entry.size <= 0, part, type, -entry.size, entry.name);
}

} // namespace

std::vector<OriginalsReport::UnknownFile> groupUnknownFiles(
    const std::string& directory, const std::string& folder, const std::vector<const FS::Entry*>& files)
{
    std::map<std::string, std::vector<const FS::Entry*>> groups;
    for (const FS::Entry* file : files) {
        const std::string_view identifier = OriginalNames::identifier(file->name);
        // A name without an identifier is no key that another name could have: it holds its whole name.
        groups[identifier.empty() ? file->name : upperAscii(identifier)].push_back(file);
    }

    std::vector<OriginalsReport::UnknownFile> unknown;
    for (auto& [key, group] : groups) {
        std::ranges::sort(
            group, [](const auto* a, const auto* b) { return orderInGroup(*a) < orderInGroup(*b); });
        const FS::Entry& main = *group.front();
        OriginalsReport::UnknownFile file{
            .uuid = isUuid(key) ? key : std::string(OriginalNames::withoutExtension(key)),
            .directory = directory,
            .main = folder + "/" + main.name,
            .size = main.size,
            .modified = main.modified,
        };
        std::ranges::sort(group.begin() + 1, group.end(), {}, [](const auto* entry) { return entry->name; });
        for (auto companion = group.begin() + 1; companion != group.end(); ++companion) {
            if ((*companion)->size > 0) {
                file.companions.push_back(folder + "/" + (*companion)->name);
                file.companionSizes.push_back((*companion)->size);
            }
        }
        unknown.push_back(std::move(file));
    }
    return unknown;
}

} // namespace vantorel
