#pragma once

#include "scan/FolderIndex.h"
#include "scan/OriginalsLedger.h"
#include "scan/OriginalsWalk.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace vantorel {

/// The check of a library's originals folder: every asset whose original should lie in it is matched to a
/// file of its folder, and what no asset claims is collected. Each folder is listed once, and forgotten
/// before the next.
class OriginalsFolder {
public:
    OriginalsFolder(OriginalsWalk& walk, OriginalsLedger& ledger)
        : walk_(walk)
        , ledger_(ledger)
    {
    }

    void check(const std::vector<Asset>& assets);

private:
    using Assets = std::vector<const Asset*>;

    void open();
    std::string folderOf(const Asset& asset);
    const FS::Entry* entryAtTop(std::string_view name) const;
    bool isFolderLink(const FS::Entry& entry);
    Looked lookInto(const std::string& folder);
    void checkFolder(const std::string& folder, const Assets& assets);
    void checkAsset(const Asset& asset, const std::string& folder, const Looked& looked, FolderIndex& index);
    void settleFound(const Asset& asset, const FS::Entry& main, const std::string& path,
        std::vector<ResolvedFile> companions);
    void collectUnknown(const std::string& folder, const FolderIndex& index);
    void checkOtherFolders();

    OriginalsWalk& walk_;
    OriginalsLedger& ledger_;
    std::string name_ = "originals";                 ///< As it is spelled on this disk.
    Looked top_{};                                   ///< The originals folder itself.
    bool isTopWhole_ = false;                        ///< What was not listed there is not there.
    std::map<std::string, std::string> topNames_{};  ///< By folded name.
    std::map<std::string, std::string> spellings_{}; ///< Of the folders that records name.
    std::set<std::string> visited_{};                ///< Relative to the originals folder.
    std::vector<std::string> toVisit_{};             ///< Likewise.
};

} // namespace vantorel
