#pragma once

#include "database/KeyIndex.h"
#include "database/ReadContext.h"
#include "database/SchemaResolution.h"
#include "database/model/LibrarySnapshot.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// What the rows say about one asset beyond its record; parallel to the snapshot's assets while they are
/// read.
struct AssetFacts {
    std::int64_t cloudMaster = 0;     ///< Row id; 0 for none.
    bool isStoredElsewhere = false;   ///< Saved as a referenced file.
    bool hasOriginalResource = false; ///< There is a row of subtype 1, the original.
    bool isOriginalLocal = false;
    bool isOriginalRemote = false;
    bool hasPartnerResource = false; ///< A RAW beside a JPEG, or the video of a Live Photo.
    bool hasOriginalBookmark = false;
    bool hasDetails = false; ///< Its row of additional attributes is there.
};

/// One file outside the library that a resource points at.
struct BookmarkUse {
    std::size_t asset = 0; ///< Position in the snapshot's assets.
    bool isOriginal = false;
    std::int64_t bookmark = 0;            ///< Row id.
    std::optional<std::int64_t> volume{}; ///< Row id, from the resource.
};

/// What one reading gathers, step by step. Owned by a shared_ptr that every step's worker holds: a worker
/// that was given up may still write to it, and then nobody else looks at it any more.
struct ReadState {
    ResolvedSchema schema{};
    ReadContext context{};
    LibrarySnapshot snapshot{}; ///< Assets ascending by `pk`.
    std::vector<AssetFacts> facts{};
    KeyIndex assets{}; ///< From `pk` to the position in the snapshot's assets.

    std::vector<BookmarkUse> bookmarkUses{};
    KeyIndex attributes{}; ///< From the row id of additional attributes to the asset's position.

    bool lenient() const { return context.checks == SchemaChecks::lenient; }
};

/// Puts the assets into the order of their keys, as far as they are not, and makes their index.
void indexAssets(ReadState& state);

/// Counts the rows of one table as a worker reads them, and shows the number to the waiter now and then.
class RowCounter {
public:
    RowCounter(ReadState& state, const std::string& table, std::atomic<std::int64_t>& shown)
        : count_(state.context.counts[table])
        , shown_(shown)
    {
    }
    void add(std::int64_t key = 0)
    {
        ++count_.rowsRead;
        if (key > count_.greatestKey) {
            count_.greatestKey = key;
        }
        if (count_.rowsRead % rowsBetweenReports == 0) {
            shown_.store(count_.rowsRead, std::memory_order_relaxed);
        }
    }

private:
    static constexpr std::int64_t rowsBetweenReports = 500;
    TableCount& count_;
    std::atomic<std::int64_t>& shown_;
};

/// Every row of a table with the key column Z_PK, which `select` must give. Of a damaged database it reads
/// from both ends of the table, so that a bad page costs only its own rows, and throws then, as a read
/// without that would have done: rows come ascending, behind a bad place descending, and no key comes twice.
void forEachRowByKey(const ReadState& state, SQLiteReader& reader, const std::string& select,
    const SQLiteReader::RowHandler& handler);

/// The items of a select list in the order of `names`, so that a row is read by position; a column that the
/// table lacks (`present` holds lower-cased names) is NULL.
std::string selectList(std::span<const std::string_view> names, const ResolvedSchema::Columns& present);

/// One such item under another name.
std::string selectItem(std::string_view column, const ResolvedSchema::Columns& present, std::string_view as);

} // namespace vantorel
