#pragma once

#include "export/UnfinishedExport.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

/// The folder of one export: its names in the destination, its setting up and its end. All of these block;
/// callers run them guarded.
namespace vantorel {

/// A path in ".vantorel/tmp" that nothing has.
DiskPath freshTemporary();

struct ExportFolder {
    std::shared_ptr<const Root> root{};
    std::string finalBase{}; ///< The name that the folder gets when it is finished.
};

/// Makes the folder of a new export with its bookkeeping, all of it durable. A folder that an earlier start
/// left without a state is used. On failure the errno value, and nothing of it is left.
CallResult<ExportFolder> makeExportFolder(
    const Root& destination, const ExportState& state, Heartbeat& heartbeat);

/// Writes what a continuing run writes first, and removes what the earlier run left half-copied.
CallResult<void> prepareContinued(const Root& root, const ExportState& state, const std::string& folderName,
    bool stateDiffers, Heartbeat& heartbeat);

/// Where the plan's folders really are.
class PlacedFolders {
public:
    /// A planned path with the folder that its photos really go to.
    std::string placed(const std::string& plannedPath) const;
    std::int64_t refusedCount() const { return refused_; }

private:
    friend CallResult<PlacedFolders> makePlanFolders(const Root&, const ExportPlan&, Heartbeat&);
    std::unordered_map<std::string, std::string> moved_; ///< Planned folder to actual one, where they differ.
    std::int64_t refused_ = 0;
};

/// Makes the plan's folders that are not there yet and makes their names durable. A folder whose name the
/// disk refuses, or takes for another one's, becomes "Folder N" in a folder for such.
CallResult<PlacedFolders> makePlanFolders(const Root& root, const ExportPlan& plan, Heartbeat& heartbeat);

/// The name that a finished folder got. Where the renaming could not be made durable the bookkeeping must
/// stay with it: a power cut may bring the old name back.
struct FinalName {
    std::string name{};
    bool isDurable = false;
};

/// Gives a finished folder its final name, or one with another number where that is taken by now. The
/// bookkeeping is still in it.
CallResult<FinalName> giveFinalName(const Root& destination, const std::string& folderName,
    const std::string& finalBase, const std::string& libraryName, const Heartbeat& heartbeat);

/// Removes what was half-copied.
void removeTemporaryFiles(const Root& root);

/// Removes the bookkeeping of a finished export. What cannot be removed does no harm and stays.
void removeBookkeeping(const Root& root);

/// Removes the bookkeeping of exports of this library that ended between their final name and this step.
void removeForgottenBookkeeping(
    const Root& destination, const std::string& libraryName, Heartbeat& heartbeat);

/// Whether an error number of a create or a rename is about the name. Beneath a folder that is there a disk
/// also answers "no such file" or "not permitted" for names that it cannot hold.
bool isAboutTheName(int code);

} // namespace vantorel
