#include "app/model/AlbumNodes.h"

#include "app/model/LibraryOverview.h"

#include <limits>
#include <unordered_map>

namespace vantorel {

namespace {

constexpr std::size_t top = std::numeric_limits<std::size_t>::max();
constexpr int deepest = 500; // a window cannot show more, and the stack has an end

bool isShown(const Album& album)
{
    return !album.isTrashed && (album.kind == Album::Kind::album || album.kind == Album::Kind::folder);
}

struct Tree {
    const LibraryScanResult& scan;
    std::unordered_map<std::size_t, std::vector<std::size_t>>
        children{}; ///< Of positions; those of `top` too.

    AlbumNode node(std::size_t position, int depth) const
    {
        const auto& album = scan.snapshot.albums[position];
        AlbumNode node{
            .album = position,
            .title = album.title.value_or(""),
            .isFolder = album.kind == Album::Kind::folder,
            .count = std::ssize(album.assetPKs),
        };
        for (const auto pk : album.assetPKs) {
            node.withoutOriginal += lacksOriginal(originalClass(entryOf(scan, pk))) ? 1 : 0;
        }
        if (const auto below = children.find(position); below != children.end() && depth < deepest) {
            for (const auto child : below->second) {
                node.children.push_back(this->node(child, depth + 1));
                node.count += node.children.back().count;
                node.withoutOriginal += node.children.back().withoutOriginal;
            }
        }
        return node;
    }
};

} // namespace

std::vector<AlbumNode> albumNodes(const LibraryScanResult& scan)
{
    const auto& albums = scan.snapshot.albums;
    std::unordered_map<std::int64_t, std::size_t> positions;
    for (std::size_t i = 0; i < albums.size(); ++i) {
        if (isShown(albums[i]) && albums[i].kind == Album::Kind::folder) {
            positions.emplace(albums[i].pk, i);
        }
    }
    Tree tree{.scan = scan};
    for (std::size_t i = 0; i < albums.size(); ++i) {
        if (isShown(albums[i])) {
            const auto folder = albums[i].parentPK ? positions.find(*albums[i].parentPK) : positions.end();
            tree.children[folder == positions.end() ? top : folder->second].push_back(i);
        }
    }
    std::vector<AlbumNode> nodes;
    if (const auto first = tree.children.find(top); first != tree.children.end()) {
        for (const auto position : first->second) {
            nodes.push_back(tree.node(position, 0));
        }
    }
    return nodes;
}

} // namespace vantorel
