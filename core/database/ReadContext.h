#pragma once

#include "database/SchemaResolution.h"
#include "database/model/DamageReport.h"
#include "disk/CancelToken.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// How much of one table was read.
struct TableCount {
    std::int64_t rowsRead = 0;
    std::int64_t greatestKey = 0; ///< 0 for a table without row ids.
};

/// What is counted while one database is read.
struct ReadContext {
    SchemaChecks checks = SchemaChecks::strict;
    SharedCancelToken cancel{};

    std::int64_t droppedDamaged = 0;        ///< Photo rows without a usable id or file location.
    std::int64_t droppedImpossiblePath = 0; ///< Photo rows whose file location leads nowhere it may.
    std::map<std::string, TableCount> counts{};
    std::int64_t userAlbumRows = 0; ///< Albums and folders that a user made.
    std::int64_t albumsWithoutKind = 0;
    std::int64_t albumsWithoutParent = 0;
    std::int64_t rejectedDates = 0;
    std::int64_t itemsWithRejectedDate = 0;
    std::int64_t photosWithoutDetails = 0;
    std::int64_t captionsLost = 0;
    std::int64_t albumEntriesWithoutPhoto = 0;
    std::int64_t keywordLinksWithoutKeyword = 0;
    std::int64_t facesWithoutPhoto = 0;
    std::int64_t facesWithoutPerson = 0;
    std::vector<LostLinks> linksLost{};

    std::vector<std::string> unreadable{}; ///< Tables that gave a read error, in the order met.
    std::vector<DamageReport::TableLoss> losses{};
};

/// Notes how a table's reading ended. An entry is made where it gave an error, and in a lenient reading where
/// `highestID` knows of more rows than were read: a whole database has gaps too, which only say that
/// something was deleted once.
void recordTable(ReadContext& context, const std::string& table, std::string_view purpose,
    std::optional<std::int64_t> highestID, bool gaveError);

/// The counted losses, in the order of their kinds.
std::vector<DamageReport::Loss> lossesOf(const ReadContext& context);

/// The sentences for what is no loss of the damage report.
std::vector<std::string> notesOf(const ReadContext& context);

} // namespace vantorel
