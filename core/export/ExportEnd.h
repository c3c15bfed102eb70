#pragma once

#include "export/ExportFolder.h"

#include <memory>
#include <string>

namespace vantorel {

/// The texts that stand at the top of an export folder when a run ends.
struct EndTexts {
    std::string report{};
    std::string readMe{};
    std::string tryLast{}; ///< Of an unfinished one; empty for none.
};

/// Turns the folder of a complete export into a finished one: texts, final name, bookkeeping gone. The final
/// name, or the error number; then it is still an unfinished one. Blocks.
CallResult<std::string> finishFolder(const Root& destination, const Root& root, const ExportFolder& folder,
    const std::string& libraryName, const EndTexts& texts, Heartbeat& heartbeat);

/// Leaves the folder as one that can be continued. Blocks.
CallResult<void> leaveUnfinished(const Root& root, const EndTexts& texts, Heartbeat& heartbeat);

} // namespace vantorel
