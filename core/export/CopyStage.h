#pragma once

#include "disk/ChunkCopy.h"
#include "export/Saving.h"

#include <cstdint>
#include <expected>
#include <string>

namespace vantorel {

/// The first stage: reads the files of the library, hashes them and writes them into temporary files. Judges
/// the library's disk: what failed on it, whether it is still worth asking. One thread.
class CopyStage {
public:
    explicit CopyStage(std::shared_ptr<const SavingContext> context)
        : context_(std::move(context))
    {
    }

    void run(CommitGroup& group);

private:
    struct Copied {
        DiskPath temporary;
        FileDigest content;
    };
    /// How a try to copy one file ended, other than well.
    struct Trouble {
        std::optional<SkipCause> cause{};
        std::optional<RunStop> stop{};
    };
    using Try = std::expected<Copied, Trouble>;

    /// Fills the part; a stop where the run ends here.
    std::optional<RunStop> copy(std::size_t item, std::size_t file, FilePart& part);
    Try copyOnce(std::size_t item, const PlannedFile& file, Seconds stallLimit);
    std::expected<ChunkCopy::Place, Trouble> placeOf(const PlannedFile& file);
    Trouble judgedRead(const ChunkCopy::Place& source, const ChunkCopy::Failure& failure);
    std::optional<RunStop> noted(const std::optional<SkipCause>& cause);

    std::shared_ptr<const SavingContext> context_;
    std::shared_ptr<const Root> outside_; ///< Of the last file outside the library.
    DiskPath outsidePath_;
    int failuresInARow_ = 0;
    int silentInARow_ = 0;
};

} // namespace vantorel
