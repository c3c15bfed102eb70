#include "export/ColdRead.h"

#include "disk/ChunkBuffer.h"
#include "export/DigestBehind.h"

#include <cerrno>
#include <cstddef>
#include <tuple>

namespace vantorel {

namespace {

/// As much as there may still be to read, in whole blocks: what is asked for beyond the end of a file is
/// filled with zeros.
std::size_t nextRead(std::int64_t left)
{
    constexpr auto block = static_cast<std::int64_t>(ChunkBuffer::alignment);
    constexpr auto chunk = static_cast<std::int64_t>(ChunkBuffer::size);
    return static_cast<std::size_t>(left >= chunk ? chunk : (left + block - 1) / block * block);
}

std::unexpected<ColdReadFailure> failed(int code)
{
    return std::unexpected(ColdReadFailure{.kind = ColdReadFailure::Kind::error, .code = code});
}

bool isStopped(const ColdReadRequest& request)
{
    return isCancelled(request.cancel) || (request.heartbeat && request.heartbeat->gaveUp());
}

/// Whether a read past the cache was refused as such, so that an ordinary one may do.
bool isRefusedMode(int code) { return code == EINVAL || code == ENOTSUP || code == EOPNOTSUPP; }

std::expected<FileDigest, ColdReadFailure> digestOf(const ColdReadRequest& request, int fd)
{
    const SystemCalls& calls = *request.root->calls();
    const auto status = calls.statusOf(fd);
    if (!status) {
        return failed(status.error());
    }
    if (status->type != FileStatus::Type::regular) {
        return std::unexpected(ColdReadFailure{.kind = ColdReadFailure::Kind::notRegular});
    }
    if (status->size != request.expectedSize) {
        return FileDigest{.size = status->size};
    }
    DigestBehind digest(request.clock, request.clock ? status->size : 0);
    std::int64_t done = 0;
    // The size bounds the loop: after a short read at the end an unaligned offset would be refused.
    while (done < status->size) {
        if (isStopped(request)) {
            return std::unexpected(ColdReadFailure{.kind = ColdReadFailure::Kind::stopped});
        }
        const auto got = calls.readAt(fd, digest.buffer().first(nextRead(status->size - done)), done);
        if (!got) {
            return failed(got.error());
        }
        if (*got == 0) {
            break; // cut short meanwhile
        }
        digest.add(*got);
        done += static_cast<std::int64_t>(*got);
        if (request.heartbeat) {
            request.heartbeat->beat();
        }
        if (request.afterChunk) {
            request.afterChunk(static_cast<std::int64_t>(*got));
        }
    }
    return FileDigest{.size = done, .sha256 = digest.finish()};
}

std::expected<FileDigest, ColdReadFailure> openedAndRead(const ColdReadRequest& request, int extraFlags)
{
    const auto& calls = request.root->calls();
    const auto file = request.root->openFile(request.relative, readOnlyOpenFlags() | extraFlags);
    if (!file) {
        return failed(file.error());
    }
    if (extraFlags == 0 && !calls->setUncached(file->get())) {
        // The system knows only how to forget what it holds; where it cannot even that, the cache is read.
        std::ignore = calls->dropCached(file->get());
    }
    return digestOf(request, file->get());
}

} // namespace

std::expected<FileDigest, ColdReadFailure> coldDigest(const ColdReadRequest& request)
{
    if (const int pastTheCache = uncachedOpenFlag(); pastTheCache != 0) {
        auto digest = openedAndRead(request, pastTheCache);
        const bool isRefused = !digest && digest.error().kind == ColdReadFailure::Kind::error
            && isRefusedMode(digest.error().code);
        if (!isRefused) {
            return digest;
        }
    }
    return openedAndRead(request, 0);
}

} // namespace vantorel
