#include "export/ExportPlanner.h"

#include "base/Date.h"
#include "base/Digest.h"
#include "base/Text.h"
#include "disk/InParallel.h"
#include "export/AlbumTree.h"
#include "export/SafeNames.h"
#include "scan/OriginalNames.h"
#include "scan/PhotoFileTypes.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <span>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace vantorel {

namespace {

namespace reasons {
constexpr std::string_view trashed = "In Recently Deleted, left out by your choice";
constexpr std::string_view smallerCopy = "Only a smaller copy here, left out by your choice";
constexpr std::string_view outside =
    "Stored outside this library, left out unless you tick that in the export";
constexpr std::string_view recovered = "File without details, left out by your choice";
constexpr std::string_view choice = "Left out by your choice";
} // namespace reasons

std::string_view lastComponent(std::string_view path) { return path.substr(path.rfind('/') + 1); }

/// Where a photo belongs; each is in exactly one of these.
enum class Group { albums, unfiled, hidden, trashed, recovered };

/// What the plan has found out about one asset.
struct Candidate {
    Group group = Group::unfiled;
    const OriginalEntry* entry = nullptr;
    std::string_view reason{}; ///< Why it is left out; empty for one that is saved.
    bool isInAlbum = false;
    bool isInChosenAlbum = false;
    std::size_t lastFolder = 0; ///< The number of the last album folder that took it, counted from 1.
};

class Planner {
public:
    Planner(const LibraryScanResult& scan, const ExportOptions& options)
        : scan_(scan)
        , snapshot_(scan.snapshot)
        , originals_(scan.originals)
        , options_(options)
        , tree_(albumTree(snapshot_.albums, options.albumPKs))
    {
    }

    ExportPlan plan()
    {
        plan_.libraryName = snapshot_.name;
        findMembers();
        for (std::size_t i = 0; i < candidates_.size(); ++i) {
            judge(i);
        }
        planAlbums();
        planUnfiled();
        planGroup(Group::hidden, exportFolders::hidden);
        planGroup(Group::trashed, exportFolders::trashed);
        planGroup(Group::recovered, exportFolders::recovered);
        planCopies();
        listSkipped();
        addNotes();
        plan_.id = planIdentity(plan_, options_);
        return std::move(plan_);
    }

private:
    const Asset& asset(std::size_t index) const { return snapshot_.assets[index]; }
    const Album& album(const AlbumFolder& folder) const { return snapshot_.albums[folder.album]; }

    /// Only albums hold photos: those that a damaged place puts into a folder are not lost, but in no album.
    std::span<const std::int64_t> members(const AlbumFolder& folder) const
    {
        return album(folder).kind == Album::Kind::album ? std::span(album(folder).assetPKs)
                                                        : std::span<const std::int64_t>();
    }

    void findMembers()
    {
        candidates_.resize(snapshot_.assets.size());
        byKey_.reserve(snapshot_.assets.size());
        for (std::size_t i = 0; i < snapshot_.assets.size(); ++i) {
            byKey_.try_emplace(snapshot_.assets[i].pk, i);
        }
        for (const auto& folder : tree_.folders) {
            const bool isWanted = isWantedAlbum(folder);
            for (const auto pk : members(folder)) {
                if (const auto found = byKey_.find(pk); found != byKey_.end()) {
                    candidates_[found->second].isInAlbum = true;
                    candidates_[found->second].isInChosenAlbum |= isWanted;
                }
            }
        }
    }

    void judge(std::size_t index)
    {
        static const OriginalEntry notChecked;
        auto& candidate = candidates_[index];
        const auto found = originals_.entries.find(asset(index).pk);
        candidate.entry = found == originals_.entries.end() ? &notChecked : &found->second;
        candidate.group = groupOf(asset(index), candidate);
        candidate.reason = leftOut(asset(index), candidate);
        if (candidate.reason.empty()) {
            candidate.reason = withoutFile(*candidate.entry);
        }
    }

    static Group groupOf(const Asset& asset, const Candidate& candidate)
    {
        if (asset.isRecoveredFile) {
            return Group::recovered;
        }
        if (asset.isTrashed) {
            return Group::trashed;
        }
        if (candidate.isInAlbum) {
            return Group::albums;
        }
        return asset.isHidden ? Group::hidden : Group::unfiled;
    }

    /// By the user's choices about what it is; empty: it is wanted.
    std::string_view leftOut(const Asset& asset, const Candidate& candidate) const
    {
        if (candidate.group == Group::recovered && !options_.includeRecoveredFiles) {
            return reasons::recovered;
        }
        if (candidate.group == Group::trashed && !options_.includeTrashed) {
            return reasons::trashed;
        }
        if (asset.isHidden && !options_.includeHidden) {
            return reasons::choice;
        }
        if (candidate.group == Group::unfiled && !options_.includeUnfiled) {
            return reasons::choice;
        }
        // Albums were chosen: only what is in them is wanted.
        if (options_.albumPKs && !candidate.isInChosenAlbum) {
            return reasons::choice;
        }
        return {};
    }

    /// By what is on the disk.
    std::string_view withoutFile(const OriginalEntry& entry) const
    {
        using Status = OriginalEntry::Status;
        const bool isSmallerCopy = holdsSmallerCopy(entry);
        if ((entry.status == Status::missing && !isSmallerCopy) || entry.status == Status::unchecked) {
            return statusText(entry);
        }
        if (!entry.file) { // an entry that contradicts itself
            return statusText({});
        }
        if (isSmallerCopy && !options_.includeSmallerCopies && !withoutSmallerCopy(*entry.file)) {
            return reasons::smallerCopy;
        }
        if (entry.isOutsideLibrary && !options_.includeOutsideFiles) {
            return reasons::outside;
        }
        return {};
    }

    /// What an entry with a smaller copy holds besides that: files that were paired with the original are no
    /// copies of anything, and who wants no copies still wants them. None where the copy is the only file.
    static std::optional<ResolvedFile> withoutSmallerCopy(const ResolvedFile& file)
    {
        return OriginalNames::partDigit(lastComponent(file.path)) != 0 ? file
                                                                       : pairedFileAlone(file.companions);
    }

    void planAlbums()
    {
        const auto isChosen = [](const AlbumFolder& folder) { return folder.isChosen; };
        if (std::ranges::any_of(tree_.folders, isChosen)) {
            plan_.folders.emplace_back(exportFolders::albums);
        }
        if (std::ranges::any_of(
                tree_.folders, [](const AlbumFolder& folder) { return folder.isChosen && folder.movedUp; })) {
            plan_.folders.push_back(*tree_.deepPath);
        }
        for (std::size_t number = 1; const auto& folder : tree_.folders) {
            // An album or folder without photos keeps its folder: it is something that its owner made.
            if (folder.isChosen) {
                plan_.folders.push_back(folder.path);
            }
            planAlbum(folder, number++);
        }
    }

    void planAlbum(const AlbumFolder& folder, std::size_t number)
    {
        std::vector<std::size_t> saved;
        const bool isWanted = isWantedAlbum(folder);
        for (const auto pk : members(folder)) {
            const auto found = byKey_.find(pk);
            if (found == byKey_.end()) {
                continue;
            }
            auto& candidate = candidates_[found->second];
            if (candidate.group != Group::albums || candidate.lastFolder == number) {
                continue; // an album that lists a photo twice still holds one photo
            }
            candidate.lastFolder = number;
            if (!candidate.reason.empty()) {
                if (isWanted || !candidate.isInChosenAlbum) {
                    skippedPaths_[found->second].push_back(folder.path);
                }
            } else if (isWanted) {
                saved.push_back(found->second);
            }
        }
        addContent(folder.path, std::move(saved));
    }

    /// A folder may be there only for the albums in it.
    bool isWantedAlbum(const AlbumFolder& folder) const
    {
        return !options_.albumPKs || options_.albumPKs->contains(album(folder).pk);
    }

    void planUnfiled()
    {
        std::map<int, std::vector<std::size_t>> years;
        std::vector<std::size_t> undated;
        for (std::size_t i = 0; i < candidates_.size(); ++i) {
            if (candidates_[i].group != Group::unfiled) {
                continue;
            }
            if (candidates_[i].reason == reasons::choice) {
                skippedPaths_[i].push_back(std::string(exportFolders::unfiled) + "/");
            } else if (const auto& date = asset(i).dateCreated) {
                years[gregorianYear(*date, asset(i).timeZoneOffset)].push_back(i);
            } else {
                undated.push_back(i);
            }
        }
        const auto planned = plan_.folders.size();
        for (const auto& [year, members] : years) {
            planFolder(members, std::string(exportFolders::unfiled) + "/" + std::to_string(year));
        }
        planFolder(undated, std::string(exportFolders::unfiled) + "/" + exportFolders::unknownDate);
        if (plan_.folders.size() > planned) {
            plan_.folders.insert(
                plan_.folders.begin() + static_cast<std::ptrdiff_t>(planned), exportFolders::unfiled);
        }
    }

    void planGroup(Group group, const char* folder)
    {
        std::vector<std::size_t> members;
        for (std::size_t i = 0; i < candidates_.size(); ++i) {
            if (candidates_[i].group == group) {
                members.push_back(i);
            }
        }
        planFolder(members, folder);
    }

    /// The folder is planned only if something goes into it.
    void planFolder(const std::vector<std::size_t>& members, const std::string& folder)
    {
        std::vector<std::size_t> saved;
        for (const auto i : members) {
            if (candidates_[i].reason.empty()) {
                saved.push_back(i);
            } else {
                skippedPaths_[i].push_back(folder);
            }
        }
        if (!saved.empty()) {
            plan_.folders.push_back(folder);
        }
        addContent(folder, std::move(saved));
    }

    /// What goes into one folder. Names are unique within a folder, so folders are worked on side by side.
    struct Content {
        std::string folder{};
        std::vector<std::size_t> members{};
        std::vector<PlannedItem> items{};
        std::vector<std::string> unknownTypes{}; ///< Paths of files.
    };

    void addContent(const std::string& folder, std::vector<std::size_t> members)
    {
        if (!members.empty()) {
            contents_.push_back({.folder = folder, .members = std::move(members)});
        }
    }

    void planCopies()
    {
        inParallel(contents_.size(), [this](std::size_t i) {
            Content& content = contents_[i];
            NameAllocator names;
            content.items.reserve(content.members.size());
            for (const std::size_t member : content.members) {
                planCopy(member, content, names);
            }
        });
        std::size_t count = 0;
        for (const Content& content : contents_) {
            count += content.items.size();
        }
        plan_.items.reserve(count);
        for (Content& content : contents_) {
            std::ranges::move(content.items, std::back_inserter(plan_.items));
            unknownTypes_.insert(content.unknownTypes.begin(), content.unknownTypes.end());
            content = {};
        }
    }

    void planCopy(std::size_t index, Content& content, NameAllocator& names) const
    {
        const std::string& folder = content.folder;
        const auto& photo = asset(index);
        const auto& entry = *candidates_[index].entry;
        const bool isSmallerCopy = holdsSmallerCopy(entry);
        const bool leavesCopyOut = isSmallerCopy && !options_.includeSmallerCopies;
        const auto rest = leavesCopyOut ? withoutSmallerCopy(*entry.file) : std::nullopt;
        const ResolvedFile& main = rest ? *rest : *entry.file;
        const auto split = SafeNames::split(shownName(photo), lastComponent(main.path));
        noteType(main, split, content);
        std::vector<std::string> companionExtensions;
        for (const auto& companion : main.companions) {
            const auto companionSplit = SafeNames::companionExtension(lastComponent(companion.path));
            noteType(companion, companionSplit, content);
            companionExtensions.push_back(companionSplit.extension);
        }

        auto stem = safeStem(split.stem, photo);
        if (isStillOnly(photo, entry, main)) {
            stem += " (still picture only)";
        } else if (isSmallerCopy) {
            stem += " (smaller copy)";
        }
        const auto given = names.allocate(stem, split.extension, companionExtensions);

        PlannedItem item{.assetPK = photo.pk,
            .assetUUID = photo.uuid,
            .albumPath = folder,
            .sidecarRelativePath = folder + "/" + given.sidecar,
            .isSmallerCopy = isSmallerCopy,
            .sizeDiffers = entry.status == OriginalEntry::Status::presentSizeDiffers};
        item.files.reserve(1 + main.companions.size());
        item.files.push_back(
            {.source = main.path, .relativePath = folder + "/" + given.main, .size = main.size});
        for (std::size_t i = 0; i < main.companions.size(); ++i) {
            item.files.push_back({.source = main.companions[i].path,
                .relativePath = folder + "/" + given.companions[i],
                .size = main.companions[i].size});
        }
        content.items.push_back(std::move(item));
    }

    /// The identifier stands in for a name of which nothing is left; it comes from the library too.
    static std::string safeStem(const std::string& stem, const Asset& asset)
    {
        auto safe = SafeNames::clean(stem, "");
        return safe.empty() ? SafeNames::clean(asset.uuid, "Untitled") : safe;
    }

    /// A video of which only a still is here, and a Live Photo whose video is not.
    static bool isStillOnly(const Asset& asset, const OriginalEntry& entry, const ResolvedFile& main)
    {
        const auto isVideo = [](const ResolvedFile& file) {
            return isVideoExtension(SafeNames::companionExtension(lastComponent(file.path)).extension);
        };
        return entry.isStillOfVideo
            || (asset.isLivePhoto && !isVideo(main)
                && (entry.partnerMissing || std::ranges::none_of(main.companions, isVideo)));
    }

    static void noteType(const ResolvedFile& file, const SafeNames::StemAndExtension& split, Content& content)
    {
        if (split.addedDat) {
            content.unknownTypes.push_back(file.path);
        }
    }

    void listSkipped()
    {
        for (std::size_t i = 0; i < candidates_.size(); ++i) {
            if (candidates_[i].reason.empty()) {
                continue;
            }
            plan_.skipped.push_back({.assetPK = asset(i).pk,
                .name = shownName(asset(i)),
                .albumPaths = std::move(skippedPaths_[i]),
                .reason = std::string(candidates_[i].reason)});
        }
    }

    void addNotes()
    {
        addCount(std::ranges::count_if(tree_.folders,
                     [](const AlbumFolder& folder) { return folder.isChosen && folder.movedUp; }),
            " albums were nested too deep for a disk's path limit and are in the \"Deep folders\" folder.");
        addCount(std::ranges::count_if(tree_.folders,
                     [](const AlbumFolder& folder) { return folder.isChosen && folder.wasDamaged; }),
            " albums or folders had a damaged place in the tree and were saved at the top level.");
        for (const auto& smart : snapshot_.albums) {
            if (smart.kind == Album::Kind::smart && !smart.isTrashed) {
                plan_.notes.push_back("Smart album \"" + shownTitle(smart)
                    + "\" is a rule, not a list of photos, and was not exported as a folder.");
            }
        }
        if (auto leftover = leftoverNote(scan_)) {
            plan_.notes.push_back(std::move(*leftover));
        }
        if (auto shared = sharedAlbumsNote(snapshot_)) {
            plan_.notes.push_back(std::move(*shared));
        }
        for (const auto& folder : tree_.folders) {
            if (isWantedAlbum(folder) && album(folder).lostEntries > 0) {
                plan_.notes.push_back("Album \"" + shownTitle(album(folder)) + "\" had "
                    + grouped(album(folder).lostEntries)
                    + " entries whose photo record was lost in the damaged database.");
            }
        }
        addCount(static_cast<std::int64_t>(unknownTypes_.size()),
            " files are not of a photo or video type, so they were saved with .dat added to their names.");
    }

    void addCount(std::int64_t count, std::string_view rest)
    {
        if (count > 0) {
            plan_.notes.push_back(grouped(count).append(rest));
        }
    }

    const LibraryScanResult& scan_;
    const LibrarySnapshot& snapshot_;
    const OriginalsReport& originals_;
    const ExportOptions& options_;
    const AlbumTree tree_;
    std::unordered_map<std::int64_t, std::size_t> byKey_;
    std::vector<Candidate> candidates_; ///< One for each asset, in their order.
    std::unordered_map<std::size_t, std::vector<std::string>> skippedPaths_;
    std::vector<Content> contents_;                ///< In the order in which they are saved.
    std::unordered_set<std::string> unknownTypes_; ///< Each file once, in however many albums it is.
    ExportPlan plan_;
};

} // namespace

ExportPlan planExport(const LibraryScanResult& scan, const ExportOptions& options)
{
    return Planner(scan, options).plan();
}

std::string planIdentity(const ExportPlan& plan, const ExportOptions& options)
{
    Sha256 digest;
    std::string line = plan.libraryName;
    for (const bool choice : {options.includeHidden, options.includeTrashed, options.includeSmallerCopies,
             options.peopleAsKeywords, options.includeOutsideFiles}) {
        line += choice ? "|true" : "|false";
    }
    line += '\n';
    constexpr std::size_t addedAtOnce = 16'384; // a call for each line costs more than its bytes
    for (const auto& item : plan.items) {
        for (const auto& file : item.files) {
            if (line.size() > addedAtOnce) {
                digest.add(line);
                line.clear();
            }
            line += file.relativePath;
            line += '\x01';
            line += std::to_string(file.size);
            line += '\x01';
            line += lastComponent(file.source.native());
            line += '\n';
        }
    }
    digest.add(line);
    return digest.finish();
}

std::optional<std::string> sharedAlbumsNote(const LibrarySnapshot& snapshot)
{
    const auto count = std::ranges::count_if(snapshot.albums,
        [](const Album& album) { return album.kind == Album::Kind::shared && !album.isTrashed; });
    if (count == 0) {
        return std::nullopt;
    }
    return count == 1 ? "This library has 1 shared album. It is not exported."
                      : "This library has " + grouped(count) + " shared albums. They are not exported.";
}

} // namespace vantorel
