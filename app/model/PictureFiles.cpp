#include "app/model/PictureFiles.h"

#include "disk/Root.h"
#include "scan/OriginalNames.h"
#include "scan/PhotoFileTypes.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace vantorel {

namespace {

/// What a file shows of an item. Where an item was never edited, all three are the same.
enum class Shows { now, edit, original };

struct Copy {
    std::string_view folder;
    std::string_view suffix;
    int side; ///< Pixels along the long side, roughly.
    Shows shows;
};

constexpr int wholeSide = 4000;

/// The smaller copies that Photos keeps, by their names (see `SmallerCopies`).
constexpr std::array<Copy, 9> copies{{
    {.folder = "resources/derivatives/masters/",
        .suffix = "_4_5005_c.jpeg",
        .side = 400,
        .shows = Shows::now},
    {.folder = "resources/derivatives/", .suffix = "_1_105_c.jpeg", .side = 1100, .shows = Shows::now},
    {.folder = "resources/derivatives/", .suffix = "_1_106_c.jpeg", .side = 1280, .shows = Shows::now},
    {.folder = "resources/derivatives/", .suffix = "_1_102_a.jpeg", .side = 2200, .shows = Shows::edit},
    {.folder = "resources/renders/", .suffix = "_1_201_a.jpeg", .side = wholeSide, .shows = Shows::edit},
    {.folder = "resources/renders/", .suffix = "_1_201_a.heic", .side = wholeSide, .shows = Shows::edit},
    {.folder = "resources/derivatives/", .suffix = "_1_102_o.jpeg", .side = 2200, .shows = Shows::original},
    {.folder = "resources/derivatives/", .suffix = "_1_101_o.jpeg", .side = 3000, .shows = Shows::original},
    {.folder = "resources/derivatives/",
        .suffix = "_1_100_o.jpeg",
        .side = wholeSide,
        .shows = Shows::original},
}};

/// Where pictures of shared albums lie, up to and after macOS 12.
constexpr std::array<std::string_view, 2> sharedFolders{"resources/cloudsharing/", "scopes/cloudsharing/"};

struct Candidate {
    std::string path{};
    int side = 0;
    Shows shows = Shows::now;
};

void addShared(std::vector<Candidate>& found, const Asset& asset, const std::string& name)
{
    for (const auto folder : sharedFolders) {
        found.push_back({.path = std::string(folder) + "resources/derivatives/masters/" + name.substr(0, 1)
                + "/" + name + "_4_5005_c.jpeg",
            .side = 500});
        if (asset.kind == Asset::Kind::photo && !asset.directory.empty() && !asset.fileName.empty()) {
            found.push_back({.path = std::string(folder) + "data/" + asset.directory + "/" + asset.fileName,
                .side = 2048});
        }
    }
}

} // namespace

std::vector<std::string> pictureFiles(const Asset& asset, const OriginalEntry& entry, int side)
{
    std::vector<Candidate> found;
    // An identifier is a part of paths here; that of a damaged database can be anything.
    if (const std::string name(OriginalNames::identifier(asset.uuid)); !name.empty()) {
        for (const auto& copy : copies) {
            found.push_back(
                {.path = std::string(copy.folder) + name.substr(0, 1) + "/" + name + std::string(copy.suffix),
                    .side = copy.side,
                    .shows = copy.shows});
        }
        if (asset.isSharedAlbumItem) {
            addShared(found, asset, name);
        }
    }
    if (entry.file && !entry.isOutsideLibrary) {
        const auto extension = OriginalNames::lowerCaseExtension(entry.file->path);
        if (!isVideoExtension(extension)) {
            found.push_back({.path = entry.file->path,
                .side = holdsSmallerCopy(entry) ? 1100 : wholeSide,
                .shows = Shows::original});
        }
    }
    const auto isPlain = [&](const Candidate& candidate) {
        return asset.hasEdits && candidate.shows == Shows::original;
    };
    std::ranges::stable_sort(found, [&](const Candidate& a, const Candidate& b) {
        if (isPlain(a) != isPlain(b)) {
            return isPlain(b);
        }
        const bool aFills = a.side >= side;
        const bool bFills = b.side >= side;
        if (aFills != bFills) {
            return aFills;
        }
        return aFills ? a.side < b.side : a.side > b.side;
    });
    std::vector<std::string> paths;
    for (auto& candidate : found) {
        if (isSafeRelativePath(candidate.path) && std::ranges::find(paths, candidate.path) == paths.end()) {
            paths.push_back(std::move(candidate.path));
        }
    }
    return paths;
}

} // namespace vantorel
