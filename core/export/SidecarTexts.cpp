#include "export/SidecarTexts.h"

#include "export/XMPWriter.h"

namespace vantorel {

SidecarTexts::SidecarTexts(std::shared_ptr<const ExportPlan> plan,
    std::shared_ptr<const LibraryScanResult> scan, const ExportOptions& options)
    : plan_(std::move(plan))
    , scan_(std::move(scan))
    , peopleAsKeywords_(options.peopleAsKeywords)
{
    assets_.reserve(scan_->snapshot.assets.size());
    for (const Asset& asset : scan_->snapshot.assets) {
        assets_.emplace(asset.pk, &asset);
    }
    for (std::size_t item = 0; item < plan_->items.size(); ++item) {
        copies_[plan_->items[item].assetPK].push_back(item);
    }
}

std::string SidecarTexts::text(std::size_t item) const
{
    const PlannedItem& planned = plan_->items[item];
    std::vector<std::string> albums;
    for (const std::size_t copy : copies_.at(planned.assetPK)) {
        albums.push_back(plan_->items[copy].albumPath);
    }
    const auto found = assets_.find(planned.assetPK);
    // A plan that knows more than its scan: the identifier is all that can be said.
    const Asset unknown{.pk = planned.assetPK, .uuid = planned.assetUUID};
    return XMPWriter::document({
        .asset = found != assets_.end() ? *found->second : unknown,
        .albums = std::move(albums),
        .isSmallerCopy = planned.isSmallerCopy,
        .peopleAsKeywords = peopleAsKeywords_,
    });
}

std::string SidecarTexts::name(std::size_t item) const
{
    const PlannedItem& planned = plan_->items[item];
    const auto found = assets_.find(planned.assetPK);
    return found != assets_.end() ? shownName(*found->second) : planned.assetUUID;
}

} // namespace vantorel
