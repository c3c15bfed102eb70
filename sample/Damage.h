#pragma once

#include "base/Enum.h"
#include "disk/SystemCalls.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace vantorel::sample {

/// What can be wrong with a library on a disk, in the order in which several are done to one library.
enum class Damage {
    // The rows of one kind of table in the database.
    photoPages,
    detailPages,
    captionPages,
    albumPages,
    keywordPages,
    personPages,
    facePages,
    resourcePages,
    entityPages,
    albumLinkPages,
    keywordLinkPages,
    // The database as a whole.
    tableRoots,
    indexRoots,
    scatteredPages,
    swappedPages,
    flippedHeader,
    schemaPage,
    cutDatabase,
    randomDatabase,
    emptyDatabase,
    // Its log.
    damagedLog,
    cutLog,
    unreadableLog,
    // What else a library has.
    cutJournals,
    damagedJournals,
    noJournals,
    noDatabase,
    refusedDatabase,
    refusedJournals,
    refusedOriginals,
};

/// The words that people choose them by.
inline constexpr EnumNames<Damage, 30> damageNames{{
    {Damage::photoPages, "photo-pages"},
    {Damage::detailPages, "detail-pages"},
    {Damage::captionPages, "caption-pages"},
    {Damage::albumPages, "album-pages"},
    {Damage::keywordPages, "keyword-pages"},
    {Damage::personPages, "person-pages"},
    {Damage::facePages, "face-pages"},
    {Damage::resourcePages, "resource-pages"},
    {Damage::entityPages, "entity-pages"},
    {Damage::albumLinkPages, "album-link-pages"},
    {Damage::keywordLinkPages, "keyword-link-pages"},
    {Damage::tableRoots, "table-roots"},
    {Damage::indexRoots, "index-roots"},
    {Damage::scatteredPages, "scattered-pages"},
    {Damage::swappedPages, "swapped-pages"},
    {Damage::flippedHeader, "flipped-header"},
    {Damage::schemaPage, "schema-page"},
    {Damage::cutDatabase, "cut-database"},
    {Damage::randomDatabase, "random-database"},
    {Damage::emptyDatabase, "empty-database"},
    {Damage::damagedLog, "damaged-log"},
    {Damage::cutLog, "cut-log"},
    {Damage::unreadableLog, "unreadable-log"},
    {Damage::cutJournals, "cut-journals"},
    {Damage::damagedJournals, "damaged-journals"},
    {Damage::noJournals, "no-journals"},
    {Damage::noDatabase, "no-database"},
    {Damage::refusedDatabase, "refused-database"},
    {Damage::refusedJournals, "refused-journals"},
    {Damage::refusedOriginals, "refused-originals"},
}};
static_assert(inEnumOrder(damageNames));

/// What each does, for people.
inline constexpr EnumNames<Damage, 30> damageTexts{{
    {Damage::photoPages, "a quarter of the pages with photos are zeros"},
    {Damage::detailPages, "the same for the photos' details: original names, sizes, titles"},
    {Damage::captionPages, "the same for captions"},
    {Damage::albumPages, "the same for albums and folders"},
    {Damage::keywordPages, "the same for keywords"},
    {Damage::personPages, "the same for people's names"},
    {Damage::facePages, "the same for faces"},
    {Damage::resourcePages, "the same for the records of stored files"},
    {Damage::entityPages, "the same for the list of what the tables hold"},
    {Damage::albumLinkPages, "the same for what is in which album"},
    {Damage::keywordLinkPages, "the same for what has which keyword"},
    {Damage::tableRoots, "the first page of each of these tables is zeros, where it only leads to others"},
    {Damage::indexRoots, "the first page of every index is zeros, no table is touched"},
    {Damage::scatteredPages, "one page in twenty is zeros"},
    {Damage::swappedPages, "one page in fifty has changed places with another"},
    {Damage::flippedHeader, "the database's first 100 bytes are inverted"},
    {Damage::schemaPage, "the page with the definitions is zeros"},
    {Damage::cutDatabase, "the last third of the database is not there"},
    {Damage::randomDatabase, "the database is random bytes"},
    {Damage::emptyDatabase, "the database has no byte"},
    {Damage::damagedLog, "a byte in the middle of the \"-wal\" file is wrong"},
    {Damage::cutLog, "the last third of the \"-wal\" file is not there"},
    {Damage::unreadableLog, "nobody may read the \"-wal\" file"},
    {Damage::cutJournals, "the second half of each change journal is not there"},
    {Damage::damagedJournals, "a byte in the middle of each change journal is wrong"},
    {Damage::noJournals, "there are no change journals"},
    {Damage::noDatabase, "there is no database folder"},
    {Damage::refusedDatabase, "nobody may open the database folder"},
    {Damage::refusedJournals, "nobody may open the folder of the change journals"},
    {Damage::refusedOriginals, "nobody may open a third of the folders with originals"},
}};
static_assert(inEnumOrder(damageTexts));

/// Damages a library, a sample or a copy of another, which must not be in use. The same library, kinds and
/// seed give the same bytes; files keep their times, and hard links to them keep the old bytes. A log that
/// holds a page too would hide its damage: it is merged into the database first then. What is refused is not
/// refused to the administrator.
///
/// Throws std::runtime_error with a sentence where it cannot be done: no such file, no such table.
void damageLibrary(const DiskPath& library, std::vector<Damage> kinds, std::uint64_t seed);

} // namespace vantorel::sample
