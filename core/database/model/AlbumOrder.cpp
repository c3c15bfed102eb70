#include "database/model/AlbumOrder.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace vantorel {

std::vector<std::size_t> breakCircles(std::vector<AlbumPlace>& places)
{
    enum class Mark : char { unseen, onPath, reached };
    std::vector<Mark> marks(places.size(), Mark::unseen);
    std::vector<std::size_t> path;
    std::vector<std::size_t> broken;
    for (std::size_t i = 0; i < places.size(); ++i) {
        path.clear();
        std::size_t at = i;
        while (at != AlbumPlace::top && marks[at] == Mark::unseen) {
            marks[at] = Mark::onPath;
            path.push_back(at);
            at = places[at].parent;
        }
        if (at != AlbumPlace::top && marks[at] == Mark::onPath) {
            std::size_t first = at;
            for (std::size_t member = places[at].parent; member != at; member = places[member].parent) {
                first = std::min(first, member);
            }
            places[first].parent = AlbumPlace::top;
            broken.push_back(first);
        }
        for (const std::size_t member : path) {
            marks[member] = Mark::reached;
        }
    }
    return broken;
}

std::vector<std::size_t> treeOrder(const std::vector<Album>& albums, const std::vector<AlbumPlace>& places)
{
    std::vector<std::size_t> byFolder(albums.size());
    for (std::size_t i = 0; i < byFolder.size(); ++i) {
        byFolder[i] = i;
    }
    // The top is the greatest position, so it comes last.
    std::ranges::sort(byFolder, {},
        [&](std::size_t i) { return std::tuple(places[i].parent, places[i].order, albums[i].pk); });
    std::vector<std::pair<std::size_t, std::size_t>> children(
        albums.size() + 1); // of each, the top at the end
    for (std::size_t i = 0; i < byFolder.size();) {
        const std::size_t parent = places[byFolder[i]].parent;
        const std::size_t begin = i;
        while (i < byFolder.size() && places[byFolder[i]].parent == parent) {
            ++i;
        }
        children[std::min(parent, albums.size())] = {begin, i};
    }

    std::vector<std::size_t> order;
    order.reserve(albums.size());
    std::vector<std::pair<std::size_t, std::size_t>> open{
        children.back()}; // deep nesting must not use the stack
    while (!open.empty()) {
        auto& [next, end] = open.back();
        if (next == end) {
            open.pop_back();
            continue;
        }
        const std::size_t album = byFolder[next++];
        order.push_back(album);
        open.push_back(children[album]);
    }
    return order;
}

} // namespace vantorel
