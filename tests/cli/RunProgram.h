#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vantorel {

struct Ran {
    int status = 0; ///< Exit status; 128 + signal for one that a signal ended.
    std::string output{};
    std::string errors{};
    std::int64_t peakBytes = 0; ///< The most memory that it, or a process that it waited for, had at once.
};

/// Called before each run with its arguments; what it returns lives until the run's end. For programs that
/// run all of these tests with something around every run.
using AroundRuns = std::function<std::shared_ptr<void>(const std::vector<std::string>& arguments)>;
void setAroundRuns(AroundRuns around);

/// Runs the real `vantorel`. `whileRunning` gets the process before it is waited for. Standard error is a
/// file, so no progress is drawn.
Ran runVantorel(
    const std::vector<std::string>& arguments, const std::function<void(pid_t)>& whileRunning = {});
/// Any other program, looked for in PATH.
Ran runTool(const std::vector<std::string>& command);
bool hasTool(const std::string& name);

} // namespace vantorel
