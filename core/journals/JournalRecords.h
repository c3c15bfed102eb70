#pragma once

#include "disk/CancelToken.h"

#include <cstdint>
#include <functional>
#include <string_view>

namespace vantorel {

/// How the objects of a kind are named in their journal: by 16 bytes, or (migrations) by decimal digits.
enum class JournalNames { identifiers, numbers };

/// One record of a journal file; views into the file's bytes.
struct JournalRecord {
    /// Other numbers occur nowhere; they count as a change.
    enum Type : std::uint64_t { whole = 0, change = 1, removal = 2 };

    std::uint64_t type = whole;
    std::string_view identifier{}; ///< 16 bytes, or digits.
    std::string_view payload{};    ///< A property list; empty: a removal, or a change that only clears keys.
    std::string_view header{};
    std::size_t position = 0; ///< Of the record in the file.

    /// Calls `visit` with each key that became empty.
    void visitCleared(const std::function<void(std::string_view key)>& visit) const;
};

/// What a walk through a file came to.
struct JournalWalk {
    std::int64_t lostBytes = 0; ///< In no record that was taken.
    bool cancelled = false;     ///< Not the whole file was walked.

    bool operator==(const JournalWalk&) const = default;
};

/// Finds the records of a journal file, from front to back; a damaged stretch costs only the records inside
/// it. Takes time in proportion to the file, whatever it holds, and no memory for a record. `take` answers
/// whether the record's payload could be used; the bytes of one that could not count as lost.
JournalWalk walkJournal(std::string_view bytes, JournalNames names, const SharedCancelToken& cancel,
    const std::function<bool(const JournalRecord&)>& take);

} // namespace vantorel
