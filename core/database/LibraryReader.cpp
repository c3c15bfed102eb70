#include "database/LibraryReader.h"

#include "base/Text.h"
#include "database/DatabaseReading.h"
#include "database/LibraryContents.h"
#include "database/ReadCourse.h"
#include "database/ReadNotes.h"
#include "database/ReadProgress.h"
#include "database/WriteAheadLog.h"
#include "disk/Guarded.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace vantorel {

namespace {

/// How long a look waits that only asks whether the disk answers for anything, after it was silent for long.
constexpr Seconds restOfDiskAtMost{20};

/// Whether the newest changes, which stand in the log, are part of the copy.
enum class NewestChanges { read, damaged, unreadable, moving };

/// One read of one library.
class LibraryRead {
public:
    LibraryRead(const CoreServices& services, SharedCancelToken cancel,
        std::shared_ptr<ReadProgress> progress, Seconds stallLimit, CopyHooks hooks)
        : services_(services)
        , cancel_(std::move(cancel))
        , progress_(std::move(progress))
        , stallLimit_(stallLimit)
        , hooks_(std::move(hooks))
    {
    }

    LibrarySnapshot read(const DiskPath& folder)
    {
        progress_->begin(ScanStage::copyingDatabase);
        library_ = lookIntoLibrary(look(stallLimit_), folder);
        if (!library_.database) {
            return without({.kind = NoDatabase::Kind::missing});
        }
        const auto copy = copyDatabase(services_.clock, copyRequest());
        if (isCancelled(cancel_)) {
            throw ReadError::cancelled();
        }
        if (!copy) {
            return without(judged(noDatabase(copy.error())));
        }
        return fromCopy(**copy);
    }

private:
    LibraryLook look(Seconds limit) const
    {
        return {.calls = services_.calls,
            .clock = services_.clock,
            .cancel = cancel_,
            .stallLimit = limit,
            .onSilence = [progress = progress_](bool waiting) { progress->waitForDisk(waiting); }};
    }

    DatabaseCopyRequest copyRequest() const
    {
        return {.library = library_.root,
            .database = *library_.database,
            .place = services_.temporary,
            .stallLimit = stallLimit_,
            .cancel = cancel_,
            .onSilence = [progress = progress_](bool waiting) { progress->waitForDisk(waiting); },
            .onBytes = [progress = progress_](
                           std::int64_t done, std::int64_t total) { progress->advance(done, total); },
            .hooks = hooks_};
    }

    /// A database that did not answer on a disk that answers for nothing is no bad spot, but a silent disk.
    NoDatabase judged(NoDatabase trouble) const
    {
        if (trouble.kind == NoDatabase::Kind::notAnswering
            && !diskAnswers(look(std::min(stallLimit_, restOfDiskAtMost)), library_)) {
            trouble.kind = isCancelled(cancel_) ? NoDatabase::Kind::cancelled : NoDatabase::Kind::diskSilent;
        }
        return trouble;
    }

    LibrarySnapshot fromCopy(const PrivateDatabaseCopy& copy)
    {
        progress_->begin(ScanStage::readingDatabase);
        // Before the first open: SQLite takes a log as far as it is right, and says nothing about the rest.
        const NewestChanges changes = newestChanges(copy);
        auto reading = readDatabase(source(copy), SchemaChecks::strict);
        const CopyFlaws flaws{.badBytes = copy.badBytes,
            .logUnreadable = copy.walUnreadable,
            .logDamaged = changes == NewestChanges::damaged,
            .didNotSettle = copy.didNotSettle};
        if (!reading) {
            return without(noDatabase(reading.error(), flaws));
        }
        if (reading->isDamaged()) {
            return without(noDatabase(DatabaseTrouble{}, flaws));
        }
        LibrarySnapshot snapshot = std::move(reading->snapshot);
        identify(snapshot);
        snapshot.notes.insert(snapshot.notes.begin(), copy.notes.begin(), copy.notes.end());
        if (copy.badBytes > 0) { // in pages that hold nothing now: the file passed the check without them
            snapshot.notes.push_back(readNotes::bytesNotGiven(copy.badBytes));
            snapshot.damage.losses.push_back(
                makeLoss(DamageReport::Loss::Kind::databaseBytesUnreadable, copy.badBytes));
        }
        addNewestChanges(snapshot.damage, changes);
        return snapshot;
    }

    DatabaseSource source(const PrivateDatabaseCopy& copy) const
    {
        return {.calls = services_.calls,
            .clock = services_.clock,
            .cancel = cancel_,
            .stallLimit = std::min(stallLimit_, DiskPatience::databaseStepAtMost),
            .progress = progress_,
            .file = copy.database};
    }

    NewestChanges newestChanges(const PrivateDatabaseCopy& copy) const
    {
        if (copy.walUnreadable) {
            return NewestChanges::unreadable;
        }
        const auto check = guardedRun(services_.clock,
            {.stallLimit = std::min(stallLimit_, DiskPatience::databaseStepAtMost),
                .keepGoing = keepGoingWithGrace(services_.clock, cancel_)},
            [calls = services_.calls, folder = copy.folder, log = copy.database.filename().native() + "-wal"](
                const std::shared_ptr<Heartbeat>&) -> CallResult<WriteAheadLogCheck> {
                const auto root = Root::open(calls, folder);
                if (!root) {
                    return std::unexpected(root.error());
                }
                return checkWriteAheadLog(**root, log);
            });
        if (isCancelled(cancel_)) {
            throw ReadError::cancelled();
        }
        if (check.isStalled()) {
            throw ReadError::databaseNotAnswering();
        }
        if (!check.value()) {
            throw ReadError::copyFailed(
                "this Mac could not read the private copy (" + errorText(check.value().error()) + ")");
        }
        if (copy.didNotSettle) {
            return NewestChanges::moving;
        }
        return check.value()->state == WriteAheadLogCheck::State::damaged ? NewestChanges::damaged
                                                                          : NewestChanges::read;
    }

    static void addNewestChanges(DamageReport& damage, NewestChanges changes)
    {
        if (changes == NewestChanges::read) {
            return;
        }
        damage.severity = DamageReport::Severity::walLost;
        damage.method = "the database without its newest changes";
        DamageReport::Loss loss = makeLoss(DamageReport::Loss::Kind::walChangesLost, 1);
        if (changes == NewestChanges::unreadable) { // a disk that errs is not a damaged file
            loss.message = readNotes::logUnreadable;
        } else if (changes == NewestChanges::moving) {
            loss.message = readNotes::changedWhileRead;
        }
        damage.losses.push_back(std::move(loss));
    }

    /// The result for a database that cannot be used; throws where there is none.
    LibrarySnapshot without(const NoDatabase& trouble) const
    {
        auto course = courseWithout(trouble, library_);
        if (!course) {
            throw std::move(course.error());
        }
        LibrarySnapshot snapshot;
        identify(snapshot);
        snapshot.notes = std::move(course->notes);
        snapshot.damage.severity = DamageReport::Severity::databaseLost;
        snapshot.damage.method = "the originals folder alone";
        snapshot.damage.losses = std::move(course->losses);
        snapshot.damage.diskDidNotAnswer = course->diskDidNotAnswer;
        return snapshot;
    }

    void identify(LibrarySnapshot& snapshot) const
    {
        snapshot.libraryURL = library_.folder;
        snapshot.name = library_.name;
    }

    CoreServices services_;
    SharedCancelToken cancel_;
    std::shared_ptr<ReadProgress> progress_;
    Seconds stallLimit_;
    CopyHooks hooks_;
    LibraryContents library_;
};

/// Closes the progress when the read ends, however it ends.
struct ClosedAtEnd {
    std::shared_ptr<ReadProgress> progress;
    ~ClosedAtEnd() { progress->close(); }
};

} // namespace

LibrarySnapshot LibraryReader::read(
    const DiskPath& library, const SharedCancelToken& cancel, const ScanProgressCallback& progress) const
{
    const ClosedAtEnd reported{std::make_shared<ReadProgress>(progress)};
    return LibraryRead(services_, cancel, reported.progress, stallTimeout, copyHooks).read(library);
}

} // namespace vantorel
