#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel::sample {

/// A database file as bytes, to be damaged. Pages are counted from 1, as SQLite does. A page number that the
/// file does not have throws std::out_of_range.
struct DatabasePages {
    /// What Photos' databases have.
    static constexpr std::size_t size = 4096;

    std::string bytes{};

    std::size_t count() const { return bytes.size() / size; }
    void zero(std::int64_t page) { bytes.replace(offset(page), size, size, '\0'); }
    void swap(std::int64_t one, std::int64_t other);
    /// Whether the b-tree of a table goes on below this page.
    bool isInterior(std::int64_t page) const { return bytes.at(offset(page)) == '\x05'; }
    bool isOfIndex(std::int64_t page) const
    {
        return bytes.at(offset(page)) == '\x02' || bytes.at(offset(page)) == '\x0a';
    }
    /// The pages that hold the rows of the table with this root, in their order. Empty where a page on the
    /// way is none of a table.
    std::vector<std::int64_t> leavesOf(std::int64_t root) const;
    /// Root pages of all tables and indexes by name, as the file has them without its log. Throws
    /// std::runtime_error where SQLite cannot tell.
    std::map<std::string, std::int64_t> roots() const;

private:
    static std::size_t offset(std::int64_t page) { return static_cast<std::size_t>(page - 1) * size; }
};

/// The numbers of the pages that a log ("-wal") holds newer versions of.
std::vector<std::int64_t> pagesInLog(std::string_view log);

} // namespace vantorel::sample
