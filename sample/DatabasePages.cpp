#include "sample/DatabasePages.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <memory>
#include <set>
#include <stdexcept>

/// A page of a table's b-tree: kind (5 interior, 13 leaf), at 3 the count of cells (2 bytes, as all numbers
/// big-endian), of an interior page at 8 the right-most child (4) and from 12 on the offsets of the cells (2
/// each), each of which begins with its child (4). On page 1 the file's header of 100 bytes stands before.
///
/// A log: 32 bytes header, at 8 the size of pages and at 16 two salts (4 each); then frames: page number (4),
/// at 8 the salts of the header where the frame belongs to it, at 24 the page.
namespace vantorel::sample {

namespace {

constexpr std::size_t fileHeader = 100;
constexpr std::size_t logHeader = 32;
constexpr std::size_t frameHeader = 24;
constexpr char leafPage = '\x0d';

std::uint32_t bigEndian(std::string_view bytes, std::size_t at, std::size_t length)
{
    std::uint32_t value = 0;
    for (const char c : bytes.substr(at, length)) {
        value = (value << 8U) | static_cast<unsigned char>(c);
    }
    return value;
}

struct CloseDatabase {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};

} // namespace

void DatabasePages::swap(std::int64_t one, std::int64_t other)
{
    const auto kept = bytes.substr(offset(one), size);
    bytes.replace(offset(one), size, bytes, offset(other), size);
    bytes.replace(offset(other), size, kept);
}

std::vector<std::int64_t> DatabasePages::leavesOf(std::int64_t root) const
{
    std::vector<std::int64_t> leaves;
    std::vector<std::int64_t> pending{root};
    std::set<std::int64_t> seen;
    while (!pending.empty()) {
        const std::int64_t number = pending.back();
        pending.pop_back();
        if (number < 1 || number > static_cast<std::int64_t>(count()) || !seen.insert(number).second) {
            return {};
        }
        const std::string_view page = std::string_view(bytes).substr(offset(number), size);
        const std::size_t start = number == 1 ? fileHeader : 0;
        if (!isInterior(number) && page[start] != leafPage) {
            return {};
        }
        if (page[start] == leafPage) {
            leaves.push_back(number);
            continue;
        }
        pending.push_back(bigEndian(page, start + 8, 4));
        for (std::size_t cell = bigEndian(page, start + 3, 2); cell-- > 0;) {
            const std::size_t pointer = start + 12 + 2 * cell;
            const std::size_t at = pointer + 2 <= size ? bigEndian(page, pointer, 2) : size;
            if (at + 4 > size) {
                return {};
            }
            pending.push_back(bigEndian(page, at, 4));
        }
    }
    return leaves;
}

std::map<std::string, std::int64_t> DatabasePages::roots() const
{
    // SQLite reads a copy in memory: asking the file itself would touch its log.
    const auto fail = [](const std::string& why) -> void {
        throw std::runtime_error(fmt::format("The database's tables cannot be found: {}.", why));
    };
    std::string copy = bytes;
    if (copy.size() < size) {
        fail("it is shorter than a page");
    }
    copy[18] = copy[19] = 1; // no log
    sqlite3* opened = nullptr;
    sqlite3_open(":memory:", &opened);
    const std::unique_ptr<sqlite3, CloseDatabase> database(opened);
    const auto length = static_cast<sqlite3_int64>(copy.size());
    if (sqlite3_deserialize(opened, "main", reinterpret_cast<unsigned char*>(copy.data()), length, length,
            SQLITE_DESERIALIZE_READONLY)
        != SQLITE_OK) {
        fail(sqlite3_errmsg(opened));
    }
    std::map<std::string, std::int64_t> found;
    const auto take = [](void* to, int, char** values, char**) {
        (*static_cast<std::map<std::string, std::int64_t>*>(to))[values[0]] = std::atoll(values[1]);
        return 0;
    };
    if (sqlite3_exec(
            opened, "SELECT name, rootpage FROM sqlite_master WHERE rootpage > 0", take, &found, nullptr)
        != SQLITE_OK) {
        fail(sqlite3_errmsg(opened));
    }
    return found;
}

std::vector<std::int64_t> pagesInLog(std::string_view log)
{
    std::set<std::int64_t> pages;
    constexpr std::size_t frame = frameHeader + DatabasePages::size;
    for (std::size_t at = logHeader; at + frame <= log.size(); at += frame) {
        if (log.substr(at + 8, 8) == log.substr(16, 8)) {
            pages.insert(bigEndian(log, at, 4));
        }
    }
    return {pages.begin(), pages.end()};
}

} // namespace vantorel::sample
