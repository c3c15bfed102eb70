#pragma once

#include "compare/LibraryComparison.h"
#include "database/model/Album.h"
#include "database/model/AlbumOrder.h"

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

namespace vantorel {

/// A number for each way of names from the top down, the same for the same names in composed form. One step
/// at a time: a chain of folders of any depth costs no more than its names.
class AlbumPathNumbers {
public:
    static constexpr std::size_t top = 0;

    std::size_t of(std::size_t folder, const Album& album);

private:
    std::unordered_map<std::string, std::size_t> numbers_;
};

/// Where the albums of one library are, by positions in its list.
class AlbumPlaces {
public:
    /// The albums must outlive this.
    AlbumPlaces(const std::vector<Album>& albums, AlbumPathNumbers& numbers);

    const Album& album(std::size_t position) const { return albums_[position]; }
    std::size_t size() const { return albums_.size(); }
    /// Whether it is an album or a folder that takes part in a comparison.
    static bool isCompared(const Album& album);
    /// The position of the folder that holds it, or `AlbumPlace::top`.
    std::size_t folder(std::size_t position) const { return places_[position].parent; }
    std::size_t path(std::size_t position) const { return paths_[position]; }
    std::size_t folderPath(std::size_t position) const;
    /// The folders that hold it, for display.
    ChangedAlbum::Place shownPlace(std::size_t position) const;

private:
    const std::vector<Album>& albums_;
    std::vector<AlbumPlace> places_;
    std::vector<std::size_t> paths_;
};

} // namespace vantorel
