#pragma once

#include "base/Date.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vantorel::sample {

/// What a sample library holds, before it is written in the form of one Photos generation. Tests build one by
/// hand; the program `vantorel-sample` lets `drawPlan` make one from a seed.

enum class FileState { present, missing, empty, otherSize };

struct SamplePerson {
    std::string fullName{};
    std::string displayName{};
    std::optional<std::size_t> mergedInto{}; ///< Index of another person.
};

struct SampleItem {
    enum class Kind { photo, video };

    std::string uuid{}; ///< Empty: made from the seed and the index.
    Kind kind = Kind::photo;
    std::string extension = "jpeg"; ///< Of the stored original, lower case.
    std::string originalFileName{}; ///< Empty: "IMG_<n>.<EXT>".
    std::optional<std::string> title{};
    std::optional<std::string> caption{};
    std::vector<std::size_t> keywords{}; ///< Indexes into the plan's keywords.
    std::vector<std::size_t> people{};   ///< Indexes into the plan's people.
    bool isFavorite = false;
    bool isHidden = false;
    bool isTrashed = false;
    bool isLivePhoto = false;   ///< With a paired video beside it.
    bool hasRawPartner = false; ///< JPEG + RAW.
    bool partnerIsMissing = false;
    bool hasEdits = false;
    bool isSharedAlbumItem = false;
    bool isOnlyInCloud = false;
    bool isReferenced = false;
    std::string referencedVolume{}; ///< With isReferenced: "/Volumes/<volume>/<path>".
    std::string referencedRelativePath{};
    bool hasSmallerCopies = true;
    FileState original = FileState::present;
    std::optional<Date> dateCreated{};
    std::optional<double> rawDateCreated{}; ///< Written as it is, instead of `dateCreated` (absurd values).
    std::optional<Date> dateModified{};
    std::optional<Date> dateAdded{};
    std::optional<std::int64_t> timeZoneOffset{};
    std::optional<double> latitude{};
    std::optional<double> longitude{};
    int width = 0; ///< Pixels of the drawn picture; 0: the plan's default.
    int height = 0;
    bool isUnpickedBurstFrame = false; ///< Not shown by Photos; its original is there all the same.
    bool isPortrait = false;           ///< Drawn with width and height exchanged.
};

struct SampleAlbum {
    enum class Kind { album, folder, smart, shared, project };
    std::string title{};
    Kind kind = Kind::album;
    std::optional<std::size_t> parent{}; ///< Index of a folder in the plan; none: at the top.
    bool isTrashed = false;
    std::vector<std::size_t> items{}; ///< Indexes into the plan's items, in album order.
};

struct SamplePlan {
    std::vector<SampleItem> items{};
    std::vector<SampleAlbum> albums{}; ///< Siblings in this order.
    std::vector<std::string> keywords{};
    std::vector<SamplePerson> people{};
    std::vector<std::string> strayFiles{}; ///< In the originals folder ("A/A….jpeg"), belonging to no record.
    int pictureWidth = 480;                ///< Of drawn originals; very large libraries use tiny ones.
    int pictureHeight = 360;
};

/// A plan of everything that real libraries hold, from a seed: the same seed gives the same plan. At least
/// one of each special case when `assets` is 40 or more.
SamplePlan drawPlan(std::size_t assets, std::uint64_t seed);

} // namespace vantorel::sample
