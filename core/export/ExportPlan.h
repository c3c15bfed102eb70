#pragma once

#include "disk/SystemCalls.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vantorel {

/// One file to copy.
struct PlannedFile {
    DiskPath source{};          ///< Relative to the library package, or absolute for a file outside it.
    std::string relativePath{}; ///< Destination beneath the export's root, components joined with "/".
    std::int64_t size = 0;      ///< Bytes, as seen during the scan.

    bool operator==(const PlannedFile&) const = default;
};

/// One copy of one photo or video in one folder.
struct PlannedItem {
    std::int64_t assetPK = 0;
    std::string assetUUID{};
    std::string albumPath{};          ///< The destination folder, for example Albums/Holidays/Rome.
    std::vector<PlannedFile> files{}; ///< The main file, then its companions, all with the same stem.
    std::string sidecarRelativePath{};
    bool isSmallerCopy = false;
    bool sizeDiffers = false; ///< The file on the disk has another size than the library records.

    bool operator==(const PlannedItem&) const = default;
};

/// One photo that is not saved.
struct SkippedItem {
    std::int64_t assetPK = 0;
    std::string name{};
    std::vector<std::string> albumPaths{}; ///< The folders it would have gone to.
    std::string reason{};

    bool operator==(const SkippedItem&) const = default;
};

/// Which files go where; pure data. Equal plans save the same files under the same names.
struct ExportPlan {
    std::string libraryName{};
    std::vector<std::string> folders{}; ///< To create, parents before children.
    std::vector<PlannedItem> items{};   ///< In the order in which they are saved.
    std::vector<SkippedItem> skipped{};
    std::vector<std::string> notes{};
    std::string id{}; ///< The identity digest: see `planIdentity`.

    bool operator==(const ExportPlan&) const = default;
};

namespace exportFolders {
inline constexpr const char* albums = "Albums";
inline constexpr const char* unfiled = "Not in any album";
inline constexpr const char* hidden = "Hidden";
inline constexpr const char* trashed = "Recently Deleted";
inline constexpr const char* recovered = "Recovered without details";
inline constexpr const char* deep = "Deep folders";
inline constexpr const char* refusedNames = "Folders with names this disk refused";
inline constexpr const char* unknownDate = "Unknown date";
} // namespace exportFolders

/// The plain sum of the sizes of all planned files: the size that is shown.
std::int64_t sizeEstimate(const ExportPlan& plan);
/// What the plan takes on a disk with blocks of that size: each file rounded up, one block for each sidecar.
/// Both stop at the largest number instead of wrapping around. A block size of 0 (not known) counts as 4 KiB.
std::int64_t neededBytes(const ExportPlan& plan, std::uint32_t blockSize);
/// The same for one item, for a run that continues and has some of them already.
std::int64_t neededBytes(const PlannedItem& item, std::uint32_t blockSize);
/// `a + b` for sizes, at most the largest number; what is below 0 counts as 0.
std::int64_t sumOfSizes(std::int64_t a, std::int64_t b);

} // namespace vantorel
