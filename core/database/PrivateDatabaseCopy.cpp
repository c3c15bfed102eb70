#include "database/PrivateDatabaseCopy.h"

#include "base/Text.h"
#include "database/PrivateDatabaseCopyLook.h"
#include "database/PrivateDatabaseCopyProgress.h"
#include "discovery/volumes/VolumeWatch.h"
#include "disk/ChunkCopy.h"
#include "disk/DiskPatience.h"

#include <algorithm>
#include <cerrno>
#include <tuple>
#include <utility>

namespace vantorel {

namespace {

constexpr int mostTries = 3;
constexpr Seconds longestExtra{86'400}; ///< A broken disk may claim any size for a file.

const char* const unsettledNote =
    "Photos kept changing this library while it was read, so the newest changes may be "
    "missing. Quit Photos and scan again for an exact result.";
const char* const logNote = "The library's -wal file could not be read, so the newest changes are missing.";
const char* const linkReason = "its database is a link, not a file, so it is not read";
const char* const outsideReason = "its database folder leads outside the library, so it is not read";
const char* const errorReason = "the disk gave an error for the database file";
const char* const allErrorsReason = "the disk gave errors for all of it";

std::string notRegularReason(const DiskPath& file)
{
    return file.filename().native() + " is not a regular file";
}

bool isRefusal(int code) { return code == EPERM || code == EACCES; }
bool isAbsence(int code) { return code == ENOENT || code == ENOTDIR; }

CopyFailure failed(CopyFailure::Kind kind, std::string reason = {}, int code = 0)
{
    return {.kind = kind, .reason = std::move(reason), .code = code};
}

CopyFailure couldNotWrite(const std::string& why, int code = 0)
{
    return failed(
        CopyFailure::Kind::writeFailed, "this Mac could not write the private copy (" + why + ")", code);
}

CopyFailure couldNotWrite(int code) { return couldNotWrite(errorText(code), code); }

/// What becomes of a file that can be read only in part.
enum class Losses { zeroFilled, refused };

class Copier {
public:
    Copier(std::shared_ptr<const Clock> clock, const DatabaseCopyRequest& request)
        : clock_(std::move(clock))
        , request_(request)
        , names_(databaseFiles(request.database))
        , listener_(std::make_shared<DatabaseCopyListener>(request.onSilence, request.onBytes))
        , badStretches_(std::make_shared<BadStretches>(clock_))
    {
    }
    ~Copier() { listener_->close(); }
    Copier(const Copier&) = delete;
    Copier& operator=(const Copier&) = delete;

    std::expected<std::shared_ptr<const PrivateDatabaseCopy>, CopyFailure> run()
    {
        auto watch = guarded(request_.stallLimit, [library = request_.library](const SharedHeartbeat&) {
            return std::make_shared<const VolumeWatch>(library->calls(), library->path());
        });
        if (!watch) {
            return std::unexpected(std::move(watch.error()));
        }
        volume_ = std::move(*watch);

        for (int attempt = 1;; ++attempt) {
            auto copied = tryOnce();
            const bool isLast = attempt == mostTries;
            if (!copied) {
                // It went away between the look and the copy: another look tells whether it is back.
                const bool vanished = sawDatabase_ && copied.error().kind == CopyFailure::Kind::missing;
                if (vanished && !isLast) {
                    continue;
                }
                return std::unexpected(std::move(copied.error()));
            }
            const Copy copy = std::move(*copied);
            if (copy->didNotSettle && !isLast) {
                request_.place->remove(copy->folder);
                continue;
            }
            if (copy->didNotSettle) {
                copy->notes.emplace_back(unsettledNote);
            }
            return copy;
        }
    }

private:
    using Copy = std::shared_ptr<PrivateDatabaseCopy>;
    using SharedHeartbeat = std::shared_ptr<Heartbeat>;

    std::expected<Copy, CopyFailure> tryOnce()
    {
        sawDatabase_ = false;
        const auto before = look();
        if (!before) {
            return std::unexpected(before.error());
        }
        if (auto refusal = refusalOf(before->database)) {
            return std::unexpected(std::move(*refusal));
        }
        sawDatabase_ = true;
        if (before->spaceFree && *before->spaceFree < before->spaceNeeded()) {
            return std::unexpected(noSpace(before->spaceNeeded(), *before->spaceFree));
        }
        if (request_.hooks.afterFirstLook) {
            request_.hooks.afterFirstLook();
        }

        const auto folder = request_.place->makeFolder("database");
        if (!folder) {
            return std::unexpected(couldNotWrite(folder.error()));
        }
        const auto copy = std::make_shared<PrivateDatabaseCopy>();
        copy->place = request_.place;
        copy->folder = *folder;
        copy->database = *folder / names_.database.filename();

        auto trouble = copyFiles(*before, copy);
        if (!trouble) {
            if (const auto after = look()) {
                copy->didNotSettle = !settled(*before, *after);
                return copy;
            } else {
                trouble = after.error();
            }
        }
        request_.place->remove(copy->folder); // now; a worker that was left behind may hold the copy for long
        return std::unexpected(std::move(*trouble));
    }

    std::expected<DatabaseLook, CopyFailure> look()
    {
        auto seen = guarded(request_.stallLimit,
            [library = request_.library, names = names_, place = request_.place->temporaryDirectory()](
                const SharedHeartbeat& heartbeat) {
                return lookAtDatabase(*library, names, place, *heartbeat);
            });
        if (!seen || !seen->hasLog()) {
            return seen;
        }
        // A step of its own: a log that hangs is no reason to give up the database.
        auto header = guarded(
            request_.stallLimit, [library = request_.library, log = names_.log](const SharedHeartbeat&) {
                return logHeaderOf(*library, log);
            });
        if (header) {
            seen->logHeader = std::move(*header);
        } else if (endsTheCopy(header.error())) {
            return std::unexpected(std::move(header.error()));
        } else {
            seen->logIsSilent = true;
        }
        return seen;
    }

    /// Why the database is not copied at all; none when it is a file that can be.
    std::optional<CopyFailure> refusalOf(const CallResult<FileStatus>& database)
    {
        using Kind = CopyFailure::Kind;
        if (database) {
            switch (database->type) {
            case FileStatus::Type::regular:
                return std::nullopt;
            case FileStatus::Type::link:
                return failed(Kind::refused, linkReason);
            case FileStatus::Type::directory:
            case FileStatus::Type::other:
                return failed(Kind::refused, notRegularReason(names_.database));
            }
            std::unreachable();
        }
        // A link as the folder itself is not followed, wherever it leads.
        if (database.error() == ELOOP || database.error() == EXDEV) {
            return failed(Kind::refused, outsideReason, database.error());
        }
        return diskTrouble(database.error(), errorReason);
    }

    /// What went wrong where the library's disk gave an error.
    CopyFailure diskTrouble(int code, std::string reason)
    {
        using Kind = CopyFailure::Kind;
        if (isGone()) { // a disk that was unplugged answers in many ways, "no such file" among them
            return failed(Kind::gone, {}, code);
        }
        if (isAbsence(code)) {
            return failed(Kind::missing, {}, code);
        }
        if (isRefusal(code)) {
            return failed(Kind::denied, {}, code);
        }
        return failed(Kind::unreadable, std::move(reason), code);
    }

    /// Why a step on the library's disk was given up.
    CopyFailure silence()
    {
        using Kind = CopyFailure::Kind;
        if (isCancelled(request_.cancel)) {
            return failed(Kind::cancelled);
        }
        return failed(isGone() ? Kind::gone : Kind::notAnswering);
    }

    bool isGone() const { return volume_ && look(clock_, volume_) == Volume::gone; }

    enum class Volume { there, gone, silent };
    using SharedWatch = std::shared_ptr<const VolumeWatch>;

    static Volume look(const std::shared_ptr<const Clock>& clock, const SharedWatch& watch)
    {
        const auto there = guardedRun(clock, Patience{.stallLimit = DiskPatience::singleLook},
            [watch](const SharedHeartbeat&) { return watch->isStillThere(); });
        return there.isStalled() ? Volume::silent : there.value() ? Volume::there : Volume::gone;
    }

    static CopyFailure noSpace(std::int64_t needed, std::int64_t free)
    {
        return {.kind = CopyFailure::Kind::noSpace, .neededBytes = needed, .freeBytes = free};
    }

    CopyFailure writeTrouble(int code, std::int64_t needed)
    {
        if (code == ENOSPC || code == EDQUOT) {
            const auto system = request_.library->calls()->fileSystemOf(request_.place->temporaryDirectory());
            if (system && system->freeBytes < needed) {
                return noSpace(needed, system->freeBytes);
            }
        }
        return couldNotWrite(code);
    }

    template <typename Work>
    auto watched(Seconds limit, Work work)
    {
        const Patience patience{.stallLimit = limit,
            .keepGoing = keepGoingWithGrace(clock_, request_.cancel),
            .onSilence = [this](bool silent) { listener_->silence(silent); }};
        return guardedRun(clock_, patience, std::move(work));
    }

    /// Runs one step on the library's disk; a failure says why it did not end.
    template <typename Work>
    auto guarded(Seconds limit, Work work)
        -> std::expected<std::invoke_result_t<Work&, const SharedHeartbeat&>, CopyFailure>
    {
        if (isCancelled(request_.cancel)) {
            return std::unexpected(failed(CopyFailure::Kind::cancelled));
        }
        auto result = watched(limit, std::move(work));
        if (result.isStalled()) {
            return std::unexpected(silence());
        }
        return std::move(result).value();
    }

    std::optional<CopyFailure> copyFiles(const DatabaseLook& before, const Copy& copy)
    {
        const auto into = Root::open(request_.library->calls(), copy->folder);
        if (!into) {
            return couldNotWrite(into.error());
        }
        listener_->begin(before.fileBytes);

        const auto database =
            copyFile(names_.database, before, *before.database, *into, copy, Losses::zeroFilled);
        if (!database) {
            return database.error();
        }
        copy->badBytes = database->badBytes;
        if (database->badBytes > 0 && database->badBytes >= database->bytes) {
            return failed(CopyFailure::Kind::unreadable, allErrorsReason);
        }

        if (auto trouble = copyCompanion(names_.log, before, before.log, *into, copy)) {
            if (endsTheCopy(*trouble)) {
                return trouble;
            }
            copy->walUnreadable = true;
            copy->notes.emplace_back(logNote);
        }
        if (auto trouble = copyCompanion(names_.index, before, before.index, *into, copy)) {
            if (endsTheCopy(*trouble)) {
                return trouble;
            }
            copy->notes.push_back(names_.index.filename().native() + " file could not be read ("
                + phraseOf(*trouble) + "), so the newest changes are missing.");
        }
        return std::nullopt;
    }

    /// Of a companion: whether nothing more can be had, or only that file cannot.
    static bool endsTheCopy(const CopyFailure& failure)
    {
        using Kind = CopyFailure::Kind;
        switch (failure.kind) {
        case Kind::noSpace:
        case Kind::writeFailed:
        case Kind::cancelled:
        case Kind::gone:
            return true;
        case Kind::missing:
        case Kind::refused:
        case Kind::denied:
        case Kind::unreadable:
        case Kind::notAnswering:
            return false;
        }
        std::unreachable();
    }

    static std::string phraseOf(const CopyFailure& failure)
    {
        if (failure.kind == CopyFailure::Kind::notAnswering) {
            return "the disk did not answer";
        }
        return failure.code != 0 ? errorText(failure.code) : failure.reason;
    }

    /// None when the file was copied, or when there is none, also where it went away since the look: whether
    /// that matters is for the second look to tell.
    std::optional<CopyFailure> copyCompanion(const DiskPath& file, const DatabaseLook& before,
        const CallResult<FileStatus>& status, const std::shared_ptr<const Root>& into, const Copy& copy)
    {
        std::optional<CopyFailure> trouble;
        if (!status) {
            trouble = diskTrouble(status.error(), errorReason);
        } else if (file == names_.log && before.logIsSilent) {
            trouble = failed(CopyFailure::Kind::notAnswering);
        } else if (status->type != FileStatus::Type::regular) {
            trouble = failed(CopyFailure::Kind::refused, "it is not a regular file");
        } else if (const auto copied = copyFile(file, before, *status, into, copy, Losses::refused);
            !copied) {
            trouble = copied.error();
        }
        return trouble && trouble->kind == CopyFailure::Kind::missing ? std::nullopt : trouble;
    }

    Seconds patienceFor(std::int64_t fileBytes) const
    {
        const Seconds forSize(static_cast<double>(fileBytes) / DiskPatience::databaseCopyBytesPerSecond);
        return std::max(request_.stallLimit, DiskPatience::databaseCopyAtLeast)
            + std::min(forSize, longestExtra);
    }

    struct FileCopied {
        std::int64_t bytes = 0;
        std::int64_t badBytes = 0;
    };

    /// Copies one file under another name and renames it when it is whole, so that a worker that was left
    /// behind never leaves part of a log beside the database.
    std::expected<FileCopied, CopyFailure> copyFile(const DiskPath& file, const DatabaseLook& before,
        const FileStatus& status, const std::shared_ptr<const Root>& into, const Copy& copy, Losses losses)
    {
        const Seconds limit = patienceFor(status.size);
        const DiskPath name = file.filename();
        const DiskPath incoming = "incoming " + name.native();

        const auto keepGoing = std::make_shared<ChunkCopy::KeepGoing>();
        // The checks live in the object that they look at.
        keepGoing->firstLook = [clock = clock_, volume = volume_, bad = badStretches_] {
            return bad->mayGoOn() && look(clock, volume) == Volume::there;
        };
        keepGoing->quickLook = [first = keepGoing->firstLook, state = keepGoing.get(), losses] {
            const bool lossy = losses == Losses::refused && state->badBytes > 0;
            return !lossy && first();
        };
        ChunkCopy::Request work{.source = {.root = request_.library, .relative = file},
            .destination = {.root = into, .relative = incoming},
            .stallLimit = limit,
            .cancel = request_.cancel,
            .syncAtEnd = false, // nobody needs the copy after a power cut
            .keepGoing = keepGoing,
            .hooks = {.onSilence = [listener = listener_](bool silent) { listener->silence(silent); },
                .afterChunk =
                    [listener = listener_, bad = badStretches_](std::span<const std::byte> bytes) {
                        bad->good();
                        listener->copied(static_cast<std::int64_t>(bytes.size()));
                    }}};
        if (request_.hooks.readFault) {
            work.hooks.readFault = [fault = request_.hooks.readFault, name = name.native()](
                                       std::int64_t offset, std::size_t size) {
                return fault(name, offset, size);
            };
        }

        badStretches_->good();
        if (isCancelled(request_.cancel)) {
            return std::unexpected(failed(CopyFailure::Kind::cancelled));
        }
        const auto run =
            watched(limit, [clock = clock_, work, copy](const SharedHeartbeat& heartbeat) mutable {
                work.heartbeat = heartbeat;
                return ChunkCopy::run(clock, work);
            });
        listener_->silence(false);
        if (run.isStalled()) {
            // The copy waits for the library's disk itself, so the silence was the private place's.
            return std::unexpected(isCancelled(request_.cancel) ? failed(CopyFailure::Kind::cancelled)
                                                                : couldNotWrite("its disk did not answer"));
        }
        const auto& result = run.value();
        if (!result) {
            return std::unexpected(troubleOf(result.error(), file, before));
        }
        const std::int64_t badBytes = keepGoing->badBytes;
        if (losses == Losses::refused && badBytes > 0) {
            std::ignore = into->unlink(incoming); // it goes with the folder otherwise
            return std::unexpected(failed(CopyFailure::Kind::unreadable, errorReason, EIO));
        }
        if (const auto renamed = into->rename(incoming, name); !renamed) {
            return std::unexpected(couldNotWrite(renamed.error()));
        }
        return FileCopied{.bytes = result->bytes, .badBytes = badBytes};
    }

    CopyFailure troubleOf(const ChunkCopy::Failure& failure, const DiskPath& file, const DatabaseLook& before)
    {
        using Kind = CopyFailure::Kind;
        switch (failure.kind) {
        case ChunkCopy::Failure::Kind::read:
            if (failure.code == ELOOP) { // since the look
                return failed(Kind::refused, linkReason, failure.code);
            }
            return diskTrouble(failure.code, std::string(errorReason) + " while reading it");
        case ChunkCopy::Failure::Kind::write:
            return writeTrouble(failure.code, before.spaceNeeded());
        case ChunkCopy::Failure::Kind::notRegular:
            return failed(Kind::refused, notRegularReason(file));
        case ChunkCopy::Failure::Kind::cancelled:
            return failed(Kind::cancelled);
        case ChunkCopy::Failure::Kind::abandoned:
        case ChunkCopy::Failure::Kind::readHung:
            return silence();
        }
        std::unreachable();
    }

    std::shared_ptr<const Clock> clock_;
    const DatabaseCopyRequest& request_;
    DatabaseFiles names_;
    std::shared_ptr<DatabaseCopyListener> listener_;
    std::shared_ptr<BadStretches> badStretches_;
    std::shared_ptr<const VolumeWatch> volume_;
    bool sawDatabase_ = false;
};

} // namespace

PrivateDatabaseCopy::~PrivateDatabaseCopy()
{
    if (place) {
        place->remove(folder);
    }
}

std::expected<std::shared_ptr<const PrivateDatabaseCopy>, CopyFailure> copyDatabase(
    std::shared_ptr<const Clock> clock, const DatabaseCopyRequest& request)
{
    return Copier(std::move(clock), request).run();
}

} // namespace vantorel
