#pragma once

#include "disk/Root.h"

#include <memory>
#include <string>
#include <string_view>

namespace vantorel {

/// The open journal of a run: lines are only added, each durable before the next step. Locked, so that two
/// runs never write into one folder. One thread at a time; members block.
class ExportJournal {
public:
    /// Opens or makes it, durably. EWOULDBLOCK where another run has it. `endsTorn`: the last line of an
    /// earlier run has no end.
    static CallResult<std::shared_ptr<ExportJournal>> open(std::shared_ptr<const Root> root, bool endsTorn);

    /// After a failure nothing more may be added: the last line may be torn.
    CallResult<void> add(std::string lines);

private:
    ExportJournal(std::shared_ptr<const Root> root, OpenFile file, bool endsTorn);

    std::shared_ptr<const Root> root_;
    OpenFile file_;
    bool endsTorn_ = false;
};

/// All of the text, over as many calls as it takes. Blocks.
CallResult<void> writeAll(const SystemCalls& calls, int fd, std::string_view text);

} // namespace vantorel
