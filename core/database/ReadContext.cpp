#include "database/ReadContext.h"

#include "base/Text.h"

#include <algorithm>
#include <utility>

namespace vantorel {

void recordTable(ReadContext& context, const std::string& table, std::string_view purpose,
    std::optional<std::int64_t> highestID, bool gaveError)
{
    const TableCount count = context.counts[table];
    // A key counter below a row that is there is older than the rows, so it says nothing.
    if (highestID && *highestID < count.greatestKey) {
        highestID = std::nullopt;
    }
    if (gaveError) {
        context.unreadable.push_back(table);
    }
    const bool lacksRows =
        context.checks == SchemaChecks::lenient && highestID && *highestID > count.rowsRead;
    if (!gaveError && !lacksRows) {
        return;
    }
    context.losses.push_back({.table = table,
        .purpose = std::string(purpose),
        .rowsRead = count.rowsRead,
        .highestKnownID = highestID,
        .unreadable = gaveError && count.rowsRead == 0});
}

std::vector<DamageReport::Loss> lossesOf(const ReadContext& context)
{
    using Kind = DamageReport::Loss::Kind;
    std::vector<DamageReport::Loss> losses;
    const auto add = [&](Kind kind, std::int64_t count) {
        if (count > 0) {
            losses.push_back(makeLoss(kind, count));
        }
    };
    add(Kind::albumEntriesWithoutPhoto, context.albumEntriesWithoutPhoto);
    add(Kind::photosWithoutDetails, context.photosWithoutDetails);
    add(Kind::keywordLinksWithoutKeyword, context.keywordLinksWithoutKeyword);
    add(Kind::facesWithoutPerson, context.facesWithoutPerson);
    add(Kind::facesWithoutPhoto, context.facesWithoutPhoto);
    add(Kind::albumsWithoutParent, context.albumsWithoutParent);
    add(Kind::invalidPaths, context.droppedImpossiblePath);
    add(Kind::captionsLost, context.captionsLost);
    for (const LostLinks links : context.linksLost) {
        losses.push_back(makeLinksLost(links));
    }
    add(Kind::albumsWithoutKind, context.albumsWithoutKind);
    return losses;
}

std::vector<std::string> notesOf(const ReadContext& context)
{
    std::vector<std::string> notes;
    if (context.droppedDamaged > 0) {
        notes.push_back(grouped(context.droppedDamaged).append(droppedRowsNote));
    }
    if (context.itemsWithRejectedDate > 0) {
        notes.push_back(grouped(context.itemsWithRejectedDate)
            + " items have a date in the library that cannot be right, so they are treated as having no "
              "date.");
    }
    return notes;
}

} // namespace vantorel
