#pragma once

#include "export/ColdRead.h"
#include "export/FinalNames.h"
#include "export/SkipReason.h"

#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantorel {

/// A file that was copied, is durable and was checked, and waits for its final name.
struct FreshFile {
    DiskPath temporary{};
    FileDigest content{};
};

/// The names that one item's files got.
struct PlacedFiles {
    /// One for each of the item's files: where it is, or why it got no name; none for one that was not
    /// copied.
    std::vector<std::optional<std::expected<std::string, SkipReason>>> paths{};
    std::string sidecar{};     ///< The path that belongs to the main file's.
    std::int64_t setAside = 0; ///< Files of an earlier run that were kept under another name.
};

/// Gives files their final names, without ever replacing anything but an equal file of an earlier run. Copies
/// share what they hold. Members block; their errors are the destination's error numbers, ECANCELED when
/// nobody waits any longer: nothing is renamed then.
class FilePlacer {
public:
    /// `continued`: files that an earlier run did not record may stand under planned names.
    FilePlacer(std::shared_ptr<const Root> root, std::shared_ptr<FinalNames> names, bool continued)
        : root_(std::move(root))
        , names_(std::move(names))
        , continued_(continued)
    {
    }

    std::expected<PlacedFiles, int> placeFiles(std::size_t item,
        const std::vector<std::optional<FreshFile>>& files,
        const std::shared_ptr<Heartbeat>& heartbeat) const;

    struct PlacedSidecar {
        std::string path{};
        std::int64_t setAside = 0;
    };
    /// At the wanted path or, where something has it by now, a numbered one; none where the disk takes none.
    std::expected<std::optional<PlacedSidecar>, int> placeSidecar(const FreshFile& sidecar,
        const std::string& wanted, const std::shared_ptr<Heartbeat>& heartbeat) const;

    /// Keeps a file under another name ("not used"); false where the disk takes no such name.
    CallResult<bool> setAside(const std::string& path) const;

private:
    enum class Placed { here, inUse, refused };
    CallResult<Placed> place(const FreshFile& file, const std::string& path,
        const std::shared_ptr<Heartbeat>& heartbeat, std::int64_t& setAsideCount) const;
    CallResult<Placed> placeOverLeftover(const FreshFile& file, const std::string& path,
        const std::shared_ptr<Heartbeat>& heartbeat, std::int64_t& setAsideCount) const;
    CallResult<Placed> lookForSidecar(const std::string& path, Heartbeat& heartbeat) const;
    CallResult<Placed> judged(int code, const DiskPath& temporary, const std::string& path) const;
    CallResult<std::optional<std::string>> leftoverAt(const std::string& path, Heartbeat& heartbeat) const;
    CallResult<std::vector<std::string>> standingNames(const std::string& folder, Heartbeat& heartbeat) const;
    std::expected<std::expected<ItemNames, SkipReason>, int> placeMain(std::size_t item,
        const FreshFile& file, const std::shared_ptr<Heartbeat>& heartbeat,
        std::int64_t& setAsideCount) const;

    std::shared_ptr<const Root> root_;
    std::shared_ptr<FinalNames> names_;
    bool continued_ = false;
};

} // namespace vantorel
