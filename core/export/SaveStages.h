#pragma once

#include "export/Saving.h"

#include <memory>

namespace vantorel {

/// The stages that turn copied files into saved ones, in their order: each takes a whole group one step
/// further. A file gets its final name only once it is durable and was read back, an item is recorded only
/// once all its names are durable.
class SaveStages {
public:
    explicit SaveStages(std::shared_ptr<const SavingContext> context)
        : context_(std::move(context))
    {
    }

    void sync(CommitGroup& group);
    void readBack(CommitGroup& group);
    void rename(CommitGroup& group);
    void writeSidecars(CommitGroup& group);
    void syncFolders(CommitGroup& group);
    void record(CommitGroup& group);

private:
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
