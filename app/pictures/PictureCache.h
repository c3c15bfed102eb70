#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <QtGui/qimage.h>

namespace vantorel {

/// Decoded pictures of items, up to a number of bytes; those looked at longest ago go first. What is pinned
/// (on the screen) stays even above the limit, since throwing it out would only have it decoded again.
/// One thread.
class PictureCache {
public:
    struct Entry {
        std::size_t asset = 0;
        int side = 0; ///< That was asked for; the picture may be smaller.
        QImage image{};
    };

    explicit PictureCache(std::size_t mostBytes)
        : mostBytes_(mostBytes)
    {
    }

    void insert(Entry entry);
    /// Of this size; none (nullptr) where there is none.
    const QImage* find(std::size_t asset, int side);
    /// Of the size nearest to it, rather larger than smaller.
    const QImage* nearest(std::size_t asset, int side);
    bool contains(std::size_t asset, int side) const;
    /// Exactly these from now on.
    void pin(std::unordered_set<std::uint64_t> keys);
    static std::uint64_t keyOf(std::size_t asset, int side);
    void clear();
    std::size_t bytes() const { return bytes_; }

private:
    using Place = std::list<Entry>::iterator;

    void shrink();
    void erase(Place place);

    std::size_t mostBytes_;
    std::size_t bytes_ = 0;
    std::list<Entry> entries_{}; ///< Looked at last first.
    std::unordered_map<std::size_t, std::vector<Place>> places_{};
    std::unordered_set<std::uint64_t> pinned_{};
};

} // namespace vantorel
