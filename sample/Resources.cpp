#include "sample/LibraryRows.h"

#include <algorithm>

namespace vantorel::sample {

namespace {

/// How the name of a smaller copy ("_1_105_c") stands in the resource's recipe.
constexpr std::int64_t recipe(std::int64_t kind, std::int64_t number) { return (kind << 16) | (number << 1); }

constexpr std::int64_t notKnown = 0;

std::vector<ResourceRow> sharedResources(const SampleItem& item)
{
    const auto shared = [](std::int64_t subtype, std::int64_t type, std::int64_t recipeNumber) {
        return ResourceRow{.dataClass = 2,
            .subtype = subtype,
            .type = type,
            .recipe = recipeNumber,
            .isRemote = true,
            .extension = type == 1 ? "mp4" : "jpeg"};
    };
    if (item.kind == SampleItem::Kind::video) {
        return {shared(5, 0, recipe(1, 110)), shared(7, 1, recipe(2, 3)), shared(8, 1, recipe(2, 4))};
    }
    return {shared(3, 0, 0), shared(4, 0, recipe(1, 110))};
}

} // namespace

std::vector<ResourceRow> resourcesOf(
    const SampleItem& item, const ItemRow& row, std::size_t index, std::int64_t originalSize)
{
    if (item.isSharedAlbumItem) {
        return sharedResources(item);
    }
    const bool isVideo = item.kind == SampleItem::Kind::video;
    // Of a referenced file "not local" says nothing, and so the library keeps it. A lost file stays "local".
    const bool isLocal = !item.isOnlyInCloud && !item.isReferenced;
    std::vector<ResourceRow> resources{{.subtype = 1,
        .type = isVideo ? 1 : 0,
        .isLocal = isLocal,
        .isRemote = row.isInCloud(),
        .length = originalSize,
        .extension = item.extension,
        .bookmarkPath = item.isReferenced ? item.referencedRelativePath : std::string{}}};
    const auto addPartner = [&](std::int64_t subtype, std::int64_t type, const std::string& extension) {
        resources.push_back({.subtype = subtype,
            .type = type,
            .isLocal = isLocal,
            .isRemote = row.isInCloud(),
            .length = notKnown,
            .extension = extension,
            .bookmarkPath =
                item.isReferenced ? partnerPath(item.referencedRelativePath, extension) : std::string{}});
    };
    if (item.hasRawPartner) {
        addPartner(17, 4, rawPartnerExtension(index));
    }
    if (item.isLivePhoto) {
        addPartner(18, 3, videoPartnerExtension());
    }
    if (item.hasEdits) {
        resources.push_back({.subtype = isVideo ? 16 : 2,
            .type = isVideo ? 1 : 0,
            .version = 2,
            .recipe = isVideo ? recipe(2, 0) : recipe(1, 201),
            .length = notKnown,
            .extension = isVideo ? "mov" : "jpeg"});
    }
    if (row.isInCloud()) {
        // Smaller copies that the cloud keeps. The first bears the subtype of a shared album's pictures.
        for (const std::int64_t subtype : {3, 4}) {
            resources.push_back({.subtype = subtype,
                .recipe = recipe(1, subtype == 3 ? 101 : 104),
                .isLocal = false,
                .isRemote = true,
                .extension = "jpeg"});
        }
    }
    for (const std::int64_t number : {recipe(1, 105), recipe(4, 5005)}) {
        resources.push_back(
            {.version = 3, .recipe = number, .isLocal = item.hasSmallerCopies, .extension = "jpeg"});
    }
    return resources;
}

} // namespace vantorel::sample
