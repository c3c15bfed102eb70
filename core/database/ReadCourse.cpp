#include "database/ReadCourse.h"

#include "base/Text.h"
#include "database/ReadNotes.h"

#include <utility>

namespace vantorel {

namespace {

using Kind = NoDatabase::Kind;

/// The error for a library that has nothing but its database.
ReadError nothingElse(const NoDatabase& trouble, const LibraryContents& library)
{
    switch (trouble.kind) {
    case Kind::missing:
        return ReadError::notFound(repairedUtf8(library.folder.native()));
    case Kind::unreadable:
        return ReadError::copyFailed(trouble.reason);
    case Kind::notAnswering:
        return ReadError::databaseNotAnswering();
    case Kind::damaged:
        return ReadError::databaseUnreadable(
            std::string(trouble.diskErred ? readNotes::readErrors : readNotes::tooDamaged));
    case Kind::unknownLayout:
        return ReadError::unknownSchema(trouble.reason);
    case Kind::refused:
        return ReadError::copyFailed(trouble.reason);
    case Kind::denied:
        return ReadError::accessDenied();
    case Kind::diskSilent:
        return ReadError::stalled(library.diskName);
    case Kind::gone:
        return ReadError::volumeGone(library.diskName);
    case Kind::noSpace:
        return ReadError::notEnoughTemporarySpace(trouble.neededBytes, trouble.freeBytes);
    case Kind::privateFailure:
        return ReadError::copyFailed(trouble.reason);
    case Kind::unsettled:
        return ReadError::copyFailed(std::string(readNotes::unsettledReason));
    case Kind::cancelled:
        return ReadError::cancelled();
    }
    std::unreachable();
}

/// What a file that the disk did not give as a whole is missing.
void addBadBytes(CourseNotes& result, const NoDatabase& trouble)
{
    if (trouble.badBytes > 0) {
        result.notes.push_back(readNotes::bytesNotGiven(trouble.badBytes));
        result.losses.push_back(
            makeLoss(DamageReport::Loss::Kind::databaseBytesUnreadable, trouble.badBytes));
    }
}

} // namespace

NoDatabase noDatabase(const CopyFailure& failure)
{
    NoDatabase trouble{.kind = Kind::missing,
        .reason = failure.reason,
        .neededBytes = failure.neededBytes,
        .freeBytes = failure.freeBytes};
    switch (failure.kind) {
    case CopyFailure::Kind::missing:
        trouble.kind = Kind::missing;
        break;
    case CopyFailure::Kind::refused:
        trouble.kind = Kind::refused;
        break;
    case CopyFailure::Kind::denied:
        trouble.kind = Kind::denied;
        break;
    case CopyFailure::Kind::unreadable:
        trouble.kind = Kind::unreadable;
        break;
    case CopyFailure::Kind::notAnswering:
        trouble.kind = Kind::notAnswering;
        break;
    case CopyFailure::Kind::noSpace:
        trouble.kind = Kind::noSpace;
        break;
    case CopyFailure::Kind::writeFailed:
        trouble.kind = Kind::privateFailure;
        break;
    case CopyFailure::Kind::cancelled:
        trouble.kind = Kind::cancelled;
        break;
    case CopyFailure::Kind::gone:
        trouble.kind = Kind::gone;
        break;
    }
    return trouble;
}

NoDatabase noDatabase(const DatabaseTrouble& trouble, const CopyFlaws& flaws)
{
    if (flaws.didNotSettle) {
        return {.kind = Kind::unsettled};
    }
    const bool diskErred = flaws.badBytes > 0 || flaws.logUnreadable;
    if (trouble.kind == DatabaseTrouble::Kind::unknownLayout && !diskErred && !flaws.logDamaged) {
        return {.kind = Kind::unknownLayout, .reason = trouble.reason};
    }
    return {.kind = Kind::damaged, .diskErred = diskErred, .badBytes = flaws.badBytes};
}

bool goesOnWithout(NoDatabase::Kind kind)
{
    switch (kind) {
    case Kind::missing:
    case Kind::unreadable:
    case Kind::notAnswering:
    case Kind::damaged:
    case Kind::unknownLayout:
        return true;
    case Kind::refused:
    case Kind::denied:
    case Kind::diskSilent:
    case Kind::gone:
    case Kind::noSpace:
    case Kind::privateFailure:
    case Kind::unsettled:
    case Kind::cancelled:
        return false;
    }
    std::unreachable();
}

CourseNotes notesOfDamage(const NoDatabase& trouble)
{
    CourseNotes result;
    result.notes.emplace_back(trouble.diskErred ? readNotes::readErrors : readNotes::damaged);
    addBadBytes(result, trouble);
    return result;
}

CourseNotes notesBesideJournals(const NoDatabase& trouble, const LibraryContents& library)
{
    CourseNotes result;
    switch (trouble.kind) {
    case Kind::missing:
        result.notes.emplace_back(library.isInBackup ? readNotes::noDatabaseInBackup : readNotes::noDatabase);
        break;
    case Kind::unreadable:
        result.notes.push_back(readNotes::notGiven(trouble.reason));
        break;
    case Kind::notAnswering:
        result.notes.emplace_back(readNotes::notAnswering);
        result.diskDidNotAnswer = true;
        break;
    case Kind::unknownLayout:
        result.notes.push_back(readNotes::unknownLayout(trouble.reason, readNotes::Instead::journals));
        break;
    default:
        result = notesOfDamage(trouble);
    }
    return result;
}

std::expected<CourseNotes, ReadError> courseWithFilesAlone(
    const NoDatabase& trouble, JournalReader::Failure journals, const LibraryContents& library)
{
    using Failure = JournalReader::Failure;
    if (!library.hasOriginals && journals == Failure::notAnswering) {
        return std::unexpected(ReadError::stalled(library.diskName));
    }
    const bool hasMore = library.hasOriginals || journals != Failure::noJournals;
    if (!hasMore || !goesOnWithout(trouble.kind)) {
        return std::unexpected(nothingElse(trouble, library));
    }
    CourseNotes result = notesBesideJournals(trouble, library);
    const auto reason = journalFailureReason(journals);
    if (journals == Failure::notAnswering) {
        result.notes.emplace_back(readNotes::journalsNotAnswering);
        result.diskDidNotAnswer = true;
    }
    switch (trouble.kind) {
    case Kind::missing:
        if (reason) {
            result.notes.push_back(readNotes::journalsUnreadable(*reason));
        } else if (journals == Failure::noJournals) {
            result.notes.emplace_back(readNotes::onlyFiles);
        }
        return result;
    case Kind::notAnswering:
        result.notes.front() += readNotes::notAnsweringOnlyFiles;
        break;
    case Kind::unknownLayout:
        result.notes.front() = readNotes::unknownLayout(trouble.reason, readNotes::Instead::files);
        break;
    case Kind::damaged:
        if (!trouble.diskErred) {
            result.notes.emplace_back(readNotes::tooDamaged);
        }
        break;
    default:
        break;
    }
    if (reason) {
        result.notes.push_back(readNotes::journalsUnreadableToo(*reason));
    }
    return result;
}

Basis basisOf(std::size_t photosOfDatabase, std::size_t photosOfJournals)
{
    return photosOfDatabase == 0 || photosOfDatabase < photosOfJournals / 2 ? Basis::journals
                                                                            : Basis::database;
}

} // namespace vantorel
