#include "database/LibraryReader.h"

#include "base/Text.h"
#include "database/DatabaseReading.h"
#include "database/LibraryContents.h"
#include "database/ReadCourse.h"
#include "database/ReadNotes.h"
#include "database/ReadProgress.h"
#include "database/Salvager.h"
#include "database/SnapshotMerge.h"
#include "database/WriteAheadLog.h"
#include "disk/Guarded.h"
#include "journals/JournalReader.h"

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
        std::shared_ptr<ReadProgress> progress, const LibraryReader& settings)
        : services_(services)
        , cancel_(std::move(cancel))
        , progress_(std::move(progress))
        , stallLimit_(settings.stallTimeout)
        , hooks_(settings.copyHooks)
        , whileChecked_(settings.whileChecked)
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
    using Journals = std::expected<LibrarySnapshot, JournalReader::Failure>;

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
        const bool isPromising = copy.badBytes == 0 && changes == NewestChanges::read;
        auto reading = readDatabase(source(copy.database), SchemaChecks::strict,
            whileChecked_ && isPromising ? [this](LibrarySnapshot& tables) {
                identify(tables);
                whileChecked_(tables);
            } : WhileChecked());
        const CopyFlaws flaws{.badBytes = copy.badBytes,
            .logUnreadable = copy.walUnreadable,
            .logDamaged = changes == NewestChanges::damaged,
            .didNotSettle = copy.didNotSettle};
        if (!reading || reading->isDamaged()) {
            const NoDatabase trouble = noDatabase(reading ? DatabaseTrouble{} : reading.error(), flaws);
            return trouble.kind == NoDatabase::Kind::damaged ? fromDamaged(copy, trouble, changes)
                                                             : without(trouble);
        }
        LibrarySnapshot snapshot = std::move(reading->snapshot);
        snapshot.notes.insert(snapshot.notes.begin(), copy.notes.begin(), copy.notes.end());
        if (copy.badBytes > 0) { // in pages that hold nothing now: the file passed the check without them
            snapshot.notes.push_back(readNotes::bytesNotGiven(copy.badBytes));
            snapshot.damage.losses.push_back(
                makeLoss(DamageReport::Loss::Kind::databaseBytesUnreadable, copy.badBytes));
        }
        if (changes != NewestChanges::read) {
            snapshot.damage.severity = DamageReport::Severity::walLost;
            snapshot.damage.method = "the database without its newest changes";
        }
        if (changes == NewestChanges::damaged || changes == NewestChanges::unreadable) {
            // What the log held may be in the journals; without its log a database can even be empty.
            snapshot = completed(std::move(snapshot), readJournals(), {});
        }
        addNewestChanges(snapshot.damage, changes);
        identify(snapshot);
        return snapshot;
    }

    /// The best that a damaged database, its rebuilt form and the journals give together.
    LibrarySnapshot fromDamaged(
        const PrivateDatabaseCopy& copy, const NoDatabase& trouble, NewestChanges changes)
    {
        // Before the rebuild, for which the tool changes the copy.
        std::optional<LibrarySnapshot> best;
        if (auto partial = readDatabase(source(copy.database), SchemaChecks::lenient)) {
            best = std::move(partial->snapshot);
            best->damage.method = "what could still be read of the damaged database";
        }
        std::vector<std::string> notes;
        if (auto rebuilt = salvaged(copy, notes)) {
            if (best) {
                addDamaged(*rebuilt, *best, RowIds::same);
            }
            best = std::move(rebuilt);
        }
        CourseNotes about = notesOfDamage(trouble);
        about.notes.insert(about.notes.begin(), copy.notes.begin(), copy.notes.end());
        about.notes.insert(about.notes.end(), notes.begin(), notes.end());
        auto journals = readJournals();
        if (!journals && (!best || best->assets.empty())) {
            LibrarySnapshot files = filesAlone(trouble, journals.error());
            files.notes.insert(files.notes.end(), notes.begin(), notes.end());
            return files;
        }
        LibrarySnapshot base = std::move(best).value_or(LibrarySnapshot{});
        base.damage.severity = DamageReport::Severity::salvaged;
        LibrarySnapshot snapshot = completed(std::move(base), std::move(journals), about);
        addNewestChanges(snapshot.damage, changes);
        identify(snapshot);
        return snapshot;
    }

    /// What comes back from the damaged copy through the SQLite tool. `notes` gets what the user is told
    /// about a rebuild that was not possible.
    std::optional<LibrarySnapshot> salvaged(const PrivateDatabaseCopy& copy, std::vector<std::string>& notes)
    {
        progress_->begin(ScanStage::salvaging);
        const auto output =
            Salvager(services_.calls, services_.children)
                .salvage({.database = copy.database,
                    .folder = copy.folder,
                    .cancel = cancel_,
                    .onRows = [progress = progress_](std::int64_t rows) { progress->advance(rows, 0); }});
        if (isCancelled(cancel_)) {
            throw ReadError::cancelled();
        }
        if (!output) {
            if (output.error() == Salvager::Failure::toolRefused) {
                notes.emplace_back(readNotes::toolRefused);
            } else if (output.error() == Salvager::Failure::noSpace) {
                notes.emplace_back(readNotes::noSpaceForRebuild);
            }
            return std::nullopt;
        }
        progress_->begin(ScanStage::readingDatabase);
        DatabaseSource rebuilt = source(output->url);
        rebuilt.isRebuilt = true;
        auto reading = readDatabase(rebuilt, SchemaChecks::lenient);
        if (!reading) {
            return std::nullopt;
        }
        LibrarySnapshot snapshot = std::move(reading->snapshot);
        snapshot.damage.method = "the database rebuilt with the SQLite tool";
        snapshot.damage.rowsRehomed = output->rehomed;
        if (output->unassigned > 0) {
            snapshot.damage.losses.push_back(
                makeLoss(DamageReport::Loss::Kind::rowsNotAssigned, output->unassigned));
        }
        return snapshot;
    }

    /// A database that lost something, with what the journals know besides; or the journals with what the
    /// database knows besides, where it lost most. `about` is what is said about the database either way.
    LibrarySnapshot completed(LibrarySnapshot database, Journals journals, const CourseNotes& about) const
    {
        if (!journals) {
            if (journals.error() == JournalReader::Failure::notAnswering) {
                database.notes.emplace_back(readNotes::journalsNotAnswering);
                database.damage.diskDidNotAnswer = true;
            }
            tell(database, about);
            return database;
        }
        if (basisOf(database.assets.size(), journals->assets.size()) == Basis::journals) {
            LibrarySnapshot snapshot = std::move(*journals);
            if (!snapshot.schema.modelVersion) {
                snapshot.schema.modelVersion = database.schema.modelVersion;
                snapshot.schema.photosVersionText = database.schema.photosVersionText;
                snapshot.schema.isTestedVersion = database.schema.isTestedVersion;
            }
            const auto people = static_cast<std::int64_t>(database.people.size());
            withoutPeople(database);
            addDamaged(snapshot, database, RowIds::foreign);
            if (people > 0) {
                snapshot.notes.push_back(readNotes::peopleNotOnPhotos(people));
            }
            tell(snapshot, about);
            return snapshot;
        }
        tell(database, about);
        const SnapshotAdditions added = addFrom(database, *journals, RowIds::foreign);
        if (added.albums > 0) {
            database.notes.push_back(readNotes::albumsFromJournals(added.albums));
            database.damage.losses.push_back(makePhotosAdded(added.albums, OtherSource::changeJournals));
        }
        if (added.photos > 0) {
            database.notes.push_back(readNotes::photosFrom(added.photos, OtherSource::changeJournals));
        }
        if (added.any()) {
            database.notes.emplace_back(journalsTestedVersions);
        }
        return database;
    }

    /// Puts what is to be said about the database before the rest.
    static void tell(LibrarySnapshot& snapshot, const CourseNotes& about)
    {
        auto& losses = snapshot.damage.losses;
        snapshot.notes.insert(snapshot.notes.begin(), about.notes.begin(), about.notes.end());
        losses.insert(losses.begin(), about.losses.begin(), about.losses.end());
        snapshot.damage.diskDidNotAnswer |= about.diskDidNotAnswer;
    }

    /// A result from the journals has no names, on no photo.
    static void withoutPeople(LibrarySnapshot& database)
    {
        database.people.clear();
        for (Asset& asset : database.assets) {
            asset.people.clear();
            asset.lostDetails.insert(Asset::LostDetail::people);
        }
    }

    static void addDamaged(LibrarySnapshot& base, const LibrarySnapshot& damaged, RowIds ids)
    {
        const SnapshotAdditions added = addFrom(base, damaged, ids);
        if (added.albums > 0) {
            base.damage.losses.push_back(makePhotosAdded(added.albums, OtherSource::damagedDatabase));
        }
        if (added.photos > 0) {
            base.notes.push_back(readNotes::photosFrom(added.photos, OtherSource::damagedDatabase));
        }
    }

    Journals readJournals()
    {
        if (!library_.hasJournals) {
            return std::unexpected(JournalReader::Failure::noJournals);
        }
        progress_->begin(ScanStage::readingJournals);
        auto read = JournalReader::read({.library = library_.root,
            .clock = services_.clock,
            .stallLimit = stallLimit_,
            .cancel = cancel_,
            .onSilence = [progress = progress_](bool waiting) { progress->waitForDisk(waiting); },
            .onBytes = [progress = progress_](
                           std::int64_t done, std::int64_t total) { progress->advance(done, total); }});
        if (isCancelled(cancel_)) {
            throw ReadError::cancelled();
        }
        if (!read) {
            return std::unexpected(read.error());
        }
        LibrarySnapshot snapshot;
        snapshot.assets = std::move(read->assets);
        snapshot.albums = std::move(read->albums);
        snapshot.schema = std::move(read->schema);
        snapshot.damage = std::move(read->damage);
        snapshot.notes = std::move(read->notes);
        return snapshot;
    }

    DatabaseSource source(const DiskPath& file) const
    {
        return {.calls = services_.calls,
            .clock = services_.clock,
            .cancel = cancel_,
            .stallLimit = std::min(stallLimit_, DiskPatience::databaseStepAtMost),
            .progress = progress_,
            .file = file};
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
        DamageReport::Loss loss = makeLoss(DamageReport::Loss::Kind::walChangesLost, 1);
        if (changes == NewestChanges::unreadable) { // a disk that errs is not a damaged file
            loss.message = readNotes::logUnreadable;
        } else if (changes == NewestChanges::moving) {
            loss.message = readNotes::changedWhileRead;
        }
        damage.losses.push_back(std::move(loss));
    }

    /// The result for a database that cannot be used at all; throws where there is none.
    LibrarySnapshot without(const NoDatabase& trouble)
    {
        auto journals = goesOnWithout(trouble.kind) ? readJournals()
                                                    : std::unexpected(JournalReader::Failure::noJournals);
        if (!journals) {
            return filesAlone(trouble, journals.error());
        }
        LibrarySnapshot snapshot = std::move(*journals);
        tell(snapshot, notesBesideJournals(trouble, library_));
        identify(snapshot);
        return snapshot;
    }

    LibrarySnapshot filesAlone(const NoDatabase& trouble, JournalReader::Failure journals) const
    {
        auto course = courseWithFilesAlone(trouble, journals, library_);
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
    std::function<void(const LibrarySnapshot&)> whileChecked_;
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
    return LibraryRead(services_, cancel, reported.progress, *this).read(library);
}

} // namespace vantorel
