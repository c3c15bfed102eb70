#pragma once

#include "database/DatabaseReading.h"
#include "database/LibraryContents.h"
#include "database/PrivateDatabaseCopy.h"
#include "database/model/DamageReport.h"
#include "database/model/ReadError.h"
#include "journals/JournalReader.h"

#include <cstdint>
#include <expected>
#include <string>
#include <vector>

namespace vantorel {

/// Why a library's database could not be used, whatever step found it out.
struct NoDatabase {
    enum class Kind {
        missing,
        refused,        ///< A link, a folder that leads outside, no regular file: `reason`.
        denied,         ///< Permission.
        unreadable,     ///< The disk gave errors for it: `reason`.
        notAnswering,   ///< The disk was silent for it, while it answered for other things.
        diskSilent,     ///< The disk answers for nothing any more.
        gone,           ///< The disk was disconnected.
        noSpace,        ///< For the private copy.
        privateFailure, ///< The private copy could not be written: `reason`.
        unsettled,      ///< The copy is broken, and Photos was writing while it was made.
        damaged,
        unknownLayout, ///< `reason`
        cancelled,
    };
    Kind kind = Kind::missing;
    std::string reason{};
    std::int64_t neededBytes = 0;
    std::int64_t freeBytes = 0;
    bool diskErred = false;    ///< Of a damaged one: the disk did not give all of it.
    std::int64_t badBytes = 0; ///< How much of the file itself.

    bool operator==(const NoDatabase&) const = default;
};

/// In what a copy differs from the library's own files.
struct CopyFlaws {
    std::int64_t badBytes = 0;
    bool logUnreadable = false;
    bool logDamaged = false;
    bool didNotSettle = false;
};

NoDatabase noDatabase(const CopyFailure& failure);
/// A copy with flaws is no proof of damage, nor of another layout: what is missing can be what was not
/// copied.
NoDatabase noDatabase(const DatabaseTrouble& trouble, const CopyFlaws& flaws);

/// Whether anything else is read in place of the database: not where the user can cure the trouble and then
/// have everything; a result without albums would only mislead.
bool goesOnWithout(NoDatabase::Kind kind);

/// What is said about the database in a result that came from elsewhere.
struct CourseNotes {
    std::vector<std::string> notes{};
    std::vector<DamageReport::Loss> losses{};
    bool diskDidNotAnswer = false;

    bool operator==(const CourseNotes&) const = default;
};

/// For a result from the change journals.
CourseNotes notesBesideJournals(const NoDatabase& trouble, const LibraryContents& library);
/// For a result of a damaged database itself, as far as it could be read or rebuilt.
CourseNotes notesOfDamage(const NoDatabase& trouble);
/// For the files alone, where the journals could not be read either. An error where nothing else is in the
/// library, and for all that `goesOnWithout` denies.
std::expected<CourseNotes, ReadError> courseWithFilesAlone(
    const NoDatabase& trouble, JournalReader::Failure journals, const LibraryContents& library);

/// Which of two readings the other one only adds to.
enum class Basis { database, journals };
/// The damaged database is the better basis, since only it has People and every detail, unless it lost most
/// of the photos: then its albums are torn, too.
Basis basisOf(std::size_t photosOfDatabase, std::size_t photosOfJournals);

} // namespace vantorel
