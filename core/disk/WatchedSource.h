#pragma once

#include "base/Clock.h"
#include "disk/ChunkCopy.h"

#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <span>

namespace vantorel {

/// The source of one chunked copy. When watched, every call to its disk is made by a reader thread of its
/// own, and waited for in slices; a call that never returns costs that thread and nothing else. Used by one
/// thread.
class WatchedSource {
public:
    /// What the copy wants to hear about and end for while it waits.
    struct Watch {
        Seconds stallLimit{60};
        SharedCancelToken cancel{};
        std::shared_ptr<Heartbeat> heartbeat{};
        std::function<void(bool)> onSilence{};
    };

    WatchedSource(std::shared_ptr<const Clock> clock, const ChunkCopy::Request& request);
    /// Leaves a reader that hangs to itself; waits for one that does not to close the file.
    ~WatchedSource();
    WatchedSource(const WatchedSource&) = delete;
    WatchedSource& operator=(const WatchedSource&) = delete;

    /// Not more than once, before all else.
    std::expected<FileStatus, ChunkCopy::Failure> open();
    /// Reads at a place of the file into the same buffer as ever, `within` bytes from its begin.
    struct Read {
        std::int64_t offset = 0;
        std::size_t within = 0;
        std::size_t size = 0;
    };
    std::expected<std::size_t, ChunkCopy::Failure> read(const Read& read);
    std::span<std::byte> buffer();
    /// Gives the file back; what it held in the system's cache is dropped.
    void close();

    /// Cancelled, or the caller's heartbeat was given up.
    std::optional<ChunkCopy::Failure> whyStop() const;

private:
    struct Step;
    struct Reader;

    std::optional<ChunkCopy::Failure> perform(const Step& step);
    std::optional<ChunkCopy::Failure> waitForReader();
    void giveReaderUp();
    static void serve(const std::shared_ptr<Reader>& reader);

    std::shared_ptr<const Clock> clock_;
    Watch watch_;
    std::shared_ptr<Reader> reader_;
    bool isWatched_ = true;
    bool hasThread_ = false;
};

} // namespace vantorel
