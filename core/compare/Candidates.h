#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vantorel {

/// Positions by key, all added before the first is taken. Each is handed out once, those of equal keys in the
/// order in which they were added, in constant time however many there are.
template <typename Key>
class Candidates {
public:
    explicit Candidates(std::size_t atMost)
    {
        entries_.reserve(atMost);
        lists_.reserve(atMost);
    }

    void add(Key key, std::size_t position)
    {
        const std::size_t added = entries_.size();
        entries_.push_back({position, none});
        const auto [list, isNew] = lists_.try_emplace(std::move(key), List{added, added});
        if (!isNew) {
            entries_[list->second.last].next = added;
            list->second.last = added;
        }
    }

    std::optional<std::size_t> take(const Key& key)
    {
        const auto list = lists_.find(key);
        if (list == lists_.end() || list->second.first == none) {
            return std::nullopt;
        }
        const Entry& entry = entries_[list->second.first];
        list->second.first = entry.next;
        return entry.position;
    }

private:
    static constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

    struct Entry {
        std::size_t position = 0;
        std::size_t next = none;
    };
    struct List {
        std::size_t first = none;
        std::size_t last = none;
    };
    std::vector<Entry> entries_;
    std::unordered_map<Key, List> lists_;
};

} // namespace vantorel
