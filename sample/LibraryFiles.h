#pragma once

#include "sample/FileWriter.h"
#include "sample/ItemMedia.h"
#include "sample/LibraryRows.h"

#include <map>
#include <string>
#include <vector>

namespace vantorel::sample {

/// Writes the pictures, films and side files of a library, item by item.
class LibraryFiles {
public:
    LibraryFiles(
        const SamplePlan& plan, const WriteOptions& options, const LibraryRows& rows, FileWriter& files);

    /// All files of one item; what the library records about its original.
    FileFacts write(std::size_t index);
    /// Files of no item in the originals folder.
    void writeStrays();
    /// What lies about in a library and says nothing: property lists, empty marks, the folder of thumbnails.
    void writeFurniture();

private:
    /// A file that was written, for items with the same content.
    struct Written {
        DiskPath path{};
        std::size_t links = 1;
    };

    void writeOriginal(std::size_t index, ItemMedia& media, const std::string& original);
    void writePartners(std::size_t index, ItemMedia& media);
    void writeSharedFiles(std::size_t index, ItemMedia& media);
    void writeSmallerCopies(std::size_t index, ItemMedia& media);
    void writeEdit(std::size_t index, ItemMedia& media);
    template <typename Make>
    void writeContent(const DiskPath& path, std::size_t index, const std::string& key, Make make);
    std::int64_t modified(std::size_t index) const;
    DiskPath cloudSharing() const;

    const SamplePlan& plan_;
    const WriteOptions& options_;
    const LibraryRows& rows_;
    FileWriter& files_;
    std::map<std::string, Written> written_;
    std::map<std::string, FileFacts> facts_; ///< By content key, with hard links.
};

/// Seconds since 1970 of everything that belongs to no item.
inline constexpr std::int64_t libraryTime = 1'718'444'712; // 15 June 2024.

} // namespace vantorel::sample
