#pragma once

#include "fuse/DiskControl.h"

#include <condition_variable>
#include <cstdint>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel::fuse {

/// One disturbance of the faulty disk.
struct DiskRule {
    enum class Action { hang, delay, error, room, gone, silent, readonly, count };

    Action action = Action::count;
    std::int64_t number = 0; ///< Of `delay`, `error` and `room`.
    std::optional<Operation> operation{};
    bool anyChange = false; ///< Instead of one operation.
    std::uint64_t from = 1;
    std::uint64_t times = std::numeric_limits<std::uint64_t>::max();
    std::int64_t offset = 0;
    std::optional<std::int64_t> length{}; ///< None: whatever bytes, also of operations that have none.
    std::string pattern = "*";
    std::uint64_t met = 0;
};

/// None where the line is no rule.
std::optional<DiskRule> parseRule(std::string_view line);

/// One operation on its way through the rules.
struct DiskRequest {
    Operation operation;
    std::string_view path{};
    std::string_view otherPath{}; ///< Of a rename or link.
    std::int64_t offset = 0;
    std::int64_t length = 0;
};

/// The rules in force. Thread-safe.
class DiskRules {
public:
    explicit DiskRules(DiskCounts& counts)
        : counts_(counts)
    {
    }

    void replace(std::vector<DiskRule> rules);
    /// No operation waits any more, and none succeeds.
    void end();

    /// Counts the operation, waits where it has to, and gives the error number to answer with; 0: it goes on.
    /// `length` of a write becomes less where the disk is nearly full.
    int meet(DiskRequest& request);

private:
    bool fits(const DiskRule& rule, const DiskRequest& request) const;
    int apply(std::unique_lock<std::mutex>& held, std::size_t index, DiskRequest& request);

    DiskCounts& counts_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<DiskRule> rules_;
    std::uint64_t generation_ = 0;
    bool isGone_ = false;
    bool isSilent_ = false;
    bool isReadOnly_ = false;
    bool hasEnded_ = false;
};

} // namespace vantorel::fuse
