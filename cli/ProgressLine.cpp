#include "cli/ProgressLine.h"

#include "base/Text.h"
#include "base/Unicode.h"
#include "disk/DiskPatience.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include <sys/ioctl.h>
#include <unistd.h>

namespace vantorel::cli {

namespace {

using std::chrono::nanoseconds;

constexpr nanoseconds redrawTerminal = std::chrono::milliseconds(100);
constexpr nanoseconds redrawElsewhere = std::chrono::seconds(5);
constexpr nanoseconds speedWindow = std::chrono::seconds(30);
constexpr nanoseconds speedNeeds = std::chrono::seconds(3); ///< Less says nothing about what is to come.

constexpr std::size_t widestBar = 20;
constexpr std::size_t narrowestBar = 5;

struct WaitTexts {
    std::string_view brief;
    std::string_view longer;
};
constexpr std::array<WaitTexts, 2> waitTexts{{
    {"Waiting for the disk to answer. This can take a moment.",
        "The disk is not answering yet. A sleeping or busy drive can take a minute or more, so Vantorel "
        "keeps waiting. "
        "This does not mean anything is damaged."},
    {"Waiting for the disk to answer. This can take up to a minute.",
        "A disk is not answering at the moment. A sleeping or busy drive can take a minute or more, so "
        "Vantorel keeps "
        "waiting. Nothing saved so far is at risk."},
}};

std::size_t terminalWidth()
{
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 20) {
        return size.ws_col;
    }
    return 80;
}

/// How many columns the text takes, as far as counting scalar values tells.
std::size_t columns(std::string_view text)
{
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

std::string cutTo(std::string_view text, std::size_t width)
{
    if (columns(text) <= width) {
        return std::string(text);
    }
    std::size_t bytes = text.size();
    while (bytes > 0 && columns(prefixOfWholeCharacters(text, bytes)) + 1 > width) {
        --bytes;
    }
    return std::string(prefixOfWholeCharacters(text, bytes)) + "\xE2\x80\xA6";
}

} // namespace

std::string bar(std::int64_t done, std::int64_t total, int width)
{
    const double share =
        total > 0 ? std::clamp(static_cast<double>(done) / static_cast<double>(total), 0.0, 1.0) : 0;
    const int filled = static_cast<int>(share * width);
    std::string text;
    for (int i = 0; i < width; ++i) {
        text += i < filled ? "\xE2\x96\x93" : "\xE2\x96\x91";
    }
    return text;
}

std::string timeLeft(Seconds left)
{
    const double seconds = left.count();
    if (seconds < 50) {
        return fmt::format(
            "about {} seconds left", std::max(5, static_cast<int>(std::lround(seconds / 5)) * 5));
    }
    const long minutes = std::lround(seconds / 60);
    if (minutes < 90) {
        return minutes <= 1 ? "about a minute left" : fmt::format("about {} minutes left", minutes);
    }
    return fmt::format("about {} hours left", std::lround(seconds / 3600));
}

ProgressLine::ProgressLine(std::shared_ptr<const Clock> clock, bool alsoWithoutTerminal, Waits waits)
    : clock_(std::move(clock))
    , terminal_(isatty(STDERR_FILENO) == 1)
    , quiet_(!terminal_ && !alsoWithoutTerminal)
    , waits_(waits)
{
    const char* kind = std::getenv("TERM");
    if (terminal_ && kind != nullptr && std::string_view(kind) == "dumb") {
        terminal_ = false;
        quiet_ = !alsoWithoutTerminal;
    }
}

ProgressLine::~ProgressLine()
{
    if (terminal_ && drawn_) {
        std::fputs("\r\x1b[K", stderr);
    }
}

void ProgressLine::show(State state)
{
    if (quiet_) {
        return;
    }
    const std::scoped_lock hold(lock_);
    const nanoseconds now = clock_->uptime();
    const bool newStage = state.stage != stage_;
    if (newStage) {
        stage_ = state.stage;
        samples_.clear();
    }
    if (state.waitingForDisk && !waiting_) {
        waitingSince_ = now;
        saidLongWait_ = false;
    }
    const bool waitChanged = state.waitingForDisk != waiting_;
    waiting_ = state.waitingForDisk;
    const std::int64_t amount = state.bytesTotal > 0 ? state.bytesDone : state.done;
    samples_.emplace_back(now, amount);
    while (samples_.size() > 2 && now - samples_.front().first > speedWindow) {
        samples_.pop_front();
    }
    const nanoseconds pause = terminal_ ? redrawTerminal : redrawElsewhere;
    if (drawn_ && !newStage && !waitChanged && now - lastDrawn_ < pause) {
        return;
    }
    lastDrawn_ = now;
    draw(lineFor(state));
}

std::string ProgressLine::remaining(std::int64_t done, std::int64_t total)
{
    if (samples_.size() < 2 || total <= done || samples_.back().first - samples_.front().first < speedNeeds) {
        return {};
    }
    const Seconds took = samples_.back().first - samples_.front().first;
    const auto amount = static_cast<double>(samples_.back().second - samples_.front().second);
    if (amount <= 0) {
        return {};
    }
    return timeLeft(Seconds(static_cast<double>(total - done) * took.count() / amount));
}

std::string ProgressLine::lineFor(const State& state)
{
    if (state.waitingForDisk) {
        const auto& texts = waitTexts.at(static_cast<std::size_t>(waits_));
        const bool longWait = clock_->uptime() - waitingSince_ >= DiskPatience::longerNotice;
        return std::string(longWait ? texts.longer : texts.brief);
    }
    const bool byBytes = state.bytesTotal > 0;
    std::string numbers;
    if (state.total > 0) {
        numbers += fmt::format("  {} of {}", grouped(state.done), grouped(state.total));
    }
    if (byBytes) {
        numbers += fmt::format("  {} of {}", byteSize(state.bytesDone), byteSize(state.bytesTotal));
        if (samples_.size() > 1 && samples_.back().first - samples_.front().first >= speedNeeds) {
            const Seconds took = samples_.back().first - samples_.front().first;
            const auto speed =
                static_cast<double>(samples_.back().second - samples_.front().second) / took.count();
            numbers += fmt::format("  {}/s", byteSize(static_cast<std::int64_t>(speed)));
        }
    }
    const std::string left =
        byBytes ? remaining(state.bytesDone, state.bytesTotal) : remaining(state.done, state.total);
    if (!left.empty()) {
        numbers += "  " + left;
    }
    if (!state.note.empty()) {
        numbers += "  " + state.note;
    }
    std::string line = state.stage;
    if (byBytes || state.total > 0) {
        // On a narrow terminal the numbers say more than the bar.
        const std::size_t taken = columns(line) + columns(numbers) + 3;
        const std::size_t width = terminal_ ? terminalWidth() : taken + widestBar;
        const std::size_t room = std::min(widestBar, width > taken ? width - taken : 0);
        if (room >= narrowestBar) {
            const int cells = static_cast<int>(room);
            line += "  "
                + (byBytes ? bar(state.bytesDone, state.bytesTotal, cells)
                           : bar(state.done, state.total, cells));
        }
    }
    line += numbers;
    if (!state.detail.empty()) {
        line += "  " + displayText(state.detail);
    }
    return line;
}

void ProgressLine::draw(const std::string& line)
{
    if (terminal_) {
        fmt::print(stderr, "\r\x1b[K{}", cutTo(line, terminalWidth() - 1));
    } else {
        fmt::print(stderr, "{}\n", line);
    }
    std::fflush(stderr);
    drawn_ = true;
}

} // namespace vantorel::cli
