#pragma once

#include "export/ExportFolder.h"
#include "export/SafeNames.h"

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace vantorel {

/// The final paths of one item: its files in the plan's order, and its sidecar.
struct ItemNames {
    std::vector<std::string> files{};
    std::string sidecar{};

    bool operator==(const ItemNames&) const = default;
};

/// The names that the files of an export have, and other free ones where the disk has no place for a planned
/// one. Shared with workers; its lock guards all of it.
class FinalNames {
public:
    FinalNames(std::shared_ptr<const ExportPlan> plan, PlacedFolders folders);

    /// The paths that the plan gives an item, in the folders that are really there.
    ItemNames planned(std::size_t item) const;

    /// A path that a file of this export has: saved in this run, or recorded by an earlier one.
    void give(const std::string& path);
    /// The file that had the path is not part of the export any more.
    void takeBack(const std::string& path);
    /// Whether a saved file has the path, or one that differs from it only in case or Unicode form.
    bool isGiven(const std::string& path);

    enum class Stem {
        planned,
        plain, ///< Nothing that a disk could refuse.
    };
    /// Other paths for an item in the same folder, numbered so that no planned, saved or standing name is
    /// met. `standing`: the names on the disk.
    ItemNames another(std::size_t item, Stem stem, const std::vector<std::string>& standing);

private:
    NameAllocator& allocatorOf(const std::string& folder, const std::vector<std::string>& standing);

    std::shared_ptr<const ExportPlan> plan_;
    PlacedFolders folders_;

    std::mutex lock_;
    std::unordered_set<std::string> given_;             ///< As given.
    std::unordered_map<std::string, std::size_t> keys_; ///< How many of them have a key; made when asked.
    bool isKeyed_ = false;                              ///< Most runs never ask.
    std::unordered_map<std::string, std::vector<std::size_t>>
        itemsOf_;                                     ///< By folder, made at the first need.
    std::map<std::string, NameAllocator> allocators_; ///< By folder.
};

std::string folderOf(const std::string& path);
std::string nameOf(const std::string& path);
std::string pathIn(const std::string& folder, const std::string& name);

/// "a/IMG (2).jpg" for "a/IMG.jpg": a mark behind the stem.
std::string withMark(const std::string& path, const std::string& mark);

} // namespace vantorel
