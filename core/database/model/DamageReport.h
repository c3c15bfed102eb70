#pragma once

#include "base/Enum.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// How far a snapshot can be trusted. Built by the reader, the salvager and the journal reader, one fact at a
/// time.
struct DamageReport {
    enum class Severity { none, walLost, salvaged, fromJournals, databaseLost };

    /// Per table of the database: how much of it could be read.
    struct TableLoss {
        std::string table{};
        std::string purpose{}; ///< For people: "Photos and videos", "Albums and folders", ...
        std::int64_t rowsRead = 0;
        std::optional<std::int64_t> highestKnownID{}; ///< The highest row id ever given out, when known.
        bool unreadable = false;                      ///< Nothing of the table could be read.

        bool operator==(const TableLoss&) const = default;
    };

    struct Loss {
        enum class Kind {
            albumEntriesWithoutPhoto,
            photosWithoutDetails,
            keywordLinksWithoutKeyword,
            facesWithoutPerson,
            facesWithoutPhoto,
            albumsWithoutParent,
            rowsNotAssigned,
            invalidPaths,
            walChangesLost,
            captionsLost,
            linksLost,
            journalBytesLost,
            databaseBytesUnreadable,
            journalPartsUnread,
            albumsWithoutKind,
            photosAddedFromOtherSource,
        };
        Kind kind = Kind::albumEntriesWithoutPhoto;
        std::int64_t count = 0;
        std::string message{}; ///< Where it begins with a space it is shown after the count.

        bool operator==(const Loss&) const = default;
    };

    Severity severity = Severity::none;
    std::optional<std::string> method{}; ///< How the data was read when not from the intact database.
    std::vector<TableLoss> tables{};
    std::vector<Loss> losses{};
    std::int64_t rowsRehomed = 0;
    bool diskDidNotAnswer = false;

    bool operator==(const DamageReport&) const = default;
};

inline constexpr EnumNames<DamageReport::Severity, 5> severityNames{{
    {DamageReport::Severity::none, "none"},
    {DamageReport::Severity::walLost, "walLost"},
    {DamageReport::Severity::salvaged, "salvaged"},
    {DamageReport::Severity::fromJournals, "fromJournals"},
    {DamageReport::Severity::databaseLost, "databaseLost"},
}};
static_assert(inEnumOrder(severityNames));

inline constexpr EnumNames<DamageReport::Loss::Kind, 16> lossKindNames{{
    {DamageReport::Loss::Kind::albumEntriesWithoutPhoto, "albumEntriesWithoutPhoto"},
    {DamageReport::Loss::Kind::photosWithoutDetails, "photosWithoutDetails"},
    {DamageReport::Loss::Kind::keywordLinksWithoutKeyword, "keywordLinksWithoutKeyword"},
    {DamageReport::Loss::Kind::facesWithoutPerson, "facesWithoutPerson"},
    {DamageReport::Loss::Kind::facesWithoutPhoto, "facesWithoutPhoto"},
    {DamageReport::Loss::Kind::albumsWithoutParent, "albumsWithoutParent"},
    {DamageReport::Loss::Kind::rowsNotAssigned, "rowsNotAssigned"},
    {DamageReport::Loss::Kind::invalidPaths, "invalidPaths"},
    {DamageReport::Loss::Kind::walChangesLost, "walChangesLost"},
    {DamageReport::Loss::Kind::captionsLost, "captionsLost"},
    {DamageReport::Loss::Kind::linksLost, "linksLost"},
    {DamageReport::Loss::Kind::journalBytesLost, "journalBytesLost"},
    {DamageReport::Loss::Kind::databaseBytesUnreadable, "databaseBytesUnreadable"},
    {DamageReport::Loss::Kind::journalPartsUnread, "journalPartsUnread"},
    {DamageReport::Loss::Kind::albumsWithoutKind, "albumsWithoutKind"},
    {DamageReport::Loss::Kind::photosAddedFromOtherSource, "photosAddedFromOtherSource"},
}};
static_assert(inEnumOrder(lossKindNames));

/// A note of the snapshot, behind the count: such rows are no loss of their own.
inline constexpr std::string_view droppedRowsNote =
    " damaged photo rows had no usable id or file location and were left out.";

/// Which kind of link is wholly gone; chooses the sentence of a `linksLost`.
enum class LostLinks { albums, keywords, people };
/// Which source gave what the database itself had not.
enum class OtherSource { changeJournals, damagedDatabase };

/// Makers of losses: the fixed message of each kind. A count of 0 makes no loss: callers record it only above
/// 0. Byte kinds (journalBytesLost, databaseBytesUnreadable) take bytes as `count`.
DamageReport::Loss makeLoss(DamageReport::Loss::Kind kind, std::int64_t count);
DamageReport::Loss makeLinksLost(LostLinks links);
DamageReport::Loss makePhotosAdded(std::int64_t count, OtherSource source);
/// The loss as a line for people: the grouped count, where the message begins with a blank, and the message.
std::string sentence(const DamageReport::Loss& loss);

/// The sentence that sums up a severity wherever a result is explained; none for an intact library.
std::optional<std::string_view> severitySentence(DamageReport::Severity severity);

/// "Albums and folders: nothing could be read.", or what was read and how many more existed; none when there
/// is nothing to say about the table.
std::optional<std::string> tableLine(const DamageReport::TableLoss& table);

} // namespace vantorel
