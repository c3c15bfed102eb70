#pragma once

#include "disk/Root.h"

#include <cstdint>
#include <expected>

namespace vantorel {

/// What walking the frames of a "-wal" file says. SQLite itself uses the frames up to the first bad checksum
/// and reports nothing, so a damaged log silently shows an older state of the library.
struct WriteAheadLogCheck {
    enum class State {
        absent,  ///< No log, or an empty one.
        whole,   ///< Every frame of the header's round is right.
        damaged, ///< A broken header, a frame of this round with a wrong checksum, or a cut last frame.
    };
    State state = State::absent;
    std::int64_t goodFrames = 0;
    std::int64_t committedFrames = 0; ///< Up to and with the last commit among them.

    bool operator==(const WriteAheadLogCheck&) const = default;
};

/// Reads the log of a private copy. errno on a read failure.
CallResult<WriteAheadLogCheck> checkWriteAheadLog(const Root& folder, const DiskPath& log);

} // namespace vantorel
