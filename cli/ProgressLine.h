#pragma once

#include "base/Clock.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace vantorel::cli {

/// Progress on standard error: one live line on a terminal, a line now and then elsewhere when it was asked
/// for, else nothing. Any thread.
class ProgressLine {
public:
    enum class Waits { scan, export_ }; ///< Which sentences are shown while a disk is waited for.

    struct State {
        std::string stage{};  ///< "Checking which original files are there"
        std::string detail{}; ///< "IMG_0001.jpeg"; shown as far as there is room.
        std::int64_t done = 0;
        std::int64_t total = 0; ///< 0: not known, or only bytes are counted.
        std::int64_t bytesDone = 0;
        std::int64_t bytesTotal = 0; ///< 0: no bytes to count; else the bar and the time are theirs.
        std::string note{};          ///< "12 skipped"
        bool waitingForDisk = false;
    };

    ProgressLine(std::shared_ptr<const Clock> clock, bool alsoWithoutTerminal, Waits waits);
    /// Clears the live line.
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void show(State state);

private:
    std::string lineFor(const State& state);
    std::string remaining(std::int64_t done, std::int64_t total);
    void draw(const std::string& line);

    std::shared_ptr<const Clock> clock_;
    bool terminal_;
    bool quiet_;
    Waits waits_;
    std::mutex lock_;
    std::string stage_;
    std::chrono::nanoseconds lastDrawn_{0};
    bool drawn_ = false;
    bool waiting_ = false;
    std::chrono::nanoseconds waitingSince_{0};
    bool saidLongWait_ = false;
    std::deque<std::pair<std::chrono::nanoseconds, std::int64_t>>
        samples_; ///< Of the last half minute, for speed.
};

/// "▓▓▓▓░░░░" for a share of the whole; `width` cells.
std::string bar(std::int64_t done, std::int64_t total, int width);
/// "about 20 seconds left", "about 3 minutes left", "about 2 hours left".
std::string timeLeft(Seconds left);

} // namespace vantorel::cli
