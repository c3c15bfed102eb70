#pragma once

#include "database/model/ScanProgress.h"
#include "scan/OriginalsReport.h"
#include "scan/OriginalsWalk.h"

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace vantorel {

/// The report of one inspection while it is made: an entry for every asset from the start, what could not be
/// read, and how many assets are settled. Used by the walking thread alone.
class OriginalsLedger {
public:
    /// An asset whose original was not found, and what lies there of it all the same.
    struct WithoutOriginal {
        const Asset* asset = nullptr;
        std::vector<ResolvedFile> companions{};
    };
    /// Why, and the path that was refused, where one was.
    struct Lack {
        OriginalEntry::Status status = OriginalEntry::Status::missing;
        OriginalEntry::MissingReason reason = OriginalEntry::MissingReason::notFound;
        std::optional<std::string> refusedPath{};
    };

    /// Both outlive the ledger.
    OriginalsLedger(const LibrarySnapshot& snapshot, const ScanProgressCallback& progress);

    /// Tells the counts, as they are.
    void tell(bool waitingForDisk) const;
    OriginalEntry& entryOf(const Asset& asset) { return report_.entries.at(asset.pk); }
    void settle(const Asset& asset, OriginalEntry entry);
    /// Settles it for now: a smaller copy may still be found. Counted when that was looked for.
    void settleWithoutOriginal(const Asset& asset, Lack lack, std::vector<ResolvedFile> companions);
    void countChecked();
    /// By the folder in which their copies lie; "" when there is none.
    std::map<std::string, std::vector<WithoutOriginal>>& withoutOriginal() { return withoutOriginal_; }

    /// Something could not be read: the report is not of everything.
    void lowerState();
    void noteUnreadable(const std::string& folder);
    /// Inside a refused folder everything is refused: only the outermost is named.
    void noteDenied(const std::string& folder);
    /// Notes what the look says of the folder.
    void note(const std::string& folder, const Looked& looked);
    void addUnknown(OriginalsReport::UnknownFile file);
    /// Gives files that lie in another folder than their record says (moved by hand, or by a tool that put a
    /// library together again) to the assets whose identifier they bear, where these lack them: a file that
    /// has a record is not left over. Asked when all folders were looked into.
    void claimStrays();

    /// The report, at the end of the walk.
    OriginalsReport finished(bool wasStopped) &&;

private:
    /// Places in the list of unknown files, by upper-case identifier.
    using Strays = std::unordered_map<std::string, std::vector<std::size_t>>;

    std::optional<std::size_t> bestStray(const Asset& asset, const Strays& strays) const;
    bool settleStray(WithoutOriginal& without, std::size_t stray);
    void completePartners(const Strays& strays, std::vector<bool>& isClaimed);

    const LibrarySnapshot& snapshot_;
    const ScanProgressCallback& progress_;
    OriginalsReport report_{};
    std::map<std::string, std::vector<WithoutOriginal>> withoutOriginal_{};
    std::set<std::string> denied_{};
    std::int64_t done_ = 0;
};

/// "folder/name"; one of them alone where the other is "".
std::string pathIn(std::string_view folder, std::string_view name);

/// Whether a paired file that the asset should have is not among its companions.
bool lacksPartner(const Asset& asset, const std::vector<ResolvedFile>& companions);

} // namespace vantorel
