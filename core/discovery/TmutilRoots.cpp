#include "discovery/TmutilRoots.h"

#include "base/Text.h"
#include "base/Utf8.h"

#include <set>
#include <utility>

namespace vantorel {

namespace {

constexpr std::string_view noList =
    "Time Machine did not list its backups. Connected backup disks are still scanned; a backup on a network "
    "drive must be opened in Finder first.";
constexpr std::size_t mostOutputBytes = 8u << 20u; // a backup an hour for ten years is 87,600 lines

/// Line feed, vertical tab, form feed, carriage return, next line, line and paragraph separator.
bool isNewline(char32_t scalar)
{
    return (scalar >= 0x0A && scalar <= 0x0D) || scalar == 0x85 || scalar == 0x2028 || scalar == 0x2029;
}

bool isBlank(char32_t scalar)
{
    return scalar == 0x20 || scalar == 0x09 || scalar == 0xA0 || scalar == 0x1680
        || (scalar >= 0x2000 && scalar <= 0x200B) || scalar == 0x202F || scalar == 0x205F || scalar == 0x3000
        || isNewline(scalar);
}

/// Lines without the white space around them.
std::vector<std::string_view> trimmedLines(std::string_view text)
{
    std::vector<std::string_view> lines;
    constexpr std::size_t none = std::string_view::npos;
    std::size_t first = none;
    std::size_t end = 0;
    const auto finish = [&] {
        if (first != none) {
            lines.push_back(text.substr(first, end - first));
        }
        first = none;
    };
    for (std::size_t at = 0; at < text.size();) {
        const Utf8Step step = utf8Step(text, at);
        if (isNewline(step.scalar)) {
            finish();
        } else if (!isBlank(step.scalar)) {
            first = first == none ? at : first;
            end = at + step.length;
        }
        at += step.length;
    }
    finish();
    return lines;
}

} // namespace

std::vector<DiskPath> TmutilRoots::rootsIn(std::string_view output)
{
    const std::string text = repairedUtf8(output);
    std::vector<DiskPath> roots;
    std::set<DiskPath> known; // "/a//b" is "/a/b"
    for (const std::string_view line : trimmedLines(text)) {
        // The system would take a path for ending at a NUL, and look elsewhere.
        if (line.starts_with('/') && !line.contains('\0') && known.emplace(line).second) {
            roots.emplace_back(line);
        }
    }
    return roots;
}

TmutilRoots::Result TmutilRoots::ask(Seconds timeout, const SharedCancelToken& cancel) const
{
    const auto ended = children_->run({
        .program = "/usr/bin/tmutil",
        .arguments = {"listbackups"},
        .timeout = timeout,
        .cancel = cancel,
        .mostOutputBytes = mostOutputBytes,
    });
    if (!ended || ended->exitStatus != 0) {
        return {.roots = {}, .issue = std::string(noList)};
    }
    return {.roots = rootsIn(ended->output), .issue = std::nullopt};
}

} // namespace vantorel
