#include "disk/ChunkCopy.h"

#include "disk/OpenFile.h"
#include "disk/WatchedSource.h"

#include <algorithm>
#include <cerrno>
#include <tuple>
#include <utility>

#include <fcntl.h>

namespace vantorel::ChunkCopy {

namespace {

std::unexpected<Failure> failed(Failure::Kind kind, int code = 0)
{
    return std::unexpected(Failure{.kind = kind, .code = code});
}

/// The file that is being written; it is removed unless it was kept.
class Destination {
public:
    /// `isForMedium` where the file is to be durable at some time.
    Destination(const Place& place, bool isForMedium)
        : place_(place)
        , isForMedium_(isForMedium)
    {
    }
    Destination(const Destination&) = delete;
    Destination& operator=(const Destination&) = delete;
    ~Destination()
    {
        if (isCreated_) {
            std::ignore = file_.close();
            std::ignore = place_.root->unlink(place_.relative); // the copy failed already
        }
    }

    std::expected<void, Failure> create(bool uncached)
    {
        auto opened = place_.root->openFile(place_.relative, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0644);
        if (!opened) {
            return failed(Failure::Kind::write, opened.error());
        }
        file_ = std::move(*opened);
        isCreated_ = true;
        dropsCached_ = uncached && !calls().setUncached(file_.get());
        return {};
    }

    std::expected<void, Failure> write(std::span<const std::byte> bytes)
    {
        unwritten_ += bytes.size();
        unsynced_ += bytes.size();
        while (!bytes.empty()) {
            const auto written = calls().write(file_.get(), bytes);
            if (!written) {
                return failed(Failure::Kind::write, written.error());
            }
            if (*written == 0) {
                return failed(Failure::Kind::write, EIO); // no error and no progress: it would never end
            }
            bytes = bytes.subspan(std::min(*written, bytes.size()));
        }
        return {};
    }

    void setModified(std::chrono::sys_time<std::chrono::nanoseconds> modified)
    {
        // Not every file system keeps the time, or can say this one: the copy is whole without it.
        std::ignore = calls().setModified(file_.get(), modified);
    }

    std::expected<void, Failure> sync()
    {
        if (const auto synced = calls().sync(file_.get()); !synced) {
            return failed(Failure::Kind::write, synced.error());
        }
        return {};
    }

    /// Sends a large file to the medium while it is copied: it never fills the memory, and its last sync is
    /// not a silence of minutes on a slow disk.
    std::expected<void, Failure> keepUp()
    {
        constexpr std::size_t writeEvery = 32u << 20u; // long enough for a drive that reads in between
        constexpr std::size_t syncEvery = 128u << 20u; // a minute's silence at 2 MB/s
        if (dropsCached_ && unwritten_ >= writeEvery) {
            unwritten_ = 0;
            std::ignore = calls().dropCached(file_.get()); // begins to write what cannot be dropped yet
        }
        if (isForMedium_ && unsynced_ >= syncEvery) {
            unsynced_ = 0;
            return sync();
        }
        return {};
    }

    /// Closes and keeps the file. What the cache holds of it is dropped where that was asked for: only what
    /// is on the medium can be, so this comes after the sync.
    std::expected<void, Failure> finish(bool isSynced)
    {
        if (dropsCached_ && isSynced) {
            std::ignore = calls().dropCached(file_.get());
        }
        if (const auto closed = file_.close(); !closed) {
            return failed(Failure::Kind::write, closed.error());
        }
        isCreated_ = false;
        return {};
    }

private:
    const SystemCalls& calls() const { return *place_.root->calls(); }

    const Place& place_;
    const bool isForMedium_;
    OpenFile file_{};
    bool isCreated_ = false;
    bool dropsCached_ = false;
    std::size_t unwritten_ = 0; ///< Bytes since the disk was last told to write.
    std::size_t unsynced_ = 0;  ///< Bytes since the last sync.
};

/// An error that tells of the file as a whole, not of a place in it.
bool isAboutTheFile(int code) { return code == EPERM || code == ENOENT || code == EACCES; }

class Copy {
public:
    Copy(std::shared_ptr<const Clock> clock, const Request& request)
        : request_(request)
        , source_(std::move(clock), request)
        , destination_(request.destination, request.syncAtEnd || request.uncachedDestination)
    {
    }

    std::expected<Copied, Failure> run()
    {
        if (const auto failure = begin()) {
            return std::unexpected(*failure);
        }
        while (true) {
            const auto size = nextChunk();
            if (!size) {
                return std::unexpected(size.error());
            }
            if (*size == 0) {
                break;
            }
            const auto chunk = source_.buffer().first(*size);
            if (const auto written = destination_.write(chunk); !written) {
                return std::unexpected(written.error());
            }
            copied_.bytes += static_cast<std::int64_t>(*size);
            if (request_.heartbeat) {
                request_.heartbeat->beat();
            }
            if (request_.hooks.afterChunk) {
                request_.hooks.afterChunk(chunk);
            }
            if (const auto keptUp = destination_.keepUp(); !keptUp) {
                return std::unexpected(keptUp.error());
            }
        }
        source_.close();
        if (const auto failure = end()) {
            return std::unexpected(*failure);
        }
        return copied_;
    }

private:
    std::optional<Failure> begin()
    {
        if (const auto stop = source_.whyStop()) {
            return stop;
        }
        const auto info = source_.open();
        if (!info) {
            return info.error();
        }
        if (info->type != FileStatus::Type::regular) {
            return Failure{.kind = Failure::Kind::notRegular};
        }
        copied_.source = *info;
        const auto created = destination_.create(request_.uncachedDestination);
        return created ? std::nullopt : std::optional(created.error());
    }

    std::optional<Failure> end()
    {
        if (const auto stop = source_.whyStop()) {
            return stop;
        }
        if (request_.keepModified) {
            destination_.setModified(copied_.source.modified);
        }
        if (request_.syncAtEnd) {
            if (const auto synced = destination_.sync(); !synced) {
                return synced.error();
            }
        }
        const auto finished = destination_.finish(request_.syncAtEnd);
        return finished ? std::nullopt : std::optional(finished.error());
    }

    /// Bytes of the next chunk, which lies in the source's buffer then; 0 at the end of the source.
    std::expected<std::size_t, Failure> nextChunk()
    {
        if (const auto stop = source_.whyStop()) {
            return std::unexpected(*stop);
        }
        const auto size = source_.read({.offset = copied_.bytes, .size = chunkBytes});
        if (size || size.error().kind != Failure::Kind::read) {
            return size;
        }
        if (!maySkip(size.error().code)) {
            return size;
        }
        return readInPieces();
    }

    /// What can be read of the chunk, and zeros for what cannot.
    std::expected<std::size_t, Failure> readInPieces()
    {
        const auto left = std::max<std::int64_t>(0, copied_.source.size - copied_.bytes);
        const auto size = std::min(chunkBytes, static_cast<std::size_t>(left));
        for (std::size_t begin = 0; begin < size; begin += pieceBytes) {
            if (const auto piece = readPiece(begin, std::min(pieceBytes, size - begin)); !piece) {
                return std::unexpected(piece.error());
            }
        }
        return size;
    }

    std::expected<void, Failure> readPiece(std::size_t begin, std::size_t size)
    {
        std::size_t done = 0;
        while (done < size) {
            if (const auto stop = source_.whyStop()) {
                return std::unexpected(*stop);
            }
            const auto got = source_.read({
                .offset = copied_.bytes + static_cast<std::int64_t>(begin + done),
                .within = begin + done,
                .size = size - done,
            });
            if (!got && got.error().kind != Failure::Kind::read) {
                return std::unexpected(got.error());
            }
            if (got.value_or(0) == 0) {
                const int code = got ? EIO : got.error().code; // the end before the size that the file had
                std::ranges::fill(source_.buffer().subspan(begin + done, size - done), std::byte(0));
                request_.keepGoing->badBytes += static_cast<std::int64_t>(size - done);
                if (!maySkip(code)) {
                    return failed(Failure::Kind::read, code);
                }
                return {};
            }
            done += *got;
        }
        return {};
    }

    /// Asked at each read problem.
    bool maySkip(int code)
    {
        if (!request_.keepGoing || isAboutTheFile(code)) {
            return false;
        }
        auto& keepGoing = *request_.keepGoing;
        const auto& look = std::exchange(keepGoing.looked, true) ? keepGoing.quickLook : keepGoing.firstLook;
        return !look || look();
    }

    const Request& request_;
    WatchedSource source_;
    Destination destination_;
    Copied copied_{};
};

} // namespace

std::expected<Copied, Failure> run(std::shared_ptr<const Clock> clock, Request request)
{
    return Copy(std::move(clock), request).run();
}

} // namespace vantorel::ChunkCopy
