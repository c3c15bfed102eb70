#include "compare/ItemDifferences.h"

#include "base/Unicode.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>

namespace vantorel {

namespace {

using Feature = SchemaSummary::Feature;
using Lost = Asset::LostDetail;
using Status = OriginalEntry::Status;
using Reason = OriginalEntry::MissingReason;

bool isUnavailable(const SchemaSummary& schema, Feature feature)
{
    return std::ranges::find(schema.unavailable, feature) != schema.unavailable.end();
}

bool isComparable(const SchemaSummary& here, const SchemaSummary& there, Feature feature)
{
    return !isUnavailable(here, feature) && !isUnavailable(there, feature);
}

bool differ(const std::optional<std::string>& a, const std::optional<std::string>& b)
{
    return !isSameText(a ? *a : std::string_view{}, b ? *b : std::string_view{});
}

/// Composed and in order: their order as stored depends on their form.
std::vector<std::string> comparable(const std::vector<std::string>& names)
{
    std::vector<std::string> result;
    result.reserve(names.size());
    for (const std::string& name : names) {
        result.push_back(composed(name));
    }
    std::ranges::sort(result);
    return result;
}

bool differ(const std::vector<std::string>& a, const std::vector<std::string>& b)
{
    return a != b && comparable(a) != comparable(b);
}

bool differ(const std::optional<Date>& a, const std::optional<Date>& b)
{
    return a && b && std::chrono::abs(*a - *b) > std::chrono::seconds(1);
}

bool hasOriginal(const OriginalEntry& entry)
{
    return entry.status == Status::present || entry.status == Status::presentSizeDiffers
        || entry.status == Status::referenced;
}

/// Refused and unread places say nothing about what is in them.
bool isUnknown(const OriginalEntry& entry)
{
    return entry.status == Status::unchecked || entry.reason == Reason::accessDenied
        || entry.reason == Reason::folderUnreadable || entry.reason == Reason::refusedLocation;
}

} // namespace

ComparableDetails::ComparableDetails(const SchemaSummary& here, const SchemaSummary& there)
    : albums(isComparable(here, there, Feature::albums))
    , folders(isComparable(here, there, Feature::folders))
    , captions(isComparable(here, there, Feature::captions))
    , keywords(isComparable(here, there, Feature::keywords))
    , people(isComparable(here, there, Feature::people))
    , favourites(isComparable(here, there, Feature::favourites))
    , hidden(isComparable(here, there, Feature::hidden))
    , dates(isComparable(here, there, Feature::dates))
{
}

std::vector<AssetChange> recordChanges(
    const Asset& here, const Asset& there, const ComparableDetails& comparable)
{
    std::vector<AssetChange> changes;
    if (here.isRecoveredFile || there.isRecoveredFile) {
        return changes;
    }
    const auto bothHave = [&](Lost detail) {
        return !here.lostDetails.contains(detail) && !there.lostDetails.contains(detail);
    };
    const auto add = [&changes](bool differs, AssetChange change) {
        if (differs) {
            changes.push_back(change);
        }
    };
    add(comparable.captions && bothHave(Lost::caption) && differ(here.caption, there.caption),
        AssetChange::caption);
    add(comparable.keywords && bothHave(Lost::keywords) && differ(here.keywords, there.keywords),
        AssetChange::keywords);
    add(comparable.people && bothHave(Lost::people) && differ(here.people, there.people),
        AssetChange::people);
    add(comparable.favourites && here.isFavorite != there.isFavorite, AssetChange::favourite);
    add(comparable.hidden && here.isHidden != there.isHidden, AssetChange::hidden);
    // The title stands in the same record as the original name and is lost with it.
    add(bothHave(Lost::originalName) && differ(here.title, there.title), AssetChange::title);
    add(comparable.dates && bothHave(Lost::dates) && differ(here.dateCreated, there.dateCreated),
        AssetChange::date);
    add(there.isTrashed && !here.isTrashed, AssetChange::trashedInOther);
    return changes;
}

OriginalThere originalThere(const OriginalEntry* here, const ItemOriginal& there)
{
    if (here == nullptr || there.entry == nullptr || !hasOriginal(*here) || hasOriginal(*there.entry)) {
        return OriginalThere::noDifference;
    }
    if (there.asset.isOnlyInCloud || there.entry->reason == Reason::onlyInCloud) {
        return OriginalThere::inCloud;
    }
    return isUnknown(*there.entry) ? OriginalThere::noDifference : OriginalThere::missing;
}

} // namespace vantorel
