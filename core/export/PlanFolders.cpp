#include "export/ExportFolder.h"
#include "export/SafeNames.h"

#include <algorithm>
#include <cerrno>
#include <set>
#include <unordered_map>
#include <unordered_set>

namespace vantorel {

namespace {

std::string parentOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::string lastComponent(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string under(const std::string& folder, const std::string& name)
{
    return folder.empty() ? name : folder + "/" + name;
}

/// The plan's folders with those above them, each once, parents before children.
std::vector<std::string> foldersOf(const ExportPlan& plan)
{
    std::vector<std::string> folders;
    std::unordered_set<std::string> known{""};
    const auto add = [&](const std::string& folder) {
        std::vector<std::string> missing;
        for (std::string path = folder; !known.contains(path); path = parentOf(path)) {
            missing.push_back(path);
            known.insert(path);
        }
        folders.insert(folders.end(), missing.rbegin(), missing.rend());
    };
    for (const std::string& folder : plan.folders) {
        add(folder);
    }
    for (const PlannedItem& item : plan.items) {
        for (const PlannedFile& file : item.files) {
            add(parentOf(file.relativePath));
        }
    }
    return folders;
}

/// Makes folders one by one and remembers what is where.
class FolderMaker {
public:
    FolderMaker(const Root& root, Heartbeat& heartbeat)
        : root_(root)
        , heartbeat_(heartbeat)
    {
    }

    enum class Made { here, refused };

    /// Makes one folder, or finds it made by an earlier run.
    CallResult<Made> make(const std::string& path)
    {
        heartbeat_.beat();
        const auto made = root_.makeFolder(path);
        if (made) {
            given_.insert(path);
            changed_.insert(parentOf(path));
            return Made::here;
        }
        if (made.error() == EEXIST) {
            return isOurs(path);
        }
        if (!isAboutTheName(made.error())) {
            return std::unexpected(made.error());
        }
        const auto parent = root_.status(parentOf(path));
        if (!parent) {
            return std::unexpected(parent.error());
        }
        return parent->type == FileStatus::Type::directory ? CallResult<Made>(Made::refused)
                                                           : std::unexpected(made.error());
    }

    /// Makes the names of all folders durable, also of those that an earlier run made and did not sync.
    CallResult<void> sync() const
    {
        for (const std::string& folder : changed_) {
            heartbeat_.beat();
            if (auto synced = root_.syncFolder(folder); !synced) {
                return synced;
            }
        }
        return {};
    }

private:
    /// What stands under a name that could not be made: the folder itself, or another one that this disk
    /// takes for the same, whose photos must stay apart.
    CallResult<Made> isOurs(const std::string& path)
    {
        const std::string parent = parentOf(path);
        auto siblings = listed_.find(parent);
        if (siblings == listed_.end()) {
            FS::ListBox box;
            auto listing = root_.list(parent, &heartbeat_, box);
            if (!listing || listing->stoppedEarly) {
                return std::unexpected(listing ? listing->code : listing.error().code);
            }
            siblings = listed_.try_emplace(parent).first;
            for (const FS::Entry& entry : listing->entries) {
                if (entry.kind == FS::Kind::directory) {
                    siblings->second.insert(SafeNames::comparisonKey(entry.name));
                }
            }
        }
        const bool isSameName = siblings->second.contains(SafeNames::comparisonKey(lastComponent(path)));
        if (!isSameName || !given_.insert(path).second) {
            return Made::refused;
        }
        changed_.insert(parent);
        return Made::here;
    }

    const Root& root_;
    Heartbeat& heartbeat_;
    std::unordered_set<std::string> given_;
    std::set<std::string> changed_;
    /// The keys of what lies in a folder. Each is listed once; albums of several folders take turns.
    std::unordered_map<std::string, std::unordered_set<std::string>> listed_;
};

} // namespace

std::string PlacedFolders::placed(const std::string& plannedPath) const
{
    const auto moved = moved_.find(parentOf(plannedPath));
    return moved == moved_.end() ? plannedPath : under(moved->second, lastComponent(plannedPath));
}

CallResult<PlacedFolders> makePlanFolders(const Root& root, const ExportPlan& plan, Heartbeat& heartbeat)
{
    PlacedFolders placed;
    FolderMaker maker(root, heartbeat);
    for (const std::string& folder : foldersOf(plan)) {
        if (heartbeat.gaveUp()) {
            return std::unexpected(ECANCELED);
        }
        const std::string wanted = placed.placed(folder); // beneath a folder that was moved
        const auto made = maker.make(wanted);
        if (!made) {
            return std::unexpected(made.error());
        }
        std::string actual = wanted;
        if (*made == FolderMaker::Made::refused) {
            actual = under(exportFolders::refusedNames, "Folder " + std::to_string(++placed.refused_));
            for (const std::string& plain : {std::string(exportFolders::refusedNames), actual}) {
                const auto plainMade = maker.make(plain);
                if (!plainMade) {
                    return std::unexpected(plainMade.error());
                }
                if (plain == actual && *plainMade == FolderMaker::Made::refused) {
                    return std::unexpected(EINVAL); // a disk that takes no plain name takes none
                }
            }
        }
        if (actual != folder) {
            placed.moved_[folder] = actual;
        }
    }
    if (auto synced = maker.sync(); !synced) {
        return std::unexpected(synced.error());
    }
    return placed;
}

} // namespace vantorel
