#pragma once

#include "disk/ChunkCopy.h"
#include "export/Saving.h"

#include <cstdint>
#include <expected>
#include <string>

namespace vantorel {

/// The first stage: reads the files of the library, hashes them and writes them into temporary files. Judges
/// the library's disk: what failed on it, whether it is still worth asking. One thread, the run's or one
/// beside it.
class CopyStage {
public:
    CopyStage(std::shared_ptr<const SavingContext> context, std::shared_ptr<const DiskSteps> steps)
        : context_(std::move(context))
        , steps_(std::move(steps))
    {
    }

    /// Gives back the items that it did not begin, since those before them took the time that a group has.
    CommitGroup run(CommitGroup& group);

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

    /// Fills the item's parts; a stop where the run ends here.
    std::optional<RunStop> copy(SavingItem& item);
    /// Fills the part; likewise.
    std::optional<RunStop> copy(std::size_t item, std::size_t file, FilePart& part);
    Try copyOnce(std::size_t item, const PlannedFile& file, Seconds stallLimit);
    std::expected<ChunkCopy::Place, Trouble> placeOf(const PlannedFile& file);
    Trouble judgedRead(const ChunkCopy::Place& source, const ChunkCopy::Failure& failure);
    std::optional<RunStop> noted(const std::optional<SkipCause>& cause);

    std::shared_ptr<const SavingContext> context_;
    std::shared_ptr<const DiskSteps> steps_;
    std::shared_ptr<const Root> outside_; ///< Of the last file outside the library.
    DiskPath outsidePath_;
    int failuresInARow_ = 0;
    int silentInARow_ = 0;
};

} // namespace vantorel
