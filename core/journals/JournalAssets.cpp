#include "journals/JournalAssets.h"

#include "base/Text.h"
#include "base/TextBudget.h"
#include "disk/Root.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vantorel {

namespace {

constexpr std::int32_t savedAsReferenced = 10;
constexpr std::int32_t livePhotoSubtype = 2;
constexpr std::int32_t slowMotionRamp = 3; ///< Set by the camera: no edit.

bool isPlainName(const std::string& name)
{
    return !name.empty() && name.find('/') == std::string::npos && name != "." && isSafeRelativePath(name);
}

bool isPlainFolder(const std::string& path) { return !path.empty() && isSafeRelativePath(path); }

bool isPlainAbsolutePath(std::string_view path)
{
    if (path.size() > 1 && path.ends_with('/')) {
        path.remove_suffix(1);
    }
    return path.starts_with('/') && isSafeRelativePath(path.substr(1));
}

/// Where a file outside the library is said to be; none when the volume's name is lost.
std::optional<std::string> bookmarkedPath(
    const JournalAsset::Bookmark& bookmark, const JournalObjects<JournalVolume>& volumes)
{
    if (!isPlainFolder(bookmark.path)) {
        return std::nullopt;
    }
    if (!bookmark.volume) {
        return "/" + bookmark.path;
    }
    const auto volume = volumes.find(*bookmark.volume);
    if (!volume || !isPlainName(volumes.at(*volume).object.name)) {
        return std::nullopt;
    }
    return "/Volumes/" + volumes.at(*volume).object.name + "/" + bookmark.path;
}

std::optional<std::string> textOrNone(std::string&& text)
{
    return text.empty() ? std::nullopt : std::optional(std::move(text));
}

Asset::Kind kindOf(std::optional<std::int32_t> value)
{
    return value == 0 ? Asset::Kind::photo : value == 1 ? Asset::Kind::video : Asset::Kind::other;
}

bool isEdited(const JournalAsset& record)
{
    // A change by a newer Photos leaves the older key as it was.
    if (record.adjustmentsState) {
        return *record.adjustmentsState != 0 && *record.adjustmentsState != slowMotionRamp;
    }
    return record.hasAdjustments.value_or(0) != 0;
}

bool isOnlyInCloud(const JournalAsset& record)
{
    const JournalAsset::Resources& original = record.resources;
    const auto local = original.localAvailability ? original.localAvailability : record.localAvailability;
    const auto remote = original.remoteAvailability ? original.remoteAvailability : record.remoteAvailability;
    return remote == 1 && local.value_or(0) <= 0;
}

void placeOnMap(Asset& asset, const JournalAsset& record)
{
    const auto isWithin = [](std::optional<double> value, double most) {
        return value && std::isfinite(*value) && std::abs(*value) <= most;
    };
    if (isWithin(record.latitude, 90) && isWithin(record.longitude, 180)) { // -180 in both: no place
        asset.latitude = record.latitude;
        asset.longitude = record.longitude;
    }
}

/// False: the file cannot lie where the record says.
bool locate(Asset& asset, JournalAsset& record, const JournalObjects<JournalVolume>& volumes)
{
    asset.directory = std::move(record.directory);
    asset.fileName = std::move(record.fileName);
    const bool isAbsolute = asset.directory.starts_with('/');
    const bool hasBookmark = std::ranges::any_of(
        record.resources.bookmarks, [](const auto& bookmark) { return bookmark.isOriginal; });
    asset.isReferenced = isAbsolute || hasBookmark || record.savedAssetType == savedAsReferenced;
    if (!isPlainName(asset.fileName)) {
        return false;
    }
    if (!asset.isReferenced) {
        return isPlainFolder(asset.directory);
    }
    for (const JournalAsset::Bookmark& bookmark : record.resources.bookmarks) {
        auto path = bookmarkedPath(bookmark, volumes);
        if (path && bookmark.isOriginal) {
            asset.referencedPath = std::move(path);
        } else if (path) {
            asset.referencedPartners.push_back(std::move(*path));
        }
    }
    if (!asset.referencedPath && isPlainAbsolutePath(asset.directory)) {
        asset.referencedPath = asset.directory + (asset.directory.ends_with('/') ? "" : "/") + asset.fileName;
    }
    return asset.referencedPath || isPlainFolder(asset.directory);
}

std::optional<std::string> fingerprintOf(JournalAsset& record)
{
    if (!record.originalHash.empty()) {
        return base64(record.originalHash);
    }
    return textOrNone(std::move(record.resources.fingerprint));
}

/// What a photo lacks that is known from changes alone can have been in the record that is lost.
void markLost(Asset& asset)
{
    using Lost = Asset::LostDetail;
    const auto mark = [&asset](bool isLost, Lost detail) {
        if (isLost) {
            asset.lostDetails.insert(detail);
        }
    };
    mark(!asset.originalFileName, Lost::originalName);
    mark(!asset.caption, Lost::caption);
    mark(asset.keywords.empty(), Lost::keywords);
    mark(!asset.dateCreated && !asset.dateModified && !asset.dateAdded, Lost::dates);
}

class Making {
public:
    Making(JournalObjects<JournalAsset>& records, const AssetSurroundings& surroundings)
        : records_(records)
        , surroundings_(surroundings)
    {
    }

    JournalAssetsResult made()
    {
        result_.positions.assign(records_.size(), JournalAssetsResult::nowhere);
        std::size_t count = 0;
        for (std::size_t place = 0; place < records_.size(); ++place) {
            count += records_.at(place).exists ? 1 : 0;
        }
        result_.assets.reserve(count);
        for (std::size_t place = 0; place < records_.size(); ++place) {
            if (records_.at(place).exists) {
                add(place);
            }
        }
        return std::move(result_);
    }

private:
    void add(std::size_t place)
    {
        auto& entry = records_.at(place);
        JournalAsset& record = entry.object;
        Asset asset;
        if (!locate(asset, record, surroundings_.volumes)) {
            ++result_.withoutLocation;
            return;
        }
        asset.pk = static_cast<std::int64_t>(place) + 1;
        asset.uuid = textOf(records_.identifierAt(place));
        asset.originalFileName = textOrNone(std::move(record.originalFileName));
        asset.title = textOrNone(std::move(record.title));
        asset.caption = textOrNone(std::move(record.caption));
        asset.isFavorite = record.isFavorite;
        asset.isHidden = record.isHidden;
        asset.isTrashed = record.isTrashed;
        asset.kind = kindOf(record.kind);
        asset.isLivePhoto = asset.kind == Asset::Kind::photo && record.kindSubtype == livePhotoSubtype;
        asset.hasEdits = isEdited(record);
        asset.dateCreated = record.dateCreated.date;
        asset.dateModified = record.dateModified.date;
        asset.dateAdded = record.dateAdded.date;
        const bool anyRejected =
            record.dateCreated.rejected || record.dateModified.rejected || record.dateAdded.rejected;
        result_.itemsWithRejectedDate += anyRejected ? 1 : 0;
        asset.timeZoneOffset = record.timeZoneOffset;
        placeOnMap(asset, record);
        if (record.originalFileSize.value_or(0) > 0) {
            asset.originalFileSize = record.originalFileSize;
        }
        asset.fingerprint = fingerprintOf(record);
        asset.isOnlyInCloud = !asset.isReferenced && isOnlyInCloud(record);
        asset.expectsPartner = asset.isLivePhoto || record.resources.hasPartner;
        addKeywords(asset, record.keywords);
        asset.lostDetails.insert(Asset::LostDetail::people);
        if (!entry.hadWhole) {
            markLost(asset);
        }
        record = JournalAsset{}; // what was not moved is needed no more
        result_.positions[place] = result_.assets.size();
        result_.assets.push_back(std::move(asset));
    }

    void addKeywords(Asset& asset, const IdentifierList& identifiers)
    {
        bool anyLost = false;
        for (std::size_t i = 0; i < identifiers.count(); ++i) {
            const auto keyword = surroundings_.keywords.find(identifiers.at(i));
            if (!keyword || !budget_.take(surroundings_.keywords.at(*keyword).object.title)) {
                anyLost = true;
                result_.lostKeywordLinks += surroundings_.keywordsAreThere ? 1 : 0;
            } else if (const std::string& title = surroundings_.keywords.at(*keyword).object.title;
                !title.empty()) {
                asset.keywords.push_back(title);
            }
        }
        std::ranges::sort(asset.keywords);
        const auto twice = std::ranges::unique(asset.keywords);
        asset.keywords.erase(twice.begin(), twice.end());
        // A detail that is listed as lost is empty: what is left is worth more than the mark.
        if (anyLost && asset.keywords.empty()) {
            asset.lostDetails.insert(Asset::LostDetail::keywords);
        }
    }

    JournalObjects<JournalAsset>& records_;
    const AssetSurroundings& surroundings_;
    JournalAssetsResult result_;
    TextBudget budget_; ///< Of keywords.
};

} // namespace

JournalAssetsResult assetsOf(JournalObjects<JournalAsset>& records, const AssetSurroundings& surroundings)
{
    return Making(records, surroundings).made();
}

} // namespace vantorel
