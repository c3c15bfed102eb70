#include "database/ReadCourse.h"

#include "base/Text.h"
#include "database/ReadNotes.h"

#include <utility>

namespace vantorel {

namespace {

using Kind = NoDatabase::Kind;

/// What is said about the database, in a result that has only files.
FilesAlone filesAlone(const NoDatabase& trouble, const LibraryContents& library)
{
    FilesAlone result;
    const auto say = [&result](std::string_view note) { result.notes.emplace_back(note); };
    switch (trouble.kind) {
    case Kind::missing:
        say(library.isInBackup ? readNotes::noDatabaseInBackup : readNotes::noDatabase);
        say(library.hasJournals ? readNotes::journalsUnreadable("this version of Vantorel does not read them")
                                : std::string(readNotes::onlyFiles));
        return result;
    case Kind::unreadable:
        say(readNotes::notGiven(trouble.reason));
        break;
    case Kind::notAnswering:
        say(std::string(readNotes::notAnswering) + std::string(readNotes::notAnsweringOnlyFiles));
        result.diskDidNotAnswer = true;
        break;
    case Kind::damaged:
        say(trouble.diskErred ? readNotes::readErrors : readNotes::damaged);
        if (trouble.badBytes > 0) {
            say(readNotes::bytesNotGiven(trouble.badBytes));
            result.losses.push_back(
                makeLoss(DamageReport::Loss::Kind::databaseBytesUnreadable, trouble.badBytes));
        }
        if (!trouble.diskErred && !library.hasJournals) {
            say(readNotes::tooDamaged);
        }
        break;
    case Kind::unknownLayout:
        say(readNotes::unknownLayout(trouble.reason));
        break;
    case Kind::refused:
    case Kind::denied:
    case Kind::diskSilent:
    case Kind::gone:
    case Kind::noSpace:
    case Kind::privateFailure:
    case Kind::unsettled:
    case Kind::cancelled:
        std::unreachable();
    }
    if (library.hasJournals) {
        say(readNotes::journalsNotRead);
    }
    return result;
}

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

/// Whether files alone are worth having: not where the user can cure the trouble and then have everything.
bool leavesTheFiles(Kind kind)
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

std::expected<FilesAlone, ReadError> courseWithout(const NoDatabase& trouble, const LibraryContents& library)
{
    const bool hasMore = library.hasOriginals || library.hasJournals;
    if (!hasMore || !leavesTheFiles(trouble.kind)) {
        return std::unexpected(nothingElse(trouble, library));
    }
    return filesAlone(trouble, library);
}

} // namespace vantorel
