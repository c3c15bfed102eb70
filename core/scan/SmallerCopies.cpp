#include "scan/SmallerCopies.h"

#include "base/Text.h"
#include "scan/OriginalNames.h"
#include "scan/PhotoFileTypes.h"

#include <algorithm>

namespace vantorel::SmallerCopies {

namespace {

/// What stands between the identifier and the extension, best first. Up to "_1_102_o" they show the picture
/// without edits; "?" stands for what is not listed: of unknown size, but hardly smaller than the last.
constexpr std::array<std::string_view, 9> pictures{
    "_1_100_o", "_1_101_o", "_1_102_o", "_1_201_a", "_1_102_a", "_1_105_c", "_1_106_c", "?", "_4_5005_c"};
/// The medium and the small copy, then the edited video in full.
constexpr std::array<std::string_view, 4> videos{"_2_3_o", "_2_4_o", "_2_0_a", "?"};

template <std::size_t count>
int placeIn(const std::array<std::string_view, count>& order, std::string_view suffix)
{
    auto found = std::ranges::find(order, suffix);
    if (found == order.end()) {
        found = std::ranges::find(order, "?");
    }
    return static_cast<int>(found - order.begin());
}

} // namespace

std::optional<int> rank(std::string_view name, Asset::Kind kind)
{
    const std::string extension = OriginalNames::lowerCaseExtension(name);
    const std::size_t identifierBytes = OriginalNames::identifier(name).size();
    if (!isPhotoOrVideoExtension(extension) || identifierBytes == 0) {
        return std::nullopt;
    }
    const std::string suffix = lowerAscii(OriginalNames::withoutExtension(name).substr(identifierBytes));
    if (!isVideoExtension(extension)) {
        // A moving copy of a video is better than any still of it.
        const int behindVideos = kind == Asset::Kind::video ? static_cast<int>(videos.size()) : 0;
        return behindVideos + placeIn(pictures, suffix);
    }
    // Beside a photo a video is that of a Live Photo, which does not show the photo.
    return kind == Asset::Kind::photo ? std::nullopt : std::optional(placeIn(videos, suffix));
}

void Choice::consider(std::string_view folder, const FS::Entry& entry)
{
    if (entry.kind != FS::Kind::regular || entry.size <= 0) {
        return;
    }
    const std::optional<int> entryRank = rank(entry.name, kind_);
    if (!entryRank) {
        return;
    }
    if (!best_ || *entryRank < bestRank_ || (*entryRank == bestRank_ && entry.size > best_->size)) {
        bestRank_ = *entryRank;
        best_ = {.path = std::string(folder) + "/" + entry.name,
            .size = entry.size,
            .isVideo = isVideoExtension(OriginalNames::lowerCaseExtension(entry.name))};
    }
}

} // namespace vantorel::SmallerCopies
