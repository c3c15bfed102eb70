#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace vantorel {

/// From row ids to positions in a list. Filled once, sorted, then asked: rows that refer to each other mostly
/// come in the same order, so the place after the last hit is looked at before the search. One thread.
class KeyIndex {
public:
    void reserve(std::size_t count) { entries_.reserve(count); }
    void add(std::int64_t key, std::size_t position) { entries_.push_back({key, position}); }
    /// To be called once after the last `add`. Of equal keys the one that was added first is found.
    void sort()
    {
        if (!std::ranges::is_sorted(entries_, {}, &Entry::key)) {
            std::ranges::stable_sort(entries_, {}, &Entry::key);
        }
        next_ = 0;
    }
    std::optional<std::size_t> find(std::int64_t key)
    {
        if (next_ >= entries_.size() || entries_[next_].key != key
            || (next_ > 0 && entries_[next_ - 1].key == key)) {
            const auto found = std::ranges::lower_bound(entries_, key, {}, &Entry::key);
            if (found == entries_.end() || found->key != key) {
                return std::nullopt;
            }
            next_ = static_cast<std::size_t>(found - entries_.begin());
        }
        return entries_[next_++].position;
    }
    std::size_t size() const { return entries_.size(); }
    void clear()
    {
        std::vector<Entry>().swap(entries_);
        next_ = 0;
    }

private:
    struct Entry {
        std::int64_t key = 0;
        std::size_t position = 0;
    };
    std::vector<Entry> entries_;
    std::size_t next_ = 0;
};

} // namespace vantorel
