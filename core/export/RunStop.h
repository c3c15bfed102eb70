#pragma once

#include "discovery/volumes/VolumeWatch.h"
#include "export/DiskSteps.h"
#include "export/ExportOutcome.h"

#include <cerrno>
#include <expected>

namespace vantorel {

/// Why a run ends before its last item.
struct RunStop {
    ExportOutcome::State state = ExportOutcome::Stalled{};
    bool destinationAnswers = true; ///< False: nothing more is tried there.
};

/// An error number from the destination, and whether its volume was still there right afterwards.
struct DestinationError {
    int code = 0;
    bool volumeIsThere = true;
};

/// Asks for the volume where the error leaves that open. Blocks.
inline DestinationError destinationError(int code, const VolumeWatch& watch)
{
    const bool isFull = code == ENOSPC || code == EDQUOT;
    return {.code = code, .volumeIsThere = isFull || watch.isStillThere()};
}

RunStop stopOf(const DestinationError& error);
/// For a step on the destination that has no result.
RunStop stopOf(DiskSteps::Trouble trouble);

} // namespace vantorel
