#include "export/ColdRead.h"

#include "base/Digest.h"
#include "disk/ChunkCopy.h"

#include <cerrno>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <tuple>

namespace vantorel {

namespace {

constexpr std::align_val_t bufferAlignment{4'096}; // what reads past the cache ask of a buffer

class AlignedBuffer {
public:
    AlignedBuffer()
        : bytes_(static_cast<std::byte*>(::operator new(ChunkCopy::chunkBytes, bufferAlignment)))
    {
    }
    AlignedBuffer(const AlignedBuffer&) = delete;
    AlignedBuffer& operator=(const AlignedBuffer&) = delete;
    ~AlignedBuffer() { ::operator delete(bytes_, bufferAlignment); }

    std::span<std::byte> bytes() const { return {bytes_, ChunkCopy::chunkBytes}; }

private:
    std::byte* bytes_;
};

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

std::expected<FileDigest, ColdReadFailure> digestOf(
    const ColdReadRequest& request, int fd, const AlignedBuffer& buffer)
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
    Sha256 digest;
    std::int64_t done = 0;
    // The size bounds the loop: after a short read at the end an unaligned offset would be refused.
    while (done < status->size) {
        if (isStopped(request)) {
            return std::unexpected(ColdReadFailure{.kind = ColdReadFailure::Kind::stopped});
        }
        const auto got = calls.readAt(fd, buffer.bytes(), done);
        if (!got) {
            return failed(got.error());
        }
        if (*got == 0) {
            break; // cut short meanwhile
        }
        digest.add(buffer.bytes().first(*got));
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

std::expected<FileDigest, ColdReadFailure> openedAndRead(
    const ColdReadRequest& request, int extraFlags, const AlignedBuffer& buffer)
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
    return digestOf(request, file->get(), buffer);
}

} // namespace

std::expected<FileDigest, ColdReadFailure> coldDigest(const ColdReadRequest& request)
{
    const AlignedBuffer buffer;
    if (const int pastTheCache = uncachedOpenFlag(); pastTheCache != 0) {
        auto digest = openedAndRead(request, pastTheCache, buffer);
        const bool isRefused = !digest && digest.error().kind == ColdReadFailure::Kind::error
            && isRefusedMode(digest.error().code);
        if (!isRefused) {
            return digest;
        }
    }
    return openedAndRead(request, 0, buffer);
}

} // namespace vantorel
