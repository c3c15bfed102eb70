#pragma once

#include "export/Saving.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace vantorel {

/// Turns a group of copied items into saved ones: sidecars, sync, read-back, names, folders' syncs, journal.
/// A file gets its final name only once it is durable and was read back, an item is recorded only once all
/// its names are durable; each of these waits for the medium serves the whole group. An item that fails in a
/// step goes no further, and its neighbours do. The run's thread.
class SaveStages {
public:
    explicit SaveStages(std::shared_ptr<const SavingContext> context)
        : context_(std::move(context))
    {
    }

    void commit(CommitGroup& group);

private:
    void writeSidecars(CommitGroup& group);
    void sync(CommitGroup& group);
    void readBack(CommitGroup& group);
    void writeSidecarAgain(CommitGroup& group, std::size_t position);
    void rename(CommitGroup& group);
    void syncFolders(CommitGroup& group);
    void record(CommitGroup& group);

    std::shared_ptr<const SavingContext> context_;
    int mismatchesInARow_ = 0;
};

/// Removes files that are not needed; what cannot be removed goes with the bookkeeping.
void removeTemporaries(const Root& root, const std::vector<DiskPath>& temporaries);

/// Writes a sidecar durably and reads it back, once more where that differs, for its final name. Blocks. On
/// failure the error number.
CallResult<FreshFile> writeSidecar(const std::shared_ptr<const Root>& root, const std::string& text,
    bool readItBack, const std::shared_ptr<Heartbeat>& heartbeat);

} // namespace vantorel
