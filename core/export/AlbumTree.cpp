#include "export/AlbumTree.h"

#include "export/ExportPlan.h"
#include "export/SafeNames.h"

#include <algorithm>
#include <limits>
#include <unordered_map>
#include <utility>

namespace vantorel {

namespace {

constexpr auto atTop = std::numeric_limits<std::size_t>::max();

bool getsFolder(const Album& album)
{
    return !album.isTrashed && (album.kind == Album::Kind::album || album.kind == Album::Kind::folder);
}

/// The albums' places in the tree, before they have names.
class Places {
public:
    Places(const std::vector<Album>& albums, const std::optional<std::set<std::int64_t>>& chosen)
        : parent(albums.size(), atTop)
        , wasDamaged(albums.size(), false)
        , isChosen(albums.size(), !chosen)
        , children(albums.size())
    {
        findParents(albums);
        breakCircles(albums);
        for (std::size_t i = 0; i < albums.size(); ++i) {
            if (getsFolder(albums[i]) && parent[i] != atTop) {
                children[parent[i]].push_back(i);
            }
        }
        // Those that belong at the top take their names before those that were only put there.
        for (const bool damaged : {false, true}) {
            for (std::size_t i = 0; i < albums.size(); ++i) {
                if (getsFolder(albums[i]) && parent[i] == atTop && wasDamaged[i] == damaged) {
                    top.push_back(i);
                }
            }
        }
        if (chosen) {
            for (std::size_t i = 0; i < albums.size(); ++i) {
                if (getsFolder(albums[i]) && chosen->contains(albums[i].pk)) {
                    choose(i);
                }
            }
        }
    }

    std::vector<std::size_t> parent;
    std::vector<bool> wasDamaged;
    std::vector<bool> isChosen;
    std::vector<std::vector<std::size_t>> children;
    std::vector<std::size_t> top{};

private:
    void findParents(const std::vector<Album>& albums)
    {
        std::unordered_map<std::int64_t, std::size_t> byKey;
        for (std::size_t i = 0; i < albums.size(); ++i) {
            byKey.try_emplace(albums[i].pk, i);
        }
        for (std::size_t i = 0; i < albums.size(); ++i) {
            if (!getsFolder(albums[i]) || !albums[i].parentPK) {
                continue;
            }
            const auto found = byKey.find(*albums[i].parentPK);
            if (found == byKey.end()) {
                wasDamaged[i] = true;
                continue;
            }
            const auto& holder = albums[found->second];
            if (holder.kind == Album::Kind::folder && !holder.isTrashed) {
                parent[i] = found->second;
            } else {
                wasDamaged[i] = holder.kind != Album::Kind::root;
            }
        }
    }

    /// Of every circle the first in the list goes to the top; the rest hangs beneath it.
    void breakCircles(const std::vector<Album>& albums)
    {
        std::vector<std::size_t> walk(albums.size(), atTop); // by which walk upwards one was first met
        for (std::size_t start = 0; start < albums.size(); ++start) {
            auto at = start;
            while (at != atTop && walk[at] == atTop) {
                walk[at] = start;
                at = parent[at];
            }
            if (at == atTop || walk[at] != start) {
                continue;
            }
            auto first = at;
            for (auto other = parent[at]; other != at; other = parent[other]) {
                first = std::min(first, other);
            }
            parent[first] = atTop;
            wasDamaged[first] = true;
        }
    }

    void choose(std::size_t album)
    {
        for (auto at = album; at != atTop && !isChosen[at]; at = parent[at]) {
            isChosen[at] = true;
        }
    }
};

} // namespace

AlbumTree albumTree(const std::vector<Album>& albums, const std::optional<std::set<std::int64_t>>& chosen)
{
    const Places places(albums, chosen);
    AlbumTree tree;
    FolderNames topNames;
    FolderNames deepNames;
    std::vector<AlbumFolder> open; // the next one last

    const auto add = [&](const std::vector<std::size_t>& siblings, const std::string& parentPath,
                         FolderNames& names) {
        const auto firstNew = open.size();
        for (const auto i : siblings) {
            const auto name = SafeNames::clean(albums[i].title.value_or(""), untitled(albums[i]));
            AlbumFolder folder{.album = i,
                .path = parentPath + "/" + names.allocate(name),
                .isChosen = places.isChosen[i],
                .wasDamaged = places.wasDamaged[i]};
            if (folder.path.size() > mostFolderPathBytes) {
                if (!tree.deepPath) { // all names at the top are given by now
                    tree.deepPath =
                        std::string(exportFolders::albums) + "/" + topNames.allocate(exportFolders::deep);
                }
                folder.path = *tree.deepPath + "/" + deepNames.allocate(name);
                folder.movedUp = true;
            }
            open.push_back(std::move(folder));
        }
        std::reverse(open.begin() + static_cast<std::ptrdiff_t>(firstNew), open.end());
    };

    add(places.top, exportFolders::albums, topNames);
    while (!open.empty()) {
        auto folder = std::move(open.back());
        open.pop_back();
        FolderNames names;
        add(places.children[folder.album], folder.path, names);
        tree.folders.push_back(std::move(folder));
    }
    return tree;
}

} // namespace vantorel
