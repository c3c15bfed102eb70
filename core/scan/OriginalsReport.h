#pragma once

#include "base/Enum.h"
#include "database/model/LibrarySnapshot.h"
#include "disk/SystemCalls.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vantorel {

/// A file that was found: `path` is relative to the library package for what lies in it, absolute for what
/// lies outside.
struct ResolvedFile {
    std::string path{}; ///< Bytes as the disk gives them, components joined by "/".
    std::int64_t size = 0;
    std::vector<ResolvedFile>
        companions{}; ///< Paired files: Live Photo video, RAW or JPEG partner, side data.

    bool operator==(const ResolvedFile&) const = default;
};

/// What the disk says about one asset's original.
struct OriginalEntry {
    enum class Status { present, presentSizeDiffers, referenced, derivativeOnly, missing, unchecked };
    enum class MissingReason {
        onlyInCloud,
        sharedAlbumItem,
        referencedFileGone,
        notFound,
        emptyFile,
        accessDenied,
        refusedLocation,
        folderUnreadable,
    };

    Status status = Status::unchecked;
    std::optional<MissingReason> reason{};
    std::optional<ResolvedFile> file{}; ///< What will be exported, its companions in it.
    bool isStillOfVideo = false;        ///< A video of which only a still picture is here.
    bool isOutsideLibrary = false;
    bool partnerMissing = false;
    std::optional<std::string> refusedPath{};

    bool operator==(const OriginalEntry&) const = default;
};

inline constexpr EnumNames<OriginalEntry::Status, 6> originalStatusNames{{
    {OriginalEntry::Status::present, "present"},
    {OriginalEntry::Status::presentSizeDiffers, "presentSizeDiffers"},
    {OriginalEntry::Status::referenced, "referenced"},
    {OriginalEntry::Status::derivativeOnly, "derivativeOnly"},
    {OriginalEntry::Status::missing, "missing"},
    {OriginalEntry::Status::unchecked, "unchecked"},
}};
static_assert(inEnumOrder(originalStatusNames));

inline constexpr EnumNames<OriginalEntry::MissingReason, 8> missingReasonNames{{
    {OriginalEntry::MissingReason::onlyInCloud, "onlyInCloud"},
    {OriginalEntry::MissingReason::sharedAlbumItem, "sharedAlbumItem"},
    {OriginalEntry::MissingReason::referencedFileGone, "referencedFileGone"},
    {OriginalEntry::MissingReason::notFound, "notFound"},
    {OriginalEntry::MissingReason::emptyFile, "emptyFile"},
    {OriginalEntry::MissingReason::accessDenied, "accessDenied"},
    {OriginalEntry::MissingReason::refusedLocation, "refusedLocation"},
    {OriginalEntry::MissingReason::folderUnreadable, "folderUnreadable"},
}};
static_assert(inEnumOrder(missingReasonNames));

/// Of an item whose main file is not here, what is left of the original: the RAW of a pair, which shows the
/// whole picture, else the video of a Live Photo, with the other paired files as its companions. None where
/// there is neither; side data shows nothing.
std::optional<ResolvedFile> pairedFileAlone(std::vector<ResolvedFile> companions);

/// Whether the entry's file is only a smaller copy: that of a photo whose original lies elsewhere and is not
/// there or not read has the status `missing`.
bool holdsSmallerCopy(const OriginalEntry& entry);

/// The entry in words.
std::string_view statusText(const OriginalEntry& entry);

struct OriginalsReport {
    enum class State { interrupted, partlyUnreadable, complete };

    /// Files of one identifier in the originals folder that belong to no asset.
    struct UnknownFile {
        std::string uuid{};      ///< From the file's name; the name's stem where it carries none.
        std::string directory{}; ///< Relative to the originals folder.
        std::string main{};      ///< Relative to the library package.
        std::vector<std::string> companions{}; ///< Likewise.
        std::int64_t size = 0;                 ///< Of the main file.
        std::vector<std::int64_t> companionSizes{};
        std::chrono::sys_seconds modified{};

        bool operator==(const UnknownFile&) const = default;
    };

    std::unordered_map<std::int64_t, OriginalEntry> entries{}; ///< By asset key.
    State state = State::complete;
    std::vector<UnknownFile> unknownFiles{};
    std::vector<UnknownFile> emptyUnknownFiles{};
    std::vector<std::string> unreadableFolders{}; ///< Relative to the library package; absolute outside it.
    std::vector<std::string> deniedFolders{};

    bool operator==(const OriginalsReport&) const = default;
};

inline constexpr EnumNames<OriginalsReport::State, 3> originalsStateNames{{
    {OriginalsReport::State::interrupted, "interrupted"},
    {OriginalsReport::State::partlyUnreadable, "partlyUnreadable"},
    {OriginalsReport::State::complete, "complete"},
}};
static_assert(inEnumOrder(originalsStateNames));

/// The problem notes of a report; `readWhole` says whether the database was read whole.
std::vector<std::string> problemNotes(const OriginalsReport& report, bool readWhole, bool wasCancelled);

/// One row of an item table.
struct ItemRow {
    std::int64_t id = 0;
    std::string name{};
    std::optional<Date> date{};
    std::string status{};
    bool isFine = false; ///< Only for `present` without a missing partner.

    bool operator==(const ItemRow&) const = default;
};
ItemRow itemRow(const Asset& asset, const OriginalEntry& entry);
/// The name shown for an asset: its original file name, else its file name, else its identifier.
std::string shownName(const Asset& asset);

} // namespace vantorel
