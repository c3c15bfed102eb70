#pragma once

#include "sample/ItemMedia.h"
#include "sample/LibraryRows.h"
#include "sample/SampleDatabase.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vantorel::sample {

/// What the tables of a library are filled from.
struct LibraryContent {
    const SamplePlan& plan;
    const WriteOptions& options;
    const LibraryRows& rows;
    const Layout& layout;
    const std::vector<FileFacts>& facts; ///< As the plan's items.
};

/// The rows about items: asset, attributes, caption, resources, bookmarks, cloud master, edit, faces,
/// keywords.
class ItemTables {
public:
    ItemTables(SampleDatabase& database, const LibraryContent& content);

    /// Items `first` to `last` - 1 and what hangs on them; in ascending order over all calls.
    void insert(std::size_t first, std::size_t last);

private:
    void insertAsset(std::size_t index);
    void insertAttributes(std::size_t index);
    void insertDetails(std::size_t index);
    void insertResources(std::size_t index);
    void insertFaces(std::size_t first, std::size_t last);

    const LibraryContent& content_;
    std::string
        assetNumberColumn_; ///< "Z34_ASSET" in generation 5, beside ZASSET: the target's entity number.
    RowInserter assets_;
    RowInserter places_;
    RowInserter attributes_;
    RowInserter extended_;
    RowInserter descriptions_;
    RowInserter resources_;
    RowInserter bookmarks_;
    RowInserter masters_;
    RowInserter adjustments_;
    RowInserter keywordLinks_;
    RowInserter faces_;
    std::int64_t nextResource_ = 1;
    std::int64_t nextBookmark_ = 1;
    bool hasFacesOfNoPhoto_ = false;
};

/// The rows that belong to no item: albums, keywords, people, volumes, file types.
void insertCollections(SampleDatabase& database, const LibraryContent& content);
/// The members of albums among the items `first` to `last` - 1.
void insertMemberships(
    SampleDatabase& database, const LibraryContent& content, std::size_t first, std::size_t last);

/// Writes the whole database. With a log, the last items and changes are only there.
void writeDatabase(const LibraryContent& content, const DiskPath& file);

/// The indexes, and the triggers that call functions which only Photos has.
void createIndexes(SampleDatabase& database, const Layout& layout);
void createTriggers(SampleDatabase& database, const Layout& layout);

} // namespace vantorel::sample
