#include "export/RunStop.h"

#include "base/Text.h"

#include <utility>

namespace vantorel {

RunStop stopOf(const DestinationError& error)
{
    if (error.code == ENOSPC || error.code == EDQUOT) {
        return {.state = ExportOutcome::DestinationFull{}};
    }
    if (!error.volumeIsThere) {
        return {.state = ExportOutcome::DestinationGone{}, .destinationAnswers = false};
    }
    if (error.code == EROFS) {
        return {.state = ExportOutcome::Failed{.reason = "the disk you are saving to became read only"}};
    }
    return {.state = ExportOutcome::Failed{.reason = "writing failed: " + errorText(error.code)}};
}

RunStop stopOf(DiskSteps::Trouble trouble)
{
    switch (trouble) {
    case DiskSteps::Trouble::silent:
        return {.state = ExportOutcome::Stalled{}, .destinationAnswers = false};
    case DiskSteps::Trouble::cancelled:
        // The grace after a stop has passed too: a disk that hangs would hold up the end as well.
        return {.state = ExportOutcome::Cancelled{}, .destinationAnswers = false};
    }
    std::unreachable();
}

} // namespace vantorel
