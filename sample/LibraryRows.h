#pragma once

#include "sample/Layout.h"
#include "sample/SamplePlan.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vantorel::sample {

/// What an item's row says and which keys the rows about it have.
struct ItemRow {
    std::int64_t pk = 0;
    std::int64_t attributesPk = 0;
    std::int64_t descriptionPk = 0; ///< 0: no caption.
    std::int64_t cloudMasterPk = 0; ///< 0: not in the cloud.
    std::int64_t adjustmentPk = 0;  ///< 0: not edited.
    std::size_t importSession = 0;  ///< Index into `LibraryRows::importSessions`.
    std::string uuid{};
    std::string directory{};
    std::string fileName{};
    std::string originalFileName{};
    std::int64_t savedAssetType = 3;
    std::int64_t kindSubtype = 0;
    std::int64_t adjustmentsState = 0; ///< 1 and 2 edited, 3 the camera's slow-motion ramp (no edit).
    int width = 0;                     ///< Of the picture, as shown.
    int height = 0;
    std::optional<double> created{}; ///< As stored.
    std::optional<double> modified{};
    std::optional<double> added{};

    bool isInCloud() const { return cloudMasterPk != 0; }
};

struct AlbumRow {
    struct Member {
        std::size_t item = 0;
        std::int64_t order = 0;
    };

    std::int64_t pk = 0;
    std::string entity{};
    std::int64_t kind = 0;
    std::string uuid{};
    std::optional<std::string> title{};
    std::optional<std::size_t> planAlbum{}; ///< Index into the plan's albums; none: made by Photos.
    std::int64_t parentPk = 0;              ///< 0: none.
    std::int64_t order = 0;                 ///< Among the parent's children.
    bool isTrashed = false;
    bool isShared = false;
    bool isSmart = false;
    std::int64_t sortKey = 0;
    std::vector<Member> members{}; ///< In album order.
};

struct PersonRow {
    std::int64_t pk = 0;
    std::string uuid{};
    std::optional<std::string> fullName{};
    std::optional<std::string> displayName{};
    std::int64_t mergeTargetPk = 0;
    std::int64_t faces = 0; ///< Shown in Photos: what ZFACECOUNT says.
};

/// A face on an item: with a person, or nobody's; hidden ones and those kept for training name nobody.
struct FaceRow {
    std::int64_t pk = 0;
    std::string uuid{};
    std::optional<std::size_t> item{};
    std::optional<std::size_t> person{};
    bool isHidden = false;
    bool isTraining = false;
};

struct KeywordRow {
    std::int64_t pk = 0;
    std::string uuid{};
    std::string title{};
};

struct VolumeRow {
    std::int64_t pk = 0;
    std::string uuid{};
    std::string name{};
};

/// Every row that a plan becomes, with its keys: what the database, the journals and the expected snapshot
/// are made from. Nothing of it depends on the contents of files.
struct LibraryRows {
    std::vector<ItemRow> items{};   ///< As the plan's items; keys ascend, with gaps.
    std::vector<AlbumRow> albums{}; ///< Photos' own ones first, then the plan's in the plan's order.
    std::vector<std::int64_t> importSessions{};
    std::int64_t rootPk = 0;
    std::int64_t projectsRootPk = 0;
    std::vector<PersonRow> people{};
    std::vector<FaceRow> faces{};
    std::vector<KeywordRow> keywords{};
    std::vector<VolumeRow> volumes{};
    std::string storeUuid{};

    const AlbumRow& ofPlanAlbum(std::size_t index) const
    {
        return albums[albums.size() - planAlbums + index];
    }
    const VolumeRow* volume(const std::string& name) const;

    std::size_t planAlbums = 0;
};

LibraryRows layOut(const SamplePlan& plan, const WriteOptions& options);

/// One row of the resource table: a file of an item, here or elsewhere.
struct ResourceRow {
    std::int64_t dataClass = 0; ///< 0 this library, 2 shared albums.
    std::int64_t subtype = 0;
    std::int64_t type = 0;
    std::int64_t version = 0;
    std::int64_t recipe = 0;
    bool isLocal = true;
    bool isRemote = false;
    std::int64_t length = 0;
    std::string extension{};
    std::string bookmarkPath{}; ///< Relative to the volume; empty: not referenced.
};

/// The resources of an item. `originalSize` is what the library records for its original.
std::vector<ResourceRow> resourcesOf(
    const SampleItem& item, const ItemRow& row, std::size_t index, std::int64_t originalSize);

/// The path of a referenced item's partner: the same folder and stem.
std::string partnerPath(const std::string& relativePath, const std::string& extension);
/// The extension of the second file of a pair: a Live Photo's video or the RAW.
std::string videoPartnerExtension();
std::string rawPartnerExtension(std::size_t index);

} // namespace vantorel::sample
