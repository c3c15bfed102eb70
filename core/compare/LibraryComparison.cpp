#include "compare/LibraryComparison.h"

#include "base/Text.h"

#include <fmt/format.h>

namespace vantorel {

namespace {

constexpr EnumNames<AssetChange, 9> changeLabelTexts{{
    {AssetChange::caption, "caption differs"},
    {AssetChange::keywords, "keywords differ"},
    {AssetChange::people, "People differ"},
    {AssetChange::favourite, "favourite differs"},
    {AssetChange::hidden, "hidden differs"},
    {AssetChange::title, "title differs"},
    {AssetChange::date, "date differs"},
    {AssetChange::trashedInOther, "in Recently Deleted there"},
    {AssetChange::originalMissingInOther, "original missing there"},
}};
static_assert(inEnumOrder(changeLabelTexts));

std::string items(std::int64_t count) { return grouped(count) + (count == 1 ? " item" : " items"); }

} // namespace

std::string_view changeLabel(AssetChange change) { return nameIn(changeLabelTexts, change); }

std::vector<std::string> changeLabels(const ChangedAlbum& album)
{
    std::vector<std::string> labels;
    if (album.renamedFrom) {
        labels.push_back(fmt::format("named \"{}\" there", *album.renamedFrom));
    }
    if (album.movedFrom) {
        labels.push_back(album.movedFrom->empty()
                ? "at the top level there"
                : fmt::format("in the folder \"{}\" there", fmt::join(*album.movedFrom, "/")));
    }
    if (album.photosMissingInOther > 0) {
        labels.push_back(items(album.photosMissingInOther) + " not in it there");
    }
    if (album.photosOnlyInOther > 0) {
        labels.push_back(items(album.photosOnlyInOther) + " only in it there");
    }
    return labels;
}

std::vector<std::string> countSentences(const LibraryComparison& comparison)
{
    std::vector<std::string> sentences;
    std::string onlyThere;
    if (comparison.onlyInOtherAssetCount > 0) {
        onlyThere = items(comparison.onlyInOtherAssetCount);
    }
    if (const std::int64_t count = comparison.onlyInOtherAlbumCount; count > 0) {
        onlyThere += onlyThere.empty() ? "" : " and ";
        onlyThere += grouped(count) + (count == 1 ? " album or folder" : " albums and folders");
    }
    if (!onlyThere.empty()) {
        sentences.push_back(onlyThere + " only in the other library.");
    }
    if (const std::int64_t count = comparison.originalInCloudInOtherCount; count > 0) {
        sentences.push_back(items(count) + (count == 1 ? " has" : " have")
            + " the original in iCloud there, not on its disk. Nothing is lost, so these do not count as "
              "differences.");
    }
    if (const std::int64_t count = comparison.deletedHereOnlyCount; count > 0) {
        sentences.push_back(items(count) + (count == 1 ? " is" : " are")
            + " in Recently Deleted here and not in the other library, so not listed as missing.");
    }
    if (comparison.matchedByNameAndDate > 0) {
        sentences.push_back(grouped(comparison.matchedByNameAndDate)
            + " items could only be matched by name, date and size.");
    }
    return sentences;
}

} // namespace vantorel
